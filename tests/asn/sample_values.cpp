#include "tests/asn/sample_values.h"

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "asn/asn_registry.h"
#include "ui/mem.h"

namespace {

const int kMaxDepth = 8;
const uint32_t kBudget = 600;

// Plain text: what an EXTERNAL or an open value carries once deep.
const char *const kShallowOid = "1.2.840.10003.5.101";
const char *const kMarcOid = "1.2.840.10003.5.10";
const char *const kUnregisteredOid = "1.2.840.10003.5.109.3";

template <typename T, size_t N> const T &Pick(AsnSampler *s, const T (&values)[N])
{
    return values[s->turn++ % N];
}

void SetOcts(AsnSampler *s, AsnOcts *v, const std::string &text)
{
    v->octetLen = static_cast<uint32_t>(text.size());
    v->octs = static_cast<unsigned char *>(SampleAlloc(s, text.size()));
    std::memcpy(v->octs, text.data(), text.size());
}

void MakeOid(AsnOid *v, const char *dotted)
{
    ASN_FreeOcts(v);
    ASN_MakeOid(dotted, v);
}

void SampleOpenValue(AsnSampler *s, AsnAny *v, const SampleOpenType *type)
{
    SampleScope scope(s);
    v->value = SampleAlloc(s, v->ai->size);
    type->fill(s, v->value);
}

// An open type keyed by identifier (oids) or by integer: by turn, or once
// the sampler is deep the plain-text record syntax (the first integer key).
const SampleOpenType *ChooseOpenType(AsnSampler *s, bool oids)
{
    std::vector<const SampleOpenType *> types;
    for (size_t i = 0; i < kSampleOpenTypeCount; i++) {
        const char *oid = kSampleOpenTypes[i].oid;
        if ((oid != nullptr) == oids && (SampleWanted(s) || !oids || std::strcmp(oid, kShallowOid) == 0))
            types.push_back(&kSampleOpenTypes[i]);
    }
    return types[SampleWanted(s) ? s->turn++ % types.size() : 0];
}

} // namespace

AsnAny *SampleAny(const SampleOpenType *type, uint32_t seed)
{
    RegisterCodecTypes();
    AsnSampler sampler = {seed, 0, 0, seed};
    auto *any = SampleNew<AsnAny>(&sampler);
    AsnOid oid = {0, nullptr};
    if (type->oid)
        ASN_MakeOid(type->oid, &oid);
    type->oid ? ASN_SetAnyTypeByOid(any, &oid) : ASN_SetAnyTypeByInt(any, type->intId);
    ASN_FreeOcts(&oid);
    SampleOpenValue(&sampler, any, type);
    return any;
}

const SampleType &FindSampleType(const char *module, const char *name)
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

bool SampleWanted(const AsnSampler *s)
{
    return s->depth < kMaxDepth && s->made < kBudget;
}

void *SampleAlloc(AsnSampler *s, size_t size)
{
    s->made++;
    return MemAlloc(size);
}

uint32_t SampleChoice(AsnSampler *s, uint32_t count, uint32_t terminal)
{
    return SampleWanted(s) ? s->seed % count : terminal;
}

int SampleCount(AsnSampler *s)
{
    return SampleWanted(s) ? 1 + (s->depth < 3) : 0;
}

void SampleInt(AsnSampler *s, AsnInt *v)
{
    static const AsnInt values[] = {0, 1, 127, 128, -1, -129, 65535, INT32_MAX, INT32_MIN, 300};
    *v = Pick(s, values);
}

void SampleBool(AsnSampler *s, AsnBool *v)
{
    *v = s->turn++ & 1;
}

void SampleReal(AsnSampler *s, AsnReal *v)
{
    static const AsnReal values[] = {0.0, 1.5, -0.375, 1e10, HUGE_VAL, -HUGE_VAL, 3.0};
    *v = Pick(s, values);
}

void SampleOcts(AsnSampler *s, AsnOcts *v)
{
    uint32_t n = s->turn++;
    SetOcts(s, v, n % 9 == 0 ? std::string(200, 'k') : "sample " + std::to_string(n));
}

void SampleOid(AsnSampler *s, AsnOid *v)
{
    static const char *const values[] = {"1.2.840.10003.3.1", kMarcOid, "2.999.1234567"};
    MakeOid(v, Pick(s, values));
}

void SampleBits(AsnSampler *s, AsnBits *v)
{
    v->bitLen = s->turn++ % 20;
    v->bits = static_cast<unsigned char *>(SampleAlloc(s, (v->bitLen + 7) / 8));
    for (uint32_t i = 0; i < v->bitLen; i += 3)
        ASN_SetBit(v, i);
}

void SampleOpen(AsnSampler *s, AsnOcts *v)
{
    // EXTERNALs { 1.2.3, octet-aligned "x" or "xyz" }: the DBV side reads some open values as Externals.
    static const std::string values[] = {std::string("\x28\x07\x06\x02\x2a\x03\x81\x01x", 9),
                                         std::string("\x28\x09\x06\x02\x2a\x03\x81\x03xyz", 11)};
    SetOcts(s, v, Pick(s, values));
}

void SampleExternal(AsnSampler *s, AsnExternal *v)
{
    v->directReference = SampleNew<AsnOid>(s);
    uint32_t variant = SampleWanted(s) ? s->turn++ % 4 : uint32_t{AsnExternal_octetAligned};
    switch (variant) {
    case AsnExternal_singleASN1Type: {
        const SampleOpenType *type = ChooseOpenType(s, true);
        MakeOid(v->directReference, type->oid);
        v->encoding.singleASN1Type = SampleNew<AsnAny>(s);
        ASN_SetAnyTypeByOid(v->encoding.singleASN1Type, v->directReference);
        SampleOpenValue(s, v->encoding.singleASN1Type, type);
        break;
    }
    case AsnExternal_octetAligned:
        MakeOid(v->directReference, kMarcOid);
        v->encoding.octetAligned = SampleNew<AsnOcts>(s);
        SampleOcts(s, v->encoding.octetAligned);
        break;
    case AsnExternal_arbitrary:
        MakeOid(v->directReference, kMarcOid);
        v->indirectReference = SampleNew<AsnInt>(s);
        SampleInt(s, v->indirectReference);
        v->dataValueDescriptor = SampleNew<AsnOcts>(s);
        SampleOcts(s, v->dataValueDescriptor);
        v->encoding.arbitrary = SampleNew<AsnBits>(s);
        SampleBits(s, v->encoding.arbitrary);
        // Whole octets: DBV holds arbitrary bits as the octets that carry them.
        v->encoding.arbitrary->bitLen = (v->encoding.arbitrary->bitLen + 7) / 8 * 8;
        break;
    default:
        MakeOid(v->directReference, kUnregisteredOid);
        v->encoding.singleASN1Raw = SampleNew<AsnOcts>(s);
        SampleOpen(s, v->encoding.singleASN1Raw);
        break;
    }
    v->encodingChoice = variant;
}

void SampleAnyByInt(AsnSampler *s, AsnAny *v, AsnInt *key)
{
    const SampleOpenType *type = ChooseOpenType(s, false);
    *key = type->intId;
    ASN_SetAnyTypeByInt(v, *key);
    SampleOpenValue(s, v, type);
}

void SampleAnyByOid(AsnSampler *s, AsnAny *v, AsnOid *key)
{
    const SampleOpenType *type = ChooseOpenType(s, true);
    MakeOid(key, type->oid);
    ASN_SetAnyTypeByOid(v, key);
    SampleOpenValue(s, v, type);
}
