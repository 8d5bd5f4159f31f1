/* EXTERNAL: the carrier of records, Explain records, task packages, prompts,
 * resource reports and user information. A single-ASN1-type value whose
 * direct reference is one of the structured identifiers is decoded through
 * the open-type registry; any other is kept as its raw BER octets. */
#ifndef KESTRA_ASN_EXTERNAL_H
#define KESTRA_ASN_EXTERNAL_H

#include "asn/asn_ber.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    AsnExternal_singleASN1Type = 0, /* structured value, through the registry */
    AsnExternal_octetAligned = 1,
    AsnExternal_arbitrary = 2,
    AsnExternal_singleASN1Raw = 3   /* single-ASN1-type kept as raw BER octets */
};

typedef struct AsnExternal {
    AsnOid *directReference;
    AsnInt *indirectReference;
    AsnOcts *dataValueDescriptor;
    uint32_t encodingChoice;
    union {
        AsnAny *singleASN1Type;
        AsnOcts *octetAligned;
        AsnBits *arbitrary;
        AsnOcts *singleASN1Raw;
    } encoding;
} AsnExternal;

AsnLen ASN_EncodeExternalContent(ASN_Buffer *b, AsnExternal *v);
void ASN_DecodeExternalContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnExternal *v, AsnLen *bytesDecoded);
void ASN_PrintExternal(FILE *f, AsnExternal *v, unsigned short indent);
void ASN_FreeExternal(AsnExternal *v);

/* An open value (ANY): the whole BER element at the read position, kept as
 * its octets. */
void ASN_DecodeOpen(ASN_Buffer *b, AsnOcts *v, AsnLen *bytesDecoded);

#ifdef __cplusplus
}
#endif

#endif
