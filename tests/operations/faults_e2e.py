#!/usr/bin/env python3
"""Hostile and broken targets end to end, cases as in sessions_e2e.py: every
fault meets INITIALIZE, SEARCH, PRESENT and SCAN in one client; each case
must end with its status line within its time, then a new session opens."""
import os
import sys
from collections import namedtuple

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "peers")]
import distributor_kit  # noqa: E402
import sessions_e2e as s  # noqa: E402
import z3950_target as z  # noqa: E402
from sessions_e2e import ECHO, init  # noqa: E402

# The wait time-out of the matrix: one second without an octet fails an
# operation, and ten seconds end it however its octets trickle in.
WAIT = 1
PAD = "NULL" * 10  # a reference id that makes every answer long enough to drip past ten seconds
CLOSE_TEXTS = ["Service session has Finished", "Service session has Shut Down",
               "Service has encountered a System Problem - Session has ended",
               "Service session has Closed due to Cost Limits", "Service session has Finished for lack of Resources",
               "Service session has Closed due to a Security Violation",
               "Service session has Closed due to a Protocol Error",
               "Service session has Closed due to a Lack of Activity",
               "Service session has Closed - the Operation was Aborted",
               "Service session has Closed - no reason is given by the Service"]


class Operation(namedtuple("Operation", "name lines before shown answer answered other probe failed")):
    """lines: the request lines after the INITIALIZE (none: the INITIALIZE is the
    operation); before: the answers to the lines before the operation, shown:
    their output lines; answer: the operation's good answer (octets) and
    answered: its output lines; other: a valid PDU of another type; probe: a
    request line sent after the operation, failed: the start of the
    operation's response-error line ("TAG_RESPONSE,code,text")."""


SEARCH = s.search("@use=4@term=x")
OPERATIONS = [
    Operation("initialize", [], [], [], z.init_response(reference=PAD), [s.init_ok()], z.search_response(3), SEARCH,
              "INITIALIZE_RESPONSE,1001,Initialize Response Error - Session failed to start"),
    Operation("search", [SEARCH], [s.ACCEPT], [s.init_ok(), ECHO], z.search_response(3, reference=PAD),
              ["SEARCH_RESPONSE,0,Records:3,"], z.present_response(), SEARCH,
              "SEARCH_RESPONSE,2001,Search Response Error - Unspecified failure"),
    Operation("present", [SEARCH, s.present(Records=1)], [s.ACCEPT, z.answer(z.search_response(5))],
              [s.init_ok(), ECHO, "SEARCH_RESPONSE,0,Records:5,", ECHO],
              z.present_response(1, reference=PAD, records=z.response_records(
                  z.name_plus_record(z.retrieval_record(z.USMARC, "rec")))),
              ["1,0,rec,", "PRESENT_RESPONSE,0,StartFrom:1 Records:1,"],
              z.search_response(3), s.present(), "PRESENT_RESPONSE,3001,Present Response Error - Unspecified failure"),
    Operation("scan", [s.scan(Query="a", Records=1)], [s.ACCEPT], [s.init_ok(), ECHO],
              z.scan_response([z.term_info("alpha", "Alpha", 3)], reference=PAD),
              ["1,0,Alpha,3,alpha,", "SCAN_RESPONSE,0,Records:1,"], z.search_response(3), s.scan(Query="a", Records=1),
              "SCAN_RESPONSE,2001,Scan Response Error - Unspecified failure"),
]


def failure(operation, error=None):
    """The operation's response-error line, with the toolkit's error number when given."""
    return operation.failed + ("" if error is None else " (Error: %d)" % error) + ","


def framed(operation, rest):
    """The identifier octets of the operation's answer, then rest."""
    return z.identifier(z.decode(operation.answer).tag, True) + rest


ended_within = s.ended_within
AT_ONCE = ended_within(0, 2)
CLOSE_ERROR = {"initialize": 81}  # a Close in place of the Initialize's answer is an error for the state machine

