// The exchange-file rules: key:value pairs in both modes, response fields,
// the request queue's line rules, the status record and display.
#include "service/service.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

struct ReadCase {
    FormatMode mode;
    const char *text;
    const char *key;
    bool found;
    const char *value;
};

const ReadCase kReadCases[] = {
    {FORMAT_PLAIN, "RequestType:LOAD", "RequestType", true, "LOAD"},
    {FORMAT_PLAIN, "requesttype:load", "RequestType", true, "load"},
    {FORMAT_PLAIN, "XRequestType:LOAD", "RequestType", false, "dflt"},
    {FORMAT_PLAIN, "Server :x", "Server", false, "dflt"},
    {FORMAT_PLAIN, "A:1 B:2", "B", true, "2"},
    {FORMAT_PLAIN, "A:1 A:2", "A", true, "1"},
    {FORMAT_PLAIN, "Server:", "Server", true, ""},
    {FORMAT_PLAIN, "Server:\"my host\" Port:5", "Server", true, "my host"},
    {FORMAT_PLAIN, "Server:\"unclosed value", "Server", true, "unclosed value"},
    {FORMAT_PLAIN, "Name:\"say \"\"hi\"\"\"", "Name", true, "say "},
    {FORMAT_PLAIN, "Path:C:\\temp\\ x:y", "Path", true, "C:\\temp\\"},
    {FORMAT_QUOTED, "\"Server:my host\" \"Port:5\"", "Server", true, "my host"},
    {FORMAT_QUOTED, "\"Server:my host\" \"Port:5\"", "port", true, "5"},
    {FORMAT_QUOTED, "\"Name:say \"\"hi\"\"\"", "Name", true, "say \"hi\""},
    {FORMAT_QUOTED, "Server:plain", "Server", false, "dflt"},
};

TEST(KeyValue, ReadsValuesInBothModes)
{
    for (const ReadCase &c : kReadCases) {
        g_service.format_mode = c.mode;
        char out[kValueSize];
        EXPECT_EQ(ReadKeyString(c.text, c.key, out, sizeof out, "dflt"), c.found) << c.text;
        EXPECT_STREQ(out, c.value) << c.text;
    }
}

struct IntegerCase {
    const char *text;
    bool result;
    long value;
};

TEST(KeyValue, IntegersWithAnyNonDigitKeepTheDefault)
{
    const IntegerCase cases[] = {
        {"Port:42", true, 42},  {"Port:-5", true, 210}, {"Port: 5", false, 210},
        {"Port:5a", true, 210}, {"Other:1", false, 210}, {"Port:\"7\"", true, 7},
    };
    g_service.format_mode = FORMAT_PLAIN;
    for (const IntegerCase &c : cases) {
        long port = 0;
        EXPECT_EQ(ReadKeyInteger(c.text, "Port", &port, 210), c.result) << c.text;
        EXPECT_EQ(port, c.value) << c.text;
    }
}

TEST(KeyValue, FirstLookupDecidesTheModeForGood)
{
    g_service.format_mode = FORMAT_UNDECIDED;
    EXPECT_TRUE(FindKey("\"RequestType:LOAD\"", "RequestType", nullptr));
    EXPECT_EQ(g_service.format_mode, FORMAT_QUOTED);
    EXPECT_FALSE(FindKey("RequestType:LOAD", "RequestType", nullptr));

    g_service.format_mode = FORMAT_UNDECIDED;
    EXPECT_FALSE(FindKey("", "RequestType", nullptr));
    EXPECT_EQ(g_service.format_mode, FORMAT_PLAIN);
}

TEST(KeyValue, ValuesLongerThanTheAreaAreCut)
{
    g_service.format_mode = FORMAT_PLAIN;
    std::string text = "Server:" + std::string(300, 'h');
    char out[kValueSize];
    EXPECT_TRUE(ReadKeyString(text.c_str(), "Server", out, sizeof out, ""));
    EXPECT_EQ(std::string(out), std::string(kValueSize - 1, 'h'));
}

struct WriteCase {
    FormatMode mode;
    const char *before;
    const char *key;
    const char *value;
    const char *after;
};

const WriteCase kWriteCases[] = {
    {FORMAT_PLAIN, "", "Records", "12", "Records:12"},
    {FORMAT_PLAIN, "", "Server", "my host", "Server:\"my host\""},
    {FORMAT_PLAIN, "", "Text", "a \"b\"", "Text:\"a \"\"b\"\"\""},
    {FORMAT_PLAIN, "A:1 B:2", "A", "3", "    B:2 A:3"},
    {FORMAT_PLAIN, "A:\"x y\" B:2", "A", "3", "        B:2 A:3"},
    {FORMAT_PLAIN, "B:2 A:1", "A", "3", "B:2     A:3"},
    {FORMAT_QUOTED, "", "Server", "my host", "\"Server:my host\""},
    {FORMAT_QUOTED, "", "Text", "a\"b", "\"Text:a\"\"b\""},
    {FORMAT_QUOTED, "\"A:1\" \"B:2\"", "A", "3", "      \"B:2\" \"A:3\""},
};

TEST(KeyValue, WritesReplaceOrAddPairs)
{
    for (const WriteCase &c : kWriteCases) {
        g_service.format_mode = c.mode;
        char text[kResponsePairsSize];
        std::strcpy(text, c.before);
        EXPECT_TRUE(WriteKeyString(text, sizeof text, c.key, c.value));
        EXPECT_STREQ(text, c.after) << c.before << " + " << c.key;
    }
}

