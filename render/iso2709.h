// The layout of an ISO 2709 (MARC) record: a 24-character leader, a
// directory of 12-character entries (tag, field length, starting position)
// ended by the field terminator, the fields, each ended by the field
// terminator, and the record terminator. Subfields begin with the delimiter
// and a one-character code.
#ifndef KESTRA_RENDER_ISO2709_H
#define KESTRA_RENDER_ISO2709_H

#include <cstddef>

const char kSubfieldDelimiter = '\x1F';
const char kFieldTerminator = '\x1E';
const char kRecordTerminator = '\x1D';
const size_t kLeaderLength = 24;
const size_t kDirectoryEntryLength = 12;

#endif
