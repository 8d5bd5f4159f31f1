/* Carrying PDUs over an association's TCP connection: sending one encoded
 * PDU and reading exactly one off the stream. The open call and the event
 * wait are public (assoc/si_api.h). */
#ifndef KESTRA_ASSOC_TRANSPORT_H
#define KESTRA_ASSOC_TRANSPORT_H

#include <stdint.h>

#include "assoc/si_api.h"

struct PDU;

/* Results of the reads. */
enum {
    SI_READ_DONE = 0,          /* one PDU read (and decoded) */
    SI_READ_FAILED = 1,        /* the slot says why */
    SI_READ_NOTHING = 5,       /* nothing arrived within the wait */
    SI_READ_TARGET_CLOSED = 10 /* the peer of a target-role association closed in an allowed state */
};

/* Encodes the PDU (handed over: freed in every case) and sends it.
 * SI_OK or SI_NOTOK; a failed send aborts the association and removes it. */
int SISendPdu(DbvAssocId assocId, struct PDU *pdu, SIError **slot);
/* Sends octets that are already encoded, as SISendPdu does after encoding. */
int SISendOctets(DbvAssocId assocId, const unsigned char *octets, uint32_t count, SIError **slot);

/* Waits for the association to become readable (wait in seconds: 0 a
 * 1-millisecond poll, negative without limit), then reads exactly one PDU
 * and nothing after it. A PDU whose rest does not follow within a positive
 * wait, or is not complete when the association's read deadline
 * (SISetReadDeadline) passes, fails as a lost association (code 2). On
 * SI_READ_DONE *octets (released with MemFree) and *count hold the PDU. A
 * PDU longer than the association accepts is refused before it is read or
 * allocated. */
int SIReadOctets(DbvAssocId assocId, int32_t wait, unsigned char **octets, uint32_t *count, SIError **slot);
/* SIReadOctets, then decodes the octets into pdu. The octets are handed
 * over even when decoding fails (SI_READ_FAILED, code 60). */
int SIReadPdu(DbvAssocId assocId, int32_t wait, unsigned char **octets, uint32_t *count, struct PDU *pdu,
              SIError **slot);

/* Bounds the PDUs the association accepts by the sizes its Initialize
 * exchange settled on, with ample room above them. */
void SISetNegotiatedSizes(DbvAssocId assocId, uint32_t preferredMessageSize, uint32_t maximumRecordSize);

/* How many receive calls the reads have made since the process began. */
uint64_t SIReceiveCalls(void);

#endif
