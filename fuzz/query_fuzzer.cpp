// Query formulation: the input is a SEARCH request line, whose "Query",
// "Terms", "Database" and "AnsiAttributeSet" become the request's RPN
// query as the client builds it. A query that the formulation accepts must
// then pass the request check, be printed as the trace prints it, and
// survive encoding and decoding: a failure there is a crash.
#include <cstdio>
#include <cstdlib>

#include "asn/asn_pdu.h"
#include "asn_modules.h"
#include "dbv/dbv_build.h"
#include "dbv/dbv_check.h"
#include "dbv/dbv_convert.h"
#include "dbv/dbv_print.h"
#include "fuzz/fuzz_kit.h"
#include "retrieval/query.h"
#include "service/exchange/exchange.h"
#include "service/service.h"

namespace {

// Encodes the search request and decodes the octets again; false when
// either fails.
bool SurvivesTheCodec(DbvSearchReq *request)
{
    DbvPdu pdu = {};
    pdu.ePduType = DPT_SearchRequest;
    pdu.uPdu.psSearchRequest = request;
    PDU *encoded = nullptr;
    if (DbvToAsn<PDU, FreePDU>(&DbvDesc_Pdu, &pdu, &encoded) != DBV_CONVERT_OK)
        return false;
    unsigned char *octets = nullptr;
    uint32_t length = 0;
    ASN_PduError error = {};
    if (EncodePdu(0, encoded, &octets, &length, &error) != 0)
        return false;
    auto *decoded = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    bool decodes = DecodePdu(0, octets, length, decoded, &error) == 0 && decoded->choiceId != ASN_PDU_UNKNOWN;
    FreePDU(decoded);
    MemFree(decoded);
    return decodes;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::ScratchDirectory();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::ResetService();
    std::string line = fuzz::InputText(data, size, kRequestSize - 1);
    std::snprintf(g_exchange.current_request, sizeof g_exchange.current_request, "%s", line.c_str());
    // The fields that SEARCH sets besides the query.
    dbv::Owned<DbvSearchReq> request(dbv::New<DbvSearchReq>(), DbvFreeSearchReq);
    request->ulLargeSetLowerBound = 1;
    request->fReplaceIndicator = DBV_TRUE;
    request->sResultSetName = dbv::InlineOctets("default");
    if (FormulateQuery(request.get())) {
        SIError *error = nullptr;
        if (DbvCheckSearchRequest(-1, request.get(), &error) != SI_OK || !SurvivesTheCodec(request.get()))
            std::abort();
        SIFreeError(error);
        DbvWritePduDump(fuzz::Sink(), DbvDumpOfPdu(DPT_SearchRequest, request.get(), false));
    }
    fuzz::EndInput();
    return 0;
}
