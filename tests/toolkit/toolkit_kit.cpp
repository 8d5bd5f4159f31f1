#include "tests/toolkit/toolkit_kit.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "assoc/transport.h"

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

DbvAssocId OpenSearched(int port, const char *database, const char *term, uint32_t messageSize, std::string *failure)
{
    DbvAssocId id = OpenAssociation(port);
    *failure = id < 0 ? "cannot connect" : "";
    bool ok = id >= 0 && Send(DBVInitializeRequest, id, &DbvDesc_InitializeReq, MakeInitializeReq(messageSize), failure) == SI_OK;
    DbvReceivedPdu *init = ok ? Await(id, 30, failure) : nullptr;
    ok = init && init->ePduType == RPT_InitializeRsp &&
         Send(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq(database, term, 1016), failure) == SI_OK;
    DbvReceivedPdu *search = ok ? Await(id, 30, failure) : nullptr;
    ok = search && search->ePduType == RPT_SearchRsp && search->uPdu.psSearchRsp->fSearchStatus;
    if (!ok && failure->empty())
        *failure = "the session was refused or the search failed";
    DbvFreeReceivedPdu(init);
    DbvFreeReceivedPdu(search);
    if (!ok && id >= 0)
        Abort(id);
    return ok ? id : -1;
}
