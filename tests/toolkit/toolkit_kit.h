// Sessions through the toolkit's API for the tests and the benchmark: the
// peers' ports, the requests a simple client sends, and the wait for an
// answer.
#ifndef KESTRA_TESTS_TOOLKIT_TOOLKIT_KIT_H
#define KESTRA_TESTS_TOOLKIT_TOOLKIT_KIT_H

#include <cstdio>
#include <string>

#include "dbv/dbvproto.h"

// The port of a peer named in the state file that the environment variable
// names: peers.py's JSON or scripted_target.py's "name port" lines. 0 when
// there is none.
int PeerPort(const char *environment, const char *name);

// Everything written to a stream so far.
std::string StreamText(std::FILE *stream);

// A connected association to 127.0.0.1:port, or -1.
DbvAssocId OpenAssociation(int port);

// Requests, released with DbvFreeTree and their descriptors.
DbvInitializeReq *MakeInitializeReq(uint32_t messageSize);
// A search for one term with one Bib-1 use attribute into "default".
DbvSearchReq *MakeSearchReq(const char *database, const char *term, uint32_t use);
// Records of "default" in a syntax, with the generic element set "F".
DbvPresentReq *MakePresentReq(uint32_t start, uint32_t count, const char *syntax);
DbvScanReq *MakeScanReq(const char *database, const char *term, uint32_t count);

// The next PDU within the wait, or NULL with the reason in *failure.
DbvReceivedPdu *Await(DbvAssocId id, int32_t wait, std::string *failure);

// Sends a request (and frees it), then takes the answer of the wanted
// kind; NULL with the reason in *failure.
template <typename Request>
DbvReceivedPdu *Exchange(DbvAssocId id, int (*call)(DbvAssocId, const Request *, SIError **),
                         const DbvTypeDesc *type, Request *request, int wanted, std::string *failure)
{
    SIError *error = nullptr;
    int sent = call(id, request, &error);
    DbvFreeTree(type, request);
    if (sent != SI_OK) {
        *failure = error && error->pcDiagnostics ? error->pcDiagnostics : "send failed";
        SIFreeError(error);
        return nullptr;
    }
    DbvReceivedPdu *answer = Await(id, 30, failure);
    if (answer && answer->ePduType != wanted) {
        *failure = "answered with PDU type " + std::to_string(answer->ePduType);
        DbvFreeReceivedPdu(answer);
        answer = nullptr;
    }
    return answer;
}

// Opens (tracing at Trace_High into trace when one is given) and
// initializes a session with the peer, then searches it; the association,
// or -1 with the reason in *failure.
DbvAssocId OpenSearched(int port, const char *database, const char *term, uint32_t messageSize,
                        std::string *failure, std::FILE *trace = nullptr);

#endif
