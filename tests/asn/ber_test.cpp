// BER primitives: lengths, integers, identifiers, strings, identifiers from
// arcs, REAL, bits, the registries and the printers.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_ber.h"
#include "asn/asn_registry.h"
#include "ui/mem.h"

namespace {

using Octets = std::vector<unsigned char>;

// Runs an encoder on a roomy block and returns what it wrote.
template <typename F> Octets Encoded(F encode)
{
    unsigned char block[64];
    ASN_Buffer b;
    ASN_InitWriteBuffer(&b, block, sizeof block);
    AsnLen n = encode(&b);
    EXPECT_EQ(n, static_cast<AsnLen>(b.dataEnd - b.dataStart));
    return Octets(b.dataStart, b.dataEnd);
}

// Runs a decoder over octets; the abort code, or 0.
template <typename F> int DecodeCode(const Octets &in, F decode)
{
    ASN_Buffer b;
    ASN_InitReadBuffer(&b, in.data(), in.size());
    try {
        decode(&b);
    } catch (const AsnAbort &abort) {
        return abort.code;
    }
    return 0;
}

// A length (shortest form up to the five-octet boundary) or an INTEGER's
// contents (shortest two's complement) and its octets, both ways.
struct ShortestCase {
    bool integer;
    int64_t value;
    Octets octets;
};

class Shortest : public testing::TestWithParam<ShortestCase> {};

TEST_P(Shortest, EncodesAndDecodesBack)
{
    const ShortestCase &c = GetParam();
    int64_t got = 12345;
    AsnLen decoded = 0;
    if (c.integer) {
        EXPECT_EQ(Encoded([&](ASN_Buffer *b) { return ASN_EncodeIntContent(b, static_cast<AsnInt>(c.value)); }), c.octets);
        AsnInt v = 12345;
        EXPECT_EQ(DecodeCode(c.octets, [&](ASN_Buffer *b) {
            ASN_DecodeIntContent(b, 0, static_cast<AsnLen>(c.octets.size()), &v, &decoded);
        }), 0);
        got = v;
    } else {
        EXPECT_EQ(Encoded([&](ASN_Buffer *b) { return ASN_EncodeLength(b, static_cast<AsnLen>(c.value)); }), c.octets);
        EXPECT_EQ(DecodeCode(c.octets, [&](ASN_Buffer *b) { got = ASN_DecodeLength(b, &decoded); }), 0);
    }
    EXPECT_EQ(got, c.value);
    EXPECT_EQ(decoded, c.octets.size());
}

INSTANTIATE_TEST_SUITE_P(Ber, Shortest, testing::Values(
    ShortestCase{false, 0, {0x00}}, ShortestCase{false, 127, {0x7F}}, ShortestCase{false, 128, {0x81, 0x80}},
    ShortestCase{false, 255, {0x81, 0xFF}}, ShortestCase{false, 256, {0x82, 0x01, 0x00}},
    ShortestCase{false, 65536, {0x83, 0x01, 0x00, 0x00}}, ShortestCase{false, 16777125, {0x83, 0xFF, 0xFF, 0xA5}},
    ShortestCase{false, 16777126, {0x84, 0x00, 0xFF, 0xFF, 0xA6}}, ShortestCase{false, 0xFFFFFF, {0x84, 0x00, 0xFF, 0xFF, 0xFF}},
    ShortestCase{true, 0, {0x00}}, ShortestCase{true, 127, {0x7F}}, ShortestCase{true, 128, {0x00, 0x80}},
    ShortestCase{true, -1, {0xFF}}, ShortestCase{true, -128, {0x80}}, ShortestCase{true, -129, {0xFF, 0x7F}},
    ShortestCase{true, 65535, {0x00, 0xFF, 0xFF}}, ShortestCase{true, INT32_MAX, {0x7F, 0xFF, 0xFF, 0xFF}},
    ShortestCase{true, INT32_MIN, {0x80, 0x00, 0x00, 0x00}}));

// A decode that must abort with the given code.
struct AbortCase {
    const char *name;
    Octets octets;
    void (*decode)(ASN_Buffer *b, const Octets &in);
    int code;
};

class DecodeAbort : public testing::TestWithParam<AbortCase> {};

TEST_P(DecodeAbort, AbortsWithItsCode)
{
    const AbortCase &c = GetParam();
    EXPECT_EQ(DecodeCode(c.octets, [&](ASN_Buffer *b) { c.decode(b, c.octets); }), c.code);
}

AsnLen ignored;
const AsnLen kWhole = 0xFFFFFFFEu; // the whole input

// Decodes one content of type T from the input (or the stated length).
template <typename T, void (*Decode)(ASN_Buffer *, AsnTag, AsnLen, T *, AsnLen *), AsnTag tag = 0, AsnLen len = kWhole>
void Content(ASN_Buffer *b, const Octets &in)
{
    T v = {};
    Decode(b, tag, len == kWhole ? static_cast<AsnLen>(in.size()) : len, &v, &ignored);
}
void Length(ASN_Buffer *b, const Octets &) { ASN_DecodeLength(b, &ignored); }
void Tag(ASN_Buffer *b, const Octets &) { ASN_DecodeTag(b, &ignored); }
void Eoc(ASN_Buffer *b, const Octets &) { ASN_DecodeEoc(b, &ignored); }
void AnyUnregistered(ASN_Buffer *b, const Octets &)
{
    AsnAny any = {};
    ASN_DecodeAny(b, &any, &ignored);
}
const auto Int = Content<AsnInt, ASN_DecodeIntContent>;
const auto Bool = Content<AsnBool, ASN_DecodeBoolContent>;
const auto Real = Content<AsnReal, ASN_DecodeRealContent>;
const auto Constructed = Content<AsnOcts, ASN_DecodeOctsContent, ASN_OCTS_CONS_TAG>;

INSTANTIATE_TEST_SUITE_P(Ber, DecodeAbort, testing::Values(
    AbortCase{"BoolLength", {0x01, 0x02}, Bool, -5},
    AbortCase{"BoolMissing", {}, Content<AsnBool, ASN_DecodeBoolContent, 0, 1>, -6},
    AbortCase{"IntFiveOctets", {0x00, 0x00, 0x00, 0x00, 0x01}, Int, -7},
    AbortCase{"IntMissing", {0x01}, Content<AsnInt, ASN_DecodeIntContent, 0, 3>, -8},
    AbortCase{"LengthMissing", {}, Length, -13},
    AbortCase{"LengthFiveOctets", {0x85, 1, 2, 3, 4, 5}, Length, -14},
    AbortCase{"LengthOctetsMissing", {0x82, 0x01}, Length, -15},
    AbortCase{"EocNotZero", {0x00, 0x01}, Eoc, -16},
    AbortCase{"EocMissing", {0x00}, Eoc, -16},
    AbortCase{"NullLength", {0x00}, Content<AsnNull, ASN_DecodeNullContent>, -17},
    AbortCase{"SegmentWithoutData", {0x04, 0x05}, Constructed, -18},
    AbortCase{"SegmentNotOcts", {0x02, 0x01, 0x00}, Constructed, -19},
    AbortCase{"ZeroTagInDefinite", {0x00, 0x00}, Constructed, -19},
    AbortCase{"OctsShort", {'a', 'b'}, Content<AsnOcts, ASN_DecodeOctsContent, ASN_OCTS_PRIM_TAG, 10>, -20},
    AbortCase{"OidShort", {0x2A}, Content<AsnOid, ASN_DecodeOidContent, 0x06000000u, 10>, -21},
    AbortCase{"RealDecimal", {0x01, '1'}, Real, -22},
    AbortCase{"RealReservedBase", {0xB0, 0x01, 0x01}, Real, -23},
    AbortCase{"RealMissing", {0x83}, Real, -24},
    AbortCase{"TagMissing", {}, Tag, -26},
    AbortCase{"TagSecondOctetMissing", {0xBF}, Tag, -26},
    AbortCase{"BadEocInIndefiniteString", {0x04, 0x01, 'a', 0x00, 0x01},
              Content<AsnOcts, ASN_DecodeOctsContent, ASN_OCTS_CONS_TAG, ASN_INDEFINITE_LEN>, -28},
    AbortCase{"AnyUnregistered", {0x30, 0x00}, AnyUnregistered, -44}),
    [](const testing::TestParamInfo<AbortCase> &info) { return std::string(info.param.name); });

TEST(Ber, ThreeOctetTagLeavesTheFourthForTheLength)
{
    Octets in = {0xBF, 0x81, 0x80, 0x01, 0x00};
    AsnTag tag = 0;
    AsnLen len = 99;
    AsnLen n = 0;
    EXPECT_EQ(DecodeCode(in, [&](ASN_Buffer *b) {
        tag = ASN_DecodeTag(b, &n);
        len = ASN_DecodeLength(b, &n);
    }), 0);
    EXPECT_EQ(tag, 0xBF818000u);
    EXPECT_EQ(len, 1u);
}

TEST(Ber, TagsEncodeAsTheyStandOnTheWire)
{
    for (const auto &c : {std::make_pair(0xBF814900u, Octets{0xBF, 0x81, 0x49}),
                          std::make_pair(0xBF300000u, Octets{0xBF, 0x30}), std::make_pair(0xB4000000u, Octets{0xB4})})
        EXPECT_EQ(Encoded([&](ASN_Buffer *b) { return ASN_EncodeTag(b, c.first); }), c.second);
}

TEST(Ber, BooleanDecodesAnyNonZeroAndEncodesFFAndEmptyOctetsHaveAOneOctetAllocation)
{
    AsnBool flag = 0;
    EXPECT_EQ(DecodeCode({0x01}, [&](ASN_Buffer *b) { ASN_DecodeBoolContent(b, 0, 1, &flag, &ignored); }), 0);
    EXPECT_TRUE(flag);
    EXPECT_EQ(Encoded([&](ASN_Buffer *b) { return ASN_EncodeBoolContent(b, flag); }), Octets{0xFF});
    AsnOcts v = {7, nullptr};
    EXPECT_EQ(DecodeCode({}, [&](ASN_Buffer *b) { ASN_DecodeOctsContent(b, ASN_OCTS_PRIM_TAG, 0, &v, &ignored); }), 0);
    EXPECT_EQ(v.octetLen, 0u);
    ASSERT_NE(v.octs, nullptr);
    EXPECT_EQ(v.octs[0], 0);
    ASN_FreeOcts(&v);
}

struct SegmentCase {
    const char *name;
    Octets octets;
    AsnLen length;
    std::string joined;
};

class ConstructedString : public testing::TestWithParam<SegmentCase> {};

TEST_P(ConstructedString, JoinsItsSegments)
{
    const SegmentCase &c = GetParam();
    AsnOcts v = {};
    AsnLen n = 0;
    EXPECT_EQ(DecodeCode(c.octets, [&](ASN_Buffer *b) { ASN_DecodeOctsContent(b, ASN_OCTS_CONS_TAG, c.length, &v, &n); }), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(v.octs), v.octetLen), c.joined);
    EXPECT_EQ(n, c.octets.size());
    ASN_FreeOcts(&v);
}

