#!/usr/bin/env python3
"""The session operations and PRESENT end to end against real targets:
yaz-ztest and Zebra with its "marc" and "gils" databases (tests/peers/peers.py;
KESTRA_PEERS_STATE names the running peers, else the suite starts its own).
What the client reports must equal what yaz-client, the reference client,
gets from the same target for the same query.
"""
import csv
import glob
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "peers"))
import distributor_kit  # noqa: E402
import marc_records as marc  # noqa: E402
import peers  # noqa: E402

PEERS = {}

# (our "Query", "Terms", the same query in yaz-client's prefix notation)
QUERIES = {
    "marc": [("@use=4@term=Computer", 1, "@attr 1=4 computer"),
             ("@use=4@term=computer@op=AND@use=1016@term=information", 2,
              "@and @attr 1=4 computer @attr 1=1016 information"),
             ("@use=4@term=computer@op=OR@use=1016@term=information@op=AND@use=4@term=science", 3,
              "@or @attr 1=4 computer @and @attr 1=1016 information @attr 1=4 science")],
    "gils": [("@use=4@term=Utah", 1, "@attr 1=4 utah"),
             ("@use=1016@term=utah@op=AND@use=1016@term=water", 2, "@and @attr 1=1016 utah @attr 1=1016 water"),
             ("@use=1016@term=geological@op=OR@use=1016@term=survey@op=AND NOT@use=4@term=utah", 3,
              "@not @or @attr 1=1016 geological @attr 1=1016 survey @attr 1=4 utah")],
    "Default": [("@use=4@term=utah", 1, "@attr 1=4 utah"),
                ("@use=4@term=utah@op=AND@use=4@term=water", 2, "@and @attr 1=4 utah @attr 1=4 water"),
                ("@use=4@term=utah@op=OR@use=4@term=water@op=AND@use=4@term=land", 3,
                 "@or @attr 1=4 utah @and @attr 1=4 water @attr 1=4 land")],
}


def setUpModule():
    state = os.environ.get("KESTRA_PEERS_STATE")
    if state:
        with open(state) as file:
            PEERS.update(json.load(file))
    else:
        PEERS.update(peers.start_all())
        PEERS["started"] = True


def tearDownModule():
    if PEERS.pop("started", False):
        peers.stop_all(PEERS)


def yaz_client(peer, database, command, *options):
    """yaz-client's output for one command against the peer's database."""
    host, port = PEERS[peer]
    return subprocess.run(["yaz-client", *options, "tcp:%s:%d/%s" % (host, port, database)],
                          input=command + "\nquit\n", capture_output=True, text=True, errors="replace",
                          timeout=60).stdout


def yaz_records(peer, database, query, count, syntax="usmarc"):
    """(the ISO 2709 records that yaz-client dumps for the first count hits, as latin-1 texts; its display)."""
    with tempfile.TemporaryDirectory() as directory:
        dump = os.path.join(directory, "records")
        display = yaz_client(peer, database, "find %s\nformat %s\nelements F\nshow 1+%d" % (query, syntax, count),
                             "-m", dump)
        with open(dump, "rb") as file:
            records = file.read().decode("latin-1")
    return [text + "\x1d" for text in records.split("\x1d")[:-1]], display


def yaz_opac_fields(display):
    """The 937 fields expected of each OPAC record that yaz-client displays (holdings and copies as it names them)."""
    def values(text):
        return {name: value == "1" if name in marc.FLAGS else value
                for name, value in re.findall(r"^ ?(\w+): (.*)$", text, re.M)}
    expected = []
    for record in re.split(r"Record type: OPAC\n", display)[1:]:
        expected.append([])
        for holdings in re.split(r"^Data holdings \d+\n", record, flags=re.M)[1:]:
            parts = re.split(r"^circulation \d+\n", holdings, flags=re.M)
            fields = [marc.holdings_field(values(parts[0]), values(copy)) for copy in parts[1:]]
            expected[-1] += [("937", field) for field in fields or [marc.holdings_field(values(parts[0]))] if field]
    return expected


def yaz_generic_text(display, names):
    """The mark-up text expected of each GRS-1 record that yaz-client displays, given the tag names shown."""
    texts = []
    for record in re.split(r"Record type: GRS-1\n", display)[1:]:
        elements = []  # [depth, (tag type, tag value), content]
        for text in re.split(r"\n\n(?=\[|nextResultSetPosition)", record)[0].split("\n"):
            element = re.match(r"^( *)\((\d+),([^)]*)\) ?(.*)$", text)
            if element:
                elements.append([len(element.group(1)), (int(element.group(2)), element.group(3)), element.group(4)])
            else:
                elements[-1][2] += "\n" + text
        text = ""
        for i, (depth, tag, content) in enumerate(elements):
            name = tag[1] if tag[0] == 3 else names.get(tag)
            has_children = i + 1 < len(elements) and elements[i + 1][0] > depth
            if name is not None:
                text += "<B></B>" if has_children else "<B>%s:</B>   %s<BR>" % (name, content)
        texts.append(text.replace("\n", " ").replace("\r", " "))
    return texts


