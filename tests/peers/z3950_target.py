#!/usr/bin/env python3
"""A scripted Z39.50 target for end-to-end tests, run inside the test process.

It speaks BER by itself (an encoder and a generic TLV decoder, nothing of the
product's codec). target.play(steps...) queues a script for the next
connection: each step takes one whole PDU from the client, records it, then
answers, stays silent or hangs up; after the last step the target records
without answering until the client leaves. A connection without a script is
closed at once. The returned Connection holds what the client sent
(session.pdus()[0].find(111).text: its implementation name). Tags follow the
Z39.50-1995 APDU and record syntax definitions (asn/modules/).

For the toolkit's own tests the module also runs a replaying target in a
process of its own, and names a port that refuses connections:

    z3950_target.py start STATE_FILE   start it, write both ports as JSON, exit
    z3950_target.py stop STATE_FILE    stop it

A client's first two lines, "MODE SEGMENT DELAY_MS" and "HEX", have it send
the octets of HEX back in segments of SEGMENT octets, DELAY_MS apart, then
keep the connection until the client closes it (MODE "keep") or close it
(MODE "close").
"""

import collections
import contextlib
import os
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

import peers

Tag = collections.namedtuple("Tag", "cls number")


def ctx(number):
    """A context-specific tag."""
    return Tag(2, number)


BOOLEAN, INTEGER, BIT_STRING, OCTET_STRING = Tag(0, 1), Tag(0, 2), Tag(0, 3), Tag(0, 4)
NULL, OID, EXTERNAL, SEQUENCE = Tag(0, 5), Tag(0, 6), Tag(0, 8), Tag(0, 16)
VISIBLE_STRING, GENERAL_STRING, GENERALIZED_TIME = Tag(0, 26), Tag(0, 27), Tag(0, 24)

BIB1, BIB1_DIAGNOSTICS, USMARC = "1.2.840.10003.3.1", "1.2.840.10003.4.1", "1.2.840.10003.5.10"
SUTRS, OPAC, SUMMARY, GRS1 = "1.2.840.10003.5.101", "1.2.840.10003.5.102", "1.2.840.10003.5.103", "1.2.840.10003.5.105"

# ---------------------------------------------------------------- encoding


def base128(number):
    """A number in groups of seven bits, high first, all but the last with bit 8 set."""
    groups = [number & 0x7F]
    while number >> 7:
        number >>= 7
        groups.append(0x80 | number & 0x7F)
    return bytes(groups[::-1])


def identifier(tag, constructed):
    first = tag.cls << 6 | (0x20 if constructed else 0)
    return bytes([first | tag.number]) if tag.number < 31 else bytes([first | 31]) + base128(tag.number)


def definite_length(count):
    if count < 0x80:
        return bytes([count])
    body = count.to_bytes((count.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(body)]) + body


def tlv(tag, content, constructed=False):
    return identifier(tag, constructed) + definite_length(len(content)) + content


