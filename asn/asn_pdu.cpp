// EncodePdu and DecodePdu: the encode block, the trace of its growth, the
// one-time registration and the only place where a decode abort is caught.
#include "asn/asn_pdu.h"

#include "asn/asn_registry.h"
#include "asn_modules.h"
#include "ui/mem.h"

uint32_t UnknownPduFlag;

namespace {

const uint32_t kBlockStep = 5000;

unsigned char *encodeBlock;
ASN_TraceWriter traceWriter;

void Fail(ASN_PduError *error, int32_t code, const char *text)
{
    error->errorClass = ASN_SI_INTERFACE_ERROR;
    error->errorCode = code;
    error->text = text;
}

} // namespace

extern "C" {

void ASN_SetTraceWriter(ASN_TraceWriter writer)
{
    traceWriter = writer;
}

int EncodePdu(int32_t assocId, PDU *pdu, unsigned char **octets, uint32_t *length, ASN_PduError *error)
{
    RegisterCodecTypes();
    MemFree(encodeBlock);
    uint32_t size = kBlockStep;
    encodeBlock = static_cast<unsigned char *>(MemAlloc(size));
    AsnLen len = 0;
    int result = 1;
    while (encodeBlock) {
        unsigned char *grown = static_cast<unsigned char *>(MemRealloc(encodeBlock, size));
        if (!grown)
            break;
        encodeBlock = grown;
        ASN_Buffer b;
        ASN_InitWriteBuffer(&b, encodeBlock, size);
        len = pdu ? BEncPDU(&b, pdu) : 0;
        if (len != 0 && !b.writeError) {
            *octets = b.dataStart;
            *length = len;
            result = 0;
            break;
        }
        if (traceWriter)
            traceWriter(assocId, 1, "Encode Buffer too small - Reallocing...\n");
        size += kBlockStep;
    }
    if (result)
        Fail(error, 75, "Out of memory");
    if (pdu) {
        FreePDU(pdu);
        MemFree(pdu);
    }
    return result;
}

int ASN_DecodePduCode(const unsigned char *octets, uint32_t length, PDU *pdu)
{
    RegisterCodecTypes();
    ASN_Buffer b;
    ASN_InitReadBuffer(&b, octets, length);
    AsnLen decoded = 0;
    try {
        BDecPDU(&b, pdu, &decoded);
    } catch (const AsnAbort &abort) {
        return abort.code;
    }
    return 0;
}

int DecodePdu(int32_t, const unsigned char *octets, uint32_t length, PDU *pdu, ASN_PduError *error)
{
    int code = ASN_DecodePduCode(octets, length, pdu);
    if (code == ASN_UNKNOWN_PDU_CODE) {
        UnknownPduFlag = 1;
        return 0;
    }
    if (code) {
        Fail(error, 60, "The received PDU could not be decoded");
        return 1;
    }
    return 0;
}

} // extern "C"
