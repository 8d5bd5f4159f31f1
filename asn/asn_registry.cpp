// Identifier registry and start-up registration of the open types.
#include "asn/asn_registry.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ui/mem.h"

// The registration groups, generated from the modules (oid_overwrites_*).
extern "C" {
void OidOverwrites_cipspecific(void);
void OidOverwrites_ciporder(void);
void OidOverwrites_zsqlrs(void);
void OidOverwrites_charset(void);
void OidOverwrites_sil(void);
void OidOverwrites_ill(void);
void OidOverwrites_iso(void);
void OidOverwrites_g(void);
void OidOverwrites_f(void);
void OidOverwrites_e(void);
void OidOverwrites_d(void);
void OidOverwrites_c(void);
void OidOverwrites_b(void);
void OidOverwrites_a(void);
}

namespace {

const char *const kStructuredOids[] = {
    "1.0.10163.5.100", "1.2.840.10003.5.100", "1.0.10163.5.101", "1.2.840.10003.5.101",
    "1.0.10163.5.102", "1.2.840.10003.5.102", "1.0.10163.5.103", "1.2.840.10003.5.103",
    "1.0.10163.5.105", "1.2.840.10003.5.105", "1.0.10163.5.106", "1.2.840.10003.5.106",
    "1.0.10163.7.1", "1.2.840.10003.7.1", "1.0.10163.7.2", "1.2.840.10003.7.2",
    "1.0.10163.9.4", "1.2.840.10003.9.4", "1.2.10161.2.1", "1.0.10163.9.5",
    "1.2.840.10003.9.5", "1.2.840.10003.9.1000.70.1", "1.2.840.10003.9.1000.70.2",
    "1.2.840.10003.9.4.1000.70.1", "1.0.10163.10.2", "1.2.840.10003.10.2",
    "1.0.10163.9.6", "1.2.840.10003.9.6", "1.0.10163.9.7", "1.2.840.10003.9.7",
    "1.0.10163.10.1", "1.2.840.10003.10.1", "1.2.840.10003.5.111",
    "1.2.840.10003.9.1000.99.1", "1.2.840.10003.2.1000.99.1", "1.0.10163.8.1",
    "1.2.840.10003.8.1",
};

// Stands for an identifier that could not be made; matches no real one.
unsigned char placeholderOid[2];

bool registered;

void FreeArcs(AsnOidArc *arc)
{
    while (arc) {
        AsnOidArc *next = arc->next;
        MemFree(arc);
        arc = next;
    }
}

} // namespace

extern "C" {

void ASN_MakeOid(const char *text, AsnOid *result)
{
    AsnOidArc *first = nullptr;
    AsnOidArc **tail = &first;
    for (const char *p = text; *p;) {
        auto *arc = static_cast<AsnOidArc *>(MemAlloc(sizeof(AsnOidArc)));
        if (!arc) {
            FreeArcs(first);
            ASN_Abort(ASN_ABORT_NO_MEMORY);
        }
        arc->value = static_cast<uint32_t>(std::strtoul(p, nullptr, 10));
        *tail = arc;
        tail = &arc->next;
        p = std::strchr(p, '.');
        if (!p)
            break;
        p++;
    }
    result->octs = static_cast<unsigned char *>(MemAlloc(ASN_OidEncodedLength(first)));
    if (!result->octs) {
        FreeArcs(first);
        ASN_Abort(ASN_ABORT_NO_MEMORY);
    }
    ASN_BuildEncodedOid(first, result);
    FreeArcs(first);
}

int ASN_OidToText(const AsnOid *oid, char *text, size_t size)
{
    size_t used = 0;
    uint32_t sub = 0;
    bool first = true;
    text[0] = '\0';
    for (uint32_t i = 0; i < oid->octetLen; i++) {
        sub = (sub << 7) | (oid->octs[i] & 0x7F);
        if (oid->octs[i] & 0x80)
            continue;
        int n;
        if (first) {
            uint32_t x = sub / 40 < 2 ? sub / 40 : 2;
            n = std::snprintf(text + used, size - used, "%u.%u", x, sub - 40 * x);
            first = false;
        } else {
            n = std::snprintf(text + used, size - used, ".%u", sub);
        }
        if (n < 0 || static_cast<size_t>(n) >= size - used)
            return 0;
        used += static_cast<size_t>(n);
        sub = 0;
    }
    return 1;
}

int IsUnstructuredOid(const char *text)
{
    for (const char *oid : kStructuredOids)
        if (std::strcmp(oid, text) == 0)
            return 0;
    return 1;
}

void ASN_RegisterTypes(const ASN_RegisteredType *types, size_t count, const char *failMessage)
{
    for (size_t i = 0; i < count; i++) {
        const ASN_RegisteredType &t = types[i];
        if (!t.oid) {
            ASN_InstallAnyByInt(t.anyId, t.intId, t.size, t.encode, t.decode, t.free, t.print);
            continue;
        }
        AsnOid oid = {sizeof placeholderOid, placeholderOid};
        try {
            AsnOid made = {0, nullptr};
            ASN_MakeOid(t.oid, &made);
            oid = made; // kept for the life of the process
        } catch (const AsnAbort &) {
            std::fputs(failMessage, stdout);
        }
        ASN_InstallAnyByOid(t.anyId, &oid, t.size, t.encode, t.decode, t.free, t.print);
    }
}

void RegisterCodecTypes(void)
{
    if (registered)
        return;
    registered = true;
    OidOverwrites_cipspecific();
    OidOverwrites_ciporder();
    OidOverwrites_zsqlrs();
    OidOverwrites_charset();
    OidOverwrites_sil();
    OidOverwrites_ill();
    OidOverwrites_iso();
    OidOverwrites_g();
    OidOverwrites_f();
    OidOverwrites_e();
    OidOverwrites_d();
    OidOverwrites_c();
    OidOverwrites_b();
    OidOverwrites_a();
}

} // extern "C"
