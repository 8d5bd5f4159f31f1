#!/usr/bin/env python3
"""The client's main paths in two distributor runs, for builds whose program
starts are slow (i686 under an emulator): against the scripted target, LOAD
to EXIT (INITIALIZE, SEARCH, PRESENT of every record kind, SCAN, CLOSE, then
records nested 20,000 and 50,000 deep, which must fail cleanly where the
stack is smallest); against yaz-ztest, results equal to yaz-client's."""
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "peers")]
import distributor_kit  # noqa: E402
import faults_e2e as f  # noqa: E402
import live_e2e  # noqa: E402
import marc_records as marc  # noqa: E402
import peers  # noqa: E402
import present_e2e as p  # noqa: E402
import sessions_e2e as s  # noqa: E402
import z3950_target as z  # noqa: E402
from sessions_e2e import ECHO, line  # noqa: E402

HOLDING = dict(callNumber="QA76", copyNumber="2")
# A record of every kind, and the text of its record line.
KINDS = [(p.entry(z.USMARC, p.BIB), p.BIB),
         (p.entry(z.OPAC, single_asn1=z.opac_record(p.BIB, [z.holdings_record(**HOLDING)])),
          marc.record(*marc.fields(p.BIB) + [("937", marc.holdings_field(HOLDING, None))])),
         (p.entry(z.SUTRS, single_asn1=z.string("plain text")), "plain text"),
         (p.entry(z.SUMMARY, single_asn1=z.summary_record("Moby Dick")), "Title:\nMoby Dick"),
         (p.entry(z.GRS1, single_asn1=z.sequence(z.SEQUENCE, z.tagged_element(3, "Id", z.oid("1.2.3.4")))),
          "<B>Id:</B>   1.2.3.4<BR>"),
         (p.entry(None, arbitrary=p.bit_text(b"ABC")), "ABC")]
TERMS = [z.term_info("kim", "Kim", 3), z.term_info("kite", None, 1)]


class SmokeTest(s.CaseTest):
    def test_scripted_session_from_load_to_exit(self):
        lines = [s.init(), s.search("@use=4@term=kim"), s.present(StartFrom=1, Records=len(KINDS)),
                 s.scan(Query="kim", Attribute="4", Records=2), s.CLOSE]
        steps = [s.ACCEPT, z.answer(z.search_response(len(KINDS))),
                 p.response(*[record for record, _ in KINDS]), z.answer(z.scan_response(TERMS))]
        expected = ([ECHO, s.init_ok(), ECHO, "SEARCH_RESPONSE,0,Records:%d," % len(KINDS), ECHO] +
                    [line(i + 1, 0, text) for i, (_, text) in enumerate(KINDS)] +
                    [p.done(1, len(KINDS)), ECHO, line(1, 0, "Kim", 3, "kim"), line(2, 0, "", 1, "kite"),
                     "SCAN_RESPONSE,0,Records:2,", ECHO, s.CLOSED])
        smoke = s.session_case("smoke", lines, steps, expected,
                               s.sent("initRequest", "searchRequest", "presentRequest", "scanRequest"))
        deep = f.each_followed_by_initialize([f.deep_case(20000, 1000000), f.deep_case(50000, 4000000)])
        run = self.run_cases([smoke] + deep)
        # The deep records' PRESENTs fail, as they must: the run ends with 1.
        self.assertEqual(run.status, 1, run.errors)
        # The closing EXIT ended the client, which deleted its response file.
        self.assertEqual(self.response_files(), [])


class ZtestTest(distributor_kit.DistributorTest):
    # The live suite's session and checks, without its other tests.
    session, check_initialized, check_searches, searches = (
        live_e2e.LiveTest.session, live_e2e.LiveTest.check_initialized, live_e2e.LiveTest.check_searches,
        live_e2e.LiveTest.searches)

    @classmethod
    def setUpClass(cls):
        live_e2e.PEERS.update(peers.start_all(("ztest",)))

    @classmethod
    def tearDownClass(cls):
        peers.stop_all(live_e2e.PEERS)

    def test_ztest_session(self):
        lines = self.searches("Default")[:1] + ["RequestType:PRESENT StartFrom:1 Records:3 RecordSyntax:USMARC",
                                                "RequestType:SCAN Database:Default Query:a Attribute:4 Records:5"]
        done = self.session("ztest", lines)
        self.check_initialized("ztest", done[0][1])
        self.check_searches("ztest", "Default", done[1:2])
        query = live_e2e.QUERIES["Default"][0][2]
        self.assertEqual(live_e2e.records_of(done[2][1]), live_e2e.yaz_records("ztest", "Default", query, 3)[0])


if __name__ == "__main__":
    distributor_kit.main()
