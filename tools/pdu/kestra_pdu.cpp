// kestra-pdu FILE: decodes one APDU from a file of BER octets and prints it
// in value notation. Exit status 0, or 1 with the abort code on stderr.
#include <cstdio>
#include <vector>

#include "asn/asn_pdu.h"
#include "asn_modules.h"
#include "ui/mem.h"

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: kestra-pdu FILE\n");
        return 2;
    }
    std::FILE *in = std::fopen(argv[1], "rb");
    if (!in) {
        std::fprintf(stderr, "kestra-pdu: cannot open %s\n", argv[1]);
        return 2;
    }
    std::vector<unsigned char> octets;
    unsigned char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, in)) > 0;)
        octets.insert(octets.end(), chunk, chunk + n);
    std::fclose(in);

    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    int code = ASN_DecodePduCode(octets.data(), static_cast<uint32_t>(octets.size()), pdu);
    if (code == 0) {
        PrintPDU(stdout, pdu, 0);
        std::fputc('\n', stdout);
    } else {
        std::fprintf(stderr, "kestra-pdu: %s: abort code %d\n", argv[1], code);
    }
    FreePDU(pdu);
    MemFree(pdu);
    return code == 0 ? 0 : 1;
}