TEST(KeyValue, WrittenValuesReadBack)
{
    const char *values[] = {"plain", "two words", "", "12345"};
    for (FormatMode mode : {FORMAT_PLAIN, FORMAT_QUOTED}) {
        g_service.format_mode = mode;
        char text[kResponsePairsSize] = "";
        for (const char *value : values) {
            ASSERT_TRUE(WriteKeyString(text, sizeof text, "Key", value));
            ASSERT_TRUE(WriteKeyString(text, sizeof text, "Other", "x y"));
            char out[kValueSize];
            EXPECT_TRUE(ReadKeyString(text, "Key", out, sizeof out, "dflt"));
            EXPECT_STREQ(out, value) << text;
        }
    }
    g_service.format_mode = FORMAT_QUOTED;
    char text[kResponsePairsSize] = "";
    WriteKeyString(text, sizeof text, "Key", "say \"hi\", twice");
    char out[kValueSize];
    ReadKeyString(text, "Key", out, sizeof out, "");
    EXPECT_STREQ(out, "say \"hi\", twice");
}

TEST(KeyValue, FullPairsAreaRefusesTheWrite)
{
    g_service.format_mode = FORMAT_PLAIN;
    char text[32] = "";
    EXPECT_TRUE(WriteKeyString(text, sizeof text, "A", "1234567890"));
    EXPECT_FALSE(WriteKeyString(text, sizeof text, "B", "12345678901234567890"));
    EXPECT_STREQ(text, "A:1234567890");
}

struct FieldCase {
    const char *field;
    const char *written;
};

TEST(Response, FieldsAreQuotedWhenTheyHoldSeparators)
{
    const FieldCase cases[] = {
        {"plain", "plain,"},
        {"a,b", "\"a,b\","},
        {"say \"hi\"", "\"say \"\"hi\"\"\","},
        {"two\nlines", "\"two\nlines\","},
        {"cr\r", "\"cr\r\","},
        {"", ","},
        {nullptr, ","},
    };
    for (const FieldCase &c : cases) {
        g_service.response_text.clear();
        AppendField(c.field);
        EXPECT_EQ(g_service.response_text, c.written);
    }
    g_service.response_text.clear();
    AppendField("SEARCH_RESPONSE");
    AppendInteger(-2004);
    EXPECT_EQ(g_service.response_text, "SEARCH_RESPONSE,-2004,");
}

std::vector<std::string> QueuedLines()
{
    std::vector<std::string> lines;
    for (size_t offset = 0; offset < kRequestQueueSize && g_service.request_queue[offset];) {
        lines.push_back(g_service.request_queue + offset);
        offset += lines.back().size() + 1;
    }
    return lines;
}

struct QueueCase {
    std::string text;
    bool stored;
    std::vector<size_t> line_lengths;
};

TEST(RequestQueue, LinesAreSplitAndBounded)
{
    const QueueCase cases[] = {
        {"A:1\nB:22\n", true, {3, 4}},
        {"A:1\n\nB:22\n", true, {3}},
        {"A:1", true, {3}},
        {std::string(999, 'x') + "\nB:2", true, {999, 3}},
        {std::string(1000, 'x'), true, {999, 1}},
        {std::string(2500, 'x'), true, {999, 999, 502}},
        {std::string(4998, 'x'), false, {}},
        {std::string(60, '\n') + "A:1", true, {}},
    };
    for (const QueueCase &c : cases) {
        EXPECT_EQ(QueueRequestText(c.text), c.stored);
        std::vector<size_t> lengths;
        for (const std::string &line : QueuedLines())
            lengths.push_back(line.size());
        EXPECT_EQ(lengths, c.line_lengths) << c.text.substr(0, 20);
    }
}

TEST(RequestQueue, KnownTypesHaveTheirCodes)
{
    const std::pair<const char *, int> codes[] = {{"LOAD", 1}, {"INITIALIZE", 2}, {"SEARCH", 3}, {"PRESENT", 4},
                                                  {"SCAN", 6},  {"CLOSE", 7},      {"EXIT", 8},   {"load", 0},
                                                  {"", 0},      {"DELETE", 0}};
    for (const auto &code : codes)
        EXPECT_EQ(RequestCode(code.first), code.second) << code.first;
}

TEST(Status, KeepsTextCodeAndNumber)
{
    ClearStatus();
    EXPECT_FALSE(StatusIsSet());
    SetStatus(3001, 0, "Present failed");
    EXPECT_TRUE(StatusIsSet());
    EXPECT_EQ(StatusCode(), 3001);
    EXPECT_STREQ(StatusText(), "Present failed");
    SetStatus(2000, 17, "Search failed");
    EXPECT_STREQ(StatusText(), "Search failed (Error: 17)");
    SetStatus(9, 0, "");
    EXPECT_EQ(StatusCode(), 2000);
    ClearStatus();
    EXPECT_EQ(StatusCode(), 0);
    EXPECT_FALSE(StatusIsSet());
}

TEST(Status, DisplayShowsNewestFirstWithinTheCap)
{
    ASSERT_TRUE(RegisterWindowClass("StatusTest", DefaultWindowProcedure));
    WindowHandle owner = CreateHiddenWindow("StatusTest", "Status test");
    ASSERT_NE(owner, 0);
    ASSERT_TRUE(CreateStatusDisplay(owner));
    std::string line(999, 'a');
    for (int i = 0; i < 40; ++i)
        ShowStatus(line.c_str());
    ShowStatus("newest");
    std::vector<char> display(kStatusDisplayLimit + 10);
    size_t length = GetStatusDisplayText(display.data(), display.size());
    EXPECT_LT(length, kStatusDisplayLimit);
    EXPECT_EQ(std::string(display.data()).substr(0, 7), "newest\n");
    DestroyHiddenWindow(owner);
}

} // namespace
