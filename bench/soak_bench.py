#!/usr/bin/env python3
"""A soak run of the client: one client serves many requests (SEARCH,
PRESENT and SCAN in turn, 10,000 by default) through kestra-distributor
against a local Zebra that it starts with tests/peers/peers.py. It prints the client's resident memory and open
descriptors after a warm-up and at the end, and fails when a request fails
or either has grown (memory beyond a small allowance for the allocator).

    soak_bench.py --bin DIR [--requests N]

POSIX only: the client's window number is its process id, and /proc tells
its memory and descriptors.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "peers"))
import peers  # noqa: E402

CYCLE = ["RequestType:SEARCH Database:marc Query:@use=4@term=computer Terms:1",
         "RequestType:PRESENT StartFrom:1 Records:1",
         "RequestType:SCAN Database:marc Query:comp Attribute:4 Records:5"]
WARM_UP = 300           # requests before the first measurement
FILE_SIZE = 2500        # octets of request lines per file: the client takes 5,000 with the keys the distributor adds
MEMORY_ALLOWANCE = 256  # kB the resident memory may grow by: allocator pages, not leaks
SETTLE_SECONDS = 0.25   # descriptors unchanged for this long are the client's own
SETTLE_LIMIT = 5.0


def cycle_lines(count):
    return [CYCLE[i % len(CYCLE)] for i in range(count)]


def request_files(directory, lines, first):
    """Writes the lines into request files of at most FILE_SIZE octets; their names."""
    names, text = [], ""
    for line in lines + [None]:
        if line is None or len(text) + len(line) + 1 > FILE_SIZE:
            names.append(os.path.join(directory, "soak%05d.txt" % (first + len(names))))
            with open(names[-1], "w", newline="\n") as file:
                file.write(text)
            text = ""
        if line is not None:
            text += line + "\n"
    return names


def distribute(bin_dir, directory, arguments, files):
    """Runs the distributor; the client's instance number. Exits when a request failed."""
    command = [os.path.join(bin_dir, "kestra-distributor"), "--verbose", "--timeout", "60"] + arguments + files
    with open(os.devnull, "w") as output, tempfile.TemporaryFile("w+") as errors:
        # The exchange files and the windows' sockets go to the temporary directory, this one.
        status = subprocess.run(command, cwd=directory, stdout=output, stderr=errors,
                                env=dict(os.environ, TMPDIR=directory)).returncode
        errors.seek(0)
        text = errors.read()
    if status != 0:
        sys.exit("soak: the distributor ended with status %d:\n%s" % (status, text[-2000:]))
    return int(re.search(r"instance Tellan:(\d+)", text).group(1)) if "Tellan:" in text else None


def usage(pid):
    """(resident memory in kB, open descriptors) of the process."""
    with open("/proc/%d/status" % pid) as status:
        resident = int(re.search(r"^VmRSS:\s+(\d+)", status.read(), re.M).group(1))
    return resident, len(os.listdir("/proc/%d/fd" % pid))


def settled_usage(pid):
    """usage() once the client has let go of the distributor that just ended.

    It closes its connections to a distributor's window when it sees the
    distributor go, a moment after the distributor has ended; on a busy
    machine that moment is later. The figures are taken when two readings
    SETTLE_SECONDS apart agree (at most SETTLE_LIMIT seconds): a descriptor
    that stays open still counts."""
    latest = usage(pid)
    deadline = time.monotonic() + SETTLE_LIMIT
    while time.monotonic() < deadline:
        time.sleep(SETTLE_SECONDS)
        earlier, latest = latest, usage(pid)
        if latest[1] == earlier[1]:
            break
    return latest


def soak(bin_dir, target, requests):
    """Runs the requests in one client; (usage after the warm-up, usage at the end, seconds after the warm-up)."""
    with tempfile.TemporaryDirectory(prefix="kestra-soak-") as directory:
        start = ["RequestType:LOAD SessionTimeout:60", "RequestType:INITIALIZE Server:%s Port:%d" % tuple(target)]
        warm_up = request_files(directory, start + cycle_lines(WARM_UP), 0)
        pid = distribute(bin_dir, directory, ["--keep"], warm_up)
        before = settled_usage(pid)
        files = request_files(directory, cycle_lines(requests - WARM_UP), len(warm_up))
        began = time.monotonic()
        distribute(bin_dir, directory, ["--attach", str(pid), "--keep"], files)
        seconds = time.monotonic() - began
        after = settled_usage(pid)
        distribute(bin_dir, directory, ["--attach", str(pid)],
                   request_files(directory, ["RequestType:CLOSE"], len(warm_up) + len(files)))
    return before, after, seconds


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", required=True)
    parser.add_argument("--requests", type=int, default=10000)
    options = parser.parse_args()
    state = peers.start_all(("zebra",))
    try:
        before, after, seconds = soak(os.path.abspath(options.bin), state["zebra"], options.requests)
    finally:
        peers.stop_all(state)
    measured = options.requests - WARM_UP
    print("soak: %d requests (SEARCH, PRESENT, SCAN in turn), the last %d in %.1f s (%.0f a second)"
          % (options.requests, measured, seconds, measured / seconds))
    print("soak: resident memory %d kB after the warm-up, %d kB at the end" % (before[0], after[0]))
    print("soak: open descriptors %d after the warm-up, %d at the end" % (before[1], after[1]))
    if after[1] > before[1] or after[0] > before[0] + MEMORY_ALLOWANCE:
        sys.exit("soak: the client grew")


if __name__ == "__main__":
    main()
