// The table token reader and the target names file.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "assoc/table_reader.h"
#include "assoc/target_names.h"
#include "tests/diag/scratch_dir.h"

namespace {

TEST(TableReader, TokenKindsLineByLine)
{
    ScratchDir scratch;
    WriteFile("table.tbl", "# a comment line\n"
                           "2 1 \"Title\" True\r\n"
                           "\n"
                           "-3 2.5 1e3 \"a \\\"q\\\" b\" word# trailing comment\n"
                           "\"open string");
    TableReader reader;
    ASSERT_TRUE(TableOpen("table.tbl", &reader));
    std::vector<std::vector<std::pair<int, std::string>>> lines;
    while (TableNextLine(&reader)) {
        lines.emplace_back();
        for (TableToken t = TableLineToken(&reader); t.kind != TOKEN_NULL; t = TableLineToken(&reader))
            lines.back().push_back({t.kind, t.text});
    }
    using L = std::vector<std::pair<int, std::string>>;
    EXPECT_EQ(lines, (std::vector<L>{
                         L{{TOKEN_INTEGER, "2"}, {TOKEN_INTEGER, "1"}, {TOKEN_STRING, "Title"}, {TOKEN_CHARACTERS, "True"}},
                         L{{TOKEN_INTEGER, "-3"},
                           {TOKEN_DOUBLE, "2.5"},
                           {TOKEN_DOUBLE, "1e3"},
                           {TOKEN_STRING, "a \"q\" b"},
                           {TOKEN_CHARACTERS, "word"}},
                         L{{TOKEN_STRING, "open string"}}}));
    EXPECT_FALSE(TableNextLine(&reader));
    TableToken token;
    EXPECT_FALSE(TableNextToken(&reader, &token));
}

struct LookUpCase {
    const char *name;
    const char *file; // nullptr: no file
    const char *wanted;
    int32_t code;      // 0: found
    const char *text;  // the host found, or the error text
    int32_t port;
};

class TargetNames : public testing::TestWithParam<LookUpCase> {};

TEST_P(TargetNames, LookUp)
{
    const LookUpCase &c = GetParam();
    ScratchDir scratch;
    if (c.file)
        WriteFile("target_names.tbl", c.file);
    DbvTargetInformation *target = nullptr;
    SIError *error = nullptr;
    int result = LookUpTargetName(c.wanted, &target, &error);
    if (c.code == 0) {
        ASSERT_EQ(result, 0);
        ASSERT_NE(target, nullptr);
        EXPECT_EQ(target->eOsiOrInternetAddress, OIA_Internet);
        EXPECT_STREQ(target->sInternet.pcHostName, c.text);
        EXPECT_EQ(target->sInternet.lPort, c.port);
        EXPECT_EQ(error, nullptr);
    } else {
        EXPECT_EQ(result, 1);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->uErrorCode.lIfOsCoError, c.code);
        EXPECT_STREQ(error->pcDiagnostics, c.text);
    }
    SIFreeTargetInformation(target);
    SIFreeError(error);
}

const char *kTable = "# name host port\n"
                     "\"library\" \"z3950.example.org\" \"210\"\n"
                     "\"local\"   \"127.0.0.1\"         \"2100\"\n";

INSTANTIATE_TEST_SUITE_P(
    Files, TargetNames,
    testing::Values(
        LookUpCase{"second_entry", kTable, "local", 0, "127.0.0.1", 2100},
        LookUpCase{"names_are_case_sensitive", kTable, "Local", SI_ERR_NAMES_NO_ENTRY,
                   "The entry Local is not in the name file/The format is not correct", 0},
        LookUpCase{"a_host_matches_too", kTable, "z3950.example.org", 0, "210", 0},
        LookUpCase{"missing_port_at_the_end", "\"a\" \"h\" \"1\"\n\"b\" \"h2\"\n", "b", SI_ERR_NAMES_FORMAT,
                   "File format error: Expected String, read Nothing", 0},
        LookUpCase{"unquoted_token", "\"a\" h \"1\"\n", "b", SI_ERR_NAMES_FORMAT,
                   "File format error: Expected String, read Characters", 0},
        LookUpCase{"number_as_port", "\"a\" \"h\" 210\n", "a", SI_ERR_NAMES_FORMAT,
                   "File format error: Expected String, read Integer", 0},
        LookUpCase{"no_file", nullptr, "a", SI_ERR_NAMES_NO_FILE,
                   "The file ./target_names.tbl could not be opened", 0}),
    [](const testing::TestParamInfo<LookUpCase> &info) { return std::string(info.param.name); });

TEST(TargetNamesFile, ReadAfreshOnEveryLookUp)
{
    ScratchDir scratch;
    DbvTargetInformation *target = nullptr;
    SIError *error = nullptr;
    WriteFile("target_names.tbl", "\"t\" \"first\" \"1\"\n");
    ASSERT_EQ(LookUpTargetName("t", &target, &error), 0);
    SIFreeTargetInformation(target);
    WriteFile("target_names.tbl", "\"t\" \"second\" \"2\"\n");
    ASSERT_EQ(LookUpTargetName("t", &target, &error), 0);
    EXPECT_STREQ(target->sInternet.pcHostName, "second");
    SIFreeTargetInformation(target);
}

} // namespace