// count one-octet segments of the letters a..z, a..., and what they join to.
std::pair<Octets, std::string> ManySegments(int count)
{
    std::pair<Octets, std::string> many;
    for (int i = 0; i < count; i++) {
        many.first.insert(many.first.end(), {0x04, 0x01, static_cast<unsigned char>('a' + i % 26)});
        many.second += static_cast<char>('a' + i % 26);
    }
    return many;
}

INSTANTIATE_TEST_SUITE_P(Ber, ConstructedString, testing::Values(
    SegmentCase{"Definite", {0x04, 0x01, 'a', 0x04, 0x02, 'b', 'c', 0x04, 0x00}, 9, "abc"},
    SegmentCase{"Indefinite", {0x04, 0x01, 'a', 0x04, 0x02, 'b', 'c', 0x00, 0x00}, ASN_INDEFINITE_LEN, "abc"},
    SegmentCase{"Nested", {0x24, 0x03, 0x04, 0x01, 'x', 0x04, 0x01, 'y'}, 8, "xy"},
    SegmentCase{"CutAtEndOfData", {0x04, 0x05, 'a', 'b'}, 4, "ab"},
    SegmentCase{"TwoHundredSegments", ManySegments(200).first, 600, ManySegments(200).second}),
    [](const testing::TestParamInfo<SegmentCase> &info) { return std::string(info.param.name); });