def yaz_hits(peer, database, query):
    found = re.search(r"Number of hits: (\d+)", yaz_client(peer, database, "find " + query))
    return int(found.group(1)) if found else None


def yaz_scan(peer, database, query, size):
    """[(display term, occurrences)] as yaz-client lists them."""
    output = yaz_client(peer, database, "scansize %d\nscan %s" % (size, query))
    return [(term, int(count)) for term, count in re.findall(r"^[* ] (.*) \((\d+)\)$", output, re.M)]


def yaz_identity(peer):
    output = yaz_client(peer, "Default", "")
    return {key: re.search(r"^%s *: (.*)$" % label, output, re.M).group(1)
            for key, label in (("ImplementationID", "ID"), ("ImplementationName", "Name"),
                               ("ImplementationVersion", "Version"))}


def fields(text):
    """The fields of a response line (the last comma ends the last field)."""
    return next(csv.reader([text]))[:-1]


def operations(lines):
    """[(request tag, [the lines that follow its echo])]."""
    result = []
    for text in lines:
        tag = re.match(r"^([A-Z]+)_REQUEST,0,", text)
        if tag:
            result.append((tag.group(1), []))
        elif result:
            result[-1][1].append(text)
    return result


def records_of(output):
    """The texts of an operation's record lines (its lines but the last); a line that is
    not numbered in turn from 1 with status 0 stays whole, so that it differs."""
    *records, _ = output
    return [record[2] if record[:2] == [str(position), "0"] else record
            for position, record in enumerate(map(fields, records), 1)]


