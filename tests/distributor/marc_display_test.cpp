// The readable record display of kestra-distributor: well-formed records are
// shown field by field in UTF-8, MARC-8 converted through every code table,
// anything else is left alone and never read past its end.
#include "tools/distributor/marc8.h"
#include "tools/distributor/marc_display.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
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
        {"MARC-8 (leader position 9 blank) shown in UTF-8", Replaced(BuildRecord({{"100", "1 \x1F" "aDvo\xE9r\xE2" "ak, Anton\xE2in."}}), 9, " "),
         "LDR 00062cam  2200037 a 4500\n100 1  $aDvor\xCC\x8C" "a\xCC\x81k, Antoni\xCC\x81n.\n"},
        {"UCS left as it is", BuildRecord({{"100", "1 \x1F" "aDvo\xC5\x99\xC3\xA1k, Anton\xC3\xADn."}}),
         "LDR 00062cam a2200037 a 4500\n100 1  $aDvořák, Antonín.\n"},
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

TEST(MarcDisplay, ShowsRecordLinesOnlyAndNamesTheSyntaxOfOtherRecords)
{
    struct Case {
        const char *name;
        std::string line;
        std::string requested_syntax;
        std::string shown;
    } cases[] = {
        {"quoted record line", RecordLine("3", kBook), "USMARC", "Record 3\n" + kBookShown},
        {"unquoted record line", "1,0," + BuildRecord({{"001", "42"}}) + ",", "OPAC",
         "Record 1\nLDR 00041cam a2200037 a 4500\n001 42\n"},
        {"ISO 2709 record whatever was asked for", RecordLine("3", kBook), "SUTRS", "Record 3\n" + kBookShown},
        {"SUTRS text", "4,0,\"two\nlines, \"\"quoted\"\"\",", "SUTRS", "Record 4 (SUTRS)\ntwo\nlines, \"quoted\"\n"},
        {"summary", "5,0,\"Title:\nMoby Dick\",", "SUMMARY", "Record 5 (SUMMARY)\nTitle:\nMoby Dick\n"},
        {"GRS-1 mark-up", "6,0,<B>Title:</B>   Kim<BR>,", "GENERIC", "Record 6 (GENERIC)\n<B>Title:</B>   Kim<BR>\n"},
        {"empty SUTRS text", "7,0,,", "SUTRS", "Record 7 (SUTRS)\n\n"},
        {"text where MARC was asked for", "8,0,cut,", "USMARC", "Record 8 (not ISO 2709)\ncut\n"},
        {"record that cannot be rendered", "2,1,Unknown record type (Not MARC or SUTRS),", "USMARC", ""},
        {"scan term line", "1,0,computer,10,computer,", "", ""},
        {"response line", "PRESENT_RESPONSE,0,StartFrom:1 Records:2,", "SUTRS", ""},
        {"position not a number", RecordLine("x", kBook), "USMARC", ""},
        {"record field cut short", RecordLine("1", kBook).substr(0, 60), "USMARC", ""},
        {"unclosed quote", "1,0,\"" + kBook + ",", "USMARC", ""},
    };
    for (const Case &c : cases)
        EXPECT_EQ(DisplayRecordLine(c.line, c.requested_syntax), c.shown) << c.name;
}

TEST(MarcDisplay, ALineFeedInsideAQuotedFieldDoesNotEndTheLine)
{
    std::string first = "1,0,\"two\nlines, \"\"quoted\"\"\",\n";
    std::string text = first + "2,0,plain,\n" + "3,0,\"open";
    EXPECT_EQ(ResponseLineLength(text, 0), first.size());
    EXPECT_EQ(ResponseLineLength(text, first.size()), std::string("2,0,plain,\n").size());
    EXPECT_EQ(ResponseLineLength(text, text.size() - 9), 9u);
}

