// The request calls: check the request, ask the state machine, trace the
// PDU, convert it to the codec's structures and send it.
#include "dbv/dbv_request.h"

#include "asn_modules.h"
#include "assoc/assoc_table.h"
#include "assoc/errors.h"
#include "assoc/state_machine.h"
#include "assoc/transport.h"
#include "dbv/dbv_check.h"
#include "dbv/dbv_convert.h"
#include "dbv/dbv_print.h"
#include "diag/trace.h"

namespace {

// The PDU's member of the DbvPdu union, for building the PDU around a request.
template <typename Request> Request *&Member(DbvPdu &pdu);
template <> DbvInitializeReq *&Member(DbvPdu &pdu) { return pdu.uPdu.psInitRequest; }
template <> DbvSearchReq *&Member(DbvPdu &pdu) { return pdu.uPdu.psSearchRequest; }
template <> DbvPresentReq *&Member(DbvPdu &pdu) { return pdu.uPdu.psPresentRequest; }
template <> DbvScanReq *&Member(DbvPdu &pdu) { return pdu.uPdu.psScanRequest; }

template <typename Request>
int Send(const char *name, int (*check)(DbvAssocId, const Request *, SIError **), int32_t event, int pduType,
         DbvAssocId assocId, const Request *request, SIError **slot)
{
    TraceEnter(assocId, name);
    int result = SI_NOTOK;
    AssocEntry *entry = nullptr;
    if (check(assocId, request, slot) == SI_OK && FeedOriginEvent(assocId, event, slot) == 0 &&
        AssocLookUp(assocId, &entry, slot) == 0) {
        DbvPdu pdu = {};
        pdu.ePduType = pduType;
        Member<Request>(pdu) = const_cast<Request *>(request);
        DbvTracePduDump(assocId, "\nSending the following PDU:\n", DbvDumpOfPdu(pduType, request, false));
        PDU *encoded = nullptr;
        if (DbvToAsn<PDU, FreePDU>(&DbvDesc_Pdu, &pdu, &encoded) != DBV_CONVERT_OK)
            SISetError(slot, assocId, SI_Interface_Error, SI_ERR_OUT_OF_MEMORY, Association_Open, "Out of memory");
        else
            result = SISendPdu(assocId, encoded, slot);
    }
    TraceLeave(assocId, name, result);
    return result;
}

} // namespace

extern "C" {

int DBVInitializeRequest(DbvAssocId lAssocId, const DbvInitializeReq *psInitializeReq, SIError **ppsError)
{
    return Send("DBVInitializeRequest", DbvCheckInitializeRequest, DBV_OE_INITREQ, DPT_InitRequest, lAssocId,
                psInitializeReq, ppsError);
}

int DBVSearchRequest(DbvAssocId lAssocId, const DbvSearchReq *psSearchReq, SIError **ppsError)
{
    return Send("DBVSearchRequest", DbvCheckSearchRequest, DBV_OE_SEARCHREQ, DPT_SearchRequest, lAssocId, psSearchReq,
                ppsError);
}

int DBVPresentRequest(DbvAssocId lAssocId, const DbvPresentReq *psPresentReq, SIError **ppsError)
{
    return Send("DBVPresentRequest", DbvCheckPresentRequest, DBV_OE_PRESENTREQ, DPT_PresentRequest, lAssocId,
                psPresentReq, ppsError);
}

int DBVScanRequest(DbvAssocId lAssocId, const DbvScanReq *psScanReq, SIError **ppsError)
{
    return Send("DBVScanRequest", DbvCheckScanRequest, DBV_OE_SCANREQ, DPT_ScanRequest, lAssocId, psScanReq,
                ppsError);
}

} // extern "C"
