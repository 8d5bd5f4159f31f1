/* The origin's requests and the PDUs it receives: the four request calls,
 * each checking its request, asking the association's state machine,
 * converting and sending; and ReceiveDataOrigin, which takes the next PDU
 * off an association and hands it over as a DBV structure. Plain C. */
#ifndef KESTRA_DBV_DBV_REQUEST_H
#define KESTRA_DBV_DBV_REQUEST_H

#include "assoc/si_api.h"
#include "dbv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The request stays the caller's: the calls only read it. SI_OK, or
 * SI_NOTOK with the reason in *ppsError (nothing is sent then, except when
 * the failure came after the state machine had accepted the request). */
int DBVInitializeRequest(DbvAssocId lAssocId, const DbvInitializeReq *psInitializeReq, SIError **ppsError);
int DBVSearchRequest(DbvAssocId lAssocId, const DbvSearchReq *psSearchReq, SIError **ppsError);
int DBVPresentRequest(DbvAssocId lAssocId, const DbvPresentReq *psPresentReq, SIError **ppsError);
int DBVScanRequest(DbvAssocId lAssocId, const DbvScanReq *psScanReq, SIError **ppsError);

/* Kinds of received PDU. A Close answers the origin's own Close
 * (RPT_CloseRsp) or comes from the target unasked (RPT_CloseReq). */
enum {
    RPT_None = -1, /* a PDU that an origin does not take: nothing delivered */
    RPT_InitializeRsp = 0,
    RPT_SearchRsp = 1,
    RPT_PresentRsp = 2,
    RPT_DeleteResultSetRsp = 3,
    RPT_ScanRsp = 4,
    RPT_ResourceReportRsp = 5,
    RPT_SegmentReq = 6,
    RPT_SortRsp = 7,
    RPT_ExtendedServicesRsp = 8,
    RPT_CloseRsp = 9,
    RPT_CloseReq = 10,
    RPT_InvalidAPDU = 11,
    RPT_AccessControlReq = 12,
    RPT_ResourceControlReq = 13
};

/* The octets of a received PDU that could not be recognised. */
typedef struct DbvInvalidAPDU {
    uint32_t ulLength;
    unsigned char *pbData;
} DbvInvalidAPDU;

/* One received PDU; the member that ePduType names is set (none for
 * RPT_None). Released with DbvFreeReceivedPdu. */
typedef struct DbvReceivedPdu {
    int ePduType;
    union {
        DbvInitializeRsp *psInitializeRsp;
        DbvSearchRsp *psSearchRsp;
        DbvPresentRsp *psPresentRsp;
        DbvDeleteResultSetRsp *psDeleteResultSetRsp;
        DbvScanRsp *psScanRsp;
        DbvResourceReportRsp *psResourceReportRsp;
        DbvSegmentReq *psSegmentReq;
        DbvSortRsp *psSortRsp;
        DbvExtendedServicesRsp *psExtendedServicesRsp;
        DbvClose *psClose;
        DbvInvalidAPDU *psInvalidAPDU;
        DbvAccessControlReq *psAccessControlReq;
        DbvResourceControlReq *psResourceControlReq;
    } uPdu;
} DbvReceivedPdu;

void DbvFreeReceivedPdu(DbvReceivedPdu *psPdu);

/* Reads one PDU off the association, waiting lWaitTime seconds for it (0 a
 * 1-millisecond poll, negative without limit). *ppsPdu is left as it was
 * (set it to NULL first) when nothing arrived in time; otherwise it
 * receives the PDU, owned by the caller. When the peer has gone
 * (error class SI_Abort) the association is removed and its id is no
 * longer valid. SI_OK or SI_NOTOK. */
int ReceiveDataOrigin(DbvAssocId lAssocId, int32_t lWaitTime, DbvReceivedPdu **ppsPdu, SIError **ppsError);

#ifdef __cplusplus
}
#endif

#endif