TEST(Ber, RealRoundTrips)
{
    for (double value : {0.0, 1.0, -2.5, 3.141592653589793, 1e300, -1e-300, HUGE_VAL, -HUGE_VAL}) {
        Octets octets = Encoded([&](ASN_Buffer *b) { return ASN_EncodeRealContent(b, value); });
        AsnReal got = 42;
        EXPECT_EQ(DecodeCode(octets, [&](ASN_Buffer *b) {
            ASN_DecodeRealContent(b, 0, static_cast<AsnLen>(octets.size()), &got, &ignored);
        }), 0);
        EXPECT_EQ(got, value);
    }
}

TEST(Ber, FullBlockSetsWriteErrorAndKeepsCounting)
{
    unsigned char block[2];
    ASN_Buffer b;
    ASN_InitWriteBuffer(&b, block, sizeof block);
    AsnOcts text = {5, reinterpret_cast<unsigned char *>(const_cast<char *>("hello"))};
    EXPECT_EQ(ASN_EncodeGeneralString(&b, &text), 7u);
    EXPECT_TRUE(b.writeError);
}

TEST(Ber, BitsOutsideTheCountAreIgnored)
{
    unsigned char octets[2] = {0, 0};
    AsnBits bits = {10, octets};
    ASN_SetBit(&bits, 0);
    ASN_SetBit(&bits, 9);
    ASN_SetBit(&bits, 10);
    EXPECT_EQ(octets[0], 0x80);
    EXPECT_EQ(octets[1], 0x40);
    EXPECT_EQ(ASN_GetBit(&bits, 10), 0);
    ASN_ClearBit(&bits, 0);
    EXPECT_EQ(ASN_GetBit(&bits, 0), 0);
}

