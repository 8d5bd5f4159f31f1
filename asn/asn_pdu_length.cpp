// The completeness walk over received octets (asn_element_walk.h) and
// PduLength, its answer for octets that are all there is.
#include "asn/asn_element_walk.h"

#include "asn/asn_ber.h"
#include "asn/asn_pdu.h"

namespace {

const uint64_t kNotRepresentable = 0xFFFFFFFFu;

struct Header {
    uint32_t size;   // identifier and length octets
    uint64_t length; // contents octets when definite
    bool indefinite;
    bool representable; // at most four length octets
};

// Reads the header at p[0..n). 0 when it is complete; otherwise the octets
// still needed before more of it can be known (at least 1).
uint64_t ReadHeader(const unsigned char *p, uint64_t n, Header *h)
{
    if (n < 2)
        return 2 - n;
    uint64_t pos = 1;
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
    h->representable = true;
    if (first > 0x80) {
        uint32_t octets = first & 0x7F;
        h->representable = octets <= 4;
        if (h->representable && n - pos < octets)
            return octets - (n - pos);
        h->length = 0;
        for (uint32_t i = 0; h->representable && i < octets; i++)
            h->length = (h->length << 8) | p[pos++];
    }
    h->size = static_cast<uint32_t>(pos);
    return 0;
}

uint64_t Clamp(uint64_t value)
{
    return value > kNotRepresentable ? kNotRepresentable : value;
}

} // namespace

extern "C" AsnWalkResult ASN_WalkElement(AsnElementWalk *walk, const unsigned char *octets, uint64_t available,
                                         uint64_t limit, uint64_t *count)
{
    for (;;) {
        // Octets that every open indefinite-length element still owes.
        uint64_t owed = 2ull * walk->openLevels;
        if (walk->next > available) {
            *count = walk->next - available + owed;
            return ASN_WALK_MORE;
        }
        if (walk->started && walk->openLevels == 0) {
            *count = walk->next;
            return ASN_WALK_COMPLETE;
        }
        const unsigned char *at = octets + walk->next;
        uint64_t have = available - walk->next;
        if (walk->openLevels > 0 && have >= 2 && at[0] == 0 && at[1] == 0) {
            walk->openLevels--;
            walk->next += 2;
            continue;
        }
        Header h{};
        uint64_t missing = ReadHeader(at, have, &h);
        if (missing) {
            *count = have + missing > owed ? missing : owed - have;
            return ASN_WALK_MORE;
        }
        if (!h.representable) {
            *count = kNotRepresentable;
            return ASN_WALK_TOO_LONG;
        }
        uint64_t end = walk->next + h.size + (h.indefinite ? 2 : h.length);
        if (end + owed > limit) {
            *count = Clamp(h.indefinite ? end + owed : end);
            return ASN_WALK_TOO_LONG;
        }
        if (h.indefinite && walk->openLevels == ASN_MAX_NESTING)
            return ASN_WALK_TOO_DEEP;
        walk->started = 1;
        if (h.indefinite) {
            walk->openLevels++;
            walk->next += h.size;
        } else {
            walk->next = end;
        }
    }
}

extern "C" int PduLength(const unsigned char *octets, uint32_t available, uint32_t *count)
{
    AsnElementWalk walk = {0, 0, 0};
    uint64_t found = 0;
    AsnWalkResult result = ASN_WalkElement(&walk, octets, available, UINT64_MAX, &found);
    if (result == ASN_WALK_COMPLETE) {
        *count = static_cast<uint32_t>(found);
        return 1;
    }
    // Only an outermost definite length tells how much is missing.
    bool known = result == ASN_WALK_MORE && walk.started && walk.openLevels == 0;
    *count = known ? static_cast<uint32_t>(Clamp(found)) : 0;
    return 0;
}
