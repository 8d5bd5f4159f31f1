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

PduReadResult Failed(Reading *r, long got)
{
    MemFree(r->buffer);
    return got == 0 ? PDU_READ_CLOSED : PDU_READ_ERROR;
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
            MemFree(r.buffer);
            *count = static_cast<uint32_t>(walked);
            return step == ASN_WALK_TOO_LONG ? PDU_READ_TOO_LONG : PDU_READ_UNDECODABLE;
        }
        // The end is known: take exactly up to it. Otherwise what was looked
        // at is the PDU's, and `walked` octets after it.
        bool complete = step == ASN_WALK_COMPLETE;
        uint64_t end = complete ? walked : r.looked + walked;
        if (complete ? r.taken < end : r.looked > r.taken) {
            uint64_t wanted = end - r.taken;
            long arrived = stream->available(stream->context);
            if (!complete && static_cast<uint64_t>(arrived) < wanted)
                wanted = arrived > static_cast<long>(r.looked - r.taken) ? arrived : r.looked - r.taken;
            if (!Reserve(&r, r.taken + wanted, limit)) {
                MemFree(r.buffer);
                return PDU_READ_NO_MEMORY;
            }
            long got = stream->receive(stream->context, r.buffer + r.taken, static_cast<size_t>(wanted), 0);
            if (got <= 0)
                return Failed(&r, got);
            r.taken += static_cast<uint32_t>(got);
            if (r.taken > r.looked)
                r.looked = r.taken;
            continue;
        }
        if (complete) {
            *octets = r.buffer;
            *count = r.taken;
            return PDU_READ_DONE;
        }
        if (!first) {
            int ready = stream->await(stream->context);
            if (ready <= 0) {
                MemFree(r.buffer);
                return ready == 0 ? PDU_READ_TIMED_OUT : PDU_READ_ERROR;
            }
        }
        // Something has arrived: take it at once when it is surely the
        // PDU's, else look at it first.
        long arrived = stream->available(stream->context);
        uint64_t size = arrived > 0 ? static_cast<uint64_t>(arrived) : 1;
        if (size > limit - r.taken)
            size = limit - r.taken;
        if (size == 0) {
            MemFree(r.buffer);
            *count = static_cast<uint32_t>(r.taken + walked);
            return PDU_READ_TOO_LONG;
        }
        bool sure = size <= walked;
        if (!Reserve(&r, r.taken + size, limit)) {
            MemFree(r.buffer);
            return PDU_READ_NO_MEMORY;
        }
        long got = stream->receive(stream->context, r.buffer + r.taken, static_cast<size_t>(size), !sure);
        if (got <= 0)
            return Failed(&r, got);
        r.looked = r.taken + static_cast<uint32_t>(got);
        if (sure)
            r.taken = r.looked;
    }
}
