#!/usr/bin/env python3
"""The tools end to end: kestra-pdu on real targets' PDUs (printed, and
dumped with --trace as the receive path does), deep and malformed ones;
kestra-fetch against the scripted target of tests/peers/z3950_target.py.

    tools_test.py KESTRA_PDU KESTRA_FETCH FIXTURES_DIR [EMULATOR...]   (EMULATOR: wine)
"""

import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "peers"))
import z3950_target as z  # noqa: E402

PDU_TOOL, FETCH, FIXTURES = sys.argv[1:4] if len(sys.argv) >= 4 else (None, None, None)
EMULATOR = sys.argv[4:]
SEPARATOR = "----------------------------------------\n"

# A captured PDU, the header and title of its trace dump, and lines the dump holds.
DUMPS = [
    ("ztest-init", "InitializeRsp", "InitResponse",
     ["pcProtocolVersion: 11100000", "fResult: TRUE", "psImplementationName: GFS/YAZ"]),
    ("zebra-search-diagnostic", "SearchRsp", "SearchResponse",
     ["fSearchStatus: DBV_FALSE", "peResultSetStatus: RSS_None", "eRecordsType: RT_NonSurrDiagnostics",
      "pcDiagnosticSetId: 1.2.840.10003.4.1", "ulCondition: 109", "pcV2: nodb"]),
    ("ztest-present-usmarc", "PresentRsp", "PresentResponse",
     ["eValueType: EVT_OctetAligned", "psOctetAligned: 00366nam"]),
    ("ztest-present-opac", "PresentRsp", "PresentResponse", ["ppsHoldingsData: \neHoldingsRecordType: HR_"]),
    ("zebra-present-grs1", "PresentRsp", "PresentResponse", ["eASN1Type: AT_GenericRecord", "pulTagType: 1\n"]),
    ("zebra-present-summary", "PresentRsp", "PresentResponse", ["eRecordType: DRT_SurrogateDiagnostics"]),
    ("zebra-scan", "ScanRsp", "ScanResponse", ["ulNumberOfEntriesReturned: 5", "psGeneral: analyzed\n"]),
    ("ztest-scan", "ScanRsp", "ScanResponse", ["ulNumberOfEntriesReturned: 0", "ppsEntry: NULL"]),
    ("ztest-close", "Close 'CloseReq'", "Close", ["eCloseReason: CR_Finished"]),
]

# Malformed APDUs and (a pattern of) the abort code each must be refused with.
MALFORMED = [
    ("truncated length", b"\xb6\x82\x01", "-15"),
    ("integer of five octets", b"\xb7\x10\x97\x05\x00\x00\x00\x00\x01\x98\x01\x00\x99\x01\x01\x96\x01\xff", "-7"),
    ("unknown PDU", b"\xbf\x25\x00", "-266"),
    ("close without reason", b"\xbf\x30\x00", r"-\d{3,}"),  # the missing component's own code
    ("boolean of two octets", b"\xb6\x0d\x8d\x01\x00\x8e\x01\x01\x8f\x01\x00\x90\x02\xff\xff", "-5"),
]


def deep_grs1_present(levels):
    """A presentResponse of one GRS-1 record whose elements nest levels deep."""
    return z.present_response(1, 2, records=z.response_records(
        z.name_plus_record(z.retrieval_record(z.GRS1, single_asn1=z.deep_generic_record(levels)))))


def run(*arguments, text=True):
    return subprocess.run(EMULATOR + list(arguments), capture_output=True, text=text, timeout=120)


def pdu_tool(octets, *options):
    """kestra-pdu on the octets, or on the captured PDU of that name."""
    if isinstance(octets, str):
        return run(PDU_TOOL, *options, os.path.join(FIXTURES, octets + ".ber"))
    with tempfile.NamedTemporaryFile(delete=False) as f:
        f.write(octets)
    try:
        return run(PDU_TOOL, *options, f.name)
    finally:
        os.unlink(f.name)


class KestraPdu(unittest.TestCase):
    def test_prints_and_traces_captured_pdus(self):
        result = pdu_tool("ztest-present-usmarc")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertTrue(result.stdout.startswith("presentResponse { -- SEQUENCE --\n"))
        self.assertIn("\n            name '44656661756c74'H  -- \"Default\" --,\n", result.stdout)
        self.assertIn("\n                direct-reference {1 2 840 10003 5 10},\n", result.stdout)
        for name, header, title, lines in DUMPS:
            with self.subTest(name):
                result = pdu_tool(name, "--trace")
                self.assertEqual(result.returncode, 0, result.stderr)
                out = result.stdout.replace("\r\n", "\n")
                self.assertTrue(out.startswith("\nReceived the following PDU:\n%s## %s PDU ##\n\n%s PDU\n"
                                               % (SEPARATOR, header, title)), out[:200])
                self.assertTrue(out.endswith("\n" + SEPARATOR))
                for line in lines:
                    self.assertIn("\n" + line, out)

    def test_refuses_deeply_nested_records_cleanly(self):
        # Within the nesting limit the record prints; 20,000 and 50,000
        # levels (549 KB and 1.4 MB) are refused by the decoder.
        for levels, status in ((40, 0), (20000, 1), (50000, 1)):
            octets = deep_grs1_present(levels)
            for options in ((), ("--trace",)):
                with self.subTest(levels=levels, options=options):
                    result = pdu_tool(octets, *options)
                    self.assertEqual(result.returncode, status, result.stderr)
                    if status:
                        self.assertEqual(result.stdout, "")
                        self.assertRegex(result.stderr, r"abort code -29\n$")
                    else:
                        self.assertRegex(result.stdout, r'-- "x" --|psString: x\n')  # the innermost

    def test_refuses_malformed_pdus_with_their_codes(self):
        for name, octets, code in MALFORMED:
            with self.subTest(name):
                result = pdu_tool(octets)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertRegex(result.stderr, r"abort code %s\n$" % code)


def marc_present(records, first, last):
    """A presentResponse of records first..last (1-based) in USMARC."""
    return z.present_response(last - first + 1, last + 1, records=z.response_records(
        *[z.name_plus_record(z.retrieval_record(z.USMARC, r)) for r in records[first - 1:last]]))


class KestraFetch(unittest.TestCase):
    def fetch(self, *steps):
        with z.ScriptedTarget() as target:
            session = target.play(z.answer(z.init_response()), *steps)
            result = run(FETCH, "127.0.0.1", str(target.port), "Default", "computer", "7", text=False)
            session.wait_end(10)
        return result, session

    def test_writes_the_records_octets_asking_again_for_the_rest(self):
        records = [b"0003%d record %d\x1e\x1d" % (i, i) for i in range(1, 8)]
        result, session = self.fetch(z.answer(z.search_response(count=7)), z.answer(marc_present(records, 1, 4)),
                                     z.answer(marc_present(records, 5, 7)))
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, b"".join(records))
        presents = [pdu for pdu, kind in zip(session.pdus(), session.kinds()) if kind == "presentRequest"]
        self.assertEqual([(p.find(z.ctx(30)).integer, p.find(z.ctx(29)).integer) for p in presents],
                         [(1, 7), (5, 3)])

    def test_reports_a_diagnostic_on_standard_error(self):
        result, _ = self.fetch(z.answer(z.search_response(status=False, records=z.non_surrogate_diagnostic(
            109, "nosuchdb"))))
        self.assertEqual((result.returncode, result.stdout), (1, b""))
        self.assertIn(b"diagnostic 109", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
