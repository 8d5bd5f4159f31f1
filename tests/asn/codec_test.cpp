// Generated codecs and the PDU entry points: the searchRequest pattern,
// completeness of received octets, the encode block, unknown and malformed
// PDUs, and the captured real PDUs (fixtures/).
#include <dirent.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "tests/asn/builders.h"
#include "tests/asn/roundtrip.h"
#include "ui/mem.h"

namespace {

using Octets = std::vector<unsigned char>;

bool Contains(const Octets &haystack, const Octets &needle)
{
    return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end()) != haystack.end();
}

TEST(SearchRequest, MandatoryComponentsOnlyRoundTrip)
{
    Octets octets = Encode(BuildSearchRequest("Default", "x", 4));
    ASSERT_FALSE(octets.empty());
    EXPECT_EQ(octets[0], 0xB6);
    for (const Octets &absent : {Octets{0x82}, Octets{0xBF, 0x64}, Octets{0xBF, 0x65}, Octets{0x9F, 0x68},
                                 Octets{0xBF, 0x81, 0x4B}, Octets{0xBF, 0x81, 0x49}})
        EXPECT_FALSE(Contains(Octets(octets.begin() + 2, octets.begin() + 5), absent));
    PDU *pdu = Decode(octets);
    ASSERT_NE(pdu, nullptr);
    const SearchRequest *r = pdu->a.searchRequest;
    EXPECT_EQ(r->referenceId, nullptr);
    EXPECT_EQ(r->smallSetElementSetNames, nullptr);
    EXPECT_EQ(r->preferredRecordSyntax, nullptr);
    EXPECT_EQ(r->additionalSearchInfo, nullptr);
    EXPECT_EQ(r->otherInfo, nullptr);
    EXPECT_EQ(Text(r->resultSetName), "default");
    EXPECT_EQ(Encode(pdu), octets);
}

// searchRequest contents: smallSetUpperBound .. databaseNames, then a query.
const Octets kSearchHead = {0x8D, 0x01, 0x00, 0x8E, 0x01, 0x01, 0x8F, 0x01, 0x00, 0x90, 0x01, 0xFF};
const Octets kDatabases = {0xB2, 0x05, 0x9F, 0x69, 0x02, 'd', 'b'};
const Octets kQuery = {0xB5, 0x15, 0xA1, 0x13, 0x06, 0x06, 0x2A, 0x86, 0x48, 0xCE, 0x13, 0x03,
                       0xA0, 0x09, 0xBF, 0x66, 0x06, 0xBF, 0x2C, 0x00, 0x9F, 0x2D, 0x00};

Octets Pdu(unsigned char tag, std::initializer_list<Octets> parts)
{
    Octets contents;
    for (const Octets &p : parts)
        contents.insert(contents.end(), p.begin(), p.end());
    Octets out = {tag, static_cast<unsigned char>(contents.size())};
    out.insert(out.end(), contents.begin(), contents.end());
    return out;
}

Octets Indefinite(Octets definite)
{
    definite[1] = 0x80;
    definite.insert(definite.end(), {0x00, 0x00});
    return definite;
}

int DecodeCode(const Octets &octets)
{
    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    int code = ASN_DecodePduCode(octets.data(), static_cast<uint32_t>(octets.size()), pdu);
    Release(pdu);
    return code;
}

TEST(SearchRequest, ConstructedNameAndIndefiniteLengthDecodeAlike)
{
    Octets plain = Pdu(0xB6, {kSearchHead, {0x91, 0x02, 'a', 'b'}, kDatabases, kQuery});
    Octets split = Pdu(0xB6, {kSearchHead, {0xB1, 0x06, 0x04, 0x01, 'a', 0x04, 0x01, 'b'}, kDatabases, kQuery});
    for (const Octets &octets : {plain, split, Indefinite(plain)}) {
        PDU *pdu = Decode(octets);
        ASSERT_NE(pdu, nullptr);
        EXPECT_EQ(Text(pdu->a.searchRequest->resultSetName), "ab");
        EXPECT_EQ(Encode(pdu), plain);
    }
}

TEST(SearchRequest, MissingQueryAbortsAndIsReportedAsCode60)
{
    Octets octets = Pdu(0xB6, {kSearchHead, {0x91, 0x01, 'a'}, kDatabases});
    EXPECT_LT(DecodeCode(octets), -100);
    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    ASN_PduError error = {};
    EXPECT_EQ(DecodePdu(0, octets.data(), static_cast<uint32_t>(octets.size()), pdu, &error), 1);
    EXPECT_EQ(error.errorClass, ASN_SI_INTERFACE_ERROR);
    EXPECT_EQ(error.errorCode, 60);
    EXPECT_STREQ(error.text, "The received PDU could not be decoded");
    Release(pdu);
}

TEST(Pdu, UnknownTagSetsTheFlagAndIndex23)
{
    Octets octets = {0xBF, 0x25, 0x00};
    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    ASN_PduError error = {};
    UnknownPduFlag = 0;
    EXPECT_EQ(DecodePdu(0, octets.data(), 3, pdu, &error), 0);
    EXPECT_EQ(UnknownPduFlag, 1u);
    EXPECT_EQ(pdu->choiceId, static_cast<uint32_t>(ASN_PDU_UNKNOWN));
    EXPECT_EQ(error.errorCode, 0);
    Release(pdu);
}

TEST(Pdu, FiveOctetIntegerInASearchResponseIsCode60)
{
    // searchResponse { resultCount [23] 5 octets, numberOfRecordsReturned, nextResultSetPosition, searchStatus }
    Octets octets = {0xB7, 0x10, 0x97, 0x05, 0, 0, 0, 0, 1, 0x98, 0x01, 0x00, 0x99, 0x01, 0x01, 0x96, 0x01, 0xFF};
    EXPECT_EQ(DecodeCode(octets), -7);
}

