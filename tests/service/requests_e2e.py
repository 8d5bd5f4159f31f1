#!/usr/bin/env python3
"""The request service end to end: kestra-distributor drives a real client
through the exchange files and the window messages, natively or under Wine."""
import os
import re
import socket
import struct
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "peers"))
import distributor_kit  # noqa: E402
from z3950_target import closed_port  # noqa: E402


class RequestServiceTest(distributor_kit.DistributorTest):
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

    def test_operations_without_a_session_answer_with_their_lines(self):
        # For CLOSE the client builds the request line itself from the message.
        port = closed_port()
        cases = [("INITIALIZE Server:127.0.0.1 Port:%d" % port,
                  'RequestType:INITIALIZE Server:127.0.0.1 Port:%d Distributor:\\d+ Instance:1' % port,
                  re.escape("INITIALIZE_RESPONSE,1000,Initialize Connect Error - Server does not exist or is not "
                            "working (Error: 31),") + "$"),
                 ('SEARCH Server:"my host"', '"RequestType:SEARCH Server:""my host"" Distributor:\\d+ Instance:1"',
                  "SEARCH_RESPONSE,2004,Search Request Error - No search term supplied,$"),
                 ('PRESENT Server:"my host"', '"RequestType:PRESENT Server:""my host"" Distributor:\\d+ Instance:1"',
                  "PRESENT_RESPONSE,3\\d\\d\\d,"),
                 ('SCAN Server:"my host"', '"RequestType:SCAN Server:""my host"" Distributor:\\d+ Instance:1"',
                  "SCAN_RESPONSE,4002,Scan Request Error - The scan service is not supported,$"),
                 ("CLOSE", "RequestType:CLOSE Distributor:\\d+ Instance:1", "CLOSE_RESPONSE,0,,$")]
        # One client for all five: each file is a submission of its own.
        run = self.distribute(texts=["RequestType:%s\n" % case[0] for case in cases])
        self.assertEqual(run.status, 1, run.errors)
        self.assertEqual(len(run.lines), 2 * len(cases), run.lines)
        for (request, echoed, response), echo_line, response_line in zip(cases, run.lines[::2], run.lines[1::2]):
            request_type = request.split()[0]
            with self.subTest(request_type):
                self.assertRegex(echo_line, "^%s_REQUEST,0,%s,$" % (request_type, echoed))
                self.assertRegex(response_line, "^" + response)

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
            if not distributor_kit.WINE:
                # A reader asks for the display's latest text with MSG_QUERY_STATE.
                self.distribute("--attach", str(run.instance), "--keep", "--query-state")
                status_display = os.path.join(os.environ.get("TMPDIR") or "/tmp", "kestra-windows",
                                              "%d.status" % run.instance)
                with open(status_display) as display:
                    self.assertEqual(display.readline(),
                                     "Request file does not fit the 5000-byte request queue: nothing queued\n")
        finally:
            self.distribute("--attach", str(run.instance))

    def test_a_connection_to_the_window_carries_one_message_or_several(self):
        if distributor_kit.WINE:
            self.skipTest("window messages are Windows' own under Wine")
        run = self.distribute("--keep", texts=["RequestType:LOAD\n"])
        try:
            window = os.path.join(os.environ.get("TMPDIR") or "/tmp", "kestra-windows", "%d.win" % run.instance)
            query_state = struct.pack("=IIqq", 1, 1077, 0, 0)  # sent MSG_QUERY_STATE

            def answers(connection, count):
                found = []
                for _ in range(count):
                    connection.sendall(query_state)
                    found.append(struct.unpack("=q", connection.recv(8, socket.MSG_WAITALL))[0])
                return found

            for messages_per_connection in (1, 3):
                with self.subTest(messages_per_connection=messages_per_connection):
                    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
                        connection.settimeout(10)
                        connection.connect(window)
                        self.assertEqual(answers(connection, messages_per_connection), [1] * messages_per_connection)
        finally:
            self.distribute("--attach", str(run.instance))

    def test_overlong_line_is_split_into_request_lines(self):
        # The 999-character head is a LOAD; the tail, a line of its own, has no type and fails.
        run = self.distribute(texts=["RequestType:LOAD Filler:%s\n" % ("x" * 1200)])
        self.assertEqual((run.status, run.lines), (1, []), run.errors)

if __name__ == "__main__":
    distributor_kit.main()
