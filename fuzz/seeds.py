#!/usr/bin/env python3
"""Seed corpora of the fuzz targets, written at build time:

    seeds.py OUT_DIR [--depth N ...]

makes OUT_DIR/<target>/ for each target: PDUs of the scripted target
(tests/peers/z3950_target.py) and of captures (tests/asn/fixtures/*.ber),
then hostile ones: deep nesting, absurd lengths, many elements, indefinite
lengths, and request lines, queries and tables past their limits.
"""

import argparse
import hashlib
import os
import shlex
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(ROOT, "tests", "peers"))

import marc_records  # noqa: E402
from z3950_target import (EXTERNAL, GRS1, OPAC, SEQUENCE, SUMMARY, SUTRS, USMARC,  # noqa: E402
                          circulation_record, close, ctx, definite_length, explicit, holdings_record,
                          init_response, integer, name_plus_record, null, non_surrogate_diagnostic, oid, opac_record,
                          present_response, read_header, response_records, retrieval_record, scan_response,
                          search_response, sequence, string, subtree, summary_record, surrogate_diagnostic,
                          tagged_element, term_info)

# Nesting depths: ordinary, around the codec's bound, and well past it
# (still within what the stack holds without the bound).
DEPTHS = (8, 255, 256, 257, 1000, 4000)

# ---------------------------------------------------------------- PDUs


def marc(title="Computer science"):
    return marc_records.record(("001", "11939876"), ("245", "10\x1faThe title /\x1fc%s." % title)).encode("latin-1")


def present(*records):
    return present_response(returned=len(records), records=response_records(*records))


def grs1_record(elements):
    return name_plus_record(retrieval_record(GRS1, single_asn1=sequence(SEQUENCE, *elements)))


def opac(holdings_count=1, copies=2):
    copy = circulation_record(availableNow=True, onHold=True, itemId="31234", availablityDate="2024-01-01",
                              restrictions="none", temporaryLocation="desk", midspine="x")
    holdings = [holdings_record([copy] * copies, callNumber="QA76 .C6", localLocation="Main", copyNumber="1",
                                publicNote="note, with \"quotes\"") for _ in range(holdings_count)]
    return name_plus_record(retrieval_record(OPAC, single_asn1=opac_record(marc(), holdings)))


def text_element(tag_type, tag, text):
    return tagged_element(tag_type, tag, string(text))


GRS1_ELEMENTS = [
    text_element(2, 1, "A title"), text_element(2, 2, "An author"), text_element(3, "Local", "string tag"),
    tagged_element(1, 14, integer(42)), tagged_element(4, 1, explicit(ctx(6), sequence(SEQUENCE))),
    tagged_element(2, 3, null(ctx(2))), tagged_element(None, 5, string("no type")),
    tagged_element(2, 1, subtree(text_element(2, 2, "inner"), text_element(6, 2, "other"))),
]

RECORDS = {
    "usmarc": name_plus_record(retrieval_record(USMARC, marc()), database="Default"),
    "sutrs": name_plus_record(retrieval_record(SUTRS, single_asn1=string("Plain text, a SUTRS record."))),
    "sutrs-octets": name_plus_record(retrieval_record(SUTRS, b"SUTRS as octets")),
    "summary": name_plus_record(retrieval_record(SUMMARY, single_asn1=summary_record("A summary title"))),
    "opac": opac(),
    "opac-bare": name_plus_record(retrieval_record(OPAC, single_asn1=opac_record(marc(), None))),
    "grs1": grs1_record(GRS1_ELEMENTS),
    "arbitrary": name_plus_record(retrieval_record(USMARC, arbitrary="1011")),
    "surrogate": name_plus_record(surrogate_diagnostic(14, "record not there")),
}

INIT = init_response(preferred=1000000, maximum=1000000)
SEARCH = search_response(count=5)
SCAN = scan_response([term_info("computer", "Computer", 12), term_info("computers", None, 3),
                      surrogate_diagnostic(1)])


def session(present_pdu, init=INIT, search=SEARCH, scan=SCAN):
    """What the receive target plays: a whole session's answers in a row."""
    return init + search + present_pdu + scan


def deep_grs1(depth, indefinite=False):
    """A GRS-1 record whose elements nest depth subtrees deep."""
    inner = text_element(2, 1, "bottom")
    if not indefinite:
        for _ in range(depth):
            inner = tagged_element(2, 1, subtree(inner))
        return grs1_record([inner])
    # Each level: SEQUENCE { [1] 2, [2] { [2] 1 }, [4] { [6] { SEQUENCE { ... } } } } with open lengths.
    head = b"\x30\x80\x81\x01\x02\xa2\x03\x82\x01\x01\xa4\x80\xa6\x80\x30\x80"
    tail = b"\x00\x00" * 4
    return grs1_record([head * depth + inner + tail * depth])


