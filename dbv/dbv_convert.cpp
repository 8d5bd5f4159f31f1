// DBV trees to codec structures and back, by the descriptors. Identifiers
// travel as dotted text in DBV and as BER contents octets in the codec; bit
// strings as '1'/'0' text and as bits; lists as NULL-terminated arrays and as
// AsnList. The EXTERNAL is converted by hand: its single-ASN1-type value is an
// AsnAny whose registry entry the direct reference selects, and whose DBV
// form is typed by eASN1Type; its arbitrary bits are in DBV the octets that
// carry them. So are the values that the codec holds in another form: an ANY
// DEFINED BY value is its BER element in DBV; an open value holding an
// EXTERNAL (the private query) is the External; and an EXTERNAL carrying a
// structure under its own identifier (the SQL query) is the structure.
#include "dbv/dbv_convert.h"

#include <cstring>

#include "asn/asn_external.h"
#include "asn/asn_registry.h"
#include "dbv/dbv_tree.h"
#include "dbv_external.h"

namespace {

const uint32_t kAsnPtr = DBV_F_ASN_PTR;
const DbvValueDesc kOid = {DBV_K_OID, nullptr, nullptr, nullptr};
const DbvValueDesc kUint = {DBV_K_UINT, nullptr, nullptr, nullptr};
const DbvValueDesc kText = {DBV_K_TEXT, nullptr, nullptr, nullptr};
const DbvValueDesc kOcts = {DBV_K_OCTS, nullptr, nullptr, nullptr};
const AsnTag kExternalTag = 0x28000000u; // [UNIVERSAL 8] constructed
const int kNoMemory = -27;               // the codec's abort code for it
const int kNotExternal = -101;

bool ToAsnSlot(const DbvValueDesc *v, uint32_t flags, const void *slot, void *asnSlot);
bool FromAsnSlot(const DbvValueDesc *v, uint32_t flags, const void *asnSlot, void *slot);
bool ExternalToAsn(const DbvExternal *from, AsnExternal *to);
bool ExternalFromAsn(const AsnExternal *from, DbvExternal *to);
bool AnyToAsn(const DbvOctetString *from, AsnAny *to);
bool AnyFromAsn(const AsnAny *from, DbvOctetString *to);
bool ExternalToOpen(const DbvExternal *from, AsnOcts *to);
bool ExternalFromOpen(const AsnOcts *from, DbvExternal *to);
bool CarriedToAsn(const DbvTypeDesc *type, const void *from, AsnExternal *to);
bool CarriedFromAsn(const DbvTypeDesc *type, const AsnExternal *from, void *to);

unsigned char *At(void *base, uint32_t offset)
{
    return static_cast<unsigned char *>(base) + offset;
}

const unsigned char *At(const void *base, uint32_t offset)
{
    return static_cast<const unsigned char *>(base) + offset;
}

size_t AsnSize(const DbvValueDesc *v)
{
    switch (v->eKind) {
    case DBV_K_UINT:
    case DBV_K_ENUM:
        return sizeof(AsnInt);
    case DBV_K_BOOL:
        return sizeof(AsnBool);
    case DBV_K_NULL:
        return sizeof(AsnNull);
    case DBV_K_BITS:
        return sizeof(AsnBits);
    case DBV_K_LIST:
        return sizeof(AsnList);
    case DBV_K_STRUCT:
        return v->psType->ulAsnSize;
    case DBV_K_EXTERNAL:
        return sizeof(AsnExternal);
    case DBV_K_ANY:
        return sizeof(AsnAny);
    default:
        return sizeof(AsnOcts);
    }
}

// Places a new zero-filled codec value of v's kind, or of the form that
// flags name, into a pointer slot.
void *NewAsn(const DbvValueDesc *v, uint32_t flags, void *asnSlot)
{
    size_t size = (flags & DBV_F_ASN_OPEN) ? sizeof(AsnOcts)
                  : (flags & DBV_F_ASN_EXTERNAL) ? sizeof(AsnExternal)
                                                 : AsnSize(v);
    void *value = MemAlloc(size);
    *static_cast<void **>(asnSlot) = value;
    return value;
}

bool OctsFrom(AsnOcts *to, const void *data, uint32_t length)
{
    to->octs = static_cast<unsigned char *>(MemAlloc(length));
    if (!to->octs)
        return false;
    if (length)
        std::memcpy(to->octs, data, length);
    to->octetLen = length;
    return true;
}

bool BitsFrom(AsnBits *to, const char *text)
{
    uint32_t n = static_cast<uint32_t>(std::strlen(text));
    to->bits = static_cast<unsigned char *>(MemAlloc((n + 7) / 8));
    if (!to->bits)
        return false;
    to->bitLen = n;
    for (uint32_t i = 0; i < n; i++) {
        if (text[i] == '1')
            ASN_SetBit(to, i);
    }
    return true;
}

bool OidFrom(AsnOid *to, const char *text)
{
    try {
        ASN_MakeOid(text, to);
    } catch (const AsnAbort &) {
        return false;
    }
    return true;
}

bool ToAsnFields(const DbvTypeDesc *type, const void *from, void *to)
{
    if (type->fChoice) {
        const DbvFieldDesc *alt = DbvChoiceAlternative(type, DbvSelector(type, from));
        // An unknown selector leaves an index that selects nothing.
        *static_cast<uint32_t *>(to) = alt ? static_cast<uint32_t>(alt - type->psFields) : type->ulFieldCount;
        if (alt && alt->sValue.eKind == DBV_K_NULL)
            return NewAsn(&alt->sValue, 0, At(to, alt->ulAsnOffset)) != nullptr;
    }
    return DbvEachMember(type, from, [&](const DbvFieldDesc *f) {
        return ToAsnSlot(&f->sValue, f->ulFlags, At(from, f->ulDbvOffset), At(to, f->ulAsnOffset));
    });
}

bool ToAsnValue(const DbvValueDesc *v, const void *from, void *to)
{
    switch (v->eKind) {
    case DBV_K_UINT:
        *static_cast<AsnInt *>(to) = static_cast<AsnInt>(*static_cast<const uint32_t *>(from));
        return true;
    case DBV_K_ENUM:
        *static_cast<AsnInt *>(to) = *static_cast<const int *>(from);
        return true;
    case DBV_K_BOOL:
        *static_cast<AsnBool *>(to) = *static_cast<const int *>(from) ? 1 : 0;
        return true;
    case DBV_K_NULL:
        return true;
    case DBV_K_OCTS: {
        const DbvOctetString *octets = static_cast<const DbvOctetString *>(from);
        return OctsFrom(static_cast<AsnOcts *>(to), octets->pbData, octets->pbData ? octets->ulLength : 0);
    }
    case DBV_K_TEXT: {
        const char *text = *static_cast<char *const *>(from);
        return OctsFrom(static_cast<AsnOcts *>(to), text, static_cast<uint32_t>(std::strlen(text)));
    }
    case DBV_K_OID:
        return OidFrom(static_cast<AsnOid *>(to), *static_cast<char *const *>(from));
    case DBV_K_BITS:
        return BitsFrom(static_cast<AsnBits *>(to), *static_cast<char *const *>(from));
    case DBV_K_LIST: {
        AsnList *list = static_cast<AsnList *>(to);
        list->dataSize = sizeof(void *);
        void *const *entries = *static_cast<void **const *>(from);
        uint32_t flags = DbvElementFlags(v->psElement) | kAsnPtr;
        for (uint32_t i = 0; entries[i]; i++) {
            void *slot = ASN_ListAppend(list);
            if (!slot || !ToAsnSlot(v->psElement, flags, &entries[i], slot))
                return false;
        }
        return true;
    }
    case DBV_K_EXTERNAL:
        return ExternalToAsn(static_cast<const DbvExternal *>(from), static_cast<AsnExternal *>(to));
    case DBV_K_ANY:
        return AnyToAsn(static_cast<const DbvOctetString *>(from), static_cast<AsnAny *>(to));
    default:
        return ToAsnFields(v->psType, from, to);
    }
}

// Whether the DBV value at value (the slot's value, after any pointer) is
// absent.
bool Absent(const DbvValueDesc *v, uint32_t flags, const void *value)
{
    if (!value)
        return true;
    if (DbvIsPointerKind(v->eKind))
        return *static_cast<void *const *>(value) == nullptr;
    if (v->eKind == DBV_K_NULL)
        return *static_cast<const int *>(value) == 0;
    if (flags & DBV_F_OPTIONAL)
        return DbvSelector(v->psType, value) == 0;
    return v->eKind == DBV_K_ANY && !static_cast<const DbvOctetString *>(value)->pbData;
}

bool ToAsnSlot(const DbvValueDesc *v, uint32_t flags, const void *slot, void *asnSlot)
{
    const void *value = (flags & DBV_F_DBV_PTR) ? *static_cast<void *const *>(slot) : slot;
    if (Absent(v, flags, value))
        return true;
    void *to = asnSlot;
    if ((flags & kAsnPtr) && !(to = NewAsn(v, flags, asnSlot)))
        return false;
    if (flags & DBV_F_ASN_OPEN)
        return ExternalToOpen(static_cast<const DbvExternal *>(value), static_cast<AsnOcts *>(to));
    if (flags & DBV_F_ASN_EXTERNAL)
        return CarriedToAsn(v->psType, value, static_cast<AsnExternal *>(to));
    return ToAsnValue(v, value, to);
}

char *TextFrom(const void *data, uint32_t length)
{
    char *text = static_cast<char *>(MemAlloc(static_cast<size_t>(length) + 1));
    if (text && length)
        std::memcpy(text, data, length);
    return text;
}

char *OidText(const AsnOid *oid)
{
    // Every contents octet adds at most ten digits and a full stop.
    size_t size = static_cast<size_t>(oid->octetLen) * 11 + 8;
    char *text = static_cast<char *>(MemAlloc(size));
    if (text)
        ASN_OidToText(oid, text, size);
    return text;
}

char *BitsText(const AsnBits *bits)
{
    char *text = static_cast<char *>(MemAlloc(static_cast<size_t>(bits->bitLen) + 1));
    if (text) {
        for (uint32_t i = 0; i < bits->bitLen; i++)
            text[i] = ASN_GetBit(bits, i) ? '1' : '0';
    }
    return text;
}

bool FromAsnFields(const DbvTypeDesc *type, const void *from, void *to)
{
    if (type->fChoice) {
        uint32_t index = *static_cast<const uint32_t *>(from);
        if (index >= type->ulFieldCount)
            return true;
        const DbvFieldDesc *alt = &type->psFields[index];
        *reinterpret_cast<int *>(At(to, type->ulSelectorOffset)) = alt->lSelector;
        if (alt->sValue.eKind == DBV_K_NULL)
            return true;
        return FromAsnSlot(&alt->sValue, alt->ulFlags, At(from, alt->ulAsnOffset), At(to, alt->ulDbvOffset));
    }
    for (uint32_t i = 0; i < type->ulFieldCount; i++) {
        const DbvFieldDesc *f = &type->psFields[i];
        if (!FromAsnSlot(&f->sValue, f->ulFlags, At(from, f->ulAsnOffset), At(to, f->ulDbvOffset)))
            return false;
    }
    return true;
}

// Texts and lists: the new pointer goes into the slot itself.
bool PointerFromAsn(const DbvValueDesc *v, const void *from, void **slot)
{
    switch (v->eKind) {
    case DBV_K_TEXT: {
        const AsnOcts *octs = static_cast<const AsnOcts *>(from);
        return (*slot = TextFrom(octs->octs, octs->octetLen)) != nullptr;
    }
    case DBV_K_OID:
        return (*slot = OidText(static_cast<const AsnOid *>(from))) != nullptr;
    case DBV_K_BITS:
        return (*slot = BitsText(static_cast<const AsnBits *>(from))) != nullptr;
    default: {
        const AsnList *list = static_cast<const AsnList *>(from);
        uint32_t n = 0;
        for (const AsnListNode *node = list->first; node; node = node->next)
            n++;
        void **entries = static_cast<void **>(MemAlloc((static_cast<size_t>(n) + 1) * sizeof(void *)));
        if (!(*slot = entries))
            return false;
        uint32_t flags = DbvElementFlags(v->psElement) | kAsnPtr;
        uint32_t i = 0;
        for (const AsnListNode *node = list->first; node; node = node->next) {
            if (!node->data)
                continue;
            if (!FromAsnSlot(v->psElement, flags, &node->data, &entries[i++]))
                return false;
        }
        return true;
    }
    }
}

bool FromAsnValue(const DbvValueDesc *v, const void *from, void *to)
{
    switch (v->eKind) {
    case DBV_K_UINT:
        *static_cast<uint32_t *>(to) = static_cast<uint32_t>(*static_cast<const AsnInt *>(from));
        return true;
    case DBV_K_ENUM:
        *static_cast<int *>(to) = *static_cast<const AsnInt *>(from);
        return true;
    case DBV_K_BOOL:
        *static_cast<int *>(to) = *static_cast<const AsnBool *>(from) ? DBV_TRUE : DBV_FALSE;
        return true;
    case DBV_K_OCTS: {
        const AsnOcts *octs = static_cast<const AsnOcts *>(from);
        return DbvSetOctets(static_cast<DbvOctetString *>(to), octs->octs, octs->octetLen);
    }
    case DBV_K_EXTERNAL:
        return ExternalFromAsn(static_cast<const AsnExternal *>(from), static_cast<DbvExternal *>(to));
    case DBV_K_ANY:
        return AnyFromAsn(static_cast<const AsnAny *>(from), static_cast<DbvOctetString *>(to));
    default:
        return FromAsnFields(v->psType, from, to);
    }
}

bool FromAsnSlot(const DbvValueDesc *v, uint32_t flags, const void *asnSlot, void *slot)
{
    const void *from = (flags & kAsnPtr) ? *static_cast<void *const *>(asnSlot) : asnSlot;
    if (!from)
        return true;
    if (v->eKind == DBV_K_NULL) {
        *static_cast<int *>(slot) = DBV_TRUE;
        return true;
    }
    if (DbvIsPointerKind(v->eKind))
        return PointerFromAsn(v, from, static_cast<void **>(slot));
    void *to = slot;
    if (flags & DBV_F_DBV_PTR) {
        if (!(to = MemAlloc(DbvValueSize(v))))
            return false;
        *static_cast<void **>(slot) = to;
    }
    if (flags & DBV_F_ASN_OPEN)
        return ExternalFromOpen(static_cast<const AsnOcts *>(from), static_cast<DbvExternal *>(to));
    if (flags & DBV_F_ASN_EXTERNAL)
        return CarriedFromAsn(v->psType, static_cast<const AsnExternal *>(from), to);
    return FromAsnValue(v, from, to);
}

// -- EXTERNAL

// Arbitrary bits go out as every bit of the octets; absent ones stay absent.
bool ArbitraryToAsn(const DbvOctetString *from, AsnBits **to)
{
    if (!from)
        return true;
    uint32_t length = from->pbData ? from->ulLength : 0;
    if (length > UINT32_MAX / 8 || !(*to = static_cast<AsnBits *>(MemAlloc(sizeof(AsnBits)))))
        return false;
    if (!((*to)->bits = static_cast<unsigned char *>(MemAlloc(length))))
        return false;
    if (length)
        std::memcpy((*to)->bits, from->pbData, length);
    (*to)->bitLen = length * 8;
    return true;
}

// Received arbitrary bits come in as the octets that carry them, a last
// partial octet included.
bool ArbitraryFromAsn(const AsnBits *from, DbvOctetString **to)
{
    if (!from)
        return true;
    if (!(*to = static_cast<DbvOctetString *>(MemAlloc(sizeof(DbvOctetString)))))
        return false;
    return DbvSetOctets(*to, from->bits, from->bitLen / 8 + (from->bitLen % 8 != 0));
}

const char *SentOid(int32_t type)
{
    for (uint32_t i = 0; i < DbvAsn1OidCount; i++) {
        if (DbvAsn1Oids[i].eASN1Type == type)
            return DbvAsn1Oids[i].pcOid;
    }
    return nullptr;
}

int32_t TypeOfOid(const char *oid)
{
    for (uint32_t i = 0; oid && i < DbvAsn1OidCount; i++) {
        if (std::strcmp(DbvAsn1Oids[i].pcOid, oid) == 0)
            return DbvAsn1Oids[i].eASN1Type;
    }
    return -1;
}

// A typed single-ASN1-type value: the registry entry comes from the direct
// reference, which is the type's own identifier when the caller gave none.
bool SingleToAsn(const DbvSingleASN1Type *single, AsnExternal *to)
{
    const DbvFieldDesc *alt = DbvChoiceAlternative(&DbvDesc_SingleASN1Type, single->eASN1Type);
    if (!alt)
        return true;
    const void *slot = At(single, alt->ulDbvOffset);
    if (single->eASN1Type == AT_RawEncoding) {
        to->encodingChoice = AsnExternal_singleASN1Raw;
        return ToAsnSlot(&kOcts, DBV_F_DBV_PTR | kAsnPtr, slot, &to->encoding.singleASN1Raw);
    }
    const char *sent = SentOid(single->eASN1Type);
    if (!to->directReference && !ToAsnSlot(&kOid, kAsnPtr, &sent, &to->directReference))
        return false;
    AsnAny any = {nullptr, nullptr};
    ASN_SetAnyTypeByOid(&any, to->directReference);
    const void *value = (alt->ulFlags & DBV_F_DBV_PTR) ? *static_cast<void *const *>(slot) : slot;
    if (!any.ai || Absent(&alt->sValue, alt->ulFlags, value))
        return true;
    to->encodingChoice = AsnExternal_singleASN1Type;
    if (!(to->encoding.singleASN1Type = static_cast<AsnAny *>(MemAlloc(sizeof(AsnAny)))))
        return false;
    to->encoding.singleASN1Type->ai = any.ai;
    return ToAsnSlot(&alt->sValue, alt->ulFlags | kAsnPtr, slot, &to->encoding.singleASN1Type->value);
}

bool ExternalToAsn(const DbvExternal *from, AsnExternal *to)
{
    RegisterCodecTypes();
    if (!ToAsnSlot(&kOid, kAsnPtr, &from->ObjectIdentifier, &to->directReference) ||
        !ToAsnSlot(&kUint, DBV_F_DBV_PTR | kAsnPtr, &from->pulIndirectReference, &to->indirectReference) ||
        !ToAsnSlot(&kText, kAsnPtr, &from->pcDataValueDescriptor, &to->dataValueDescriptor))
        return false;
    bool done = true;
    switch (from->eValueType) {
    case EVT_SingleASN1Type:
        if (from->uExternalValue.psSingleASN1Type)
            done = SingleToAsn(from->uExternalValue.psSingleASN1Type, to);
        break;
    case EVT_OctetAligned:
        to->encodingChoice = AsnExternal_octetAligned;
        done = ToAsnSlot(&kOcts, DBV_F_DBV_PTR | kAsnPtr, &from->uExternalValue.psOctetAligned, &to->encoding.octetAligned);
        break;
    case EVT_Arbitrary:
        to->encodingChoice = AsnExternal_arbitrary;
        done = ArbitraryToAsn(from->uExternalValue.psArbitrary, &to->encoding.arbitrary);
        break;
    default:
        break;
    }
    if (!done)
        return false;
    // The encoder needs an encoding (every member of the union is a pointer):
    // one that could not be made from the tree (absent, or a type without a
    // registry entry) goes as no octets.
    if (!to->encoding.octetAligned) {
        to->encodingChoice = AsnExternal_octetAligned;
        return NewAsn(&kOcts, 0, &to->encoding.octetAligned) && OctsFrom(to->encoding.octetAligned, "", 0);
    }
    return true;
}

bool SingleFromAsn(const AsnExternal *from, DbvExternal *to)
{
    to->eValueType = EVT_SingleASN1Type;
    DbvSingleASN1Type *single = static_cast<DbvSingleASN1Type *>(MemAlloc(sizeof(DbvSingleASN1Type)));
    if (!(to->uExternalValue.psSingleASN1Type = single))
        return false;
    if (from->encodingChoice == AsnExternal_singleASN1Raw) {
        single->eASN1Type = AT_RawEncoding;
        return FromAsnSlot(&kOcts, DBV_F_DBV_PTR | kAsnPtr, &from->encoding.singleASN1Raw, &single->uASN1.psRawEncoding);
    }
    const AsnAny *any = from->encoding.singleASN1Type;
    const DbvFieldDesc *alt = DbvChoiceAlternative(&DbvDesc_SingleASN1Type, TypeOfOid(to->ObjectIdentifier));
    if (!any || !alt)
        return true;
    single->eASN1Type = alt->lSelector;
    return FromAsnSlot(&alt->sValue, alt->ulFlags | kAsnPtr, &any->value, At(single, alt->ulDbvOffset));
}

bool ExternalFromAsn(const AsnExternal *from, DbvExternal *to)
{
    if (!FromAsnSlot(&kOid, kAsnPtr, &from->directReference, &to->ObjectIdentifier) ||
        !FromAsnSlot(&kUint, DBV_F_DBV_PTR | kAsnPtr, &from->indirectReference, &to->pulIndirectReference) ||
        !FromAsnSlot(&kText, kAsnPtr, &from->dataValueDescriptor, &to->pcDataValueDescriptor))
        return false;
    switch (from->encodingChoice) {
    case AsnExternal_singleASN1Type:
    case AsnExternal_singleASN1Raw:
        return SingleFromAsn(from, to);
    case AsnExternal_octetAligned:
        to->eValueType = EVT_OctetAligned;
        return FromAsnSlot(&kOcts, DBV_F_DBV_PTR | kAsnPtr, &from->encoding.octetAligned, &to->uExternalValue.psOctetAligned);
    case AsnExternal_arbitrary:
        to->eValueType = EVT_Arbitrary;
        return ArbitraryFromAsn(from->encoding.arbitrary, &to->uExternalValue.psArbitrary);
    default:
        return true;
    }
}

// -- values that the codec holds in another form

// Whole values in the untyped form of a registry entry, encoded into octets
// and decoded from them.
bool EncodedOcts(const AnyInfo *info, void *value, AsnOcts *to)
{
    ASN_Buffer b;
    unsigned char none[1];
    ASN_InitWriteBuffer(&b, none, 0); // measures only
    AsnLen length = info->encode(&b, value);
    if (!(to->octs = static_cast<unsigned char *>(MemAlloc(length))))
        return false;
    ASN_InitWriteBuffer(&b, to->octs, length);
    info->encode(&b, value);
    to->octetLen = length;
    return true;
}

void ReleaseValue(const AnyInfo *info, void *value)
{
    if (value) {
        info->free(value);
        MemFree(value);
    }
}

// Open values (the private query) and carried structures are decoded from
// their octets only here, each decode afresh within the codec's nesting
// limit. One met while another is being converted stays undecoded: a query
// can hold a query, and a chain of them must not grow with the PDU's length.
int valuesOpened;

struct OpenedValue {
    OpenedValue() { valuesOpened++; }
    ~OpenedValue() { valuesOpened--; }
};

// *value: the decoded value, or NULL when the octets do not decode or are
// inside another opened value; false only when memory ran out.
bool DecodedValue(const AnyInfo *info, const AsnOcts *octs, void **value)
{
    *value = nullptr;
    if (valuesOpened > 0)
        return true;
    if (!(*value = MemAlloc(info->size)))
        return false;
    ASN_Buffer b;
    ASN_InitReadBuffer(&b, octs->octs, octs->octetLen);
    AsnLen used = 0;
    try {
        info->decode(&b, *value, &used);
        return true;
    } catch (const AsnAbort &abort) {
        ReleaseValue(info, *value);
        *value = nullptr;
        return abort.code != kNoMemory;
    }
}

// An ANY DEFINED BY value built from DBV octets goes out as they are.
AsnLen EncodeRaw(ASN_Buffer *b, void *v)
{
    return ASN_EncodeOctsContent(b, static_cast<AsnOcts *>(v));
}

void FreeRaw(void *v)
{
    ASN_FreeOcts(static_cast<AsnOcts *>(v));
}

void PrintRaw(FILE *f, void *v, unsigned short)
{
    ASN_PrintOcts(f, static_cast<AsnOcts *>(v));
}

AnyInfo kRawAny = {0, {0, nullptr}, 0, sizeof(AsnOcts), EncodeRaw, nullptr, FreeRaw, PrintRaw};

bool AnyToAsn(const DbvOctetString *from, AsnAny *to)
{
    to->ai = &kRawAny;
    AsnOcts *raw = static_cast<AsnOcts *>(NewAsn(&kOcts, 0, &to->value));
    return raw && OctsFrom(raw, from->pbData, from->ulLength);
}

bool AnyFromAsn(const AsnAny *from, DbvOctetString *to)
{
    if (!from->ai || !from->value)
        return true;
    if (from->ai == &kRawAny) {
        const AsnOcts *raw = static_cast<const AsnOcts *>(from->value);
        return DbvSetOctets(to, raw->octs, raw->octetLen);
    }
    AsnOcts encoded = {0, nullptr};
    bool done = EncodedOcts(from->ai, from->value, &encoded) && DbvSetOctets(to, encoded.octs, encoded.octetLen);
    ASN_FreeOcts(&encoded);
    return done;
}

// An EXTERNAL with its identifier and length, for the open values.
AsnLen EncodeWholeExternal(ASN_Buffer *b, void *v)
{
    return ASN_EncodeTL(b, ASN_EncodeExternalContent(b, static_cast<AsnExternal *>(v)), kExternalTag);
}

void DecodeWholeExternal(ASN_Buffer *b, void *v, AsnLen *decoded)
{
    AsnTag tag = ASN_DecodeTag(b, decoded);
    AsnLen length = ASN_DecodeLength(b, decoded);
    if (tag != kExternalTag)
        ASN_Abort(kNotExternal);
    ASN_DecodeExternalContent(b, tag, length, static_cast<AsnExternal *>(v), decoded);
}

void FreeExternalValue(void *v)
{
    ASN_FreeExternal(static_cast<AsnExternal *>(v));
}

AnyInfo kWholeExternal = {0, {0, nullptr}, 0, sizeof(AsnExternal), EncodeWholeExternal, DecodeWholeExternal,
                          FreeExternalValue, nullptr};

bool ExternalToOpen(const DbvExternal *from, AsnOcts *to)
{
    AsnExternal external = {};
    bool done = ExternalToAsn(from, &external) && EncodedOcts(&kWholeExternal, &external, to);
    ASN_FreeExternal(&external);
    return done;
}

// Octets that are not an EXTERNAL leave the External without a value.
bool ExternalFromOpen(const AsnOcts *from, DbvExternal *to)
{
    void *external = nullptr;
    if (!DecodedValue(&kWholeExternal, from, &external))
        return false;
    OpenedValue opened;
    bool done = !external || ExternalFromAsn(static_cast<AsnExternal *>(external), to);
    ReleaseValue(&kWholeExternal, external);
    return done;
}

const DbvCarriedType *CarriedType(const DbvTypeDesc *type)
{
    for (uint32_t i = 0; i < DbvCarriedTypeCount; i++) {
        if (DbvCarriedTypes[i].psType == type)
            return &DbvCarriedTypes[i];
    }
    return nullptr;
}

bool CarriedToAsn(const DbvTypeDesc *type, const void *from, AsnExternal *to)
{
    const DbvCarriedType *carried = CarriedType(type);
    if (!ToAsnSlot(&kOid, kAsnPtr, &carried->pcOid, &to->directReference))
        return false;
    to->encodingChoice = AsnExternal_singleASN1Type;
    AsnAny *any = static_cast<AsnAny *>(MemAlloc(sizeof(AsnAny)));
    if (!(to->encoding.singleASN1Type = any))
        return false;
    any->ai = carried->psInfo;
    return (any->value = MemAlloc(type->ulAsnSize)) && ToAsnFields(type, from, any->value);
}

// The structure comes from a value of this side's own making, or from the
// raw octets that the codec keeps for an identifier it does not decode; an
// EXTERNAL under another identifier leaves the structure empty.
bool CarriedFromAsn(const DbvTypeDesc *type, const AsnExternal *from, void *to)
{
    const DbvCarriedType *carried = CarriedType(type);
    char oid[256];
    if (!from->directReference || !ASN_OidToText(from->directReference, oid, sizeof oid) ||
        std::strcmp(oid, carried->pcOid) != 0)
        return true;
    const AsnAny *any = from->encoding.singleASN1Type;
    if (from->encodingChoice == AsnExternal_singleASN1Type && any && any->ai == carried->psInfo)
        return FromAsnFields(type, any->value, to);
    if (from->encodingChoice != AsnExternal_singleASN1Raw || !from->encoding.singleASN1Raw)
        return true;
    void *value = nullptr;
    if (!DecodedValue(carried->psInfo, from->encoding.singleASN1Raw, &value))
        return false;
    OpenedValue opened;
    bool done = !value || FromAsnFields(type, value, to);
    ReleaseValue(carried->psInfo, value);
    return done;
}

} // namespace

extern "C" {

int DbvTreeToAsn(const DbvTypeDesc *psType, const void *pvTree, void **ppvOut)
{
    *ppvOut = nullptr;
    if (!pvTree)
        return DBV_CONVERT_OK;
    if (!(*ppvOut = MemAlloc(psType->ulAsnSize)))
        return DBV_CONVERT_NO_MEMORY;
    return ToAsnFields(psType, pvTree, *ppvOut) ? DBV_CONVERT_OK : DBV_CONVERT_NO_MEMORY;
}

int DbvTreeFromAsn(const DbvTypeDesc *psType, const void *pvAsn, void **ppvOut)
{
    *ppvOut = nullptr;
    if (!pvAsn)
        return DBV_CONVERT_OK;
    void *tree = MemAlloc(psType->ulDbvSize);
    if (!tree)
        return DBV_CONVERT_NO_MEMORY;
    if (!FromAsnFields(psType, pvAsn, tree)) {
        DbvFreeTree(psType, tree);
        return DBV_CONVERT_NO_MEMORY;
    }
    *ppvOut = tree;
    return DBV_CONVERT_OK;
}

} // extern "C"
