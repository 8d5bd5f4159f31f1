// The one filler of the tests: sample values of every generated type. The
// generated Sample<Type> routines (asn_samples.cpp) fill every component
// through these helpers, each CHOICE taking the alternative the seed
// selects (seeds 0 .. kSampleSeeds - 1 reach all); beyond the depth or the
// allocation budget optional components stay absent, lists empty, and each
// CHOICE takes the alternative that ends the nesting soonest.
#ifndef KESTRA_TESTS_ASN_SAMPLE_VALUES_H
#define KESTRA_TESTS_ASN_SAMPLE_VALUES_H

#include <cstddef>
#include <cstdint>

#include "asn/asn_external.h"

struct AsnSampler {
    uint32_t seed;
    int depth;
    uint32_t made; // allocations so far, against the budget
    uint32_t turn; // varies the primitive values
};

bool SampleWanted(const AsnSampler *s);
void *SampleAlloc(AsnSampler *s, size_t size);
template <typename T> T *SampleNew(AsnSampler *s)
{
    return static_cast<T *>(SampleAlloc(s, sizeof(T)));
}

struct SampleScope {
    AsnSampler *s;
    explicit SampleScope(AsnSampler *sampler) : s(sampler) { s->depth++; }
    ~SampleScope() { s->depth--; }
};

uint32_t SampleChoice(AsnSampler *s, uint32_t count, uint32_t terminal);
int SampleCount(AsnSampler *s);
void SampleInt(AsnSampler *s, AsnInt *v);
void SampleBool(AsnSampler *s, AsnBool *v);
void SampleReal(AsnSampler *s, AsnReal *v);
void SampleOcts(AsnSampler *s, AsnOcts *v);
void SampleOid(AsnSampler *s, AsnOid *v);
void SampleBits(AsnSampler *s, AsnBits *v);
void SampleOpen(AsnSampler *s, AsnOcts *v);
void SampleExternal(AsnSampler *s, AsnExternal *v);
// ANY DEFINED BY: sets the key to a registered one and fills its value.
void SampleAnyByInt(AsnSampler *s, AsnAny *v, AsnInt *key);
void SampleAnyByOid(AsnSampler *s, AsnAny *v, AsnOid *key);

// Every standalone generated type with its whole-value routines.
struct SampleType {
    const char *module;
    const char *name;
    size_t size;
    void (*fill)(AsnSampler *, void *);
    AsnEncodeFn encode;
    AsnDecodeFn decode;
    AsnFreeFn free;
};

template <typename T, AsnLen (*Enc)(ASN_Buffer *, T *), void (*Dec)(ASN_Buffer *, T *, AsnLen *),
          void (*Free)(T *), void (*Fill)(AsnSampler *, T *)>
SampleType SampleEntry(const char *module, const char *name)
{
    return {module, name, sizeof(T), [](AsnSampler *s, void *v) { Fill(s, static_cast<T *>(v)); },
            [](ASN_Buffer *b, void *v) { return Enc(b, static_cast<T *>(v)); },
            [](ASN_Buffer *b, void *v, AsnLen *n) { Dec(b, static_cast<T *>(v), n); },
            [](void *v) { Free(static_cast<T *>(v)); }};
}

// The registered open types: identifier, or integer key when oid is null.
struct SampleOpenType {
    const char *oid;
    AsnInt intId;
    void (*fill)(AsnSampler *, void *);
};

template <typename T, void (*Fill)(AsnSampler *, T *)> void SampleFill(AsnSampler *s, void *v)
{
    Fill(s, static_cast<T *>(v));
}

// A new value of the open type under its key, filled from seed.
AsnAny *SampleAny(const SampleOpenType *type, uint32_t seed);
// The type of that module and name (the codec's types registered first).
const SampleType &FindSampleType(const char *module, const char *name);
// A new value of type filled from seed.
void *SampleValue(const SampleType &type, uint32_t seed);

extern const SampleType kSampleTypes[];
extern const size_t kSampleTypeCount;
extern const SampleOpenType kSampleOpenTypes[];
extern const size_t kSampleOpenTypeCount;
extern const uint32_t kSampleSeeds;

#endif
