#include "assoc/pdu_scan.h"

#include "asn/asn_element_walk.h"
#include "ui/mem.h"

namespace {

// The PDU's octets: [0, taken) received, [taken, looked) peeked at.
struct Reading {
    unsigned char *buffer;
    uint32_t capacity;
    uint32_t taken;
    uint32_t looked;
};

// Room for needed octets, grown geometrically up to the limit.
bool Reserve(Reading *r, uint64_t needed, uint32_t limit)
{
    if (needed <= r->capacity)
        return true;
    uint64_t grown = r->capacity < limit / 2 ? 2ull * r->capacity : limit;
    if (grown < needed)
        grown = needed;
    unsigned char *block = static_cast<unsigned char *>(MemRealloc(r->buffer, static_cast<size_t>(grown)));
    if (!block)
        return false;
    r->buffer = block;
    r->capacity = static_cast<uint32_t>(grown);
    return true;
}

// Receives up to size octets after those taken, peeking at them or taking
// them: the count, 0 when the peer closed, -1 on error, kNoMemory.
const long kNoMemory = -2;

long Receive(const PduStream *stream, Reading *r, uint64_t size, bool peek, uint32_t limit)
{
    if (!Reserve(r, r->taken + size, limit))
        return kNoMemory;
    long got = stream->receive(stream->context, r->buffer + r->taken, static_cast<size_t>(size), peek);
    if (got <= 0)
        return got;
    uint32_t end = r->taken + static_cast<uint32_t>(got);
    if (!peek)
        r->taken = end;
    if (end > r->looked)
        r->looked = end;
    return got;
}

uint64_t Arrived(const PduStream *stream)
{
    long arrived = stream->available(stream->context);
    return arrived > 0 ? static_cast<uint64_t>(arrived) : 0;
}

PduReadResult Ended(Reading *r, PduReadResult result)
{
    MemFree(r->buffer);
    return result;
}

} // namespace

PduReadResult ReadOnePdu(const PduStream *stream, uint32_t limit, unsigned char **octets, uint32_t *count)
{
    AsnElementWalk walk = {0, 0, 0};
    Reading r = {nullptr, 0, 0, 0};
    for (bool first = true;; first = false) {
        uint64_t walked = 0;
        AsnWalkResult step = ASN_WalkElement(&walk, r.buffer, r.looked, limit, &walked);
        if (step == ASN_WALK_TOO_LONG || step == ASN_WALK_TOO_DEEP) {
            *count = static_cast<uint32_t>(walked);
            return Ended(&r, step == ASN_WALK_TOO_LONG ? PDU_READ_TOO_LONG : PDU_READ_UNDECODABLE);
        }
        long got = 1;
        uint64_t room = limit - r.taken;
        uint64_t unseen = r.looked - r.taken; // looked at, not yet taken
        if (step == ASN_WALK_COMPLETE) {
            if (r.taken == walked) {
                *octets = r.buffer;
                *count = r.taken;
                return PDU_READ_DONE;
            }
            got = Receive(stream, &r, walked - r.taken, false, limit); // exactly to the end
        } else if (unseen > 0) {
            // All that was looked at is the PDU's, and `walked` octets more.
            uint64_t arrived = Arrived(stream);
            uint64_t sure = unseen + walked;
            if (arrived > sure && arrived >= 2 * unseen && room > unseen)
                got = Receive(stream, &r, arrived < room ? arrived : room, true, limit); // look further first
            else
                got = Receive(stream, &r, arrived < unseen ? unseen : arrived < sure ? arrived : sure, false, limit);
        } else {
            if (!first) {
                int ready = stream->await(stream->context);
                if (ready <= 0)
                    return Ended(&r, ready == 0 ? PDU_READ_TIMED_OUT : PDU_READ_ERROR);
            }
            // Something has arrived: take it at once when it is surely the
            // PDU's, else look at it first.
            uint64_t size = Arrived(stream);
            if (size == 0)
                size = 1; // a receive then tells what the wait saw
            if (size > room)
                size = room;
            if (size == 0) {
                *count = static_cast<uint32_t>(r.taken + walked);
                return Ended(&r, PDU_READ_TOO_LONG);
            }
            got = Receive(stream, &r, size, size > walked, limit);
        }
        if (got <= 0)
            return Ended(&r, got == kNoMemory ? PDU_READ_NO_MEMORY : got == 0 ? PDU_READ_CLOSED : PDU_READ_ERROR);
    }
}
