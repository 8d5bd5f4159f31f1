#!/usr/bin/env python3
"""INITIALIZE, SEARCH, SCAN and CLOSE end to end: kestra-distributor drives
the real client against the scripted target (tests/peers/z3950_target.py),
natively or under Wine. Each table runs in one distributor run; a case's
lines carry a "Case" key (the client ignores it, the echo lines show it),
which splits the output. The target checks what the client put on the wire.
"""
import functools
import glob
import os
import re
import sys
import time
from collections import namedtuple

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "peers"))
import distributor_kit  # noqa: E402
import z3950_target as z  # noqa: E402

GRANTED = "110000110001001"     # the options the client asks for, scan (bit 7) included
NO_SCAN = "110000100001001"
QUERY_BOX = "Ostrel Web Client: Error in query formulation"
ECHO = "<echo>"  # in an expected list: the echo line of the case's next request line

INIT_FAILED = "INITIALIZE_RESPONSE,1001,Initialize Response Error - Session failed to start,"
SEARCH_REFUSED = "SEARCH_RESPONSE,2003,Scan Response Error - Invalid search attribute or search expression,"
NO_TERM = "SEARCH_RESPONSE,2004,Search Request Error - No search term supplied,"
NO_RPN = "SEARCH_RESPONSE,2003,Search Request Error - Failed to set up RPN search,"
NO_SCAN_SERVICE = "SCAN_RESPONSE,4002,Scan Request Error - The scan service is not supported,"
NO_RECORDS = "SCAN_RESPONSE,4003,Scan Request Error - Number of records must be supplied,"
CLOSED = "CLOSE_RESPONSE,0,,"


def field(value):
    """One response field as the client writes it."""
    text = str(value)
    if any(c in text for c in '",\r\n'):
        text = '"%s"' % text.replace('"', '""')
    return text + ","


def line(*fields):
    return "".join(field(value) for value in fields)


def init_ok(options=GRANTED, identified=True):
    """The response line to the scripted target's default initResponse."""
    pairs = "ProtocolVersion:111 ProtocolOptions:%s " % options
    if identified:
        pairs += 'ImplementationID:kst ImplementationName:"Scripted Target" ImplementationVersion:0.1 '
    return line("INITIALIZE_RESPONSE", 0, pairs + "PreferredMessageSize:32768 MaximumMessageSize:65536")


def quoted(value):
    return '"%s"' % value if " " in value else value


def request(request_type, **keys):
    """A request line; "target" among the keys stands for the scripted target's Server and Port."""
    return " ".join(["RequestType:" + request_type] +
                    ["{target}" if key == "target" else "%s:%s" % (key, quoted(str(value)))
                     for key, value in keys.items()])


def search(query, terms=1, **keys):
    return request("SEARCH", Query=query, Terms=terms, **keys)


init = functools.partial(request, "INITIALIZE", target=True)
scan = functools.partial(request, "SCAN")
present = functools.partial(request, "PRESENT")


CLOSE = request("CLOSE")
ACCEPT = z.answer(z.init_response())
EMPTY_SCAN = z.answer(z.scan_response([], returned=0))
ONLY_STEP_ZERO = z.answer(z.scan_response(None, returned=0, diagnostics=[z.default_diagnostic(205)]))


# files: lists of request lines (one list a file; a failed line must be its
# file's last); scripts: one step list per connection the case opens;
# expected: the output lines, ECHO for each echo; check(test, connections):
# what the target saw; box: whether the query message box shows (None: either).
case = Case = namedtuple("Case", "name files scripts expected check box", defaults=(None, False))


def session_case(name, lines, steps, expected, check=None, box=False):
    """A case of one file and one connection."""
    return case(name, [lines], [steps], expected, check, box)


def sent(*kinds):
    """A check that the client sent exactly these PDUs and then left."""
    def check(test, connections):
        test.assertTrue(connections[0].wait_end(10), "the connection is still open")
        test.assertEqual(connections[0].kinds(), list(kinds))
    return check


