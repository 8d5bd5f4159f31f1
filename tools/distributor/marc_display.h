// The readable display of records for kestra-distributor --show-marc: an
// ISO 2709 record one field a line in UTF-8, as cataloguers read MARC
// ("LDR ...", "001 ...", "245 10 $aTitle /$cby someone."), any other record
// under a heading that names its syntax. Also the response-line reading it needs.
#pragma once

#include <string>
#include <vector>

struct MarcField {
    std::string tag;
    std::string data; // the field's octets without its 0x1E terminator
};

struct MarcRecord {
    std::string leader;
    std::vector<MarcField> fields;
};

// Returns true and fills `record` when `text` is exactly one ISO 2709 record
// whose leader, directory and terminators agree; false for anything else.
bool ParseMarcRecord(const std::string &text, MarcRecord *record);

// Returns the record one field a line, each line ended by "\n": "LDR" and the
// leader, then a control field (tag 00x) as tag and data, a data field as tag,
// its two indicators and each subfield as "$" + code + data. The fields of a
// MARC-8 record (leader position 09 blank) are shown in UTF-8; those of any
// other record as they are.
std::string FormatMarcRecord(const MarcRecord &record);

// Returns true and the fields of a response line (each field followed by a
// comma, a field with a comma, quote or line break in double quotes with inner
// quotes doubled); false when the line does not have that form.
bool SplitResponseFields(const std::string &line, std::vector<std::string> *fields);

// Returns the length of the response line that starts at `offset` of `text`,
// up to and with its line feed: a line feed inside a quoted field does not end
// the line. The rest of the text when no line feed ends it.
size_t ResponseLineLength(const std::string &text, size_t offset);

// Returns the display of a record line "position,status,record,": for an
// ISO 2709 record "Record <position>" and the formatted record; for any other
// record of status 0 "Record <position> (<syntax>)" and its text as it is,
// <syntax> being `requested_syntax` (the PRESENT's "RecordSyntax", upper
// case) when that is a text syntax, SUTRS, SUMMARY or GENERIC, and
// "not ISO 2709" otherwise. Returns an empty text for any other line.
std::string DisplayRecordLine(const std::string &line, const std::string &requested_syntax);
