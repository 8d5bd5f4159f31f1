/* The three operations between the association layer and the codec:
 * encoding one APDU, testing received octets for a complete APDU, and
 * decoding one. The association layer copies ASN_PduError into its own
 * error structure and supplies the trace writer. */
#ifndef KESTRA_ASN_PDU_H
#define KESTRA_ASN_PDU_H

#include <stdint.h>

#include "asn_modules.h" /* the alternatives of PDU, ASN_PDU_UNKNOWN, ASN_UNKNOWN_PDU_CODE */

#ifdef __cplusplus
extern "C" {
#endif

enum { ASN_SI_INTERFACE_ERROR = 1 };

typedef struct ASN_PduError {
    int32_t errorClass;
    int32_t errorCode;
    const char *text;
} ASN_PduError;

/* Writes text to the association's trace at the given level (1 or 2). */
typedef void (*ASN_TraceWriter)(int32_t assocId, int32_t level, const char *text);
void ASN_SetTraceWriter(ASN_TraceWriter writer);

/* Set by DecodePdu for an APDU whose tag is not a known alternative. */
extern uint32_t UnknownPduFlag;

/* Encodes pdu (freed in every case, with everything it owns) into the
 * process-wide encode block, valid until the next call. The block grows in
 * steps of 5,000 octets, with a trace line for each step too small. 0
 * success, 1 failure (out of memory, or a PDU that encodes to nothing). */
int EncodePdu(int32_t assocId, struct PDU *pdu, unsigned char **octets, uint32_t *length,
              ASN_PduError *error);
/* 1 when octets start with a complete APDU (*count its size), else 0 with
 * *count the octets still missing when known, else 0. */
int PduLength(const unsigned char *octets, uint32_t available, uint32_t *count);
/* Decodes exactly one APDU into pdu. 0 success (also for an unknown tag,
 * with UnknownPduFlag set), 1 failure with error code 60. */
int DecodePdu(int32_t assocId, const unsigned char *octets, uint32_t length, struct PDU *pdu,
              ASN_PduError *error);
/* The decode itself: 0, or the abort code that ended it (for tools and
 * tests that need the code). */
int ASN_DecodePduCode(const unsigned char *octets, uint32_t length, struct PDU *pdu);

#ifdef __cplusplus
}
#endif

#endif
