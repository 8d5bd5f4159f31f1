// Round trips of every generated type, every PDU alternative and every
// registered open type: a sample value with every component present (see
// sample_values.h) is encoded, decoded and encoded again, and both
// encodings must be the same octets. The seeds reach every CHOICE
// alternative.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "asn/asn_registry.h"
#include "tests/asn/builders.h"
#include "tests/asn/sample_values.h"
#include "ui/mem.h"

namespace {

using Octets = std::vector<unsigned char>;

const SampleType &FindType(const char *module, const char *name)
{
    for (size_t i = 0; i < kSampleTypeCount; i++)
        if (std::strcmp(kSampleTypes[i].module, module) == 0 && std::strcmp(kSampleTypes[i].name, name) == 0)
            return kSampleTypes[i];
    throw std::out_of_range(name);
}

void *SampleValue(const SampleType &type, uint32_t seed)
{
    RegisterCodecTypes();
    AsnSampler sampler = {seed, 0, 0, seed};
    void *value = MemAlloc(type.size);
    type.fill(&sampler, value);
    return value;
}

Octets EncodeWhole(const SampleType &type, void *value)
{
    static std::vector<unsigned char> block(1 << 20);
    ASN_Buffer b;
    ASN_InitWriteBuffer(&b, block.data(), block.size());
    AsnLen len = type.encode(&b, value);
    EXPECT_EQ(b.writeError, 0);
    return Octets(b.dataStart, b.dataStart + len);
}

// Decodes octets as one value of type; the abort code, or 0.
int DecodeWhole(const SampleType &type, const Octets &octets, void *value)
{
    ASN_Buffer b;
    ASN_InitReadBuffer(&b, octets.data(), octets.size());
    AsnLen decoded = 0;
    try {
        type.decode(&b, value, &decoded);
    } catch (const AsnAbort &abort) {
        return abort.code;
    }
    EXPECT_EQ(decoded, octets.size());
    return 0;
}

void Discard(const SampleType &type, void *value)
{
    type.free(value);
    MemFree(value);
}

std::string TestName(std::string name)
{
    std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

std::vector<std::string> Modules()
{
    std::vector<std::string> modules;
    for (size_t i = 0; i < kSampleTypeCount; i++)
        if (std::find(modules.begin(), modules.end(), kSampleTypes[i].module) == modules.end())
            modules.push_back(kSampleTypes[i].module);
    return modules;
}

class EveryType : public testing::TestWithParam<std::string> {};

TEST_P(EveryType, EncodeDecodeEncodeGivesTheSameOctetsForEverySeed)
{
    for (size_t i = 0; i < kSampleTypeCount; i++) {
        const SampleType &type = kSampleTypes[i];
        if (GetParam() != type.module)
            continue;
        for (uint32_t seed = 0; seed < kSampleSeeds; seed++) {
            SCOPED_TRACE(std::string(type.name) + " seed " + std::to_string(seed));
            void *value = SampleValue(type, seed);
            Octets first = EncodeWhole(type, value);
            Discard(type, value);
            void *decoded = MemAlloc(type.size);
            int code = DecodeWhole(type, first, decoded);
            EXPECT_EQ(code, 0);
            if (code == 0) {
                EXPECT_EQ(EncodeWhole(type, decoded), first);
            }
            Discard(type, decoded);
            if (HasFailure())
                return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modules, EveryType, testing::ValuesIn(Modules()),
                         [](const testing::TestParamInfo<std::string> &info) { return TestName(info.param); });

// Each alternative through the entry points, with the identifier octets
// that it carries on the wire.
const std::vector<Octets> kPduIdentifiers = {
    {0xB4}, {0xB5}, {0xB6}, {0xB7}, {0xB8}, {0xB9}, {0xBA}, {0xBB}, {0xBC}, {0xBD}, {0xBE}, {0xBF, 0x1F},
    {0xBF, 0x20}, {0xBF, 0x21}, {0xBF, 0x22}, {0xBF, 0x23}, {0xBF, 0x24}, {0xBF, 0x2B}, {0xBF, 0x2C},
    {0xBF, 0x2D}, {0xBF, 0x2E}, {0xBF, 0x2F}, {0xBF, 0x30}};

class PduAlternative : public testing::TestWithParam<uint32_t> {};

TEST_P(PduAlternative, RoundTripsThroughTheEntryPointsUnderItsTag)
{
    const uint32_t alternative = GetParam();
    const Octets &identifier = kPduIdentifiers[alternative];
    // Seeds that select this alternative at the top and vary those below.
    for (uint32_t seed = alternative; seed < 4 * ASN_PDU_UNKNOWN; seed += ASN_PDU_UNKNOWN) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Octets first = Encode(static_cast<PDU *>(SampleValue(FindType("Z39-50-APDU-1995", "PDU"), seed)));
        ASSERT_GT(first.size(), identifier.size());
        EXPECT_TRUE(std::equal(identifier.begin(), identifier.end(), first.begin()));
        PDU *pdu = Decode(first);
        ASSERT_NE(pdu, nullptr);
        EXPECT_EQ(pdu->choiceId, alternative);
        EXPECT_EQ(Encode(pdu), first);
    }
}

INSTANTIATE_TEST_SUITE_P(Pdu, PduAlternative, testing::Range(0u, static_cast<uint32_t>(ASN_PDU_UNKNOWN)));

template <typename T> T *Make()
{
    return static_cast<T *>(MemAlloc(sizeof(T)));
}

// A presentResponse carrying one retrieval record.
PDU *PresentResponseWith(AsnExternal *record)
{
    auto *r = Make<PresentResponse>();
    r->numberOfRecordsReturned = 1;
    r->nextResultSetPosition = 2;
    auto *npr = Make<NamePlusRecord>();
    npr->record = Make<NamePlusRecordRecord>();
    npr->record->choiceId = NamePlusRecordRecord_retrievalRecord;
    npr->record->a.retrievalRecord = record;
    r->records = Make<Records>();
    r->records->choiceId = Records_responseRecords;
    r->records->a.responseRecords = ASN_ListNew(sizeof(void *));
    *static_cast<void **>(ASN_ListAppend(r->records->a.responseRecords)) = npr;
    auto *pdu = Make<PDU>();
    pdu->choiceId = PDU_presentResponse;
    pdu->a.presentResponse = r;
    return pdu;
}

AsnAny *SampleAny(const SampleOpenType *type, uint32_t seed)
{
    AsnSampler sampler = {seed, 0, 0, seed};
    auto *any = Make<AsnAny>();
    if (type->oid) {
        AsnOid oid = {0, nullptr};
        ASN_MakeOid(type->oid, &oid);
        ASN_SetAnyTypeByOid(any, &oid);
        ASN_FreeOcts(&oid);
    } else {
        ASN_SetAnyTypeByInt(any, type->intId);
    }
    EXPECT_NE(any->ai, nullptr);
    SampleOpenValue(&sampler, any, type);
    return any;
}

// Every registered open type: those keyed by identifier travel as a
// structured retrieval record; the integer-keyed ones as ILL extension items,
// found by the extension's identifier (one that nothing is registered under
// cannot be decoded).
class OpenType : public testing::TestWithParam<size_t> {};

TEST_P(OpenType, RoundTripsWhereItIsCarried)
{
    const SampleOpenType *type = &kSampleOpenTypes[GetParam()];
    RegisterCodecTypes();
    if (!type->oid) {
        using Extension = ISO_10161_ILL_1_Extension;
        const SampleType &codec = FindType("ISO-10161-ILL-1", "Extension");
        auto *extension = Make<Extension>();
        extension->identifier = type->intId;
        extension->item = SampleAny(type, 0);
        Octets first = EncodeWhole(codec, extension);
        Discard(codec, extension);
        extension = Make<Extension>();
        ASSERT_EQ(DecodeWhole(codec, first, extension), 0);
        ASSERT_NE(extension->item->ai, nullptr);
        EXPECT_EQ(extension->item->ai->intId, type->intId);
        EXPECT_EQ(EncodeWhole(codec, extension), first);
        Discard(codec, extension);
        // Extension { identifier 5, item [2] "x" }: nothing is registered under 5.
        extension = Make<Extension>();
        EXPECT_EQ(DecodeWhole(codec, {0x30, 0x08, 0x80, 0x01, 0x05, 0xA2, 0x03, 0x04, 0x01, 'x'}, extension), -44);
        Discard(codec, extension);
        return;
    }
    for (uint32_t seed = 0; seed < kSampleSeeds; seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        auto *record = Make<AsnExternal>();
        record->directReference = Make<AsnOid>();
        ASN_MakeOid(type->oid, record->directReference);
        record->encodingChoice = AsnExternal_singleASN1Type;
        record->encoding.singleASN1Type = SampleAny(type, seed);
        Octets first = Encode(PresentResponseWith(record));
        ASSERT_FALSE(first.empty());
        PDU *pdu = Decode(first);
        ASSERT_NE(pdu, nullptr);
        auto *npr = static_cast<NamePlusRecord *>(pdu->a.presentResponse->records->a.responseRecords->first->data);
        const AsnExternal *decoded = npr->record->a.retrievalRecord;
        ASSERT_EQ(decoded->encodingChoice, static_cast<uint32_t>(AsnExternal_singleASN1Type));
        EXPECT_NE(decoded->encoding.singleASN1Type->value, nullptr);
        EXPECT_EQ(Encode(pdu), first);
    }
}

INSTANTIATE_TEST_SUITE_P(Registry, OpenType, testing::Range(size_t{0}, kSampleOpenTypeCount),
                         [](const testing::TestParamInfo<size_t> &info) {
                             const SampleOpenType &type = kSampleOpenTypes[info.param];
                             return type.oid ? TestName(type.oid) : std::to_string(type.intId);
                         });

} // namespace
