/* The association layer's public face: the error structure every toolkit
 * call hands back (diag/si_error.h) with its codes, target descriptions,
 * the origin states and events, and the calls that open, watch, trace and
 * abort associations. Plain C: usable from C programs and from C++. */
#ifndef KESTRA_ASSOC_SI_API_H
#define KESTRA_ASSOC_SI_API_H

#include <stdint.h>
#include <stdio.h>

#include "diag/si_error.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Error codes carried in lIfOsCoError. */
enum {
    SI_ERR_ASSOCIATION_LOST = 2,
    SI_ERR_INVALID_ASSOCIATION = 3,
    SI_ERR_INVALID_STACK = 4,
    SI_ERR_INVALID_PARAMETERS = 7,
    SI_ERR_SELECT_FAILED = 8,
    SI_ERR_CLOSE_FAILED = 30,
    SI_ERR_CONNECT_FAILED = 31,
    SI_ERR_INVALID_ADDRESS = 32,
    SI_ERR_UNDECODABLE_PDU = 60,
    SI_ERR_OUT_OF_MEMORY = 75,
    SI_ERR_EVENT_INVALID = 80,
    SI_ERR_EVENT_IS_ERROR = 81,
    /* The target names file. */
    SI_ERR_NAMES_FORMAT = 100,
    SI_ERR_NAMES_NO_ENTRY = 102,
    SI_ERR_NAMES_NO_FILE = 110
};

/* Releases an error structure and all it holds; NULL is allowed. */
void SIFreeError(SIError *psError);

/* Origin states; 0 names none. */
typedef enum DbvOriginState {
    DBV_OS_CLOSED = 1,
    DBV_OS_ASSOCREQ_INPROGRESS,
    DBV_OS_ASSOCIATION,
    DBV_OS_INITSENT,
    DBV_OS_OPEN,
    DBV_OS_SEARCH_SENT,
    DBV_OS_PRESENT_SENT,
    DBV_OS_DELETE_SENT,
    DBV_OS_SCAN_SENT,
    DBV_OS_RESOURCE_REPORT_SENT,
    DBV_OS_SORT_REQUEST_SENT,
    DBV_OS_EXTENDED_SERVICE_SENT,
    DBV_OS_RELEASEREQ_SENT,
    DBV_OS_CLOSE_SENT,
    DBV_OS_CLOSE_RCVD,
    DBV_OS_ERROR,
    DBV_OS_DEAD,
    DBV_OS_ACCCNT_RCVD,
    DBV_OS_RESCNT_RCVD,
    DBV_OS_TRIGRESCNT_SENT,
    DBV_OS_COUNT /* one past the last state */
} DbvOriginState;

/* Origin events: ..._PDU received from the target, ..._IND from the
 * transport, the others the origin's own calls; 0 names none. */
typedef enum DbvOriginEvent {
    DBV_OE_IASSOCREQ = 1,
    DBV_OE_AASSOCIATERESP_IND_TRUE,
    DBV_OE_AASSOCIATERESP_IND_FALSE,
    DBV_OE_INITREQ,
    DBV_OE_INITRESP_PDU_TRUE,
    DBV_OE_INITRESP_PDU_FALSE,
    DBV_OE_SEARCHREQ,
    DBV_OE_SEARCHRESP_PDU,
    DBV_OE_PRESENTREQ,
    DBV_OE_PRESENTRESP_PDU,
    DBV_OE_DELETEREQ,
    DBV_OE_DELETERESP_PDU,
    DBV_OE_SCANREQ,
    DBV_OE_SCANRESP_PDU,
    DBV_OE_RESOURCEREQ,
    DBV_OE_RESOURCERESP_PDU,
    DBV_OE_SORTREQ,
    DBV_OE_SORTRESP_PDU,
    DBV_OE_SEGMENTREQ_PDU,
    DBV_OE_EXTENDEDREQ,
    DBV_OE_EXTENDEDRESP_PDU,
    DBV_OE_IRELREQ,
    DBV_OE_ARELREQ_IND,
    DBV_OE_ARELRESP_IND,
    DBV_OE_AABORT_IND,
    DBV_OE_IABORTREQ,
    DBV_OE_CLOSEREQ_PDU,
    DBV_OE_CLOSEREQ,
    DBV_OE_CLOSERESP,
    DBV_OE_DECODE_FAILED,
    DBV_OE_ACCCNTREQ_PDU,
    DBV_OE_ACCCNTRSP,
    DBV_OE_RESCNTREQ_PDU,
    DBV_OE_RESCNTRSP,
    DBV_OE_TRIGRESCNTREQ,
    DBV_OE_COUNT /* one past the last event */
} DbvOriginEvent;

/* Where a target is: eOsiOrInternetAddress selects the kind; only
 * OIA_Internet (host name or dotted address, and port) is served. */
typedef enum DbvAddressKind { OIA_Osi = 0, OIA_Internet = 1 } DbvAddressKind;

typedef struct DbvInternetAddress {
    char *pcHostName;
    int32_t lPort;
} DbvInternetAddress;

typedef struct DbvTargetInformation {
    int32_t eOsiOrInternetAddress;
    DbvInternetAddress sInternet;
} DbvTargetInformation;

void SIFreeTargetInformation(DbvTargetInformation *psTarget);

/* Connect status handed back by SIAssociate. The TCP stack reports a
 * refused connection as a failed connect, never as SI_CONNECT_REFUSED. */
enum { SI_CONNECTED = 1, SI_CONNECT_REFUSED = 2, SI_CONNECT_IN_PROGRESS = 3 };

/* Opens an association to psTarget, or when it is NULL to the target that
 * pcTargetName names in ./target_names.tbl. lConnectTimeout is in seconds,
 * -1 for a blocking connect. */
int SIAssociate(const DbvTargetInformation *psTarget, const char *pcTargetName, int32_t lConnectTimeout,
                DbvAssocId *plAssocId, int32_t *plConnectStatus, SIError **ppsError);

/* What SIGetEventLocation found readable: two NULL-terminated lists of
 * newly allocated values. Released with SIFreeEventList. */
typedef struct SIEventList {
    uint32_t **ppulFileDescriptor;
    DbvAssocId **pplAssocId;
} SIEventList;

void SIFreeEventList(SIEventList *psEvents);

/* Waits up to lTimeout seconds (0 one short poll, -1 no limit) for one of
 * the associations or descriptors (both NULL-terminated lists) to become
 * readable. *ppsEvents stays NULL when nothing became readable in time. */
int SIGetEventLocation(DbvAssocId **pplAssocId, int32_t lTimeout, uint32_t **ppulFileDescriptor,
                       SIEventList **ppsEvents, SIError **ppsError);

/* Bounds the reads on the association from now on: lSeconds from now they
 * give up, as on a stalled connection, even while octets keep arriving;
 * a negative lSeconds lifts the bound. SI_OK, or SI_NOTOK for an unknown
 * association. */
int SISetReadDeadline(DbvAssocId lAssocId, int32_t lSeconds, SIError **ppsError);

/* Starts (level 1 or 2) or ends (level 0) the trace of an association into
 * a stream that the caller opens and closes. */
int SISetTraceParameter(DbvAssocId lAssocId, FILE *psStream, int32_t lLevel, SIError **ppsError);

/* Ends an association: closes its connection and removes it. */
int DbvAbortRequest(DbvAssocId lAssocId, SIError **ppsError);

#ifdef __cplusplus
}
#endif

#endif
