#!/usr/bin/env python3
"""The request service end to end: kestra-distributor drives a real client
through the exchange files and the window messages, natively or under Wine."""
import argparse
import glob
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest

BIN = ""
WINE = False


def distributor_command():
    if WINE:
        return ["wine", os.path.join(BIN, "kestra-distributor.exe")]
    return [os.path.join(BIN, "kestra-distributor")]


def client_path_for_tool(directory):
    """A directory as the client sees it: Wine maps the root to drive Z:."""
    return "Z:" + directory.replace("/", "\\") if WINE else directory


class Run:
    def __init__(self, status, output, errors):
        self.status = status
        self.lines = output.splitlines()
        self.errors = errors
        match = re.search(r"instance Tellan:(-?\d+)", errors)
        self.instance = int(match.group(1)) if match else None


class RequestServiceTest(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.mkdtemp(prefix="kestra-e2e-")
        self.files = 0

    def request_file(self, text):
        self.files += 1
        name = "request%d.txt" % self.files
        with open(os.path.join(self.directory, name), "w", newline="\n") as file:
            file.write(text)
        return name

    def distribute(self, *arguments, texts=(), timeout=60):
        command = distributor_command() + ["--verbose", "--timeout", "30"] + list(arguments)
        command += [self.request_file(text) for text in texts]
        # Files, not pipes: a client left running keeps its inherited descriptors open.
        with tempfile.TemporaryFile("w+") as output, tempfile.TemporaryFile("w+") as errors:
            status = subprocess.run(command, cwd=self.directory, stdout=output, stderr=errors,
                                    timeout=timeout).returncode
            output.seek(0)
            errors.seek(0)
            return Run(status, output.read(), errors.read())

    def load_line(self, extra=""):
        return "RequestType:LOAD TempPath:%s TempPrefix:KT %s\n" % (client_path_for_tool(self.directory), extra)

    def response_files(self):
        return glob.glob(os.path.join(self.directory, "KT*0000.tmp"))

    def test_load_then_exit_succeeds_and_the_client_ends(self):
        run = self.distribute(texts=["RequestType:LOAD\nRequestType:EXIT\n"])
        self.assertEqual(run.status, 0, run.errors)
        self.assertEqual(run.lines, [])
        self.assertIn("client ended", run.errors)

    def test_unknown_type_fails_and_cancels_the_lines_behind_it(self):
        text = self.load_line() + "RequestType:BOGUS\nRequestType:INITIALIZE\n"
        run = self.distribute(texts=[text])
        self.assertEqual(run.status, 1, run.errors)
        self.assertEqual(run.lines, [])

    def test_other_operations_answer_with_an_error_line(self):
        # For CLOSE the client builds the request line itself from the message.
        cases = [("INITIALIZE", "1000", '"RequestType:INITIALIZE Server:""my host"" Distributor:\\d+ Instance:1"'),
                 ("SEARCH", "2000", '"RequestType:SEARCH Server:""my host"" Distributor:\\d+ Instance:1"'),
                 ("PRESENT", "3000", '"RequestType:PRESENT Server:""my host"" Distributor:\\d+ Instance:1"'),
                 ("SCAN", "4002", '"RequestType:SCAN Server:""my host"" Distributor:\\d+ Instance:1"'),
                 ("CLOSE", "6000", "RequestType:CLOSE Distributor:\\d+ Instance:1")]
        for request_type, code, echoed in cases:
            with self.subTest(request_type):
                run = self.distribute(texts=["RequestType:%s Server:\"my host\"\n" % request_type])
                self.assertEqual(run.status, 1, run.errors)
                self.assertEqual(len(run.lines), 2, run.lines)
                self.assertRegex(run.lines[0], "^%s_REQUEST,0,%s,$" % (request_type, echoed))
                self.assertEqual(run.lines[1], "%s_RESPONSE,%s,%s is not available in this version,"
                                 % (request_type, code, request_type))

    def test_usage_errors_exit_with_two_and_start_no_client(self):
        for arguments in ([], ["missing.txt"], ["--timeout", "soon", "x.txt"], ["--bogus"]):
            with self.subTest(arguments):
                run = self.distribute(*arguments)
                self.assertEqual(run.status, 2, run.errors)
                self.assertIsNone(run.instance)

    def test_query_state_answers_one_before_any_session(self):
        run = self.distribute("--query-state")
        self.assertEqual(run.status, 0, run.errors)
        self.assertEqual(run.lines, ["State:1"])

    def test_two_instances_get_different_names(self):
        first = self.distribute("--keep")
        second = self.distribute("--keep")
        try:
            self.assertEqual((first.status, second.status), (0, 0), first.errors + second.errors)
            self.assertIsNotNone(first.instance)
            self.assertNotEqual(first.instance, second.instance)
        finally:
            for run in (first, second):
                if run.instance is not None:
                    self.distribute("--attach", str(run.instance))

    def test_command_line_request_runs_at_start(self):
        run = self.distribute("--command-line", "RequestType:INITIALIZE Port:5")
        self.assertEqual(run.status, 1, run.errors)
        self.assertRegex(run.lines[0], r"^INITIALIZE_REQUEST,0,RequestType:INITIALIZE Port:5 Distributor:\d+")
        self.assertTrue(run.lines[1].startswith("INITIALIZE_RESPONSE,1000,"))

    def test_idle_client_ends_by_itself_and_deletes_its_response_file(self):
        started = time.monotonic()
        run = self.distribute("--wait-end", texts=[self.load_line("SessionTimeout:1"), "RequestType:SCAN\n"])
        elapsed = time.monotonic() - started
        self.assertEqual(run.status, 1, run.errors)
        self.assertEqual(len(run.lines), 2, run.lines)
        self.assertIn("client ended", run.errors)
        self.assertLess(elapsed, 25)
        self.assertEqual(self.response_files(), [])

    def test_response_file_follows_the_load_settings(self):
        run = self.distribute("--keep", texts=[self.load_line(), "RequestType:SCAN\n"])
        try:
            self.assertEqual(len(run.lines), 2, run.errors)
            expected = os.path.join(self.directory, "KT%08X0000.tmp" % (run.instance & 0xFFFFFFFF))
            self.assertEqual(self.response_files(), [expected])
        finally:
            self.distribute("--attach", str(run.instance))

    def test_quoted_first_line_puts_the_process_in_quoted_mode_for_good(self):
        quoted_load = '"RequestType:LOAD" "SessionTimeout:30"\n'
        quoted_scan = '"RequestType:SCAN" "Server:my host"\n'
        run = self.distribute(texts=[quoted_load, quoted_scan, "RequestType:SCAN\n"])
        self.assertEqual(run.status, 1, run.errors)
        # The plain SCAN line is not understood any more: it fails without a line.
        self.assertEqual(len(run.lines), 2, run.lines)
        self.assertNotIn("time-out", run.errors)
        self.assertRegex(run.lines[0], r'^SCAN_REQUEST,0,"""RequestType:SCAN"" ""Server:my host"" '
                         r'""Distributor:\d+"" ""Instance:1""",$')

    def test_keys_match_without_regard_to_case_only_at_a_word_start(self):
        run = self.distribute(texts=["requesttype:scan\n"])
        self.assertTrue(run.lines and run.lines[0].startswith("SCAN_REQUEST,0,"), run.lines)
        run = self.distribute(texts=["RequestType:LOAD\nXRequestType:SCAN RequestTypo:SCAN\n"])
        self.assertEqual((run.status, run.lines), (1, []))

    def test_empty_line_ends_the_queue(self):
        run = self.distribute(texts=["RequestType:LOAD\n\nRequestType:SCAN\n"])
        self.assertEqual((run.status, run.lines), (0, []), run.errors)

    def test_oversized_request_file_is_refused_whole(self):
        lines = "".join("RequestType:LOAD Filler:%s\n" % ("x" * 80) for _ in range(60))
        run = self.distribute("--keep", texts=[lines])
        try:
            self.assertEqual(run.status, 1)
            self.assertIn("did not accept", run.errors)
            if not WINE:
                status_display = os.path.join(os.environ.get("TMPDIR") or "/tmp", "kestra-windows",
                                              "%d.status" % run.instance)
                with open(status_display) as display:
                    self.assertEqual(display.readline(),
                                     "Request file does not fit the 5000-byte request queue: nothing queued\n")
        finally:
            self.distribute("--attach", str(run.instance))

    def test_overlong_line_is_split_into_request_lines(self):
        # The 999-character head is a LOAD; the tail, a line of its own, has no type and fails.
        run = self.distribute(texts=["RequestType:LOAD Filler:%s\n" % ("x" * 1200)])
        self.assertEqual((run.status, run.lines), (1, []), run.errors)

def main():
    global BIN, WINE
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", action="store_true")
    options, rest = parser.parse_known_args()
    BIN, WINE = options.bin, options.wine
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    main()
