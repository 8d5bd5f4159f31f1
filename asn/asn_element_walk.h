/* The one walk that decides whether received octets hold a complete BER
 * element, shared by PduLength and the receive path. It runs over the
 * octets as they arrive and resumes where it stopped, so each octet is
 * examined at most once:
 * - a definite-length element is skipped whole: its end is known;
 * - an indefinite-length element is entered, and left at its two
 *   end-of-contents octets; such elements are the walk's only open levels,
 *   and as they need no state but their number the walk keeps a count, not
 *   a stack, and never recurses. More than ASN_MAX_NESTING of them open at
 *   once is refused as undecodable.
 * A length that would carry the element beyond the caller's limit, or one
 * of more than four length octets, stops the walk before anything of that
 * size is read or allocated. */
#ifndef KESTRA_ASN_ELEMENT_WALK_H
#define KESTRA_ASN_ELEMENT_WALK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct AsnElementWalk {
    uint64_t next;       /* where the walk goes on: a header, or the end of a skipped element */
    uint32_t openLevels; /* indefinite-length elements entered and not yet ended */
    int started;         /* the element's own header has been read */
} AsnElementWalk;

typedef enum AsnWalkResult {
    ASN_WALK_MORE,     /* *count: octets after those given that surely belong to the element (at least 1) */
    ASN_WALK_COMPLETE, /* *count: the size of the element */
    ASN_WALK_TOO_LONG, /* *count: the size announced, or 0xFFFFFFFF when it is not representable */
    ASN_WALK_TOO_DEEP  /* more than ASN_MAX_NESTING indefinite-length elements open at once */
} AsnWalkResult;

/* Continues the walk over octets[0..available), of which the walk has seen
 * what earlier calls were given; the element may not exceed limit octets.
 * Returns what the octets so far tell. */
AsnWalkResult ASN_WalkElement(AsnElementWalk *walk, const unsigned char *octets, uint64_t available,
                              uint64_t limit, uint64_t *count);

#ifdef __cplusplus
}
#endif

#endif
