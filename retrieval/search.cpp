// The SEARCH request: one search request for the result set "default",
// whose hit count the presents after it page through.
#include "dbv/dbv_build.h"
#include "service/exchange/exchange.h"
#include "retrieval/query.h"
#include "retrieval/retrieval.h"
#include "session/session.h"

ResultSetState g_result_set;

namespace {

bool SendSearchRequest()
{
    ShowStatus("Sending Search Request...");
    dbv::Owned<DbvSearchReq> request(dbv::New<DbvSearchReq>(), DbvFreeSearchReq);
    // No records come back with the response: every record is fetched by a PRESENT.
    request->ulSmallSetUpperBound = 0;
    request->ulLargeSetLowerBound = 1;
    request->ulMediumSetPresentNumber = 0;
    request->fReplaceIndicator = DBV_TRUE;
    request->sResultSetName = dbv::InlineOctets("default");
    return FormulateQuery(request.get()) &&
           SendRequest(DBVSearchRequest, request.get(), 2000, "Search Request Error - Invalid parameter");
}

bool ReceiveSearchResponse()
{
    ShowStatus("Waiting for Search Response...");
    g_result_set.hit_count = 0;
    DbvReceivedPdu *pdu = AwaitAnswer(RPT_SearchRsp, 2001, "Search Response Error - Unspecified failure");
    if (!pdu)
        return false;
    const DbvSearchRsp *response = pdu->uPdu.psSearchRsp;
    // A target may send any non-zero octet for true.
    if (response->fSearchStatus) {
        g_result_set.hit_count = response->ulResultCount;
        PairInteger("Records", static_cast<long>(response->ulResultCount));
    } else {
        // The diagnostic's own text is shown, then superseded by this one,
        // whose "Scan" is what the distributor has always received.
        ReportDiagnostics(response->psRecords);
        SetStatus(2003, 0, "Scan Response Error - Invalid search attribute or search expression");
    }
    DbvFreeReceivedPdu(pdu);
    return !StatusIsSet();
}

} // namespace

bool HandleSearch()
{
    g_result_set = ResultSetState();
    WriteEchoLine("SEARCH_REQUEST");
    bool success = SendSearchRequest() && ReceiveSearchResponse();
    WriteResponseLine("SEARCH_RESPONSE", success);
    return success;
}
