#!/usr/bin/env python3
"""PRESENT and the record renderers end to end against the scripted target,
all cases in one distributor run as in sessions_e2e.py; then the readable
display of the records (--show-marc)."""
import os
import sys
from collections import namedtuple

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "peers")]
import distributor_kit  # noqa: E402
import marc_records as marc  # noqa: E402
import sessions_e2e as s  # noqa: E402
import z3950_target as z  # noqa: E402
from sessions_e2e import ECHO, init, line, present  # noqa: E402

BIB = marc.record(("001", "kim-1"), ("245", '10\x1faKim, a "novel"'))
FAILED = {code: "PRESENT_RESPONSE,%d,Present Request Error - %s," % (code, text) for code, text in [
    (3002, "Starting Position cannot be zero"), (3003, "No Rows to Present"),
    (3005, "Starting Position greater then Rows Found")]}
GRSBRIEF = '# tag type, tag value, name, shown\n2 1 "Title" True\n2 2 Author True\n2 3 "Hidden" False\n1 16 Date True\n'


def done(start, count):
    return "PRESENT_RESPONSE,0,StartFrom:%d Records:%d," % (start, count)


def present_case(name, hits, lines, answers, expected, check=None):
    """A session that finds hits records, then runs the lines."""
    return s.session_case(name, [init(), s.search("@use=4@term=x")] + lines,
                          [s.ACCEPT, z.answer(z.search_response(hits))] + answers,
                          [ECHO, s.init_ok(), ECHO, "SEARCH_RESPONSE,0,Records:%d," % hits] + expected, check)


def response(*entries, status=0, before=None):
    """A presentResponse answer carrying these NamePlusRecords."""
    return z.answer(z.present_response(len(entries), status=status, records=z.response_records(*entries)),
                    before=before)


def entry(syntax, data=None, **encoding):
    """A NamePlusRecord of a retrieval record: data octet-aligned, or as z.external() takes it."""
    return z.name_plus_record(z.retrieval_record(syntax, data, **encoding))


Batch = namedtuple("Batch", "answer lines")


def batch(first, count):
    """An answer of records "p<position>", and the record lines they give."""
    positions = range(first, first + count)
    return Batch(response(*[entry(z.USMARC, "p%d" % p) for p in positions]), [line(p, 0, "p%d" % p) for p in positions])


def asked(*batches):
    """A check that the client asked for these batches: (start, count) or (start, count, element set, syntax)."""
    def check(test, connections):
        requests = connections[0].all("presentRequest")
        got = [(pdu.find(30).integer, pdu.find(29).integer, pdu.find(19, 0).text,
                None if pdu.find(104) is None else pdu.find(104).oid) for pdu in requests]
        test.assertEqual([fields[:len(wanted)] for fields, wanted in zip(got, batches)], list(batches))
        test.assertEqual([pdu.find(31).text for pdu in requests], ["default"] * len(batches))
    return check


