// kestra-pdu [--trace] FILE: decodes one APDU from a file of BER octets and
// prints it in value notation, or with --trace as the toolkit's trace shows
// it at Trace_High: converted to DBV and dumped field by field (a received
// PDU as received, an unrecognised one as an invalid APDU, a request as
// sent). Exit status 0, or 1 with the abort code on stderr.
#include <cstdio>
#include <cstring>
#include <vector>

#include "asn/asn_pdu.h"
#include "asn_modules.h"
#include "dbv/dbv_convert.h"
#include "dbv/dbv_receive.h"
#include "ui/mem.h"

namespace {

// The Trace_High dump of a decoded PDU (choice index ASN_PDU_UNKNOWN for an
// unrecognised tag). 0, or 1 when memory ran out.
int PrintTrace(const PDU *pdu, const std::vector<unsigned char> &octets)
{
    if (const DbvReceivedKind *kind = DbvReceivedKindOf(pdu, false)) {
        auto *holder = static_cast<DbvReceivedPdu *>(MemAlloc(sizeof(DbvReceivedPdu)));
        if (!holder)
            return 1;
        holder->ePduType = RPT_None;
        DbvPduDump dump;
        int result = DbvFillReceived(kind, pdu, octets.data(), static_cast<uint32_t>(octets.size()), holder);
        if (result == DBV_CONVERT_OK && DbvDumpOfReceived(holder, &dump)) {
            std::fputs("\nReceived the following PDU:\n", stdout);
            DbvWritePduDump(stdout, dump);
        }
        DbvFreeReceivedPdu(holder);
        return result == DBV_CONVERT_OK ? 0 : 1;
    }
    void *converted = nullptr;
    if (DbvTreeFromAsn(&DbvDesc_Pdu, pdu, &converted) != DBV_CONVERT_OK)
        return 1;
    const DbvPdu *request = static_cast<const DbvPdu *>(converted);
    std::fputs("\nSending the following PDU:\n", stdout);
    DbvWritePduDump(stdout, DbvDumpOfPdu(request->ePduType, request->uPdu.psInitRequest, false));
    DbvFreeTree(&DbvDesc_Pdu, converted);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    bool trace = argc == 3 && std::strcmp(argv[1], "--trace") == 0;
    if (argc != 2 && !trace) {
        std::fprintf(stderr, "usage: kestra-pdu [--trace] FILE\n");
        return 2;
    }
    const char *path = argv[argc - 1];
    std::FILE *in = std::fopen(path, "rb");
    if (!in) {
        std::fprintf(stderr, "kestra-pdu: cannot open %s\n", path);
        return 2;
    }
    std::vector<unsigned char> octets;
    unsigned char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, in)) > 0;)
        octets.insert(octets.end(), chunk, chunk + n);
    std::fclose(in);

    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    int code = ASN_DecodePduCode(octets.data(), static_cast<uint32_t>(octets.size()), pdu);
    int status = code == 0 ? 0 : 1;
    if (trace && (code == 0 || code == ASN_UNKNOWN_PDU_CODE)) {
        status = PrintTrace(pdu, octets);
        if (status != 0)
            std::fprintf(stderr, "kestra-pdu: %s: out of memory\n", path);
    } else if (code == 0) {
        PrintPDU(stdout, pdu, 0);
        std::fputc('\n', stdout);
    } else {
        std::fprintf(stderr, "kestra-pdu: %s: abort code %d\n", path, code);
    }
    FreePDU(pdu);
    MemFree(pdu);
    return status;
}
