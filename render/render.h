// Record rendering: each renderer turns one retrieved record into the text
// of its record line and writes the line: the record's position in the
// result set, a status (0 a good record, 1 one that could not be rendered,
// a condition number for a surrogate diagnostic) and the text.
#ifndef KESTRA_RENDER_RENDER_H
#define KESTRA_RENDER_RENDER_H

#include <string>
#include <vector>

#include "dbv/dbvproto.h"

// Writes one record line to the response file: position, status, text.
void WriteRecordLine(long position, long status, const char *text);

// Each renderer writes the record line of one record at the given position:
// status 0 and the record's text, or status 1 and "Invalid ... record data"
// when the record holds nothing to render.
// SUTRS: the unstructured text as received ("Invalid SUTRS record data").
void RenderSutrsRecord(const DbvExternal *record, long position);
// Summary: "Title:\n" and the title ("Invalid SUMMARY record data").
void RenderSummaryRecord(const DbvExternal *record, long position);
// OPAC: the bibliographic MARC record with one "937" field per copy of its
// holdings and circulation data ("Invalid OPAC record data" without one).
void RenderOpacRecord(const DbvExternal *record, long position);
// GRS-1: the elements named in "grsbrief.tbl" (and those with string tags)
// as one line of mark-up ("Invalid GENERIC record data" when none shows).
void RenderGenericRecord(const DbvExternal *record, long position);
// An External whose value is arbitrary bits: the octets that carry the
// bits as text ("Invalid ARBITRARY record data").
void RenderArbitraryRecord(const DbvExternal *record, long position);

// The single ASN.1 value of record when it is of the given type (AT_...);
// NULL when the record is absent or holds anything else.
const DbvSingleASN1Type *SingleValueOf(const DbvExternal *record, int asn1_type);

// MARC fields under construction: a field starts with two blank indicators
// when its first subfield is added; each subfield is 0x1F, a code, a value.
// Adds a text subfield, cut at a NUL byte; nothing when that leaves it empty.
void AddTextSubfield(std::string &field, char code, const DbvOctetString *octets);
// Adds a flag subfield, "1" for any non-zero value, else "0"; always written.
void AddFlagSubfield(std::string &field, char code, int value);
// Returns the ISO 2709 record with the fields added after its own under the
// tag "937", one after the other, the record length, base address and
// directory updated at each (a number too large for its width is written
// wider; data after a record end, 0x1D, is dropped). Empty fields are
// skipped. Returns the record unchanged when every field is empty, or when
// the record has no directory end (0x1E) after a full leader or no record
// end after that. Takes time linear in the sizes, whatever the field count.
std::string AppendMarcFields(const std::string &record, const std::vector<std::string> &fields);

#endif