TEST(Marc8, ConvertsASampleOfEveryCodeTable)
{
    struct Case {
        const char *name;
        std::string marc8;
        std::string utf8;
    } cases[] = {
        {"ASCII", "Plain text, 1984.", "Plain text, 1984."},
        {"ANSEL spacing characters", "\xA5sop \xC3 \xB1\xF3" "dz \xC8", "Æsop © łd\xCC\xA4z €"},
        {"mark moved after its base", "Dvo\xE9r\xE2" "ak", "Dvor\xCC\x8C" "a\xCC\x81k"},
        {"two marks on one base, in their order", "Vi\xE3\xF2" "et", "Vie\xCC\x82\xCC\xA3t"},
        {"ligature halves: one double-width mark", "\xEBt\xECs", "t\xCD\xA1s"},
        {"right half alone", "\xECs", "s\xEF\xB8\xA1"},
        {"marks without a base stay", "abc\xE2", "abc\xCC\x81"},
        {"marks before a subfield delimiter stay in their subfield", "a\xE2\x1F" "b", "a\xCC\x81\x1F" "b"},
        {"non-sorting markers and joiners", "\x88The \x89x\x8Dy\x8E", "\xC2\x98The \xC2\x9Cx\xE2\x80\x8Dy\xE2\x80\x8C"},
        {"Basic Cyrillic", "\x1B(N\x74\x4F\x4C\x53\x54\x4F\x4A\x1B(B, 1869", "Толстой, 1869"},
        {"Extended Cyrillic in G1", "\x1B)Q\xC4\xE4\xEF\xC0", "ёЁЪґ"},
        {"Basic Greek, accent moved", "\x1B(S\x22\x61\x4B\x77\x3F\x1B(B", "α\xCC\x81Θς\xCD\xBE"},
        {"Greek symbols", "\x1Bg\x61\x62\x63\x1Bs-rays", "αβγ-rays"},
        {"subscripts", "H\x1B" "b2\x1BsO", "H₂O"},
        {"superscripts", "10\x1Bp-3\x1Bs m\x1Bp2\x1Bs", "10⁻³ m²"},
        {"Basic Hebrew, point moved", "\x1B(2\x41\x60\x61\x7A\x1B(B", "א\xD6\xB8בת"},
        {"Basic Arabic, vowel moved", "\x1B(3\x47\x6E\x64\x3F\x31\x1B(B", "ال\xD9\x8E؟١"},
        {"Extended Arabic in G1", "\x1B)4\xA9\xD5\xDB", "پکگ"},
        {"ANSEL designated again, with a second intermediate", "\x1B)Q\x1B)!E\xB1", "ł"},
        {"East Asian set: one replacement a character", "\x1B$1\x21\x30\x64\x21\x30\x64\x1B(B ok", "\xEF\xBF\xBD\xEF\xBF\xBD ok"},
        {"unknown single-octet set", "\x1B(Zab\x1B(B.", "\xEF\xBF\xBD\xEF\xBF\xBD."},
        {"octets no table holds", "\xAF\x7F\xA0\xFF\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"escape at the end", "x\x1B", "x\xEF\xBF\xBD"},
        {"escape without a final octet", "x\x1B(\x01y", "x\xEF\xBF\xBD(\x01y"},
        {"escape for G2", "x\x1B*Ny", "x\xEF\xBF\xBDy"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(Marc8ToUtf8(c.marc8), c.utf8) << c.name;
}

TEST(Marc8, TablesHoldOneCharacterAPositionInTheirSetsRange)
{
    std::set<std::pair<char, int>> seen;
    for (size_t i = 0; i < kMarc8CharacterCount; ++i) {
        const Marc8Character &c = kMarc8Characters[i];
        bool in_range = c.set == kMarc8Controls ? c.code >= 0x80 && c.code <= 0x9F
                                                : (c.code & 0x7F) >= 0x21 && (c.code & 0x7F) <= 0x7E;
        EXPECT_TRUE(in_range) << c.set << " " << int(c.code);
        EXPECT_TRUE(seen.insert({c.set, c.code & 0x7F}).second) << "twice: " << c.set << " " << int(c.code);
        EXPECT_GE(c.ucs, 0x20) << c.set << " " << int(c.code);
    }
}

} // namespace