def deep_anything(depth, indefinite):
    """A presentResponse carrying depth nested constructed elements in the
    ASN.1 value of an EXTERNAL whose syntax the client does not know."""
    if indefinite:
        body = b"\xa0\x80" * depth + b"\x04\x01x" + b"\x00\x00" * depth
    else:
        body = b"\x04\x01x"
        for _ in range(depth):
            body = b"\xa0" + definite_length(len(body)) + body
    record = sequence(EXTERNAL, oid("1.2.840.10003.5.9999"), b"\xa0" + definite_length(len(body)) + body)
    return present(sequence(SEQUENCE, explicit(ctx(1), explicit(ctx(1), record))))


# The lengths a target may claim: past the end, at the limits of 32 bits,
# too many length octets, the reserved first octet, indefinite on a primitive.
ABSURD_LENGTHS = [b"\x84\x7f\xff\xff\xff", b"\x84\xff\xff\xff\xff", b"\x85\x01\x00\x00\x00\x00",
                  b"\x88\x00\x00\x00\x00\x00\x00\x00\x10", b"\xff", b"\x80", b"\x83\x10\x00\x00", b"\x7f"]


def absurd_lengths():
    """PDUs whose own length, or an inner element's (the MARC record), is absurd;
    integers of absurd size where counts go; a tag number past 32 bits; close
    reasons outside the ten."""
    body = present(RECORDS["usmarc"])
    start = read_header(body, 0)[2]
    found = [seed for length in ABSURD_LENGTHS for seed in (
        body[:2] + length + body[start:],
        present(name_plus_record(explicit(ctx(1), sequence(EXTERNAL, oid(USMARC), b"\x81" + length + marc())))))]
    return found + [
        search_response(count=2 ** 31 - 1),
        sequence(ctx(23), b"\x97\x20" + b"\xff" * 32, b"\x98\x01\x00", b"\x99\x01\x01", b"\x96\x01\xff"),
        present_response(returned=-1, next_position=-5, status=7, records=None),
        b"\xbf\x8f\xff\xff\xff\x7f\x00", close(99, "reason outside the ten"), close(-1)]


def many_elements():
    flat = [text_element(2, n % 7, "x" * (n % 5)) for n in range(20000)]
    return [present(grs1_record(flat)),
            present(*[RECORDS["usmarc"]] * 2000),
            present(opac(holdings_count=300, copies=5)),
            scan_response([term_info("t%d" % n, None, n) for n in range(3000)])]


def identifier_end(data, position):
    """Where the identifier octets of the element at position end."""
    position += 1
    if data[position - 1] & 0x1F == 0x1F:
        while data[position] & 0x80:
            position += 1
        position += 1
    return position


def indefinite(data):
    """The same elements with every constructed definite length made indefinite."""
    out, position = b"", 0
    while position < len(data):
        _, constructed, start, length = read_header(data, position)
        if length is None:
            return data
        end = start + length
        if constructed:
            out += data[position:identifier_end(data, position)] + b"\x80" + indefinite(data[start:end]) + b"\0\0"
        else:
            out += data[position:end]
        position = end
    return out


# ---------------------------------------------------------------- requests, queries, tables

PLAIN_REQUESTS = [
    "RequestType:LOAD SessionTimeout:300 TempPrefix:Z39 Console:0",
    "RequestType:INITIALIZE Server:localhost Port:210 UserId:user Password:secret QueryTimeout:1 Trace:0 "
    "ImplementationName:\"A name with blanks\" PreferredMessageSize:1000000 MaximumMessageSize:1000000",
    "RequestType:INITIALIZE Server:z.example.org Port:7090 OpenString:open Timeout:2",
    "RequestType:SEARCH Query:@use=4@term=computer Terms:1 Database:Default AnsiAttributeSet:BIB1",
    "RequestType:SEARCH Query:@use=4,1,1,1,1,1@term=war+peace@op=AND NOT@use=1003@term=/a phrase/ Terms:2",
    "RequestType:PRESENT StartFrom:1 Records:3 RecordSyntax:OPAC RecordDetails:B",
    "RequestType:PRESENT RecordSyntax:GENERIC",
    "RequestType:SCAN Query:computer Records:5 Attribute:1003.0.0.0.0.0 StepSize:1 PreferredPosition:1",
    "RequestType:CLOSE Distributor:0 Instance:1",
    "RequestType:EXIT",
]


def quoted(line):
    """A plain request line in quoted mode: every pair in double quotes, inner quotes doubled."""
    return " ".join('"%s"' % pair.replace('"', '""') for pair in shlex.split(line))


