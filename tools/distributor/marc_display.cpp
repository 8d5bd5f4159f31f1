// Readable display of ISO 2709 records. Every number of the leader and the
// directory is checked against the text before a byte is read through it, so
// a damaged record is simply not taken for one.
#include "tools/distributor/marc_display.h"

#include "render/iso2709.h"
#include "tools/distributor/marc8.h"

#include <cctype>

namespace {

// Leader position 09, the character coding scheme: blank for MARC-8.
const size_t kCodingSchemePosition = 9;

// Reads `count` decimal digits at `offset`; false if the text is shorter or one is not a digit.
bool ReadDigits(const std::string &text, size_t offset, size_t count, size_t *value)
{
    if (offset > text.size() || count > text.size() - offset)
        return false;
    *value = 0;
    for (size_t i = offset; i < offset + count; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            return false;
        *value = *value * 10 + static_cast<size_t>(text[i] - '0');
    }
    return true;
}

bool HasControlCharacter(const std::string &text, size_t end)
{
    for (size_t i = 0; i < end; ++i)
        if (static_cast<unsigned char>(text[i]) < 0x20)
            return true;
    return false;
}

bool IsNumber(const std::string &text)
{
    size_t value;
    return !text.empty() && ReadDigits(text, 0, text.size(), &value);
}

// The subfield delimiters of a field's data shown as "$".
std::string WithDollarSigns(const std::string &data)
{
    std::string shown = data;
    for (char &c : shown)
        if (c == kSubfieldDelimiter)
            c = '$';
    return shown;
}

} // namespace

bool ParseMarcRecord(const std::string &text, MarcRecord *record)
{
    size_t length, base;
    if (!ReadDigits(text, 0, 5, &length) || length != text.size() || !ReadDigits(text, 12, 5, &base))
        return false;
    if (base <= kLeaderLength || base >= length || text[base - 1] != kFieldTerminator ||
        text[length - 1] != kRecordTerminator)
        return false;
    size_t directory_end = base - 1;
    if ((directory_end - kLeaderLength) % kDirectoryEntryLength != 0 || HasControlCharacter(text, directory_end))
        return false;
    size_t data_size = length - 1 - base;
    MarcRecord parsed;
    parsed.leader = text.substr(0, kLeaderLength);
    for (size_t entry = kLeaderLength; entry < directory_end; entry += kDirectoryEntryLength) {
        size_t field_length, start;
        if (!ReadDigits(text, entry + 3, 4, &field_length) || !ReadDigits(text, entry + 7, 5, &start))
            return false;
        if (field_length == 0 || field_length > data_size || start > data_size - field_length)
            return false;
        size_t field = base + start;
        if (text[field + field_length - 1] != kFieldTerminator)
            return false;
        parsed.fields.push_back({text.substr(entry, 3), text.substr(field, field_length - 1)});
    }
    *record = std::move(parsed);
    return true;
}

std::string FormatMarcRecord(const MarcRecord &record)
{
    bool marc8 = record.leader.size() > kCodingSchemePosition && record.leader[kCodingSchemePosition] == ' ';
    std::string shown = "LDR " + record.leader + "\n";
    for (const MarcField &field : record.fields) {
        std::string readable = marc8 ? Marc8ToUtf8(field.data) : field.data;
        shown += field.tag + " ";
        if (field.tag.compare(0, 2, "00") == 0) {
            shown += readable;
        } else {
            std::string data = WithDollarSigns(readable);
            size_t indicators = data.size() < 2 ? data.size() : 2;
            shown += data.substr(0, indicators) + " " + data.substr(indicators);
        }
        shown += "\n";
    }
    return shown;
}

bool SplitResponseFields(const std::string &line, std::vector<std::string> *fields)
{
    fields->clear();
    size_t i = 0;
    while (i < line.size()) {
        std::string field;
        if (line[i] == '"') {
            for (++i;; ++i) {
                if (i >= line.size())
                    return false;
                if (line[i] == '"') {
                    if (i + 1 >= line.size() || line[i + 1] != '"')
                        break;
                    ++i;
                }
                field += line[i];
            }
            ++i;
        } else {
            size_t comma = line.find(',', i);
            if (comma == std::string::npos)
                return false;
            field = line.substr(i, comma - i);
            i = comma;
        }
        if (i >= line.size() || line[i] != ',')
            return false;
        ++i;
        fields->push_back(field);
    }
    return true;
}

size_t ResponseLineLength(const std::string &text, size_t offset)
{
    // Doubled quotes inside a quoted field toggle twice, so the state stays right.
    bool quoted = false;
    for (size_t i = offset; i < text.size(); ++i) {
        if (text[i] == '"')
            quoted = !quoted;
        else if (text[i] == '\n' && !quoted)
            return i + 1 - offset;
    }
    return text.size() - offset;
}

std::string DisplayRecordLine(const std::string &line, const std::string &requested_syntax)
{
    std::vector<std::string> fields;
    MarcRecord record;
    if (!SplitResponseFields(line, &fields) || fields.size() != 3 || !IsNumber(fields[0]))
        return "";
    if (ParseMarcRecord(fields[2], &record))
        return "Record " + fields[0] + "\n" + FormatMarcRecord(record);
    if (fields[1] != "0")
        return "";
    bool text_syntax = requested_syntax == "SUTRS" || requested_syntax == "SUMMARY" || requested_syntax == "GENERIC";
    return "Record " + fields[0] + " (" + (text_syntax ? requested_syntax : "not ISO 2709") + ")\n" + fields[2] + "\n";
}
