// The completeness test of received octets: one BER element, possibly with
// indefinite lengths nested at any depth.
#include "asn/asn_pdu.h"

namespace {

// 1: complete, *total its size; 0: not complete, *missing when known.
int ElementLength(const unsigned char *p, uint32_t avail, uint32_t *total, uint32_t *missing)
{
    *missing = 0;
    if (avail == 0)
        return 0;
    uint32_t pos = 1;
    if ((p[0] & 0x1F) == 0x1F) {
        do {
            if (pos >= avail)
                return 0;
        } while (p[pos++] > 0x80);
    }
    if (pos >= avail)
        return 0;
    unsigned char first = p[pos++];
    if (first == 0x80) {
        for (;;) {
            if (avail - pos < 2)
                return 0;
            if (p[pos] == 0 && p[pos + 1] == 0)
                break;
            uint32_t nested = 0;
            uint32_t ignored = 0;
            if (!ElementLength(p + pos, avail - pos, &nested, &ignored))
                return 0;
            pos += nested;
        }
        *total = pos + 2;
        return 1;
    }
    uint32_t len = first;
    if (first > 0x80) {
        uint32_t n = first & 0x7F;
        if (n > 4 || avail - pos < n)
            return 0;
        len = 0;
        for (uint32_t i = 0; i < n; i++)
            len = (len << 8) | p[pos++];
    }
    uint64_t need = static_cast<uint64_t>(pos) + len;
    if (need > avail) {
        uint64_t short_by = need - avail;
        *missing = short_by > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(short_by);
        return 0;
    }
    *total = static_cast<uint32_t>(need);
    return 1;
}

} // namespace

extern "C" int PduLength(const unsigned char *octets, uint32_t available, uint32_t *count)
{
    uint32_t total = 0;
    uint32_t missing = 0;
    if (ElementLength(octets, available, &total, &missing)) {
        *count = total;
        return 1;
    }
    *count = missing;
    return 0;
}