def request_files():
    plain = "\n".join(PLAIN_REQUESTS) + "\n"
    quoted_file = "\n".join(quoted(line) for line in PLAIN_REQUESTS) + "\n"
    return [plain, quoted_file,
            "\n".join(PLAIN_REQUESTS[3:6]) + "\n\nRequestType:SEARCH after the empty line\n",
            'RequestType:SEARCH Query:"unclosed quote Terms:1',
            '"RequestType:SEARCH" "Query:say ""hello"" there" "Terms:1" "Database:a""b"',
            "RequestType:SEARCH Query:" + "x" * 1500 + " Terms:1",
            "RequestType:SEARCH Query:@use=4@term=a Terms:1\n" * 120,
            "RequestType:PRESENT\r\nRequestType:SCAN\r\n" + "\n" * 50,
            "requesttype:search QUERY:@use=4@term=A terms:00001 Records:-3 StartFrom:99999999999999999999"]


QUERIES = [
    "Query:@use=4@term=computer Terms:1",
    "Query:@use=4@term=war@op=AND@use=1003@term=smith Terms:2 Database:Default",
    "Query:@use=4@term=a@op=OR@use=4@term=b@op=AND@use=4@term=c@op=AND-NOT@use=4@term=d Terms:4",
    "Query:@use=4,2,3,1,1,1@term=/a phrase of words/ Terms:1 AnsiAttributeSet:CIMI",
    "Query:@RESSET@term=default Terms:1 AnsiAttributeSet:CIP",
    "Query:@use=4@term=new+york@op=AND NOT@use=21@term=city Terms:2",
    "Query:" + "@op=OR".join("@use=4@term=t%d" % n for n in range(12)) + " Terms:12",
    "Query:@use=99999999999,4294967296@term=x Terms:1",
    "Query:@use=4@term=( a AND b ) OR c Terms:1",
    "Query:@use=4@term=" + "w " * 300 + " Terms:1",
    '"Query:@use=4@term=quoted mode" "Terms:1"',
    "Query:@@@@@@ Terms:10",
]

TABLES = [
    "# tag type, tag value, name, shown\n2 1 Title True\n2 2 \"Author\" True\n1 14 Id False\n3 1 \"x\" True\n",
    "\"z3950\" \"127.0.0.1\" \"210\"\n\"localhost\" \"localhost\" \"9999\"\r\n\"210\" \"h\" \"p\"\n",
    "\"unclosed string\n\"escaped \\\" quote \\\\ backslash\" 1.5e10 -12 +7 1e 0x10 \t# comment\n",
    "2 99999999999999999999999 Huge True\n-1 -1 Negative True\n2 1\n2\n\n\n   \n",
    "\"z3950\" \"only host\"\n",
    "\"z3950\" 210 \"port\"\n",
    "\n".join("2 %d \"name %d\" True" % (n, n) for n in range(2000)) + "\n",
]


# ---------------------------------------------------------------- writing


def captures():
    folder = os.path.join(ROOT, "tests", "asn", "fixtures")
    return {name[:-4]: open(os.path.join(folder, name), "rb").read()
            for name in sorted(os.listdir(folder)) if name.endswith(".ber")}


def corpora(depths):
    captured = captures()
    hostile_records = [deep_grs1(depth, indefinite) for depth in depths for indefinite in (False, True)]
    hostile_pdus = ([present(record) for record in hostile_records] +
                    [deep_anything(depth, indefinite) for depth in depths for indefinite in (False, True)] +
                    absurd_lengths() + many_elements())
    presents = [present(record) for record in RECORDS.values()] + [present(*RECORDS.values())]
    presents.append(present_response(records=non_surrogate_diagnostic(114, "unsupported use attribute")))
    sessions = [session(pdu) for pdu in presents]
    sessions += [session(pdu) for pdu in hostile_pdus]
    sessions += [indefinite(stream) for stream in sessions[:len(presents)]]
    sessions += [INIT + close(3), INIT + search_response(status=False, records=non_surrogate_diagnostic(1))]
    for server in ("zebra", "ztest"):
        for name, pdu in captured.items():
            if name.startswith(server + "-present"):
                sessions.append(session(pdu, captured[server + "-init"], captured[server + "-search"],
                                        captured[server + "-scan"]))
    pdus = list(captured.values()) + presents + hostile_pdus + [INIT, SEARCH, SCAN]
    pdus += [indefinite(pdu) for pdu in presents]
    return {
        "pdu_fuzzer": pdus,
        "receive_fuzzer": sessions,
        "request_fuzzer": [text.encode("latin-1") for text in request_files()],
        "query_fuzzer": [text.encode("latin-1") for text in QUERIES],
        "table_fuzzer": [text.encode("latin-1") for text in TABLES],
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("out")
    parser.add_argument("--depth", type=int, action="append", default=[], help="another nesting depth")
    arguments = parser.parse_args()
    for target, seeds in corpora(DEPTHS + tuple(arguments.depth)).items():
        folder = os.path.join(arguments.out, target)
        os.makedirs(folder, exist_ok=True)
        for seed in seeds:
            with open(os.path.join(folder, hashlib.sha1(seed).hexdigest()), "wb") as out:
                out.write(seed)


if __name__ == "__main__":
    main()
