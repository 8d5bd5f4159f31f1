/* The association table: one entry per open association, keyed by the id
 * that SIAssociate hands out. */
#ifndef KESTRA_ASSOC_ASSOC_TABLE_H
#define KESTRA_ASSOC_ASSOC_TABLE_H

#include "assoc/socket.h"
#include "assoc/si_api.h"

enum { ROLE_ORIGIN = 1 };

typedef struct AssocEntry {
    DbvAssocId assocId;
    int32_t addressKind;   /* OIA_Internet (TCP stack) or OIA_Osi */
    SocketHandle socket;
    int32_t connectStatus; /* SI_CONNECTED or SI_CONNECT_IN_PROGRESS */
    int32_t protocolState; /* DBV_OS_ for an origin */
    int32_t role;          /* ROLE_ORIGIN, anything else a target */
    uint32_t receiveLimit; /* the largest PDU this association accepts */
    int64_t readDeadline;  /* steady-clock microseconds at which reads give up; 0: never */
} AssocEntry;

/* The entry of a live association, or NULL. */
AssocEntry *AssocFind(DbvAssocId assocId);

/* Resolves an id for an API call: 0 with the entry when it exists and has
 * a valid stack, else 1 with "The association %d is invalid" (code 3) or
 * "Association %d has an invalid stack type" (code 4) in the slot. */
int AssocLookUp(DbvAssocId assocId, AssocEntry **entry, SIError **slot);

/* "TCP_Stack" or "OSI_Stack". */
const char *AssocStackName(const AssocEntry *entry);

/* Appends an origin association under the next free id, in DBV_OS_CLOSED. */
AssocEntry *AssocAdd(int32_t addressKind, SocketHandle socket, int32_t connectStatus);

/* Removes and frees the entry; its socket is left alone. */
void AssocRemove(DbvAssocId assocId);

/* After an SI_Abort failure: the association's trace entry goes, its socket
 * is closed and its entry removed; the id is no longer valid. */
void AssocDrop(DbvAssocId assocId);

/* How long a read on the association may wait for its next octets: the
 * idle limit idleMicros (negative: none), cut to what is left before the
 * association's read deadline (0 once it has passed). */
int64_t AssocReadWait(const AssocEntry *entry, int64_t idleMicros);

/* Sets the id counter (ids are taken from it in turn, wrapping from
 * 2,147,483,647 to 0 and skipping ids in use). */
void AssocSetNextId(DbvAssocId next);

#endif
