// Feeds arbitrary octets to the completeness test and, when it finds a
// complete APDU, to the decoder; decoded PDUs are printed and freed.
#include <cstdio>

#include "asn/asn_pdu.h"
#include "asn_modules.h"
#include "ui/mem.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    uint32_t total = 0;
    uint32_t available = static_cast<uint32_t>(size);
    if (!PduLength(data, available, &total))
        return 0;
    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    ASN_PduError error = {};
    if (DecodePdu(0, data, total, pdu, &error) == 0 && pdu->choiceId != ASN_PDU_UNKNOWN) {
        static FILE *sink = std::fopen("/dev/null", "w");
        PrintPDU(sink, pdu, 0);
    }
    FreePDU(pdu);
    MemFree(pdu);
    return 0;
}