def ended_within(least, most):
    """A check that the client left the connection least to most seconds after its last PDU."""
    def check(test, connections):
        test.assertTrue(connections[0].wait_end(most + 5), "the client never left the target")
        elapsed = connections[0].ended_at - connections[0].received_at[-1]
        test.assertGreaterEqual(elapsed, least - 0.2)
        # The target notices the client's leaving at its next send, up to one drip later.
        test.assertLessEqual(elapsed, most + 1)
    return check


def echo_of(request_line):
    request_type = request_line.split()[0].split(":")[1]
    return line(request_type + "_REQUEST", 0, request_line + " Distributor:N Instance:1")


def split_by_case(lines):
    """{case name: its output lines}; each echo line starts a group of the case its Case key names."""
    groups, current = {}, None
    for text in lines:
        text = re.sub(r"Distributor:\d+", "Distributor:N", text)
        if re.match(r'^"?[A-Z]+_REQUEST,0,', text):
            match = re.search(r"Case:([\w.-]+)", text)
            current = match.group(1) if match else None
        groups.setdefault(current, []).append(text)
    return groups


class CaseTest(distributor_kit.DistributorTest):
    """Runs tables of cases (also for present_e2e.py)."""
    maxDiff = None

    def run_cases(self, cases, *arguments):
        """Runs every case's files through one client; checks lines, wire and message boxes."""
        with z.ScriptedTarget() as target:
            target_keys = "Server:127.0.0.1 Port:%d" % target.port
            connections, rendered, texts = {}, {}, []
            for c in cases:
                connections[c.name] = [target.play(*steps) for steps in c.scripts]
                files = [[text.replace("{target}", target_keys) + " Case:" + c.name for text in lines]
                         for lines in c.files]
                # LOAD writes no lines, so it has no echo.
                rendered[c.name] = [text for lines in files for text in lines
                                    if not text.startswith("RequestType:LOAD")]
                texts += ["".join(text + "\n" for text in lines) for lines in files]
            run = self.distribute(*arguments, texts=texts, timeout=300 + 10 * len(texts))
            groups = split_by_case(run.lines)
            for c in cases:
                with self.subTest(c.name):
                    echoes = iter(rendered[c.name])
                    expected = [echo_of(next(echoes)) if text == ECHO else text for text in c.expected]
                    self.assertEqual(groups.get(c.name, []), expected, run.errors)
                    if c.check:
                        c.check(self, connections[c.name])
            self.assertNotIn(None, groups, "lines of no case")
            self.assertEqual((target.pending(), target.unexpected), (0, 0), "scripts left, connections unplayed")
            boxes = run.errors.count(QUERY_BOX)
            least = sum(1 for c in cases if c.box)
            self.assertGreaterEqual(boxes, least, run.errors)
            self.assertLessEqual(boxes, least + sum(1 for c in cases if c.box is None), run.errors)
        return run