TEST(Pdu, CloseCarriesTwoIdentifierOctets)
{
    Octets octets = Encode(BuildCloseRequest());
    ASSERT_GE(octets.size(), 2u);
    EXPECT_EQ(octets[0], 0xBF);
    EXPECT_EQ(octets[1], 0x30);
}

std::vector<std::string> traced;

TEST(Pdu, EncodeBlockGrowsBy5000AndTracesEachGrowth)
{
    ASN_SetTraceWriter([](int32_t, int32_t level, const char *text) {
        EXPECT_EQ(level, 1);
        traced.push_back(text);
    });
    std::string term(12000, 'x');
    Octets octets = Encode(BuildSearchRequest("Default", term.c_str(), 4));
    ASN_SetTraceWriter(nullptr);
    EXPECT_GT(octets.size(), 12000u);
    EXPECT_LT(octets.size(), 15000u);
    EXPECT_EQ(traced, (std::vector<std::string>(2, "Encode Buffer too small - Reallocing...\n")));
}

struct LengthCase {
    const char *name;
    Octets octets;
    int complete;
    uint32_t count;
};

class Completeness : public testing::TestWithParam<LengthCase> {};

TEST_P(Completeness, ReportsTotalOrMissing)
{
    const LengthCase &c = GetParam();
    uint32_t count = 12345;
    EXPECT_EQ(PduLength(c.octets.data(), static_cast<uint32_t>(c.octets.size()), &count), c.complete);
    EXPECT_EQ(count, c.count);
}

INSTANTIATE_TEST_SUITE_P(Pdu, Completeness, testing::Values(
    LengthCase{"Empty", {}, 0, 0},
    LengthCase{"Definite", {0xB6, 0x03, 0x02, 0x01, 0x05}, 1, 5},
    LengthCase{"DefiniteWithTrailing", {0xB6, 0x03, 0x02, 0x01, 0x05, 0xB6}, 1, 5},
    LengthCase{"MissingKnown", {0xB6, 0x82, 0x01, 0x00}, 0, 256},
    LengthCase{"TooManyLengthOctets", {0xB6, 0x85, 0, 0, 0, 0, 1}, 0, 0},
    LengthCase{"Indefinite", {0xB6, 0x80, 0x02, 0x01, 0x05, 0x00, 0x00}, 1, 7},
    LengthCase{"IndefiniteUnfinished", {0xB6, 0x80, 0x02, 0x01, 0x05, 0x00}, 0, 0},
    LengthCase{"NestedIndefinite", {0xBF, 0x30, 0x80, 0x30, 0x80, 0x00, 0x00, 0x00, 0x00}, 1, 9},
    LengthCase{"TwoOctetTagCut", {0xBF}, 0, 0},
    LengthCase{"LongTag", {0xBF, 0x81, 0x49, 0x00}, 1, 4}),
    [](const testing::TestParamInfo<LengthCase> &info) { return std::string(info.param.name); });

struct Request {
    const char *name;
    PDU *(*build)();
    uint32_t alternative;
};

class RequestRoundTrip : public testing::TestWithParam<Request> {};

TEST_P(RequestRoundTrip, EncodeDecodeEncodeGivesTheSameOctets)
{
    Octets first = Encode(GetParam().build());
    ASSERT_FALSE(first.empty());
    PDU *pdu = Decode(first);
    ASSERT_NE(pdu, nullptr);
    EXPECT_EQ(pdu->choiceId, GetParam().alternative);
    EXPECT_EQ(Encode(pdu), first);
}

INSTANTIATE_TEST_SUITE_P(Pdu, RequestRoundTrip, testing::Values(
    Request{"Init", BuildInitRequest, PDU_initRequest},
    Request{"Search", [] { return BuildSearchRequest("Default", "computer", 4); }, PDU_searchRequest},
    Request{"Present", [] { return BuildPresentRequest(1, 10, "1.2.840.10003.5.10", "F"); }, PDU_presentRequest},
    Request{"Scan", [] { return BuildScanRequest("Default", "a", 5); }, PDU_scanRequest},
    Request{"Close", BuildCloseRequest, PDU_close}),
    [](const testing::TestParamInfo<Request> &info) { return std::string(info.param.name); });

std::vector<std::string> Fixtures()
{
    std::vector<std::string> names;
    if (DIR *dir = opendir(KESTRA_FIXTURES)) {
        while (dirent *e = readdir(dir)) {
            std::string name = e->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".ber") == 0)
                names.push_back(name);
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

class CapturedPdu : public testing::TestWithParam<std::string> {};

TEST_P(CapturedPdu, DecodesAndEncodesToTheSameOctets)
{
    std::ifstream in(std::string(KESTRA_FIXTURES) + "/" + GetParam(), std::ios::binary);
    Octets octets((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    uint32_t total = 0;
    ASSERT_TRUE(PduLength(octets.data(), static_cast<uint32_t>(octets.size()), &total));
    EXPECT_EQ(total, octets.size());
    PDU *pdu = Decode(octets);
    ASSERT_NE(pdu, nullptr);
    ExpectStableReencoding(pdu);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, CapturedPdu, testing::ValuesIn(Fixtures()),
                         [](const testing::TestParamInfo<std::string> &info) {
                             std::string name = info.param.substr(0, info.param.size() - 4);
                             for (char &ch : name)
                                 if (!isalnum(static_cast<unsigned char>(ch)))
                                     ch = '_';
                             return name;
                         });

} // namespace
