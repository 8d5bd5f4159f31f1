// EXTERNAL ::= [UNIVERSAL 8] IMPLICIT SEQUENCE { direct-reference OBJECT
// IDENTIFIER OPTIONAL, indirect-reference INTEGER OPTIONAL,
// data-value-descriptor ObjectDescriptor OPTIONAL, encoding CHOICE {
// single-ASN1-type [0] ANY, octet-aligned [1] IMPLICIT OCTET STRING,
// arbitrary [2] IMPLICIT BIT STRING } }
#include "asn/asn_external.h"

#include <cstring>

#include "asn/asn_pdu.h"
#include "asn/asn_registry.h"
#include "ui/mem.h"

namespace {

const AsnTag kOidTag = 0x06000000u;
const AsnTag kIntTag = 0x02000000u;
const AsnTag kDescriptorTag = 0x07000000u;
const AsnTag kSingleTag = 0xA0000000u;
const AsnTag kOctetAlignedTag = 0x81000000u;
const AsnTag kArbitraryTag = 0x82000000u;

template <typename T> T *New()
{
    return static_cast<T *>(ASN_DecAlloc(sizeof(T)));
}

bool IsStructured(const AsnOid *directReference)
{
    char text[256];
    return directReference && ASN_OidToText(directReference, text, sizeof text) &&
           IsUnstructuredOid(text) == 0;
}

// The value inside single-ASN1-type, measured and kept whole.
void DecodeRaw(ASN_Buffer *b, AsnLen len, AsnOcts *raw, AsnLen *decoded)
{
    AsnLen avail = static_cast<AsnLen>(b->dataEnd - b->readLoc);
    if (len != ASN_INDEFINITE_LEN && len < avail)
        avail = len;
    uint32_t total = 0;
    if (!PduLength(b->readLoc, avail, &total))
        ASN_Abort(ASN_ABORT_EXTERNAL_INCOMPLETE);
    raw->octs = static_cast<unsigned char *>(ASN_DecAlloc(total));
    std::memcpy(raw->octs, b->readLoc, total);
    raw->octetLen = total;
    b->readLoc += total;
    *decoded += total;
}

void DecodeEncoding(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnExternal *v, AsnLen *decoded)
{
    switch (tag) {
    case kSingleTag: {
        AsnNesting wrapper;
        if (IsStructured(v->directReference)) {
            v->encodingChoice = AsnExternal_singleASN1Type;
            v->encoding.singleASN1Type = New<AsnAny>();
            ASN_SetAnyTypeByOid(v->encoding.singleASN1Type, v->directReference);
            ASN_DecodeAny(b, v->encoding.singleASN1Type, decoded);
        } else {
            v->encodingChoice = AsnExternal_singleASN1Raw;
            v->encoding.singleASN1Raw = New<AsnOcts>();
            DecodeRaw(b, len, v->encoding.singleASN1Raw, decoded);
        }
        ASN_EndContents(b, len, decoded);
        break;
    }
    case kOctetAlignedTag:
    case kOctetAlignedTag | ASN_CONSTRUCTED_BIT:
        v->encodingChoice = AsnExternal_octetAligned;
        v->encoding.octetAligned = New<AsnOcts>();
        ASN_DecodeOctsContent(b, tag, len, v->encoding.octetAligned, decoded);
        break;
    case kArbitraryTag:
    case kArbitraryTag | ASN_CONSTRUCTED_BIT:
        v->encodingChoice = AsnExternal_arbitrary;
        v->encoding.arbitrary = New<AsnBits>();
        ASN_DecodeBitsContent(b, tag, len, v->encoding.arbitrary, decoded);
        break;
    default:
        ASN_Abort(ASN_ABORT_EXTERNAL_ENCODING);
    }
}

} // namespace