def paging_cases():
    one, page, next_page, last, three, rest = [batch(*b) for b in ((1, 1), (2, 5), (7, 5), (24, 2), (1, 3), (4, 7))]
    diagnostics = [(z.non_surrogate_diagnostic(13, "gone"), "PRESENT_RESPONSE,3001,You have asked for a record that "
                    "does not exist. Please correct the request. (Error: 13),"),
                   (z.multiple_non_surrogate_diagnostics(z.default_diagnostic(300), z.default_diagnostic(14)),
                    "PRESENT_RESPONSE,3001,Cannot display the results - please retry or contact the host (Error: 14),"),
                   (z.non_surrogate_diagnostic(300), done(1, 0)),  # a condition without a text is passed over
                   (None, done(1, 0))]
    return [
        present_case("paging", 25, [present(), present(Records=5), present(), present(StartFrom=24, Records=10),
                                    present()], [one.answer, page.answer, next_page.answer, last.answer],
                     [ECHO] + one.lines + [done(1, 1), ECHO] + page.lines + [done(2, 5), ECHO] + next_page.lines +
                     [done(7, 5), ECHO] + last.lines + [done(24, 2), ECHO, FAILED[3005]],
                     asked((1, 1), (2, 5), (7, 5), (24, 2))),
        # 3 of 10 returned: asked again from the 4th; the next page follows that last batch.
        present_case("rest-asked-again", 10, [present(StartFrom=1, Records=10), present()], [three.answer, rest.answer],
                     [ECHO] + three.lines + rest.lines + [done(1, 10), ECHO, FAILED[3005]], asked((1, 10), (4, 7))),
        present_case("none-returned-stops", 10, [present(StartFrom=1, Records=5)], [three.answer, response()],
                     [ECHO] + three.lines + [done(1, 3)], asked((1, 5), (4, 2))),
        present_case("no-hits", 0, [present(StartFrom=1, Records=1)], [], [ECHO, FAILED[3003]], asked()),
        s.session_case("no-search", [init(), present()], [s.ACCEPT], [ECHO, s.init_ok(), ECHO, FAILED[3003]]),
        s.case("after-failed-search", [[init(), s.search("@use=4@term=x")], [present()]],
               [[s.ACCEPT, z.answer(z.search_response(0, False))]],
               [ECHO, s.init_ok(), ECHO, s.SEARCH_REFUSED, ECHO, FAILED[3003]]),
    ] + [present_case("diagnostic-%d" % i, 5, [present(Records=2)],
                      [z.answer(z.present_response(0, status=5, records=records))], [ECHO, last_line])
         for i, (records, last_line) in enumerate(diagnostics)]


def syntax_cases():
    """Every "RecordSyntax" (any case; other names let the target choose) and "RecordDetails" on the wire."""
    syntaxes = [("USMARC", "5.10"), ("ukmarc", "5.11"), ("UNIMARC", "5.1"), ("NORMARC", "5.12"), ("DanMarc", "5.14"),
                ("FINMARC", "5.15"), ("CANMARC", "5.17"), ("LIBRISMARC", "5.13"), ("PICAMARC", "5.19"),
                ("sutrs", "5.101"), ("Summary", "5.103"), ("GENERIC", "5.105"), ("opac", "5.102"),
                ("Service Choice", None), ("XML", None)]
    details = [("brief", "B"), ("b", "B"), ("", "F"), ("Full", "F"), ("xB", "F")] * 3
    lines = [present(StartFrom=1, Records=1)] + [present(StartFrom=1, Records=1, RecordSyntax=name, RecordDetails=d)
                                                 for (name, _), (d, _) in zip(syntaxes, details)]
    wanted = [(1, 1, "F", z.USMARC)] + [(1, 1, element_set, oid and "1.2.840.10003." + oid)
                                        for (_, oid), (_, element_set) in zip(syntaxes, details)]
    return [present_case("syntaxes", 1, lines, [response()] * len(lines), [ECHO, done(1, 0)] * len(lines),
                         asked(*wanted))]


def bit_text(octets):
    return "".join(format(octet, "08b") for octet in octets)


def record_cases():
    """Every kind of record, from position 3, in one answer with a partial present status."""
    table = [(entry(z.USMARC, BIB), 0, BIB), (entry("1.2.840.10003.5.1", BIB), 0, BIB),
             (entry(z.SUTRS, "sutrs, as octets"), 0, "sutrs, as octets"),
             (entry(z.USMARC, ""), 1, "Unknown record type (Not MARC or SUTRS)"),
             (entry(z.USMARC, b"cut\0here"), 0, "cut"),
             (entry(z.SUTRS, single_asn1=z.string('two\nlines, "q"\r')), 0, 'two\nlines, "q"\r'),
             (entry(z.SUTRS, single_asn1=z.string("")), 0, ""),
             (entry(z.SUMMARY, single_asn1=z.summary_record("Moby Dick")), 0, "Title:\nMoby Dick"),
             # Arbitrary bits: the octets that carry them, as text; a last partial octet too.
             (entry(None, arbitrary=bit_text(b"ABC")), 0, "ABC"),
             (entry(None, arbitrary=bit_text(b"A@")[:10]), 0, "A@"),
             (entry(None, arbitrary=""), 0, ""),
             (z.name_plus_record(z.surrogate_diagnostic(14)), 14,
              "Cannot display the results - please retry or contact the host"),
             (z.name_plus_record(z.surrogate_diagnostic(34, "no text")), 34, ""),
             (entry("1.2.840.10003.5.109.3", single_asn1=z.string("<p/>")), None, None)]  # no line, still counted
    return [present_case("record-kinds", 30, [present(StartFrom=3, Records=len(table))],
                         [response(*[record for record, _, _ in table], status=1)],
                         [ECHO] + [line(3 + i, status, text) for i, (_, status, text) in enumerate(table)
                                   if status is not None] + [done(3, len(table))])]


