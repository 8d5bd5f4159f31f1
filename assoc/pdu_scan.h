/* The completeness walk of a PDU being received. It runs over the octets
 * as they arrive and resumes where it stopped, so each octet is examined at
 * most once, and it says how many octets may be read next without reading
 * past the end of the PDU:
 * - a definite-length element is skipped whole: its end is known, so the
 *   octets up to that end may be read at once;
 * - an indefinite-length element is entered; every element still open that
 *   way ends with two end-of-contents octets, so those may be read too;
 * - at the start of an element only the octets of its header are asked for.
 * A length that would carry the PDU beyond the caller's limit stops the
 * walk before anything of that size is read or allocated. */
#ifndef KESTRA_ASSOC_PDU_SCAN_H
#define KESTRA_ASSOC_PDU_SCAN_H

#include <stdint.h>

typedef struct PduScan {
    uint64_t next;      /* where the walk goes on: a header, or the end of a skipped element */
    uint32_t openDepth; /* indefinite-length elements entered and not yet ended */
    int started;        /* the PDU's own header has been read */
} PduScan;

typedef enum PduScanResult {
    PDU_SCAN_MORE,     /* *count: octets that may be read now (at least 1) */
    PDU_SCAN_COMPLETE, /* *count: the size of the PDU */
    PDU_SCAN_TOO_LONG  /* *count: the size announced, or 0xFFFFFFFF when it is not representable */
} PduScanResult;

/* Continues the walk over octets[0..available), of which the walk has seen
 * what earlier calls were given. The PDU may not exceed limit octets. */
PduScanResult PduScanStep(PduScan *scan, const unsigned char *octets, uint32_t available, uint32_t limit,
                          uint32_t *count);

#endif
