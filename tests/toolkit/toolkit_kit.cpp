#include "tests/toolkit/toolkit_kit.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "assoc/transport.h"
#include "tests/dbv/dbv_testkit.h"

int PeerPort(const char *environment, const char *name)
{
    const char *path = std::getenv(environment);
    std::ifstream in(path ? path : "");
    std::string s((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    size_t at = s.find(std::string("\"") + name + "\""); // "name": ["host", port]
    size_t end = at == std::string::npos ? at : s.find(']', at);
    size_t comma = end == std::string::npos ? end : s.rfind(',', end);
    return end == std::string::npos || comma < at ? 0 : std::atoi(s.c_str() + comma + 1);
}

std::string StreamText(std::FILE *stream)
{
    std::fflush(stream);
    std::rewind(stream);
    std::string text;
    char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, stream)) > 0;)
        text.append(chunk, n);
    return text;
}

DbvAssocId OpenAssociation(int port)
{
    DbvTargetInformation target = {OIA_Internet, {const_cast<char *>("127.0.0.1"), port}};
    DbvAssocId id = -1;
    int32_t status = 0;
    SIError *error = nullptr;
    if (SIAssociate(&target, nullptr, -1, &id, &status, &error) != SI_OK)
        id = -1;
    SIFreeError(error);
    return id;
}

DbvAssocId OpenScripted(const char *mode, const std::vector<unsigned char> &octets, size_t segment, int delayMs)
{
    DbvAssocId id = OpenAssociation(PeerPort("KESTRA_TARGETS_STATE", "scripted"));
    std::string script = std::string(mode) + " " + std::to_string(segment) + " " + std::to_string(delayMs) + "\n";
    char pair[3];
    for (unsigned char c : octets) {
        std::snprintf(pair, sizeof pair, "%02x", c);
        script += pair;
    }
    script += "\n";
    SIError *error = nullptr;
    if (SISendOctets(id, reinterpret_cast<const unsigned char *>(script.data()), static_cast<uint32_t>(script.size()),
                     &error) != SI_OK)
        id = -1;
    SIFreeError(error);
    return id;
}

int Abort(DbvAssocId id)
{
    SIError *error = nullptr;
    int result = DbvAbortRequest(id, &error);
    SIFreeError(error);
    return result;
}

DbvInitializeReq *MakeInitializeReq(uint32_t messageSize)
{
    DbvInitializeReq *r = New<DbvInitializeReq>();
    r->pcProtocolVersion = Text("111");
    r->pcOptions = Text("111000010000000"); // search, present, delSet, scan
    r->ulPreferredMessageSize = messageSize;
    r->ulMaxmiumMessageSize = messageSize;
    r->psImplementationId = Octets("Vantor Systems (61)");
    r->psImplementationName = Octets("Kestra Z39.50 Client");
    r->psImplementationVersion = Octets("1.1");
    return r;
}

namespace {

DbvAttributeElement *Use(uint32_t use)
{
    DbvAttributeElement *a = New<DbvAttributeElement>();
    a->ulAttributeType = 1;
    a->sAttributeValue.eAttributeValueType = AVT_Numeric;
    a->sAttributeValue.uAttributeValue.ulNumeric = use;
    return a;
}

void SetTerm(DbvAttributesPlusTerm *apt, const char *term, uint32_t use)
{
    apt->ppsAttributeElement = List<DbvAttributeElement>({Use(use)});
    apt->sTerm.eTermType = TT_General;
    apt->sTerm.uTerm.psGeneral = Octets(term);
}

} // namespace

