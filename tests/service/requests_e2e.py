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
    def test_request_files_and_arguments(self):
        """Request files and command lines that give no response line: exit status and output."""
        load = "RequestType:LOAD\n"
        table = [  # name, arguments, request file texts, exit status, output lines
            ("load-then-exit", [], [load + "RequestType:EXIT\n"], 0, []),
            ("unknown-type-cancels-what-follows", [], [load + "RequestType:BOGUS\nRequestType:INITIALIZE\n"], 1, []),
            ("keys-match-only-at-a-word-start", [], [load + "XRequestType:SCAN RequestTypo:SCAN\n"], 1, []),
            ("empty-line-ends-the-queue", [], [load + "\nRequestType:SCAN\n"], 0, []),
            # The 999-character head is a LOAD; the tail, a line of its own, has no type and fails.
            ("overlong-line-is-split", [], ["RequestType:LOAD Filler:%s\n" % ("x" * 1200)], 1, []),
            ("query-state-before-any-session", ["--query-state"], [], 0, ["State:1"]),
        ] + [("usage-%d" % i, arguments, [], 2, None)
             for i, arguments in enumerate([[], ["missing.txt"], ["--timeout", "soon", "x.txt"], ["--bogus"]])]
        for name, arguments, texts, status, lines in table:
            with self.subTest(name):
                run = self.distribute(*arguments, texts=texts)
                self.assertEqual(run.status, status, run.errors)
                if lines is None:  # a usage error starts no client
                    self.assertIsNone(run.instance)
                else:
                    self.assertEqual(run.lines, lines)
                if name == "load-then-exit":
                    self.assertIn("client ended", run.errors)

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
        # One client for all five, and for a lower-case line: each file is a submission of its own.
        run = self.distribute(texts=["RequestType:%s\n" % case[0] for case in cases] + ["requesttype:scan\n"])
        self.assertEqual(run.status, 1, run.errors)
        self.assertEqual(len(run.lines), 2 * len(cases) + 2, run.lines)
        for (request, echoed, response), echo_line, response_line in zip(cases, run.lines[::2], run.lines[1::2]):
            request_type = request.split()[0]
            with self.subTest(request_type):
                self.assertRegex(echo_line, "^%s_REQUEST,0,%s,$" % (request_type, echoed))
                self.assertRegex(response_line, "^" + response)
        self.assertRegex(run.lines[-2], "^SCAN_REQUEST,0,")

    def test_two_instances_get_different_names(self):
        with self.kept() as first, self.kept() as second:
            self.assertEqual((first.status, second.status), (0, 0), first.errors + second.errors)
            self.assertIsNotNone(first.instance)
            self.assertNotEqual(first.instance, second.instance)

    def test_command_line_request_runs_at_start(self):
        run = self.distribute("--command-line", "RequestType:INITIALIZE Port:5")
        self.assertEqual(run.status, 1, run.errors)
        self.assertRegex(run.lines[0], r"^INITIALIZE_REQUEST,0,RequestType:INITIALIZE Port:5 Distributor:\d+")
        self.assertTrue(run.lines[1].startswith("INITIALIZE_RESPONSE,1000,"))

    def test_idle_client_ends_by_itself_and_deletes_its_response_file(self):
        started = time.monotonic()
        run = self.distribute("--wait-end", texts=[self.load_line("SessionTimeout:1"), "RequestType:SCAN\n"])
        self.assertLess(time.monotonic() - started, 25)
        self.assertEqual((run.status, len(run.lines)), (1, 2), run.lines)
        self.assertIn("client ended", run.errors)
        self.assertEqual(self.response_files(), [])

    def test_response_file_follows_the_load_settings(self):
        with self.kept(texts=[self.load_line(), "RequestType:SCAN\n"]) as run:
            self.assertEqual(len(run.lines), 2, run.errors)
            expected = os.path.join(self.directory, "KT%08X0000.tmp" % (run.instance & 0xFFFFFFFF))
            self.assertEqual(self.response_files(), [expected])

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

    def test_oversized_request_file_is_refused_whole(self):
        with self.kept(texts=["".join("RequestType:LOAD Filler:%s\n" % ("x" * 80) for _ in range(60))]) as run:
            self.assertEqual(run.status, 1)
            self.assertIn("did not accept", run.errors)
            if not distributor_kit.WINE:
                self.assertEqual(self.status_display(run.instance).split("\n")[0],
                                 "Request file does not fit the 5000-byte request queue: nothing queued")

    def test_a_connection_to_the_window_carries_one_message_or_several(self):
        if distributor_kit.WINE:
            self.skipTest("window messages are Windows' own under Wine")
        query_state = struct.pack("=IIqq", 1, 1077, 0, 0)  # sent MSG_QUERY_STATE
        with self.kept(texts=["RequestType:LOAD\n"]) as run:
            for messages_per_connection in (1, 3):
                with self.subTest(messages_per_connection=messages_per_connection), \
                        socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
                    connection.settimeout(10)
                    connection.connect(distributor_kit.window_file(run.instance, "win"))
                    for _ in range(messages_per_connection):
                        connection.sendall(query_state)
                        self.assertEqual(struct.unpack("=q", connection.recv(8, socket.MSG_WAITALL))[0], 1)


if __name__ == "__main__":
    distributor_kit.main()