class SessionsTest(CaseTest):
    def test_initialize_and_close(self):
        cases = [
            session_case("accepted", [init()], [ACCEPT], [ECHO, init_ok()]),
            session_case("accepted-ff", [init()], [z.answer(z.init_response(result_octet=0xFF))], [ECHO, init_ok()]),
            session_case("unidentified-target", [init()],
                         [z.answer(z.init_response(implementation_id=None, implementation_name=None,
                                                   implementation_version=None))],
                         [ECHO, init_ok(identified=False)]),
            # A refused session cancels the lines behind it, and writes no trace.
            session_case("refused", [init(Trace=1), search("@use=4@term=x")],
                         [z.answer(z.init_response(result=False))],
                         [ECHO, "INITIALIZE_RESPONSE,1002,Initialize Response Error - Connection refused,"],
                         sent("initRequest")),
            session_case("close-then-close", [init(), CLOSE, CLOSE], [ACCEPT],
                         [ECHO, init_ok(), ECHO, CLOSED, ECHO, CLOSED], sent("initRequest")),
            case("initialize-twice", [[init(), init()]], [[ACCEPT], [ACCEPT]], [ECHO, init_ok(), ECHO, init_ok()],
                 sent("initRequest")),
            # The wait time-out keys; 0 waits without limit, so a late answer still counts.
            session_case("timeout-key", [init(Timeout=2)], [z.silent()], [ECHO, INIT_FAILED], ended_within(2, 9)),
            session_case("query-timeout-first", [init(QueryTimeout=2, Timeout=20)], [z.silent()], [ECHO, INIT_FAILED],
                         ended_within(2, 9)),
            session_case("no-limit", [init(QueryTimeout=0)], [z.answer(z.init_response(), delay=2.5)],
                         [ECHO, init_ok()]),
        ]
        self.run_cases(cases)
        self.assertEqual(glob.glob(os.path.join(self.directory, "*.trc")), [])

    def test_initialize_request_on_the_wire(self):
        defaults = dict(reference="NULL", version="111", options=GRANTED, preferred=10000, maximum=10000,
                        authentication=None, id="Vantor Systems (61)", name="Kestra Z39.50 Client",
                        version_text="1.1", others=[])

        def initialized(**changes):
            wanted = dict(defaults, **changes)

            def check(test, connections):
                test.assertEqual(init_fields(connections[0].pdu("initRequest")), wanted)
            return check

        table = [("defaults", {}, {}),
                 ("identity", dict(ImplementationId="X-1", ImplementationName="My Client",
                                   ImplementationVersion="9.2",
                                   PreferredMessageSize=4096, MaximumMessageSize=70000),
                  dict(id="X-1", name="My Client", version_text="9.2", preferred=4096, maximum=70000)),
                 ("user-only", dict(UserId="anne"), {}),
                 ("password-only", dict(Password="secret"), {}),
                 ("id-password", dict(UserId="anne", Password="secret"),
                  dict(authentication=("idPass", None, "anne", "secret"))),
                 ("open-replaces-id-password", dict(UserId="anne", Password="secret", OpenString="open/sesame"),
                  dict(authentication=("open", "open/sesame"))),
                 ("open-only", dict(OpenString="open sesame"), dict(authentication=("open", "open sesame")))]
        cases = [session_case(name, [init(**keys)], [ACCEPT], [ECHO, init_ok()], initialized(**changes))
                 for name, keys, changes in table]
        # The trace: a file named by the day of the year and the time.
        cases += [session_case("trace", [init(Trace=1), search("@use=4@term=x")],
                               [ACCEPT, z.answer(z.search_response(3))],
                               [ECHO, init_ok(), ECHO, "SEARCH_RESPONSE,0,Records:3,"])]
        started = time.time()
        self.run_cases(cases)
        finished = time.time()
        traces = [os.path.basename(path) for path in glob.glob(os.path.join(self.directory, "*.trc"))]
        self.assertEqual(len(traces), 1, traces)
        self.assertRegex(traces[0], r"^\d{9}\.trc$")
        stamps = {time.strftime("%j", time.localtime(moment)) for moment in (started, finished)}
        self.assertIn(traces[0][:3], stamps)
        self.assertGreater(os.path.getsize(os.path.join(self.directory, traces[0])), 0)

    def test_search(self):
        query = "@use=4@term=war"
        answered = [ECHO, init_ok(), ECHO]

        def search_case(name, steps, expected, check=None):
            return session_case(name, [init(), search(query)], [ACCEPT] + steps, answered + expected, check)

        # A failed search: on the status display, the first diagnostic with a text.
        diagnostics = [
            ("non-surrogate", z.non_surrogate_diagnostic(109, "nodb"),
             "The remote database is unavailable. Try again later. (Error: 109)"),
            ("first-without-text", z.multiple_non_surrogate_diagnostics(z.default_diagnostic(300),
                                                                        z.default_diagnostic(14)),
             "Cannot display the results - please retry or contact the host (Error: 14)"),
            ("surrogate", z.response_records(z.name_plus_record(z.surrogate_diagnostic(22), "db")),
             "You cannot name a set of hits. Try its allocated number. (Error: 22)"),
            ("no-records", None, None)]
        cases = [
            search_case("hits", [z.answer(z.search_response(42))], ["SEARCH_RESPONSE,0,Records:42,"],
                        sent("initRequest", "searchRequest")),
            search_case("no-hits", [z.answer(z.search_response(0))], ["SEARCH_RESPONSE,0,Records:0,"]),
            search_case("status-ff", [z.answer(z.search_response(7, status_octet=0xFF))],
                        ["SEARCH_RESPONSE,0,Records:7,"]),
            session_case("twice", [init(), search(query), search(query)],
                         [ACCEPT, z.answer(z.search_response(5)), z.answer(z.search_response(0, False))],
                         answered + ["SEARCH_RESPONSE,0,Records:5,", ECHO, SEARCH_REFUSED]),
            # After the target closed the session the association is gone: the toolkit refuses each operation.
            case("after-target-close", [[init(), search(query), scan(Query="a", Records=5)], [present()],
                                        [search(query)], [scan(Query="a", Records=5)]],
                 [[ACCEPT, z.answer(z.search_response(5)), z.send_close(1)]],
                 answered + ["SEARCH_RESPONSE,0,Records:5,", ECHO, "SCAN_RESPONSE,6000,Service session has Shut Down,",
                             ECHO, "PRESENT_RESPONSE,3000,Present Request Error - Invalid parameter (Error: 3),",
                             ECHO, "SEARCH_RESPONSE,2000,Search Request Error - Invalid parameter (Error: 3),",
                             ECHO, "SCAN_RESPONSE,2000,Scan Request Error - Invalid parameter (Error: 3),"]),
            case("without-session", [["RequestType:LOAD", CLOSE, search(query)]], [],
                 [ECHO, CLOSED, ECHO, "SEARCH_RESPONSE,2000,Search Request Error - Invalid parameter (Error: 3),"]),
        ]
        cases += [search_case("failed-" + name, [z.answer(z.search_response(0, False, records=records))],
                              [SEARCH_REFUSED]) for name, records, _ in diagnostics]
        run = self.run_cases(cases, "--keep")
        try:
            if not distributor_kit.WINE:
                shown = self.status_display(run.instance)
                for name, _, text in diagnostics[:-1]:
                    self.assertIn(text + "\n", shown, name)
        finally:
            self.distribute("--attach", str(run.instance))

    def test_query_formulation_failures_send_nothing(self):
        eleven = "@".join("use=4@term=t%d@op=OR" % i for i in range(11))[:-len("@op=OR")]
        long_term = "w" * 200
        table = [
            ("no-query", dict(Terms=1), NO_TERM, False),
            ("no-terms", dict(Query="@use=4@term=war"), NO_TERM, False),
            ("zero-terms", dict(Query="@use=4@term=war", Terms=0), NO_TERM, False),
            ("every-term-empty", dict(Query="@use=4@term=@op=AND@use=4@term=", Terms=2), NO_TERM, False),
            ("two-operators", dict(Query="@use=4@term=a@op=AND OR@use=4@term=b", Terms=2), NO_RPN, True),
            ("operator-at-start", dict(Query="@use=4@term=) a", Terms=1), NO_RPN, True),
            ("operator-at-end", dict(Query="@use=4@term=a@op=AND@use=4@term=(", Terms=2), NO_RPN, True),
            ("unbalanced", dict(Query="@use=4@term=( a@op=OR@use=4@term=b", Terms=2), NO_RPN, True),
            ("eleven-terms", dict(Query=eleven, Terms=11), NO_RPN, True),
            ("overlong-expression", dict(Query="@use=4@term=%s@op=OR@use=4@term=%s@op=OR@use=4@term=%s"
                                         % (long_term, long_term, long_term), Terms=3), NO_RPN, None),
            ("overlong-attributes", dict(Query="@use=%s@term=war" % ",".join(["1234567890123456789"] * 6),
                                         Terms=1), NO_RPN, None),
        ]
        cases = [session_case(name, [init(), request("SEARCH", **keys)], [ACCEPT], [ECHO, init_ok(), ECHO, response],
                              sent("initRequest"), box) for name, keys, response, box in table]
        self.run_cases(cases)

    def test_rpn_query_on_the_wire(self):
        def term(text, *attributes):
            return ("term", text, list(attributes))

        ten = "@".join("use=4@term=t%d@op=OR" % i for i in range(10))[:-len("@op=OR")]
        ten_tree = term("t0", (1, 4))
        for i in range(1, 10):
            ten_tree = ("or", ten_tree, term("t%d" % i, (1, 4)))
        table = [
            ("and-not", dict(Query="@use=4@term=War@op=AND NOT@use=21@term=Peace", Terms=2),
             ("and-not", term("war", (1, 4)), term("peace", (1, 21)))),
            ("plus-joins-words", dict(Query="@use=4@term=New+York", Terms=1), term("new york", (1, 4))),
            ("lower-case-operator-is-a-word", dict(Query="@use=4@term=Cat@op=and@use=21@term=Dog", Terms=2),
             term("cat and dog", (1, 4))),
            ("and-binds-tighter", dict(Query="@use=4@term=a@op=OR@use=4@term=b@op=AND@use=4@term=c", Terms=3),
             ("or", term("a", (1, 4)), ("and", term("b", (1, 4)), term("c", (1, 4))))),
            ("or-and-not-from-the-left", dict(Query="@use=4@term=a@op=AND-NOT@use=4@term=b@op=OR@use=4@term=c",
                                              Terms=3),
             ("or", ("and-not", term("a", (1, 4)), term("b", (1, 4))), term("c", (1, 4)))),
            ("parentheses", dict(Query="@use=4@term=( a@op=OR@use=21@term=b )@op=AND@use=1003@term=c", Terms=3),
             ("and", ("or", term("a", (1, 4)), term("b", (1, 21))), term("c", (1, 1003)))),
            ("empty-first-term", dict(Query="@use=4@term=@op=AND@use=21@term=Peace", Terms=2),
             term("peace", (1, 21))),
            ("all-six-attributes", dict(Query="@use=4,3,3,1,100,1@term=x", Terms=1),
             term("x", (1, 4), (2, 3), (3, 3), (4, 1), (5, 100), (6, 1))),
            ("zero-attributes-left-out", dict(Query="@use=4,0,3@term=x", Terms=1), term("x", (1, 4), (3, 3))),
            ("no-leading-at", dict(Query="use=1003@term=Smith", Terms=1), term("smith", (1, 1003))),
            ("ten-terms", dict(Query=ten, Terms=10), ten_tree),
        ]
        cases = [self.rpn_case(name, keys, tree) for name, keys, tree in table]
        sets = [("cimi", "CIMI", "1.2.840.10003.3.8"), ("cip", "CIP", "1.2.840.10003.3.2000.99.1"),
                ("bib1", "BIB1", z.BIB1), ("lower-case-bib1", "bib1", z.BIB1), ("unknown-set", "XYZ", z.BIB1)]
        cases += [self.rpn_case("set-" + name, dict(Query="@use=4@term=x", Terms=1, AnsiAttributeSet=value),
                                term("x", (1, 4)), attribute_set=oid) for name, value, oid in sets]
        cases += [self.rpn_case("database", dict(Query="@use=4@term=x", Terms=1, Database="gils"),
                                term("x", (1, 4)), database="gils")]
        self.run_cases(cases)

    def rpn_case(self, name, keys, tree, attribute_set=z.BIB1, database="KESTRA"):
        wanted = dict(tree=tree, attribute_set=attribute_set, databases=[database], small=0, large=1, medium=0,
                      replace=True, result_set="default", others=[])

        def check(test, connections):
            test.assertEqual(search_fields(connections[0].pdu("searchRequest")), wanted)
        return session_case(name, [init(), request("SEARCH", **keys)], [ACCEPT, z.answer(z.search_response(1))],
                            [ECHO, init_ok(), ECHO, "SEARCH_RESPONSE,0,Records:1,"], check)

    def test_scan(self):
        terms = [z.term_info("alpha", "Alpha", 3), z.surrogate_diagnostic(14), z.term_info("beta", None, 1),
                 z.term_info("gamma", "Gamma")]
        term_lines = ["1,0,Alpha,3,alpha,", "3,0,,1,beta,", "4,0,Gamma,0,gamma,"]
        standard = scan(Query="a", Records=5)

        def scan_case(name, steps, expected, lines=(standard,), check=None, options=GRANTED):
            accept = z.answer(z.init_response(options=options))
            return session_case(name, [init()] + list(lines), [accept] + steps,
                                [ECHO, init_ok(options), ECHO] + expected, check)

        def scanned(steps=None, **changes):
            """A check of the first scanRequest's fields, and of every scanRequest's step size."""
            wanted = dict(databases=["KESTRA"], attribute_set=z.BIB1, attributes=[(1, 1003)], term="a",
                          step=1, number=5, preferred=1, others=[])
            wanted.update(changes)

            def check(test, connections):
                requests = connections[0].all("scanRequest")
                test.assertEqual(scan_fields(requests[0]), wanted)
                if steps is not None:
                    test.assertEqual([optional_value(pdu, 5, "integer") for pdu in requests], steps)
            return check

        # Whatever the scan status (0 success, 5 partial, 6 failure), the entries are listed.
        cases = [scan_case("status-%d" % status, [z.answer(z.scan_response(terms, status=status))],
                           term_lines + ["SCAN_RESPONSE,0,Records:4,"]) for status in (0, 5, 6)] + [
            scan_case("quoted-fields", [z.answer(z.scan_response([z.term_info("a,b", 'say "hi"', 2)]))],
                      ['1,0,"say ""hi""",2,"a,b",', "SCAN_RESPONSE,0,Records:1,"]),
            scan_case("no-entries", [EMPTY_SCAN], ["SCAN_RESPONSE,0,,"]),
            # A target that scans only with step size 0 is asked once more so, and only once.
            scan_case("only-step-zero", [ONLY_STEP_ZERO, z.answer(z.scan_response(terms))],
                      term_lines + ["SCAN_RESPONSE,0,Records:4,"], check=scanned(steps=[1, 0])),
            scan_case("only-step-zero-twice", [ONLY_STEP_ZERO, ONLY_STEP_ZERO], ["SCAN_RESPONSE,0,,"],
                      check=scanned(steps=[1, 0])),
            scan_case("not-granted", [], [NO_SCAN_SERVICE], lines=[scan()], check=sent("initRequest"), options=NO_SCAN),
            scan_case("options-too-short", [], [NO_SCAN_SERVICE], check=sent("initRequest"), options="1100001"),
            scan_case("no-records", [], [NO_RECORDS], lines=[scan()], check=sent("initRequest")),
            scan_case("zero-records", [], [NO_RECORDS], lines=[scan(Query="a", Records=0)], check=sent("initRequest")),
            scan_case("no-query", [], ["SCAN_RESPONSE,4004,Scan Request Error - A search term must be supplied,"],
                      lines=[scan(Records=5)], check=sent("initRequest")),
        ]

        wire = [("defaults", {}, {}),
                ("term-as-given", dict(Query="Ab C"), dict(term="Ab C")),
                ("attributes-with-points", dict(Attribute="1.3"), dict(attributes=[(1, 1), (2, 3)])),
                ("attributes-with-commas", dict(Attribute="21,0,3"), dict(attributes=[(1, 21), (3, 3)])),
                ("all-six-attributes", dict(Attribute="4 3,3.1.100 1"),
                 dict(attributes=[(1, 4), (2, 3), (3, 3), (4, 1), (5, 100), (6, 1)])),
                ("position-above-count", dict(Records=10, PreferredPosition=15), dict(number=10, preferred=10)),
                ("position-zero", dict(PreferredPosition=0), {}),
                ("position-inside", dict(Records=10, PreferredPosition=4), dict(number=10, preferred=4)),
                ("step-zero", dict(StepSize=0), {}),
                ("step-three", dict(StepSize=3), dict(step=3)),
                ("database", dict(Database="gils"), dict(databases=["gils"]))]
        for name, keys, changes in wire:
            keys = dict(dict(Query="a", Records=5), **keys)
            cases.append(scan_case("wire-" + name, [EMPTY_SCAN], ["SCAN_RESPONSE,0,,"], lines=[scan(**keys)],
                                   check=scanned(**changes)))
        self.run_cases(cases)

    def test_idle_limit_is_the_last_wait_time_out(self):
        # The idle limit ends the client afterwards; the distributor waits for that.
        cases = [case("idle-limit", [["RequestType:LOAD SessionTimeout:2", init()]], [[z.silent()]],
                      [ECHO, INIT_FAILED], ended_within(2, 9))]
        self.run_cases(cases, "--wait-end")


