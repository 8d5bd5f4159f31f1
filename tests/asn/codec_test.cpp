// Generated codecs and the PDU entry points: the searchRequest pattern,
// completeness of received octets, the encode block, unknown and malformed
// PDUs. (The captured real PDUs are decoded and re-encoded by the DBV tests.)
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "tests/asn/builders.h"
#include "ui/mem.h"

namespace {

using Octets = std::vector<unsigned char>;

// searchRequest contents: smallSetUpperBound .. databaseNames, then a query.
const Octets kSearchHead = {0x8D, 0x01, 0x00, 0x8E, 0x01, 0x01, 0x8F, 0x01, 0x00, 0x90, 0x01, 0xFF};
const Octets kDatabases = {0xB2, 0x05, 0x9F, 0x69, 0x02, 'd', 'b'};
const Octets kQuery = {0xB5, 0x15, 0xA1, 0x13, 0x06, 0x06, 0x2A, 0x86, 0x48, 0xCE, 0x13, 0x03,
                       0xA0, 0x09, 0xBF, 0x66, 0x06, 0xBF, 0x2C, 0x00, 0x9F, 0x2D, 0x00};

Octets Pdu(unsigned char tag, std::initializer_list<Octets> parts)
{
    Octets out = {tag, 0};
    for (const Octets &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    out[1] = static_cast<unsigned char>(out.size() - 2);
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

// A searchRequest of its mandatory components only, its name plain, in
// segments or in an indefinite length: the same value, encoded as the plain one.
TEST(SearchRequest, MandatoryOnlyConstructedNameAndIndefiniteLengthDecodeAlike)
{
    Octets plain = Pdu(0xB6, {kSearchHead, {0x91, 0x02, 'a', 'b'}, kDatabases, kQuery});
    Octets split = Pdu(0xB6, {kSearchHead, {0xB1, 0x06, 0x04, 0x01, 'a', 0x04, 0x01, 'b'}, kDatabases, kQuery});
    for (const Octets &octets : {plain, split, Indefinite(plain)}) {
        PDU *pdu = Decode(octets);
        ASSERT_NE(pdu, nullptr);
        const SearchRequest *r = pdu->a.searchRequest;
        EXPECT_EQ(Text(r->resultSetName), "ab");
        EXPECT_TRUE(!r->referenceId && !r->smallSetElementSetNames && !r->preferredRecordSyntax &&
                    !r->additionalSearchInfo && !r->otherInfo);
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

} // namespace