def opac_cases():
    every_holding = {name: name for name in z.HOLDINGS_TAGS}
    copies = [dict({name: name for name in z.CIRCULATION_TAGS}, availableNow=True, renewable=False, onHold=False),
              dict(itemId="i2", onHold=True, renewable=True), {}]
    table = [  # holdings records, and the (holdings, copy) of each 937 field expected
        (None, []), ([z.holdings_record()], []),
        ([z.holdings_record(callNumber="QA76", copyNumber="2")], [(dict(callNumber="QA76", copyNumber="2"), None)]),
        ([z.external(z.USMARC, BIB, tag=z.ctx(1)),
          z.holdings_record([z.circulation_record(**copy) for copy in copies], **every_holding)],
         [(every_holding, copy) for copy in copies]),
        ([z.holdings_record([z.circulation_record()])], [({}, {})])]
    entries = [entry(z.OPAC, single_asn1=z.opac_record(BIB, holdings)) for holdings, _ in table]
    expected = [line(i + 1, 0, marc.record(*marc.fields(BIB) + [("937", marc.holdings_field(*copy)) for copy in added]))
                for i, (_, added) in enumerate(table)]
    entries.append(entry(z.OPAC, single_asn1=z.opac_record(None, [z.holdings_record(callNumber="QA76")])))
    expected.append(line(len(table) + 1, 1, "Invalid OPAC record data"))
    return [present_case("opac", 10, [present(StartFrom=1, Records=len(entries), RecordSyntax="OPAC")],
                         [response(*entries)], [ECHO] + expected + [done(1, len(entries))])]


def generic_cases(table_path):
    """GRS-1 with GRSBRIEF in the client's directory, then without it: (element, its text with, without)."""
    e = z.tagged_element
    both = [(e(3, "Note", z.boolean(False)), "<B>Note:</B>   True<BR>"),
            (e(3, "Id", z.oid("1.2.3.4")), "<B>Id:</B>   1.2.3.4<BR>"),
            (e(3, "Ext", z.external(z.USMARC, "x")), "<B>Ext:</B>   EDT_Ext<BR>"),
            (e(None, 1, z.subtree(e(3, "Lost", z.string("x")))), "Badly formed generic record - report b "),
            (e(3, "Lines", z.string("a\nb\r")), "<B>Lines:</B>   a b <BR>")]
    table = [(e(2, 1, z.string("Kim")), "<B>Title:</B>   Kim<BR>", ""),
             (e(2, 2, z.integer(42)), "<B>Author:</B>   42   <BR>", ""),
             (e(2, 3, z.string("no")), "", ""), (e(2, 9, z.string("unlisted")), "", ""),
             (e(3, 7, z.string("numeric tag")), "", ""), (e(2, "Title", z.string("string tag")), "", ""),
             (e(1, 16, z.null(z.ctx(2))), "<B>Date:</B>   (data not provided)<BR>", ""),
             (e(2, 1, z.subtree(e(2, 1, z.octets("x")),
                                e(2, 9, z.subtree(e(3, "Deep", z.string("20240101", z.GENERALIZED_TIME)))))),
              "<B></B><B>Title:</B>   x<BR><B>Deep:</B>   20240101<BR>", "<B>Deep:</B>   20240101<BR>")]
    table += [(element, text, text) for element, text in both]
    record = entry(z.GRS1, single_asn1=z.sequence(z.SEQUENCE, *[element for element, _, _ in table]))
    unlisted = entry(z.GRS1, single_asn1=z.sequence(z.SEQUENCE, e(2, 9, z.string("u"))))
    return [present_case("generic", 5, [present(StartFrom=1, Records=2, RecordSyntax="GENERIC"), present(Records=1)],
                         [response(record, unlisted), response(record, before=lambda: os.remove(table_path))],
                         [ECHO, line(1, 0, "".join(text for _, text, _ in table)),
                          line(2, 1, "Invalid GENERIC record data"), done(1, 2),
                          ECHO, line(3, 0, "".join(text for _, _, text in table)), done(3, 1)])]