def optional_value(element, tag, kind="text"):
    found = element.find(tag)
    return None if found is None else getattr(found, kind)


def others(pdu, *known):
    """The tags of the PDU's fields other than the known ones (numbers are context tags)."""
    known = {z.ctx(tag) if isinstance(tag, int) else tag for tag in known}
    return [child.tag for child in pdu.children if child.tag not in known]


# The fields of a request that the client fills, and the tags of any others.
def init_fields(pdu):
    authentication = pdu.find(7)
    if authentication is not None:
        form = authentication.children[0]
        authentication = (("open", form.text) if form.tag == z.VISIBLE_STRING else
                          ("idPass",) + tuple(optional_value(form, tag) for tag in (0, 1, 2)))
    return dict(reference=optional_value(pdu, 2), version=pdu.find(3).bits, options=pdu.find(4).bits,
                preferred=pdu.find(5).integer, maximum=pdu.find(6).integer, authentication=authentication,
                id=optional_value(pdu, 110), name=optional_value(pdu, 111), version_text=optional_value(pdu, 112),
                others=others(pdu, 2, 3, 4, 5, 6, 7, 110, 111, 112))


def search_fields(pdu):
    attribute_set, tree = z.rpn_query(pdu)
    return dict(tree=tree, attribute_set=attribute_set, databases=[name.text for name in pdu.find(18).children],
                small=pdu.find(13).integer, large=pdu.find(14).integer, medium=pdu.find(15).integer,
                replace=pdu.find(16).boolean, result_set=pdu.find(17).text,
                others=others(pdu, 13, 14, 15, 16, 17, 18, 21))


def scan_fields(pdu):
    start = pdu.find(102)
    return dict(databases=[name.text for name in pdu.find(3).children],
                attribute_set=optional_value(pdu, z.OID, "oid"),
                attributes=z.attribute_list(start.find(44)), term=start.find(45).text,
                step=optional_value(pdu, 5, "integer"), number=pdu.find(6).integer,
                preferred=optional_value(pdu, 7, "integer"), others=others(pdu, 3, 5, 6, 7, 102, z.OID))


if __name__ == "__main__":
    distributor_kit.main()