# name, the target's step for the operation, the error number of the
# operation's failure line (None: none) or the output lines after the
# operation's echo (with an echo: the probe follows the operation), or a
# function of the operation giving either; the check.
FAULTS = [
    # Wine's sockets take a reset for an orderly close, which reports no error number (known once --wine is read).
    ("reset-mid-pdu", lambda o: z.half(o.answer, "reset"), lambda o: None if distributor_kit.WINE else 2, AT_ONCE),
    ("close-after-half", lambda o: z.half(o.answer, "close"), None, AT_ONCE),
    ("stall-mid-pdu", lambda o: z.half(o.answer, "stall"), 2, ended_within(WAIT, WAIT)),
    ("drip", lambda o: z.drip(o.answer, 0.3), None, ended_within(10 * WAIT, 10 * WAIT + 1)),
    ("hang-up", lambda o: z.hang_up(), None, AT_ONCE),
    ("silent", lambda o: z.silent(), None, ended_within(WAIT, WAIT)),
    # A well-framed PDU of the answer's type whose contents are no valid fields.
    ("garbage", lambda o: z.answer(framed(o, b"\x06\xff\xff\xff\xff\xff\xff")), 60, None),
    # The header of a PDU of the answer's type that announces 2 GB, and a few octets of it.
    ("beyond-receive-limit", lambda o: z.answer(framed(o, b"\x84\x7f\xff\xff\xff" + b"\0" * 16)), 2, AT_ONCE),
    ("wrong-type", lambda o: z.answer(o.other), 81, None),
    ("close-reason-99", lambda o: z.send_close(99), lambda o: CLOSE_ERROR.get(o.name), AT_ONCE),
    # The answer and a Close in one segment: the answer counts, the Close ends the next request.
    ("two-pdus-in-one-segment", lambda o: z.answer(o.answer + z.close(1)),
     lambda o: o.answered + [ECHO, o.probe.split()[0][12:] + "_RESPONSE,6000,%s," % CLOSE_TEXTS[1]], AT_ONCE),
] + [("close-reason-%d" % reason, lambda o, reason=reason: z.send_close(reason, "bye"),
      lambda o, text=text: [failure(o, 81) if o.name in CLOSE_ERROR else o.failed.split(",")[0] + ",6000,%s," % text],
      AT_ONCE) for reason, text in enumerate(CLOSE_TEXTS)]


def fault_case(operation, fault):
    name, step, error, check = fault
    lines = error(operation) if callable(error) else error
    lines = lines if isinstance(lines, list) else [failure(operation, lines)]
    first = [init(QueryTimeout=WAIT)] + operation.lines + [operation.probe] * (ECHO in lines)
    return s.case(operation.name + "-" + name, [first],
                  [operation.before + [step(operation)]], [ECHO] + operation.shown + lines, check)


def slow_case(operation):
    """An answer that comes after more than the idle limit (2 seconds) still
    reaches the distributor whole: the idle limit counts from the request's end."""
    first = ["RequestType:LOAD SessionTimeout:2", init(QueryTimeout=6)] + operation.lines
    return s.case(operation.name + "-slower-than-idle-limit", [first],
                  [operation.before + [z.answer(operation.answer, delay=3)]],
                  [ECHO] + operation.shown + operation.answered)


def deep_case(depth, message_size):
    """A PRESENT in GRS-1 of one record nested depth deep, inside the receive
    limit of a session that asked for messages of message_size octets."""
    record = z.deep_generic_record(depth)
    records = z.response_records(z.name_plus_record(z.retrieval_record(z.GRS1, single_asn1=record)))
    accept = z.answer(z.init_response(preferred=message_size, maximum=message_size))
    sizes = dict(PreferredMessageSize=message_size, MaximumMessageSize=message_size)
    accepted = s.init_ok().replace("PreferredMessageSize:32768 MaximumMessageSize:65536",
                                   "PreferredMessageSize:%d MaximumMessageSize:%d" % (message_size, message_size))
    lines = [init(QueryTimeout=30, **sizes), SEARCH, s.present(Records=1, RecordSyntax="GENERIC")]
    return s.case("present-%d-deep" % depth, [lines],
                  [[accept, z.answer(z.search_response(5)), z.answer(z.present_response(1, records=records))]],
                  [ECHO, accepted, ECHO, "SEARCH_RESPONSE,0,Records:5,", ECHO,
                   "PRESENT_RESPONSE,3001,Present Response Error - Unspecified failure (Error: 60),"])


def each_followed_by_initialize(cases, fails_to_open=()):
    """The cases, each followed by an INITIALIZE that the client must serve:
    the next case's own, or one of its own before a case whose INITIALIZE
    the target fails (fails_to_open names them) and at the end."""
    followed = []
    for c, after in zip(cases, cases[1:] + [None]):
        if after is None or after.name in fails_to_open:
            c = c._replace(files=c.files + [[init()]], scripts=c.scripts + [[s.ACCEPT]],
                           expected=c.expected + [ECHO, s.init_ok()])
        followed.append(c)
    return followed


class FaultsTest(s.CaseTest):
    def test_fault_matrix(self):
        cases = [fault_case(operation, fault) for fault in FAULTS for operation in OPERATIONS]
        # Last: these lower the idle limit for the rest of the client's life.
        cases += [slow_case(operation) for operation in OPERATIONS]
        self.run_cases(each_followed_by_initialize(cases, ["initialize-" + fault[0] for fault in FAULTS]))

    # Records nested far beyond the decoder's bound (code 60), in a client of
    # their own, so that a client dying of its stack spoils no other row.
    def test_deeply_nested_records(self):
        self.run_cases(each_followed_by_initialize([deep_case(20000, 1000000), deep_case(50000, 4000000)]))


if __name__ == "__main__":
    distributor_kit.main()