DbvSearchReq *MakeSearchReq(const char *database, const char *term, uint32_t use)
{
    DbvSearchReq *r = New<DbvSearchReq>();
    r->ulLargeSetLowerBound = 1;
    r->fReplaceIndicator = DBV_TRUE;
    r->sResultSetName = InlineOctets("default");
    r->ppsDatabaseNames = List<DbvOctetString>({Octets(database)});
    r->psQuery = New<DbvQuery>();
    r->psQuery->eQueryType = QT_Rpn;
    DbvRPNQuery *rpn = r->psQuery->uQuery.psRpnQuery = New<DbvRPNQuery>();
    rpn->pcAttributeSetId = Text("1.2.840.10003.3.1");
    rpn->sRpnStructure.eRpnStructureType = RST_RpnOperand;
    DbvOperand *leaf = rpn->sRpnStructure.uRPNStructure.psRpnOperand = New<DbvOperand>();
    leaf->eOperandType = OPD_AttributesPlusTerm;
    leaf->uOperand.psAttributesPlusTerm = New<DbvAttributesPlusTerm>();
    SetTerm(leaf->uOperand.psAttributesPlusTerm, term, use);
    return r;
}

DbvPresentReq *MakePresentReq(uint32_t start, uint32_t count, const char *syntax)
{
    DbvPresentReq *r = New<DbvPresentReq>();
    r->sResultSetId = InlineOctets("default");
    r->ulResultSetStartPoint = start;
    r->ulNumberOfRecordsRequested = count;
    r->psRecordComposition = New<DbvRecordComposition>();
    r->psRecordComposition->eRecordCompositionType = RCT_ElementSetNames;
    DbvElementSetNames *names = r->psRecordComposition->uRecordComposition.psElementSetNames = New<DbvElementSetNames>();
    names->eElementSetType = EST_Generic;
    names->uElementSet.psGeneric = Octets("F");
    r->pcPreferredRecordSyntax = Text(syntax);
    return r;
}

DbvScanReq *MakeScanReq(const char *database, const char *term, uint32_t count)
{
    DbvScanReq *r = New<DbvScanReq>();
    r->ppsDatabaseNames = List<DbvOctetString>({Octets(database)});
    r->pcAttributeSetId = Text("1.2.840.10003.3.1");
    SetTerm(&r->sAttributesPlusTerm, term, 4);
    r->pulStepSize = New<uint32_t>();
    r->ulNumberOfTermsRequested = count;
    r->pulPreferredPositionInResponse = New<uint32_t>();
    *r->pulPreferredPositionInResponse = 1;
    return r;
}

DbvReceivedPdu *Await(DbvAssocId id, int32_t wait, std::string *failure)
{
    DbvReceivedPdu *pdu = nullptr;
    SIError *error = nullptr;
    if (ReceiveDataOrigin(id, wait, &pdu, &error) != SI_OK) {
        *failure = error && error->pcDiagnostics ? error->pcDiagnostics : "receive failed";
        DbvFreeReceivedPdu(pdu);
        pdu = nullptr;
    } else if (!pdu) {
        *failure = "no answer in time";
    }
    SIFreeError(error);
    return pdu;
}

DbvAssocId OpenSearched(int port, const char *database, const char *term, uint32_t messageSize,
                        std::string *failure, std::FILE *trace)
{
    DbvAssocId id = OpenAssociation(port);
    if (id < 0) {
        *failure = "cannot connect";
        return -1;
    }
    SIError *traceError = nullptr;
    if (trace)
        SISetTraceParameter(id, trace, Trace_High, &traceError);
    SIFreeError(traceError);
    DbvReceivedPdu *init = Exchange(id, DBVInitializeRequest, &DbvDesc_InitializeReq, MakeInitializeReq(messageSize),
                                    RPT_InitializeRsp, failure);
    DbvReceivedPdu *search = init ? Exchange(id, DBVSearchRequest, &DbvDesc_SearchReq,
                                             MakeSearchReq(database, term, 1016), RPT_SearchRsp, failure)
                                  : nullptr;
    bool ok = search != nullptr;
    if (ok && !search->uPdu.psSearchRsp->fSearchStatus) {
        *failure = "the search failed";
        ok = false;
    }
    DbvFreeReceivedPdu(init);
    DbvFreeReceivedPdu(search);
    if (!ok) {
        Abort(id);
        return -1;
    }
    return id;
}