def wrapping_cases():
    """A count that saturates makes the next start wrap below 1 (last: it ends a client that traps overflow)."""
    three = batch(1, 3)
    return [present_case("start-below-one", 3, [present(StartFrom=1, Records="9" * 20), present()], [three.answer],
                         [ECHO] + three.lines + [done(1, 3), ECHO, FAILED[3002]], asked((1, 3)))]


def show_marc_cases():
    """--show-marc: MARC-8 records in UTF-8 (diacritics after their letters, Cyrillic, an unknown set),
    a UTF-8 record as it is, the 937 holdings fields, other records under their syntax."""
    marc8 = marc.record(("001", "m8-1"), ("100", "1 \x1faDvo\xe9r\xe2ak, Anton\xe2in,\x1fd1841-1904."),
                        ("245", "10\x1faSlovansk\xe2e tance /\x1fc\x1b(N\x74\x4f\x4c\x53\x54\x4f\x4a\x1b(B."),
                        ("880", "10\x1fa\x1b$1\x21\x30\x64\x1b(B."))
    unicode = marc.record(("245", "10\x1faDvo\xc5\x99\xc3\xa1k"), status="nam a22")
    copy = z.circulation_record(itemId="i1", availableNow=True)
    opac = entry(z.OPAC, single_asn1=z.opac_record(marc8, [z.holdings_record([copy], callNumber="QA76", localLocation="Main")]))
    # The output lines hold UTF-8, read as latin-1.
    marc8_fields = ["001 m8-1"] + [text.encode("utf-8").decode("latin-1") for text in (
        "100 1  $aDvor\u030ca\u0301k, Antoni\u0301n,$d1841-1904.", "245 10 $aSlovanske\u0301 tance /$cТолстой.",
        "880 10 $a\ufffd.")]
    with_holdings = marc.record(*marc.fields(marc8) + [("937", marc.holdings_field(
        dict(callNumber="QA76", localLocation="Main"), dict(itemId="i1", availableNow=True)))])
    expected = (["Record 1", "LDR " + marc8[:24]] + marc8_fields +
                ["Record 2", "LDR " + unicode[:24], "245 10 $aDvo\xc5\x99\xc3\xa1k"] +
                ["Record 3", "LDR " + with_holdings[:24]] + marc8_fields + ["937    $ti1$x1$y0$z0$aQA76$iMain"] +
                [line(4, 1, "Unknown record type (Not MARC or SUTRS)"), "Record 5 (not ISO 2709)", "plain text"])
    batch = response(entry(z.USMARC, marc8), entry(z.USMARC, unicode), opac, entry(z.USMARC, ""),
                     entry(z.SUTRS, "plain text"))
    sutrs = response(entry(z.SUTRS, single_asn1=z.string("Kim\nby Kipling")))
    return [present_case("show-marc", 10, [present(StartFrom=1, Records=5), present(Records=1, RecordSyntax="sutrs")],
                         [batch, sutrs], [ECHO] + expected + [done(1, 5), ECHO, "Record 6 (SUTRS)", "Kim", "by Kipling",
                                                               done(6, 1)])]


class PresentTest(s.CaseTest):
    def test_present(self):
        table_path = os.path.join(self.directory, "grsbrief.tbl")
        with open(table_path, "w") as table:
            table.write(GRSBRIEF)
        run = self.run_cases(paging_cases() + syntax_cases() + record_cases() + opac_cases() +
                             generic_cases(table_path) + wrapping_cases())
        # Failed requests end their files only: the distributor goes on and reports them at the end.
        self.assertEqual(run.status, 1, run.errors)

    def test_show_marc(self):
        run = self.run_cases(show_marc_cases(), "--show-marc")
        self.assertEqual(run.status, 0, run.errors)


if __name__ == "__main__":
    distributor_kit.main()