extern "C" {

AsnLen ASN_EncodeExternalContent(ASN_Buffer *b, AsnExternal *v)
{
    AsnLen len = 0;
    switch (v->encodingChoice) {
    case AsnExternal_singleASN1Type:
        len = ASN_EncodeTL(b, ASN_EncodeAny(b, v->encoding.singleASN1Type), kSingleTag);
        break;
    case AsnExternal_singleASN1Raw:
        len = ASN_EncodeTL(b, ASN_EncodeOctsContent(b, v->encoding.singleASN1Raw), kSingleTag);
        break;
    case AsnExternal_octetAligned:
        len = ASN_EncodeTL(b, ASN_EncodeOctsContent(b, v->encoding.octetAligned), kOctetAlignedTag);
        break;
    case AsnExternal_arbitrary:
        len = ASN_EncodeTL(b, ASN_EncodeBitsContent(b, v->encoding.arbitrary), kArbitraryTag);
        break;
    }
    if (v->dataValueDescriptor)
        len += ASN_EncodeTL(b, ASN_EncodeOctsContent(b, v->dataValueDescriptor), kDescriptorTag);
    if (v->indirectReference)
        len += ASN_EncodeTL(b, ASN_EncodeIntContent(b, *v->indirectReference), kIntTag);
    if (v->directReference)
        len += ASN_EncodeTL(b, ASN_EncodeOctsContent(b, v->directReference), kOidTag);
    return len;
}

void ASN_DecodeExternalContent(ASN_Buffer *b, AsnTag, AsnLen len, AsnExternal *v, AsnLen *bytesDecoded)
{
    AsnNesting level;
    AsnLen decoded = 0;
    AsnTag tag = 0;
    AsnLen elmtLen = 0;
    int have = ASN_NextElement(b, len, &decoded, &tag, &elmtLen);
    if (have && tag == kOidTag) {
        v->directReference = New<AsnOid>();
        ASN_DecodeOidContent(b, tag, elmtLen, v->directReference, &decoded);
        have = ASN_NextElement(b, len, &decoded, &tag, &elmtLen);
    }
    if (have && tag == kIntTag) {
        v->indirectReference = New<AsnInt>();
        ASN_DecodeIntContent(b, tag, elmtLen, v->indirectReference, &decoded);
        have = ASN_NextElement(b, len, &decoded, &tag, &elmtLen);
    }
    if (have && (tag == kDescriptorTag || tag == (kDescriptorTag | ASN_CONSTRUCTED_BIT))) {
        v->dataValueDescriptor = New<AsnOcts>();
        ASN_DecodeOctsContent(b, tag, elmtLen, v->dataValueDescriptor, &decoded);
        have = ASN_NextElement(b, len, &decoded, &tag, &elmtLen);
    }
    if (!have)
        ASN_Abort(ASN_ABORT_EXTERNAL_NO_ENCODING);
    DecodeEncoding(b, tag, elmtLen, v, &decoded);
    if (ASN_NextElement(b, len, &decoded, &tag, &elmtLen))
        ASN_Abort(ASN_ABORT_EXTERNAL_TRAILING);
    ASN_EndContents(b, len, &decoded);
    *bytesDecoded += decoded;
}

void ASN_PrintExternal(FILE *f, AsnExternal *v, unsigned short indent)
{
    unsigned short inner = static_cast<unsigned short>(indent + 4);
    int first = 1;
    fputs("{ -- EXTERNAL --\n", f);
    if (v->directReference) {
        ASN_PrintComponent(f, &first, indent, "direct-reference");
        ASN_PrintOid(f, v->directReference);
    }
    if (v->indirectReference) {
        ASN_PrintComponent(f, &first, indent, "indirect-reference");
        ASN_PrintInt(f, *v->indirectReference);
    }
    if (v->dataValueDescriptor) {
        ASN_PrintComponent(f, &first, indent, "data-value-descriptor");
        ASN_PrintOcts(f, v->dataValueDescriptor);
    }
    ASN_PrintComponent(f, &first, indent, "encoding");
    switch (v->encodingChoice) {
    case AsnExternal_singleASN1Type:
        fputs("single-ASN1-type ", f);
        ASN_PrintAny(f, v->encoding.singleASN1Type, inner);
        break;
    case AsnExternal_singleASN1Raw:
        fputs("single-ASN1-type ", f);
        ASN_PrintOcts(f, v->encoding.singleASN1Raw);
        break;
    case AsnExternal_octetAligned:
        fputs("octet-aligned ", f);
        ASN_PrintOcts(f, v->encoding.octetAligned);
        break;
    case AsnExternal_arbitrary:
        fputs("arbitrary ", f);
        ASN_PrintBits(f, v->encoding.arbitrary);
        break;
    }
    ASN_PrintEnd(f, first, indent);
}

void ASN_DecodeOpen(ASN_Buffer *b, AsnOcts *v, AsnLen *bytesDecoded)
{
    DecodeRaw(b, ASN_INDEFINITE_LEN, v, bytesDecoded);
}

void ASN_FreeExternal(AsnExternal *v)
{
    if (v->directReference)
        ASN_FreeOcts(v->directReference);
    if (v->dataValueDescriptor)
        ASN_FreeOcts(v->dataValueDescriptor);
    MemFree(v->directReference);
    MemFree(v->indirectReference);
    MemFree(v->dataValueDescriptor);
    switch (v->encodingChoice) {
    case AsnExternal_singleASN1Type:
        if (v->encoding.singleASN1Type)
            ASN_FreeAny(v->encoding.singleASN1Type);
        break;
    case AsnExternal_singleASN1Raw:
    case AsnExternal_octetAligned:
        if (v->encoding.octetAligned)
            ASN_FreeOcts(v->encoding.octetAligned);
        break;
    case AsnExternal_arbitrary:
        if (v->encoding.arbitrary)
            ASN_FreeBits(v->encoding.arbitrary);
        break;
    }
    MemFree(v->encoding.octetAligned);
}

} // extern "C"
