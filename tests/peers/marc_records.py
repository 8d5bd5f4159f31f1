#!/usr/bin/env python3
"""ISO 2709 records for end-to-end tests, as latin-1 texts: a writer, a
reader that checks the record's numbers, and the "937" field the client
adds per copy of an OPAC record's holdings (subfields a to q the holdings,
r to w the circulation texts, x y z its flags).
"""

HOLDINGS_CODES = dict(zip(["callNumber", "completeness", "copyNumber", "dateOfReport", "encodingLevel",
                           "enumAndChron", "format", "generalRetention", "localLocation", "nucCode", "publicNote",
                           "receiptAcqStatus", "reproductionNote", "shelvingData", "shelvingLocation",
                           "termsUseRepro", "typeOfRecord"], "abcdefghijklmnopq"))
CIRCULATION_CODES = dict(zip(["availablityDate", "availableThru", "itemId", "midspine", "restrictions",
                              "temporaryLocation", "availableNow", "onHold", "renewable"], "rstuvwxyz"))
FLAGS = ("availableNow", "onHold", "renewable")


def record(*fields, status="nam  22", rest=" i 4500"):
    """The record of (tag, data) fields; status and rest are leader positions 5-11 and 17-23."""
    directory, data = "", ""
    for tag, value in fields:
        directory += "%s%04d%05d" % (tag, len(value) + 1, len(data))
        data += value + "\x1e"
    base = 24 + len(directory) + 1
    return "%05d%s%05d%s%s\x1e%s\x1d" % (base + len(data) + 1, status, base, rest, directory, data)


def fields(text):
    """[(tag, data)] of a record; ValueError unless its length, base address and directory agree."""
    base = int(text[12:17])
    if int(text[:5]) != len(text) or not text.endswith("\x1d") or text[base - 1] != "\x1e":
        raise ValueError("not an ISO 2709 record: %r" % text[:40])
    result = []
    for entry in range(24, base - 1, 12):
        tag, length, start = text[entry:entry + 3], int(text[entry + 3:entry + 7]), int(text[entry + 7:entry + 12])
        value = text[base + start:base + start + length]
        if not value.endswith("\x1e"):
            raise ValueError("field %s does not end where its directory entry says" % tag)
        result.append((tag, value[:-1]))
    return result


def holdings_field(holdings, copy=None):
    """The 937 field data for a holdings record's values (by field name) and one copy's circulation values."""
    def subfields(values, codes):
        return ["\x1f%s%s" % (codes[name], ("1" if value else "0") if name in FLAGS else value)
                for name, value in values.items() if name in codes and (value or name in FLAGS)]
    copy_values = dict(dict.fromkeys(FLAGS, False), **copy) if copy is not None else {}
    found = sorted(subfields(copy_values, CIRCULATION_CODES)) + sorted(subfields(holdings, HOLDINGS_CODES))
    return "  " + "".join(found) if found else ""
