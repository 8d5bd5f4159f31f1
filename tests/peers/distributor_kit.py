#!/usr/bin/env python3
"""Running the real client through kestra-distributor from end-to-end tests.

A suite calls main(): "--bin DIR" names the programs, "--wine[=LOADER]" runs
the Windows ones under Wine (the caller sets up its environment), and
KESTRA_TIME_SCALE (default 1) multiplies every wait. DistributorTest.distribute()
writes the request files into the test's own directory, runs the distributor
there and returns what it printed; a sanitizer report on its standard error
(which the client inherits) fails the test once its own checks are done.
"""
import argparse
import contextlib
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BIN = ""
WINE = None  # the Wine loader, None for native programs
TIME_SCALE = float(os.environ.get("KESTRA_TIME_SCALE", "1"))

SANITIZER_MARKS = ("Sanitizer", "runtime error:")


def distributor_command():
    return [WINE, os.path.join(BIN, "kestra-distributor.exe")] if WINE else [os.path.join(BIN, "kestra-distributor")]


def client_path_for_tool(directory):
    """A directory as the client sees it: Wine maps the root to drive Z:."""
    return "Z:" + directory.replace("/", "\\") if WINE else directory


def window_file(instance, kind):
    """A client's window file on POSIX: "win" (its socket) or "status" (its status display)."""
    return os.path.join(os.environ.get("TMPDIR") or "/tmp", "kestra-windows", "%d.%s" % (instance, kind))


def response_lines(output):
    """The lines of the output, split at line feeds only (MARC records hold 0x1D and 0x1E,
    which str.splitlines takes for line ends); a line feed inside a quoted field stays in its line."""
    return [text[:-1] if text.endswith("\n") else text
            for text in re.findall(r'(?:"[^"]*"|[^"\n])*(?:\n|[^\n]$)', output)]


class Run:
    """What one distributor run gave: exit status, stdout lines (latin-1), stderr text, the client's instance number."""

    def __init__(self, status, output, errors):
        self.status, self.lines, self.errors = status, response_lines(output), errors
        match = re.search(r"instance Tellan:(-?\d+)", errors)
        self.instance = int(match.group(1)) if match else None


class DistributorTest(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.mkdtemp(prefix="kestra-e2e-")
        self.addCleanup(shutil.rmtree, self.directory, True)
        self.files, self.sanitizer_reports = 0, []
        self.addCleanup(lambda: self.assertEqual(self.sanitizer_reports, [], "sanitizer reports:\n" +
                                                 "\n".join(self.sanitizer_reports)))

    def request_file(self, text):
        self.files += 1
        name = "request%d.txt" % self.files
        with open(os.path.join(self.directory, name), "w", newline="\n") as file:
            file.write(text)
        return name

    def distribute(self, *arguments, texts=(), timeout=60, wait=30):
        """Runs the distributor over one request file per text; wait is its --timeout (both scaled)."""
        timeout, wait = timeout * TIME_SCALE, round(wait * TIME_SCALE)
        command = distributor_command() + ["--verbose", "--timeout", str(wait)] + list(arguments)
        command += [self.request_file(text) for text in texts]
        # Files, not pipes: a client left running keeps its inherited descriptors open.
        with tempfile.TemporaryFile("w+", encoding="latin-1", newline="") as output, \
                tempfile.TemporaryFile("w+", errors="replace") as errors:
            status = subprocess.run(command, cwd=self.directory, stdout=output, stderr=errors,
                                    timeout=timeout).returncode
            output.seek(0)
            errors.seek(0)
            run = Run(status, output.read(), errors.read())
        if any(mark in run.errors for mark in SANITIZER_MARKS):
            self.sanitizer_reports.append(run.errors)
        return run

    @contextlib.contextmanager
    def kept(self, *arguments, texts=()):
        """A run with --keep; the client it left running is ended afterwards."""
        run = self.distribute("--keep", *arguments, texts=texts)
        try:
            yield run
        finally:
            if run.instance is not None:
                self.distribute("--attach", str(run.instance))

    def status_display(self, instance):
        """A kept client's status display (a file on POSIX), published before it answers a query of its state."""
        self.distribute("--attach", str(instance), "--keep", "--query-state")
        with open(window_file(instance, "status")) as display:
            return display.read()

    def load_line(self, extra=""):
        return "RequestType:LOAD TempPath:%s TempPrefix:KT %s\n" % (client_path_for_tool(self.directory), extra)

    def response_files(self):
        return glob.glob(os.path.join(self.directory, "KT*0000.tmp"))


def main():
    """Reads --bin and --wine[=LOADER], then runs the calling module's tests."""
    global BIN, WINE
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", nargs="?", const="wine")
    options, rest = parser.parse_known_args()
    BIN, WINE = os.path.abspath(options.bin), options.wine
    unittest.main(module="__main__", argv=[sys.argv[0]] + rest, verbosity=2)
