// EncodePdu and DecodePdu: the encode block, the trace of its growth, the
// one-time registration and the only place where a decode abort is caught.
#include "asn/asn_pdu.h"

#include "asn/asn_registry.h"
#include "asn_modules.h"
#include "ui/mem.h"

uint32_t UnknownPduFlag;

namespace {

const uint32_t kBlockStep = 5000;

// The encode block: kept from call to call, so that an encode needs no
// allocation; it only grows, in steps of kBlockStep octets.
unsigned char *encodeBlock;
uint32_t encodeBlockSize;
ASN_TraceWriter traceWriter;

void Fail(ASN_PduError *error, int32_t code, const char *text)
{
    error->errorClass = ASN_SI_INTERFACE_ERROR;
    error->errorCode = code;
    error->text = text;
}

bool GrowBlock(uint64_t size)
{
    if (size <= encodeBlockSize)
        return true;
    if (size > UINT32_MAX)
        return false;
    unsigned char *grown = static_cast<unsigned char *>(MemRealloc(encodeBlock, static_cast<size_t>(size)));
    if (!grown)
        return false;
    encodeBlock = grown;
    encodeBlockSize = static_cast<uint32_t>(size);
    return true;
}

// Encodes into the whole block: the length the PDU needs (0 for a PDU
// that encodes nothing), and whether it fitted.
AsnLen EncodeIntoBlock(PDU *pdu, ASN_Buffer *b, bool *fitted)
{
    ASN_InitWriteBuffer(b, encodeBlock, encodeBlockSize);
    AsnLen len = BEncPDU(b, pdu);
    *fitted = len != 0 && !b->writeError;
    return len;
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
    // An encode that runs out of room goes on counting, so one too small
    // tells the size needed: the block then grows at once to the step that
    // holds it, and the trace shows each step that was too small.
    ASN_Buffer b;
    bool fitted = false;
    AsnLen len = 0;
    uint64_t steps = 1;
    if (pdu && GrowBlock(kBlockStep)) {
        len = EncodeIntoBlock(pdu, &b, &fitted);
        steps = len == 0 ? 2 : (static_cast<uint64_t>(len) + kBlockStep - 1) / kBlockStep;
        if (!fitted && len != 0 && GrowBlock(steps * kBlockStep))
            len = EncodeIntoBlock(pdu, &b, &fitted);
    }
    for (uint64_t step = 1; step < steps && traceWriter; step++)
        traceWriter(assocId, 1, "Encode Buffer too small - Reallocing...\n");
    if (fitted) {
        *octets = b.dataStart;
        *length = len;
    } else {
        Fail(error, 75, "Out of memory");
    }
    if (pdu) {
        FreePDU(pdu);
        MemFree(pdu);
    }
    return fitted ? 0 : 1;
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