class LiveTest(distributor_kit.DistributorTest):
    def session(self, peer, lines, keys=""):
        """Runs INITIALIZE (with more keys), the lines and CLOSE in one file; the operations' output lines."""
        host, port = PEERS[peer]
        text = "RequestType:INITIALIZE Server:%s Port:%d %s\n%s\nRequestType:CLOSE\n" % (host, port, keys,
                                                                                          "\n".join(lines))
        run = self.distribute(texts=[text], timeout=180)
        self.assertEqual(run.status, 0, run.lines)
        done = operations(run.lines)
        self.assertEqual([tag for tag, _ in done], ["INITIALIZE"] + [line.split()[0][12:] for line in lines] +
                         ["CLOSE"], run.lines)
        self.assertEqual(done[-1][1], ["CLOSE_RESPONSE,0,,"])
        return done

    def check_initialized(self, peer, output):
        self.assertEqual(len(output), 1, output)
        response = fields(output[0])
        self.assertEqual(response[:2], ["INITIALIZE_RESPONSE", "0"])
        pairs = dict(item.split(":", 1) for item in shlex.split(response[2]))
        self.assertEqual(list(pairs)[:2], ["ProtocolVersion", "ProtocolOptions"])
        self.assertRegex(pairs["ProtocolVersion"], "^111[01]*$")
        self.assertEqual(pairs["ProtocolOptions"][7], "1", "scan granted")
        self.assertEqual({key: pairs.get(key) for key in yaz_identity(peer)}, yaz_identity(peer))
        self.assertEqual(list(pairs)[-2:], ["PreferredMessageSize", "MaximumMessageSize"])

    def check_searches(self, peer, database, output):
        for (query, terms, reference), (_, lines) in zip(QUERIES[database], output):
            with self.subTest(database=database, query=query):
                hits = yaz_hits(peer, database, reference)
                self.assertIsNotNone(hits)
                self.assertEqual(lines, ["SEARCH_RESPONSE,0,Records:%d," % hits])

    def searches(self, database):
        return ["RequestType:SEARCH Database:%s Query:\"%s\" Terms:%d" % (database, query, terms)
                for query, terms, _ in QUERIES[database]]

    def check_scan(self, peer, database, start, output):
        """The term lines and the closing line of a SCAN from start in the title index (use 4)."""
        *terms, response = output
        listed = yaz_scan(peer, database, "@attr 1=4 " + start, 20)
        self.assertEqual(response, "SCAN_RESPONSE,0,%s," % ("Records:%d" % len(listed) if listed else ""))
        self.assertEqual([fields(text)[:4] for text in terms],
                         [[str(i + 1), "0", display, str(count)] for i, (display, count) in enumerate(listed)])
        self.assertTrue(all(fields(text)[4] for text in terms), terms)
        return listed

    def test_searches_and_scans(self):
        # The peer, the database, where the scan starts, how many terms it lists at least.
        for peer, database, start, least in (("zebra", "marc", "a", 6), ("zebra", "gils", "geo", 6),
                                             ("ztest", "Default", "a", 0)):
            scan = "RequestType:SCAN Database:%s Query:%s Attribute:4 Records:20" % (database, start)
            done = self.session(peer, self.searches(database) + [scan])
            self.check_initialized(peer, done[0][1])
            self.check_searches(peer, database, done[1:4])
            with self.subTest(database=database, scan=start):
                self.assertGreaterEqual(len(self.check_scan(peer, database, start, done[4][1])), least)

    def test_zebra_usmarc_records_equal_yaz_clients(self):
        reference = "@attr 1=1016 @attr 5=1 a"
        hits = yaz_hits("zebra", "marc", reference)
        self.assertGreater(hits, 20)
        # The default message sizes hold only a few of these records at a time: the client asks again for the rest.
        done = self.session("zebra", ['RequestType:SEARCH Database:marc Query:"@use=1016,0,0,0,1@term=a" Terms:1',
                                      "RequestType:PRESENT StartFrom:1 Records:%d" % (hits + 5)])
        self.assertEqual(done[2][1][-1], "PRESENT_RESPONSE,0,StartFrom:1 Records:%d," % hits)
        self.assertEqual(records_of(done[2][1]), yaz_records("zebra", "marc", reference, hits)[0])

    def test_ztest_usmarc_opac_and_sutrs_records(self):
        lines = ["RequestType:SEARCH Database:Default Query:@use=4@term=1000 Terms:1",
                 "RequestType:PRESENT StartFrom:1 Records:1000"] + [
                 "RequestType:PRESENT StartFrom:1 Records:3 RecordSyntax:" + syntax for syntax in ("OPAC", "SUTRS")]
        done = self.session("ztest", lines, "PreferredMessageSize:1000000 MaximumMessageSize:1000000 Trace:1")
        self.assertEqual([output[-1] for _, output in done[2:5]],
                         ["PRESENT_RESPONSE,0,StartFrom:1 Records:%d," % count for count in (1000, 3, 3)])
        self.assertEqual(records_of(done[2][1]), yaz_records("ztest", "Default", "1000", 1000)[0])
        # One PresentRequest for the 1,000 records.
        traces = glob.glob(os.path.join(self.directory, "*.trc"))
        with open(traces[0], errors="replace") as trace:
            self.assertEqual(trace.read().count("Entering function:DBVPresentRequest"), 3)
        bibliographic, display = yaz_records("ztest", "Default", "1000", 3, "opac")
        self.assertEqual([marc.fields(text) for text in records_of(done[3][1])],
                         [marc.fields(text) + added for text, added in zip(bibliographic, yaz_opac_fields(display))])
        display = yaz_client("ztest", "Default", "find 1000\nformat sutrs\nshow 1+3")
        self.assertEqual(records_of(done[4][1]),
                         re.findall(r"Record type: SUTRS\n(.*?\n)(?=\[|nextResult)", display, re.S))

    def test_zebra_generic_records(self):
        names = {(1, "19"): "Name", (4, "52"): "Originator", (2, "1"): "Title", (2, "10"): "Org", (1, "16"): "Date"}
        with open(os.path.join(self.directory, "grsbrief.tbl"), "w") as table:
            table.writelines('%d %s "%s" True\n' % (tag_type, value, name) for (tag_type, value), name in names.items())
            table.write("2 6 Abstract False\n")
        done = self.session("zebra", ["RequestType:SEARCH Database:gils Query:@use=4@term=utah Terms:1",
                                      "RequestType:PRESENT StartFrom:1 Records:9 RecordSyntax:GENERIC"],
                            "PreferredMessageSize:1000000 MaximumMessageSize:1000000")
        _, display = yaz_records("zebra", "gils", "@attr 1=4 utah", 9, "grs-1")
        self.assertEqual(records_of(done[2][1]), yaz_generic_text(display, names))

    def test_failed_search_on_a_missing_database(self):
        host, port = PEERS["zebra"]
        text = ("RequestType:INITIALIZE Server:%s Port:%d\n"
                "RequestType:SEARCH Database:nodb Query:@use=4@term=utah Terms:1\n" % (host, port))
        run = self.distribute(texts=[text])
        self.assertEqual(run.status, 1, run.errors)
        self.assertEqual(run.lines[-1],
                         "SEARCH_RESPONSE,2003,Scan Response Error - Invalid search attribute or search expression,")
        self.assertIn("Diagnostic message", yaz_client("zebra", "nodb", "find @attr 1=4 utah"))


if __name__ == "__main__":
    distributor_kit.main()
