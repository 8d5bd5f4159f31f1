// Identifier registry and start-up registration of the open types.
#include "asn/asn_registry.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ui/mem.h"

namespace {

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
    for (const char *const *oid = ASN_StructuredOids; *oid; oid++)
        if (std::strcmp(*oid, text) == 0)
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
    ASN_RunRegistrationGroups();
}

} // extern "C"
