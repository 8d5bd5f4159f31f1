/* Reading exactly one PDU off a stream in few calls. The stream is looked
 * at before it is taken from: the octets that have arrived are peeked at
 * (left in the stream) and walked with the completeness walk of
 * asn/asn_element_walk.h, and then only octets that surely belong to the
 * PDU are taken:
 * - when the PDU's end lies in what was looked at, exactly that many
 *   octets are taken;
 * - otherwise everything looked at belongs to the PDU. If as much again
 *   has arrived meanwhile, that is looked at first; else it is taken in
 *   one receive, with whatever else has arrived that the walk proves is the
 *   PDU's (the rest of a definite length, the end-of-contents octets of the
 *   open indefinite lengths);
 * - when the walk proves that all that has arrived belongs to the PDU
 *   (inside a long definite length), it is taken without a look.
 * Guarantees: a read never passes the end of the PDU, so a following PDU
 * stays in the stream for the next read and the event wait, with definite
 * and indefinite lengths alike; a PDU that is there whole when the read
 * starts costs two receive calls, and each further arrival at most two; a
 * length that would carry the PDU beyond the caller's limit is refused
 * before anything of that size is read or allocated, and the buffer only
 * grows to hold what has arrived; more open indefinite lengths than the
 * codec accepts are refused as undecodable. */
#ifndef KESTRA_ASSOC_PDU_SCAN_H
#define KESTRA_ASSOC_PDU_SCAN_H

#include <stddef.h>
#include <stdint.h>

/* The stream a PDU is read from. */
typedef struct PduStream {
    void *context;
    /* Octets that have arrived and can be taken without waiting (0 when none or unknown). */
    long (*available)(void *context);
    /* Takes up to count octets, or with peek copies them and leaves them in
     * the stream: the number of octets, 0 when the peer closed, -1 on error. */
    long (*receive)(void *context, unsigned char *octets, size_t count, int peek);
    /* Waits for more octets to arrive: 1 when they have, 0 on time-out, -1 on error. */
    int (*await)(void *context);
} PduStream;

typedef enum PduReadResult {
    PDU_READ_DONE,
    PDU_READ_CLOSED,      /* the peer closed the stream */
    PDU_READ_ERROR,       /* a receive or wait failed */
    PDU_READ_TIMED_OUT,   /* the rest of the PDU did not come within the wait */
    PDU_READ_TOO_LONG,    /* *count: the size announced, beyond the limit */
    PDU_READ_UNDECODABLE, /* nested too deeply to be framed */
    PDU_READ_NO_MEMORY
} PduReadResult;

/* Reads one PDU of at most limit octets; something must have arrived (the
 * first look does not wait). On PDU_READ_DONE *octets (released with
 * MemFree) holds the *count octets of the PDU. Returns how the read ended. */
PduReadResult ReadOnePdu(const PduStream *stream, uint32_t limit, unsigned char **octets, uint32_t *count);

#endif
