#!/usr/bin/env python3
"""Whole sessions through kestra-distributor against yaz-ztest, each paired
in the same run with yaz-client doing the same work against the same
target, and the ratio of their wall times:

- 100 rounds of a SEARCH and a PRESENT of 10 USMARC records, one session;
- a SEARCH and one PRESENT of 1,000 USMARC records (message sizes 1,000,000).

    session_bench.py --bin DIR [--rounds N] [--repeat N]

The target comes from tests/peers/peers.py (KESTRA_PEERS_STATE names a
running one, else the benchmark starts its own). Each pair runs --repeat
times, the two sides in turn; the best time of each side counts.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "peers"))
import peers  # noqa: E402

SEARCH = "RequestType:SEARCH Database:Default Query:@use=4@term=%d Terms:1"
PRESENT = "RequestType:PRESENT StartFrom:1 Records:%d RecordSyntax:USMARC"


def timed(command, input=None, **options):
    """The wall time of one run of command, which must succeed. The end is
    waited for by a blocking wait: a wait with a time-out polls, in steps
    of up to 50 ms, which would be counted; a timer kills a run that hangs."""
    started = time.perf_counter()
    with subprocess.Popen(command, stdin=subprocess.PIPE if input else None, stdout=subprocess.DEVNULL,
                          **options) as process:
        watchdog = threading.Timer(600, process.kill)
        watchdog.start()
        try:
            process.communicate(input)
        finally:
            watchdog.cancel()
    elapsed = time.perf_counter() - started
    if process.returncode != 0:
        raise subprocess.CalledProcessError(process.returncode, command)
    return elapsed


def kestra_session(bin_dir, port, rounds, hits, records, message_size):
    """The wall time of one distributor run: LOAD and INITIALIZE, then one
    request file per round (a SEARCH and a PRESENT), then CLOSE."""
    with tempfile.TemporaryDirectory(prefix="kestra-bench-") as directory:
        files = []

        def request_file(lines):
            path = os.path.join(directory, "request%d.txt" % len(files))
            with open(path, "w") as file:
                file.write("\n".join(lines) + "\n")
            files.append(path)

        request_file(["RequestType:LOAD TempPath:%s/ TempPrefix:KB" % directory,
                      "RequestType:INITIALIZE Server:127.0.0.1 Port:%d PreferredMessageSize:%d "
                      "MaximumMessageSize:%d" % (port, message_size, message_size)])
        for _ in range(rounds):
            request_file([SEARCH % hits, PRESENT % records])
        request_file(["RequestType:CLOSE"])
        return timed([os.path.join(os.path.abspath(bin_dir), "kestra-distributor"), "--timeout", "60"] + files, cwd=directory)


def yaz_session(port, rounds, hits, records, message_size):
    """The wall time of yaz-client doing the same finds and shows."""
    commands = "".join("find @attr 1=4 %d\nshow 1+%d\n" % (hits, records) for _ in range(rounds))
    with tempfile.TemporaryDirectory(prefix="yaz-bench-") as directory:
        return timed(["yaz-client", "-k", str(message_size // 1024), "tcp:127.0.0.1:%d/Default" % port],
                     input=("format usmarc\n" + commands + "quit\n").encode(), cwd=directory)


def compare(name, bin_dir, port, repeat, **work):
    """Runs the pair in turn, so that a change in the machine's speed meets
    both alike, and prints the best time of each and their ratio."""
    times = [(kestra_session(bin_dir, port, **work), yaz_session(port, **work)) for _ in range(repeat)]
    kestra = min(pair[0] for pair in times)
    yaz = min(pair[1] for pair in times)
    print("%-44s kestra %7.3f s  yaz-client %7.3f s  ratio %5.2f" % (name, kestra, yaz, kestra / yaz))
    return kestra / yaz


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--rounds", type=int, default=100)
    parser.add_argument("--repeat", type=int, default=5)
    options = parser.parse_args()
    state_file = os.environ.get("KESTRA_PEERS_STATE")
    if state_file:
        with open(state_file) as file:
            state, started = json.load(file), False
    else:
        state, started = peers.start_all(("ztest",)), True
    try:
        port = state["ztest"][1]
        compare("%d x (SEARCH, PRESENT of 10 USMARC)" % options.rounds, options.bin, port, options.repeat,
                rounds=options.rounds, hits=100, records=10, message_size=1000000)
        compare("SEARCH, PRESENT of 1,000 USMARC", options.bin, port, options.repeat,
                rounds=1, hits=1000, records=1000, message_size=1000000)
    finally:
        if started:
            peers.stop_all(state)


if __name__ == "__main__":
    main()
