// The readable MARC display of kestra-distributor: well-formed records are
// shown field by field, anything else is left alone and never read past its end.
#include "tools/distributor/marc_display.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace {

// An ISO 2709 record of the given fields (tag, data without terminator),
// with the leader's length and base address filled in.
std::string BuildRecord(const std::vector<std::pair<std::string, std::string>> &fields)
{
    std::string directory, data;
    for (const auto &field : fields) {
        char entry[16];
        std::snprintf(entry, sizeof entry, "%s%04zu%05zu", field.first.c_str(), field.second.size() + 1, data.size());
        directory += entry;
        data += field.second + "\x1E";
    }
    size_t base = 24 + directory.size() + 1;
    char numbers[8];
    std::snprintf(numbers, sizeof numbers, "%05zu", base + data.size() + 1);
    std::string record = std::string(numbers) + "cam a22";
    std::snprintf(numbers, sizeof numbers, "%05zu", base);
    return record + numbers + " a 4500" + directory + "\x1E" + data + "\x1D";
}

const std::string kBook = BuildRecord({
    {"001", "11939876"},
    {"245", "10\x1F" "aThe title, \"revised\" /\x1F" "cby someone."},
    {"650", " 0\x1F" "aCatalogs."},
});
const std::string kBookShown =
    "LDR 00125cam a2200061 a 4500\n"
    "001 11939876\n"
    "245 10 $aThe title, \"revised\" /$cby someone.\n"
    "650  0 $aCatalogs.\n";

// The record as the client writes it in a record line: quoted, quotes doubled.
std::string RecordLine(const std::string &position, const std::string &record)
{
    std::string quoted = "\"";
    for (char c : record)
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return position + ",0," + quoted + "\",";
}

std::string Replaced(std::string text, size_t offset, const std::string &with)
{
    return text.replace(offset, with.size(), with);
}

TEST(MarcDisplay, ShowsWellFormedRecordsFieldByField)
{
    struct Case {
        const char *name;
        std::string record;
        std::string shown;
    } cases[] = {
        {"control, data and repeated subfields", kBook, kBookShown},
        {"data field without subfields", BuildRecord({{"500", "  Plain note"}}),
         "LDR 00051cam a2200037 a 4500\n500    Plain note\n"},
        {"no fields at all", BuildRecord({}), "LDR 00026cam a2200025 a 4500\n"},
    };
    for (const Case &c : cases) {
        MarcRecord record;
        ASSERT_TRUE(ParseMarcRecord(c.record, &record)) << c.name;
        EXPECT_EQ(FormatMarcRecord(record), c.shown) << c.name;
    }
}

TEST(MarcDisplay, RefusesRecordsWhoseNumbersOrTerminatorsDisagree)
{
    size_t directory = 24, data = 24 + 3 * 12 + 1;
    struct Case {
        const char *name;
        std::string text;
    } cases[] = {
        {"truncated", kBook.substr(0, kBook.size() - 10)},
        {"one octet too many", kBook + "x"},
        {"length not digits", Replaced(kBook, 0, "0014x")},
        {"no record terminator", Replaced(kBook, kBook.size() - 1, "\x1E")},
        {"base address past the end", Replaced(kBook, 12, "99999")},
        {"base address inside the directory", Replaced(kBook, 12, "00040")},
        {"directory not whole entries", Replaced(Replaced(BuildRecord({{"001", "1"}}).insert(36, "0"), 0, "00042"), 12, "00038")},
        {"entry length not digits", Replaced(kBook, directory + 3, "00 9")},
        {"entry start past the data", Replaced(kBook, directory + 7, "99999")},
        {"entry length past the data", Replaced(kBook, directory + 3, "9999")},
        {"field without its terminator", Replaced(kBook, directory + 3, "0008")},
        {"control character in the directory", Replaced(kBook, directory, "\x1F")},
        {"field terminator missing in the data", Replaced(kBook, data + 8, "x")},
    };
    for (const Case &c : cases) {
        MarcRecord record;
        EXPECT_FALSE(ParseMarcRecord(c.text, &record)) << c.name;
    }
}

TEST(MarcDisplay, EveryPrefixAndEveryDamagedOctetIsSafe)
{
    // Under the sanitizers an overrun shows here; only the whole record parses.
    MarcRecord record;
    for (size_t length = 0; length < kBook.size(); ++length)
        EXPECT_FALSE(ParseMarcRecord(kBook.substr(0, length), &record)) << length;
    for (size_t i = 0; i < kBook.size(); ++i)
        for (const char *octet : {"9", "0", "\x1E", "\x1D", " "}) {
            std::string damaged = Replaced(kBook, i, octet);
            if (ParseMarcRecord(damaged, &record))
                FormatMarcRecord(record);
        }
}

TEST(MarcDisplay, ShowsOnlyRecordLinesThatCarryAnIso2709Record)
{
    struct Case {
        const char *name;
        std::string line;
        std::string shown;
    } cases[] = {
        {"quoted record line", RecordLine("3", kBook), "Record 3\n" + kBookShown},
        {"unquoted record line", "1,0," + BuildRecord({{"001", "42"}}) + ",",
         "Record 1\nLDR 00041cam a2200037 a 4500\n001 42\n"},
        {"record that cannot be rendered", "2,1,Unknown record type (Not MARC or SUTRS),", ""},
        {"scan term line", "1,0,computer,10,computer,", ""},
        {"response line", "PRESENT_RESPONSE,0,StartFrom:1 Records:2,", ""},
        {"position not a number", RecordLine("x", kBook), ""},
        {"record field cut short", RecordLine("1", kBook).substr(0, 60), ""},
        {"unclosed quote", "1,0,\"" + kBook + ",", ""},
    };
    for (const Case &c : cases)
        EXPECT_EQ(DisplayMarcRecordLine(c.line), c.shown) << c.name;
}

TEST(MarcDisplay, ALineFeedInsideAQuotedFieldDoesNotEndTheLine)
{
    std::string first = "1,0,\"two\nlines, \"\"quoted\"\"\",\n";
    std::string text = first + "2,0,plain,\n" + "3,0,\"open";
    EXPECT_EQ(ResponseLineLength(text, 0), first.size());
    EXPECT_EQ(ResponseLineLength(text, first.size()), std::string("2,0,plain,\n").size());
    EXPECT_EQ(ResponseLineLength(text, text.size() - 9), 9u);
    std::vector<std::string> fields;
    ASSERT_TRUE(SplitResponseFields(first.substr(0, first.size() - 1), &fields));
    EXPECT_EQ(fields, (std::vector<std::string>{"1", "0", "two\nlines, \"quoted\""}));
}

} // namespace
