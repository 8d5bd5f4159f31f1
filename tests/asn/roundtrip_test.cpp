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

// A presentResponse carrying one retrieval record.
PDU *PresentResponseWith(AsnExternal *record)
{
    auto *r = static_cast<PresentResponse *>(MemAlloc(sizeof(PresentResponse)));
    r->numberOfRecordsReturned = 1;
    r->nextResultSetPosition = 2;
    auto *npr = static_cast<NamePlusRecord *>(MemAlloc(sizeof(NamePlusRecord)));
    npr->record = static_cast<NamePlusRecordRecord *>(MemAlloc(sizeof(NamePlusRecordRecord)));
    npr->record->choiceId = NamePlusRecordRecord_retrievalRecord;
    npr->record->a.retrievalRecord = record;
    r->records = static_cast<Records *>(MemAlloc(sizeof(Records)));
    r->records->choiceId = Records_responseRecords;
    r->records->a.responseRecords = ASN_ListNew(sizeof(void *));
    *static_cast<void **>(ASN_ListAppend(r->records->a.responseRecords)) = npr;
    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    pdu->choiceId = PDU_presentResponse;
    pdu->a.presentResponse = r;
    return pdu;
}

const AsnExternal *OnlyRecord(const PDU *pdu)
{
    auto *npr = static_cast<NamePlusRecord *>(pdu->a.presentResponse->records->a.responseRecords->first->data);
    return npr->record->a.retrievalRecord;
}

AsnAny *SampleAny(const SampleOpenType *type, uint32_t seed)
{
    AsnSampler sampler = {seed, 0, 0, seed};
    auto *any = static_cast<AsnAny *>(MemAlloc(sizeof(AsnAny)));
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

class RecordType : public testing::TestWithParam<const SampleOpenType *> {};

TEST_P(RecordType, TravelsAsAStructuredRetrievalRecord)
{
    const SampleOpenType *type = GetParam();
    RegisterCodecTypes();
    for (uint32_t seed = 0; seed < kSampleSeeds; seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        auto *record = static_cast<AsnExternal *>(MemAlloc(sizeof(AsnExternal)));
        record->directReference = static_cast<AsnOid *>(MemAlloc(sizeof(AsnOid)));
        ASN_MakeOid(type->oid, record->directReference);
        record->encodingChoice = AsnExternal_singleASN1Type;
        record->encoding.singleASN1Type = SampleAny(type, seed);
        Octets first = Encode(PresentResponseWith(record));
        ASSERT_FALSE(first.empty());
        PDU *pdu = Decode(first);
        ASSERT_NE(pdu, nullptr);
        const AsnExternal *decoded = OnlyRecord(pdu);
        ASSERT_EQ(decoded->encodingChoice, static_cast<uint32_t>(AsnExternal_singleASN1Type));
        EXPECT_NE(decoded->encoding.singleASN1Type->value, nullptr);
        EXPECT_EQ(Encode(pdu), first);
    }
}

INSTANTIATE_TEST_SUITE_P(Registry, RecordType, testing::ValuesIn(SampleOpenTypes(true)),
                         [](const testing::TestParamInfo<const SampleOpenType *> &info) {
                             return TestName(info.param->oid);
                         });

// The integer-keyed pair: ILL extension items, found by the extension's
// identifier; an identifier that nothing is registered under cannot be
// decoded.
class IllExtensionItem : public testing::TestWithParam<const SampleOpenType *> {};

TEST_P(IllExtensionItem, DecodesThroughTheIntegerKeyedRegistry)
{
    const SampleType &type = FindType("ISO-10161-ILL-1", "Extension");
    RegisterCodecTypes();
    auto *extension = static_cast<ISO_10161_ILL_1_Extension *>(MemAlloc(sizeof(ISO_10161_ILL_1_Extension)));
    extension->identifier = GetParam()->intId;
    extension->item = SampleAny(GetParam(), 0);
    Octets first = EncodeWhole(type, extension);
    Discard(type, extension);
    extension = static_cast<ISO_10161_ILL_1_Extension *>(MemAlloc(sizeof(ISO_10161_ILL_1_Extension)));
    ASSERT_EQ(DecodeWhole(type, first, extension), 0);
    ASSERT_NE(extension->item->ai, nullptr);
    EXPECT_EQ(extension->item->ai->intId, GetParam()->intId);
    EXPECT_EQ(EncodeWhole(type, extension), first);
    Discard(type, extension);

    // Extension { identifier 5, item [2] "x" }: nothing is registered under 5.
    const Octets unknown = {0x30, 0x08, 0x80, 0x01, 0x05, 0xA2, 0x03, 0x04, 0x01, 'x'};
    extension = static_cast<ISO_10161_ILL_1_Extension *>(MemAlloc(sizeof(ISO_10161_ILL_1_Extension)));
    EXPECT_EQ(DecodeWhole(type, unknown, extension), -44);
    Discard(type, extension);
}

INSTANTIATE_TEST_SUITE_P(Registry, IllExtensionItem, testing::ValuesIn(SampleOpenTypes(false)),
                         [](const testing::TestParamInfo<const SampleOpenType *> &info) {
                             return std::to_string(info.param->intId);
                         });

} // namespace