std::string Printed(void (*print)(FILE *, const void *), const void *value)
{
    char buffer[512] = {};
    FILE *f = tmpfile();
    print(f, value);
    rewind(f);
    size_t n = fread(buffer, 1, sizeof buffer - 1, f);
    fclose(f);
    return std::string(buffer, n);
}

TEST(Ber, MakeOidGivesContentsOctetsAndOidsAndOctetsPrint)
{
    AsnOid oid = {};
    ASN_MakeOid("1.2.840.10003.5.100", &oid);
    EXPECT_EQ(Octets(oid.octs, oid.octs + oid.octetLen), (Octets{0x2A, 0x86, 0x48, 0xCE, 0x13, 0x05, 0x64}));
    char text[64];
    ASSERT_TRUE(ASN_OidToText(&oid, text, sizeof text));
    EXPECT_STREQ(text, "1.2.840.10003.5.100");
    ASN_FreeOcts(&oid);
    ASN_MakeOid("1.2.840.10003.5.10", &oid);
    EXPECT_EQ(Printed([](FILE *f, const void *v) { ASN_PrintOid(f, static_cast<const AsnOid *>(v)); }, &oid),
              "{1 2 840 10003 5 10}");
    ASN_FreeOcts(&oid);
    AsnOcts octs = {3, reinterpret_cast<unsigned char *>(const_cast<char *>("a\001Z"))};
    EXPECT_EQ(Printed([](FILE *f, const void *v) { ASN_PrintOcts(f, static_cast<const AsnOcts *>(v)); }, &octs),
              "'61015a'H  -- \"a.Z\" --");
}

TEST(Registry, StructuredOidsByExactComparison)
{
    const std::pair<const char *, int> cases[] = {
        {"1.0.10163.5.102", 0}, {"1.2.840.10003.5.102", 0}, {"1.2.10161.2.1", 0}, {"1.2.840.10003.8.1", 0},
        {"1.2.840.10003.5.10", 1}, {"1.2.840.10003.5.101 ", 1}, {"", 1}};
    for (const auto &c : cases)
        EXPECT_EQ(IsUnstructuredOid(c.first), c.second) << c.first;
}

TEST(Registry, ManyKeysGoDeeperAndARepeatedKeyKeepsTheFirstEntry)
{
    for (AsnInt key = 1000; key < 3000; key++)
        ASSERT_TRUE(ASN_InstallAnyByInt(key, key, 8, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(ASN_InstallAnyByInt(1, 1500, 8, nullptr, nullptr, nullptr, nullptr));
    AsnAny any = {};
    for (AsnInt key = 1000; key < 3000; key++) {
        ASN_SetAnyTypeByInt(&any, key);
        ASSERT_NE(any.ai, nullptr);
        EXPECT_EQ(any.ai->anyId, key);
    }
    ASN_SetAnyTypeByInt(&any, 3000);
    EXPECT_EQ(any.ai, nullptr);
}

} // namespace