def integer(value, tag=INTEGER):
    return tlv(tag, value.to_bytes((value + (value < 0)).bit_length() // 8 + 1, "big", signed=True))


def boolean(value, tag=BOOLEAN, octet=None):
    """A BOOLEAN; octet chooses the content octet (TRUE is 0x01 unless told)."""
    return tlv(tag, bytes([octet if octet is not None else (1 if value else 0)]))


def octets(data, tag=OCTET_STRING):
    return tlv(tag, data if isinstance(data, bytes) else data.encode("latin-1"))


def string(text, tag=GENERAL_STRING):
    return octets(text, tag)


def bits(text, tag=BIT_STRING):
    """A BIT STRING from a text of "1" and "0", bit 0 first."""
    padded = text + "0" * (-len(text) % 8)
    return tlv(tag, bytes([-len(text) % 8]) + bytes(int(padded[i:i + 8], 2) for i in range(0, len(padded), 8)))


def oid(dotted, tag=OID):
    arcs = [int(arc) for arc in dotted.split(".")]
    return tlv(tag, b"".join(base128(arc) for arc in [arcs[0] * 40 + arcs[1]] + arcs[2:]))


def null(tag=NULL):
    return tlv(tag, b"")


def sequence(tag, *children):
    """A constructed element; children that are None (absent optional fields) are left out."""
    return tlv(tag, b"".join(child for child in children if child is not None), constructed=True)


explicit = sequence


def optional(build, value, *arguments):
    """build(value, ...) when value is given, else None (an absent field)."""
    return None if value is None else build(value, *arguments)


# ---------------------------------------------------------------- decoding


class DecodeError(ValueError):
    pass


def read_header(data, offset):
    """(tag, constructed, content start, content length or None when indefinite),
    or None when data ends inside the header."""
    try:
        first, offset = data[offset], offset + 1
        number = first & 0x1F
        if number == 31:
            number = 0
            while True:
                octet, offset = data[offset], offset + 1
                number = number << 7 | octet & 0x7F
                if not octet & 0x80:
                    break
        tag, constructed = Tag(first >> 6, number), bool(first & 0x20)
        size, offset = data[offset], offset + 1
    except IndexError:
        return None
    if size == 0x80:
        if not constructed:
            raise DecodeError("indefinite length on a primitive element")
        return tag, constructed, offset, None
    if size & 0x80:
        if size & 0x7F > 4:
            raise DecodeError("length of %d octets" % (size & 0x7F))
        if offset + (size & 0x7F) > len(data):
            return None
        offset, size = offset + (size & 0x7F), int.from_bytes(data[offset:offset + (size & 0x7F)], "big")
    return tag, constructed, offset, size


def element_end(data, offset=0):
    """Where the element starting at offset ends, or None if data stops before that."""
    header = read_header(data, offset)
    if header is None:
        return None
    _, _, position, length = header
    if length is not None:
        return position + length if position + length <= len(data) else None
    while position is not None and data[position:position + 2] != b"\0\0":
        position = element_end(data, position) if len(data) >= position + 2 else None
    return None if position is None else position + 2


class Element:
    """One decoded BER element: tag, constructed, content octets, children (constructed only)."""

    def __init__(self, tag, constructed, content, children):
        self.tag, self.constructed, self.content, self.children = tag, constructed, content, children

    def find(self, *path):
        """The element reached by taking, for each tag of path, the first child
        with that tag (a bare number is a context tag); None if there is none."""
        element = self
        for step in path:
            tag = ctx(step) if isinstance(step, int) else step
            element = next((child for child in element.children or [] if child.tag == tag), None)
            if element is None:
                return None
        return element

    integer = property(lambda self: int.from_bytes(self.content, "big", signed=True))
    boolean = property(lambda self: any(self.content))
    text = property(lambda self: self.content.decode("latin-1"))

    @property
    def bits(self):
        """A BIT STRING as a text of "1" and "0", bit 0 first."""
        text = "".join(format(octet, "08b") for octet in self.content[1:])
        return text[:len(text) - self.content[0]]

    @property
    def oid(self):
        arcs, value = [], 0
        for octet in self.content:
            value = value << 7 | octet & 0x7F
            if not octet & 0x80:
                arcs.append(value)
                value = 0
        first = min(arcs[0] // 40, 2)
        return ".".join(str(arc) for arc in [first, arcs[0] - 40 * first] + arcs[1:])


def decode_at(data, offset):
    """(element, end) for the element at offset."""
    header, end = read_header(data, offset), element_end(data, offset)
    if header is None or end is None:
        raise DecodeError("truncated element at %d" % offset)
    tag, constructed, start, length = header
    if not constructed:
        return Element(tag, False, data[start:end], None), end
    children, position, content_end = [], start, end - 2 if length is None else end
    while position < content_end:
        child, position = decode_at(data, position)
        children.append(child)
    return Element(tag, True, data[start:content_end], children), end


def decode(data):
    """The one element that data holds."""
    element, end = decode_at(data, 0)
    if end != len(data):
        raise DecodeError("%d octets after the element" % (len(data) - end))
    return element


# ---------------------------------------------------------------- PDUs the target sends

PDU_NAMES = {20: "initRequest", 21: "initResponse", 22: "searchRequest", 23: "searchResponse",
             24: "presentRequest", 25: "presentResponse", 35: "scanRequest", 36: "scanResponse",
             48: "close"}


def reference_id(data):
    return octets(data, ctx(2))


def init_response(result=True, result_octet=None, version="111", options="110000110001001",
                  preferred=32768, maximum=65536, implementation_id="kst",
                  implementation_name="Scripted Target", implementation_version="0.1", reference=None):
    """An initResponse; implementation fields given as None are left out."""
    return sequence(ctx(21), optional(reference_id, reference), bits(version, ctx(3)), bits(options, ctx(4)),
                    integer(preferred, ctx(5)), integer(maximum, ctx(6)),
                    boolean(result, ctx(12), result_octet),
                    optional(string, implementation_id, ctx(110)),
                    optional(string, implementation_name, ctx(111)),
                    optional(string, implementation_version, ctx(112)))


def search_response(count=0, status=True, status_octet=None, returned=0, next_position=1, records=None,
                    reference=None):
    """A searchResponse; records is a Records value (response_records, non_surrogate_diagnostic, ...)."""
    return sequence(ctx(23), optional(reference_id, reference), integer(count, ctx(23)), integer(returned, ctx(24)),
                    integer(next_position, ctx(25)), boolean(status, ctx(22), status_octet), records)


def present_response(returned=0, next_position=1, status=0, records=None, reference=None):
    return sequence(ctx(25), optional(reference_id, reference), integer(returned, ctx(24)),
                    integer(next_position, ctx(25)), integer(status, ctx(27)), records)


def default_diagnostic(condition, addinfo=None, tag=SEQUENCE):
    """A bib-1 DefaultDiagFormat, addinfo as a version-2 VisibleString."""
    return sequence(tag, oid(BIB1_DIAGNOSTICS), integer(condition), optional(string, addinfo, VISIBLE_STRING))


def non_surrogate_diagnostic(condition, addinfo=None):
    """Records: one non-surrogate diagnostic."""
    return default_diagnostic(condition, addinfo, ctx(130))


def multiple_non_surrogate_diagnostics(*diagnostics):
    """Records: a list of DiagRec (default_diagnostic values)."""
    return sequence(ctx(205), *diagnostics)


def response_records(*records):
    """Records: a list of name_plus_record values."""
    return sequence(ctx(28), *records)


def name_plus_record(record, database=None):
    """record is retrieval_record(...) or surrogate_diagnostic(...)."""
    return sequence(SEQUENCE, optional(string, database, ctx(0)), explicit(ctx(1), record))


def external(syntax, octet_aligned=None, single_asn1=None, arbitrary=None, tag=EXTERNAL):
    """An EXTERNAL with a direct reference (None leaves it out): octets, one
    encoded ASN.1 value, or bits (a text of "1" and "0")."""
    if octet_aligned is not None:
        encoding = octets(octet_aligned, ctx(1))
    elif arbitrary is not None:
        encoding = bits(arbitrary, ctx(2))
    else:
        encoding = explicit(ctx(0), single_asn1)
    return sequence(tag, optional(oid, syntax), encoding)


def retrieval_record(syntax, data=None, **encoding):
    """A NamePlusRecord's retrievalRecord: data octet-aligned, or as external() takes it."""
    return explicit(ctx(1), external(syntax, data, **encoding))


def surrogate_diagnostic(condition, addinfo=None):
    """A surrogate diagnostic, as a NamePlusRecord's record or as a scan Entry."""
    return explicit(ctx(2), default_diagnostic(condition, addinfo))


def term_info(term, display=None, occurrences=None):
    """A scan Entry of the termInfo kind with a general term."""
    return sequence(ctx(1), octets(term, ctx(45)), optional(string, display, ctx(0)),
                    optional(integer, occurrences, ctx(2)))


def scan_response(entries=(), status=0, returned=None, position=1, diagnostics=None, reference=None):
    """A scanResponse; returned defaults to the number of entries; entries None leaves the list out."""
    listed = None
    if entries is not None or diagnostics is not None:
        listed = sequence(ctx(7), optional(lambda items: sequence(ctx(1), *items), entries),
                          optional(lambda items: sequence(ctx(2), *items), diagnostics))
    return sequence(ctx(36), optional(reference_id, reference), integer(status, ctx(4)),
                    integer(len(entries or ()) if returned is None else returned, ctx(5)),
                    optional(integer, position, ctx(6)), listed)


def close(reason, diagnostic=None, reference=None):
    return sequence(ctx(48), optional(reference_id, reference), integer(reason, ctx(211)),
                    optional(string, diagnostic, ctx(3)))


# ---------------------------------------------------------------- record values (asn/modules/RecordSyntax-*.asn)

HOLDINGS_TAGS = dict(typeOfRecord=1, encodingLevel=2, format=3, receiptAcqStatus=4, generalRetention=5,
                     completeness=6, dateOfReport=7, nucCode=8, localLocation=9, shelvingLocation=10, callNumber=11,
                     shelvingData=12, copyNumber=13, publicNote=14, reproductionNote=15, termsUseRepro=16,
                     enumAndChron=17)
CIRCULATION_TAGS = dict(availableNow=1, availablityDate=2, availableThru=3, restrictions=4, itemId=5, renewable=6,
                        onHold=7, enumAndChron=8, midspine=9, temporaryLocation=10)


def fields_in_tag_order(values, tags, flags=()):
    """Implicitly tagged fields by name: texts, and the named flags as BOOLEANs."""
    return [(boolean if name in flags else string)(value, ctx(tags[name]))
            for name, value in sorted(values.items(), key=lambda item: tags[item[0]])]


def circulation_record(availableNow=False, renewable=False, onHold=False, **texts):
    """An OPAC CircRecord; the texts by their field names."""
    flags = dict(availableNow=availableNow, renewable=renewable, onHold=onHold)
    return sequence(SEQUENCE, *fields_in_tag_order(dict(texts, **flags), CIRCULATION_TAGS, flags))


def holdings_record(circulation=None, **texts):
    """A HoldingsRecord of holdings and circulation data: texts by their field
    names, circulation a list of circulation_record values (None: no list)."""
    return sequence(ctx(2), *fields_in_tag_order(texts, HOLDINGS_TAGS),
                    None if circulation is None else sequence(ctx(19), *circulation))


def opac_record(bibliographic=None, holdings=None):
    """An OPACRecord: a USMARC record's octets and a list of holdings records (None leaves either out);
    a MARC holdings record is external(USMARC, octets, tag=ctx(1))."""
    return sequence(SEQUENCE, optional(lambda data: external(USMARC, data, tag=ctx(1)), bibliographic),
                    None if holdings is None else sequence(ctx(2), *holdings))


def deep_generic_record(depth):
    """A GRS-1 GenericRecord whose elements nest depth deep, each holding the
    next as its subtree, the innermost a string. Built from the inside out
    with lengths alone, since each element's child is its last part: the
    record is every level's octets in front of its child, then the innermost
    element (no recursion, no copy of the record per level)."""
    innermost = tagged_element(2, 1, string("x"))
    tag_fields = integer(2, ctx(1)) + explicit(ctx(2), integer(1, ctx(2)))
    fronts, size = [], len(innermost)
    for _ in range(depth - 1):
        # subtree(child) is [6] { SEQUENCE { child } } inside the element's [4].
        front = b""
        for tag in (SEQUENCE, ctx(6), ctx(4)):
            header = identifier(tag, True) + definite_length(size)
            front, size = header + front, size + len(header)
        header = identifier(SEQUENCE, True) + definite_length(len(tag_fields) + size)
        fronts.append(header + tag_fields + front)
        size += len(header) + len(tag_fields)
    return identifier(SEQUENCE, True) + definite_length(size) + b"".join(reversed(fronts)) + innermost


def summary_record(title):
    return sequence(SEQUENCE, string(title, ctx(1)))


def tagged_element(tag_type, tag, content):
    """A GRS-1 TaggedElement: tag a number or a text, tag_type None leaves it
    out, content an encoded ElementData choice (subtree() for children)."""
    value = integer(tag, ctx(2)) if isinstance(tag, int) else string(tag, ctx(1))
    return sequence(SEQUENCE, optional(integer, tag_type, ctx(1)), explicit(ctx(2), value), explicit(ctx(4), content))


def subtree(*elements):
    """ElementData: the children; a GenericRecord is sequence(SEQUENCE, *elements)."""
    return explicit(ctx(6), sequence(SEQUENCE, *elements))


# ---------------------------------------------------------------- reading what the client sent

OPERATORS = {0: "and", 1: "or", 2: "and-not"}


def attribute_list(element):
    """An AttributeList as [(type, numeric value), ...]."""
    return [(item.find(120).integer, item.find(121).integer) for item in element.children]


def rpn(structure):
    """An RPNStructure as nested tuples: ("term", text, attributes) or (operator, left, right)."""
    if structure.tag == ctx(0):
        operand = structure.children[0]
        return ("term", operand.find(45).text, attribute_list(operand.find(44)))
    left, right, operator = structure.children
    return (OPERATORS[operator.children[0].tag.number], rpn(left), rpn(right))


def rpn_query(search_request):
    """(attribute set, tree) of a searchRequest's type-1 query."""
    query = search_request.find(21, 1)
    return query.children[0].oid, rpn(query.children[1])


# ---------------------------------------------------------------- the server

Step = collections.namedtuple("Step", "action octets delay before", defaults=(b"", 0.0, None))


def answer(octets_, delay=0.0, before=None):
    """Take a PDU, wait delay seconds, call before() if given, send the octets."""
    return Step("answer", octets_, delay, before)


def silent():
    return Step("silent")


def hang_up():
    return Step("hang up")


def drip(octets_, every):
    """Take a PDU and send the octets one at a time, every seconds apart."""
    return Step("drip", octets_, every)


def half(octets_, then):
    """Take a PDU, send the first half of the octets, then "close" the
    connection, "reset" it (an RST, not a FIN) or "stall" (send nothing more)."""
    return Step("half, " + then, octets_)


def send_close(reason, diagnostic=None):
    return answer(close(reason, diagnostic))


class Connection:
    """What one connection brought: the client's PDUs (octets and the monotonic
    time each was complete) and when the connection ended."""

    def __init__(self, steps):
        self.steps, self.received, self.received_at, self.ended_at = list(steps), [], [], None
        self.ended = threading.Event()

    def pdus(self):
        return [decode(data) for data in self.received]

    def kinds(self):
        """The received PDUs' names."""
        return [PDU_NAMES.get(pdu.tag.number, str(pdu.tag.number)) for pdu in self.pdus()]

    def all(self, name):
        """The received PDUs of that name."""
        return [pdu for pdu, kind in zip(self.pdus(), self.kinds()) if kind == name]

    def pdu(self, name):
        """The first received PDU of that name, or None."""
        return next(iter(self.all(name)), None)

    def wait_end(self, timeout):
        return self.ended.wait(timeout)


def read_pdu(sock, pending):
    """Reads one whole element; (octets, what follows it), or (None, ...) when the peer left."""
    while True:
        end = element_end(pending) if pending else None
        if end is not None:
            return pending[:end], pending[end:]
        chunk = sock.recv(65536)
        if not chunk:
            return None, pending
        pending += chunk


class ScriptedTarget:
    """A threaded Z39.50 target on a free loopback port; each connection plays the next script."""

    def __init__(self, host="127.0.0.1"):
        self.listener = socket.socket()
        self.listener.bind((host, 0))
        self.listener.listen(16)
        self.listener.settimeout(0.2)
        self.host, self.port = self.listener.getsockname()
        self.scripts, self.unexpected, self.lock, self.stopping, self.sockets = (
            collections.deque(), 0, threading.Lock(), False, [])
        self.thread = threading.Thread(target=self._accept, daemon=True)
        self.thread.start()

    def play(self, *steps):
        """Queues a script for the next connection; returns its Connection record."""
        connection = Connection(steps)
        with self.lock:
            self.scripts.append(connection)
        return connection

    def pending(self):
        """How many queued scripts no connection has played yet."""
        with self.lock:
            return len(self.scripts)

    def _accept(self):
        while not self.stopping:
            try:
                sock, _ = self.listener.accept()
            except socket.timeout:
                continue
            except OSError:
                return
            with self.lock:
                connection = self.scripts.popleft() if self.scripts else None
                self.sockets.append(sock)
                if connection is None:
                    self.unexpected += 1
            if connection is None:
                sock.close()
                continue
            threading.Thread(target=self._serve, args=(sock, connection), daemon=True).start()

    def _serve(self, sock, connection):
        sock.setblocking(True)
        sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        pending = b""
        try:
            steps = iter(connection.steps)
            while True:
                data, pending = read_pdu(sock, pending)
                if data is None:
                    break
                connection.received.append(data)
                connection.received_at.append(time.monotonic())
                step = next(steps, Step("silent"))
                if step.action == "hang up":
                    break
                if step.action == "drip":
                    for octet in step.octets:
                        sock.sendall(bytes([octet]))
                        time.sleep(step.delay)
                    continue
                time.sleep(step.delay)
                if step.before:
                    step.before()
                half = step.action.startswith("half")
                sock.sendall(step.octets[:len(step.octets) // 2] if half else step.octets)
                if step.action == "half, reset":
                    sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                if step.action in ("half, close", "half, reset"):
                    break
        except (OSError, DecodeError):
            pass
        finally:
            connection.ended_at = time.monotonic()
            sock.close()
            connection.ended.set()

    def close(self):
        self.stopping = True
        self.thread.join()
        self.listener.close()
        with self.lock:
            for sock in self.sockets:
                with contextlib.suppress(OSError):
                    sock.shutdown(socket.SHUT_RDWR)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


closed_port = peers.free_port  # a loopback port where nothing listens (just released)


def replay(conn):
    """Plays one connection of the replaying target."""
    with conn:
        data = b""
        while data.count(b"\n") < 2:
            chunk = conn.recv(65536)
            if not chunk:
                return
            data += chunk
        head, octets = data.split(b"\n")[:2]
        mode, segment, delay = head.decode().split()
        segment, delay, octets = max(1, int(segment)), int(delay) / 1000.0, bytes.fromhex(octets.decode())
        conn.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        for start in range(0, len(octets), segment):
            conn.sendall(octets[start:start + segment])
            if delay and start + segment < len(octets):
                time.sleep(delay)
        # "close" takes what the client sent meanwhile first: unread octets
        # would turn the close into a reset.
        conn.settimeout(None if mode == "keep" else 0.3)
        with contextlib.suppress(socket.timeout):
            while conn.recv(65536):
                pass


def serve_replays(listener):
    while True:
        conn, _ = listener.accept()
        threading.Thread(target=replay, args=(conn,), daemon=True).start()


def start_replaying_target():
    """Starts the replaying target; the state: its port, the refused port, its pid and work dir."""
    workdir = tempfile.mkdtemp(prefix="kestra-scripted-")
    port = peers.free_port()
    target = subprocess.Popen([sys.executable, os.path.abspath(__file__), "serve", str(port)],
                              stdout=open(os.path.join(workdir, "scripted.log"), "w"), stderr=subprocess.STDOUT,
                              stdin=subprocess.DEVNULL, start_new_session=True)
    state = {"dir": workdir, "pids": [target.pid]}
    try:
        peers.wait_listening(port, target)
    except peers.PeerError:
        peers.stop_all(state)
        raise
    return dict(state, scripted=["127.0.0.1", port], refused=["127.0.0.1", closed_port()])


if __name__ == "__main__":
    if sys.argv[1:2] == ["serve"]:
        listener = socket.socket()
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind(("127.0.0.1", int(sys.argv[2])))
        listener.listen(128)
        serve_replays(listener)
    sys.exit(peers.main(sys.argv[1:], start_replaying_target, __doc__))
