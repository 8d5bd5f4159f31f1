#include "assoc/pdu_scan.h"

namespace {

const uint32_t kNotRepresentable = 0xFFFFFFFFu;

struct Header {
    uint32_t size;      // identifier and length octets
    uint64_t length;    // contents octets when definite
    bool indefinite;
};

// Reads the header at p[0..n). 0 when it is complete; otherwise the octets
// still needed before more of it can be known (at least 1).
uint32_t ReadHeader(const unsigned char *p, uint64_t n, Header *h)
{
    if (n < 2)
        return static_cast<uint32_t>(2 - n);
    uint32_t pos = 1;
    if ((p[0] & 0x1F) == 0x1F) {
        // High tag number: continuation octets are above 0x80.
        do {
            if (pos >= n)
                return 2;
        } while (p[pos++] > 0x80);
    }
    if (pos >= n)
        return 1;
    unsigned char first = p[pos++];
    h->indefinite = first == 0x80;
    h->length = first;
    if (first > 0x80) {
        uint32_t octets = first & 0x7F;
        if (n - pos < octets)
            return static_cast<uint32_t>(octets - (n - pos));
        h->length = 0;
        for (uint32_t i = 0; i < octets; i++)
            h->length = (h->length << 8) | p[pos++];
        if (octets > 4)
            h->length = UINT64_MAX >> 1; // beyond any limit
    }
    h->size = pos;
    return 0;
}

uint32_t Clamp(uint64_t value)
{
    return value > kNotRepresentable ? kNotRepresentable : static_cast<uint32_t>(value);
}

} // namespace

PduScanResult PduScanStep(PduScan *scan, const unsigned char *octets, uint32_t available, uint32_t limit,
                          uint32_t *count)
{
    for (;;) {
        // Octets that every open indefinite-length element still owes.
        uint64_t owed = 2ull * scan->openDepth;
        if (scan->next > available) {
            *count = Clamp(scan->next - available + owed);
            return PDU_SCAN_MORE;
        }
        if (scan->started && scan->openDepth == 0) {
            *count = static_cast<uint32_t>(scan->next);
            return PDU_SCAN_COMPLETE;
        }
        const unsigned char *at = octets + scan->next;
        uint64_t have = available - scan->next;
        if (scan->openDepth > 0 && have >= 2 && at[0] == 0 && at[1] == 0) {
            scan->openDepth--;
            scan->next += 2;
            continue;
        }
        Header h{};
        uint32_t missing = ReadHeader(at, have, &h);
        if (missing) {
            uint64_t want = have + missing > owed ? missing : owed - have;
            *count = Clamp(want);
            return PDU_SCAN_MORE;
        }
        uint64_t end = scan->next + h.size + (h.indefinite ? 2 : h.length);
        if (end + owed > limit) {
            *count = h.indefinite ? Clamp(end + owed) : Clamp(end);
            return PDU_SCAN_TOO_LONG;
        }
        scan->started = 1;
        if (h.indefinite) {
            scan->openDepth++;
            scan->next += h.size;
        } else {
            scan->next = end;
        }
    }
}
