// Sessions through the toolkit's API for the tests and the benchmark: the
// peers' ports, the requests a simple client sends, and the wait for an
// answer.
#ifndef KESTRA_TESTS_TOOLKIT_TOOLKIT_KIT_H
#define KESTRA_TESTS_TOOLKIT_TOOLKIT_KIT_H

#include <cstdio>
#include <string>
#include <vector>

#include "dbv/dbvproto.h"

// The port of a peer named in the JSON state file of tests/peers that the
// environment variable names; 0 when there is none.
int PeerPort(const char *environment, const char *name);

// Everything written to a stream so far.
std::string StreamText(std::FILE *stream);

// A connected association to 127.0.0.1:port, or -1.
DbvAssocId OpenAssociation(int port);

// An association with the scripted target (KESTRA_TARGETS_STATE), told to
// send octets back in segments of `segment` octets `delayMs` apart, then to
// keep quiet (mode "keep") or close (mode "close").
DbvAssocId OpenScripted(const char *mode, const std::vector<unsigned char> &octets, size_t segment = 100000,
                        int delayMs = 0);

// DbvAbortRequest, its error freed.
int Abort(DbvAssocId id);

// Requests, released with DbvFreeTree and their descriptors.
DbvInitializeReq *MakeInitializeReq(uint32_t messageSize);
// A search for one term with one Bib-1 use attribute into "default".
DbvSearchReq *MakeSearchReq(const char *database, const char *term, uint32_t use);
// Records of "default" in a syntax, with the generic element set "F".
DbvPresentReq *MakePresentReq(uint32_t start, uint32_t count, const char *syntax);
DbvScanReq *MakeScanReq(const char *database, const char *term, uint32_t count);

// The next PDU within the wait, or NULL with the reason in *failure.
DbvReceivedPdu *Await(DbvAssocId id, int32_t wait, std::string *failure);

// Sends a request and frees it: the call's result, and its error text in
// *text when one is given.
template <typename Request>
int Send(int (*call)(DbvAssocId, const Request *, SIError **), DbvAssocId id, const DbvTypeDesc *type,
         Request *request, std::string *text = nullptr)
{
    SIError *error = nullptr;
    int result = call(id, request, &error);
    if (text)
        *text = error && error->pcDiagnostics ? error->pcDiagnostics : "";
    SIFreeError(error);
    DbvFreeTree(type, request);
    return result;
}

// Sends a request, then takes the answer of the wanted kind; NULL with the
// reason in *failure.
template <typename Request>
DbvReceivedPdu *Exchange(DbvAssocId id, int (*call)(DbvAssocId, const Request *, SIError **),
                         const DbvTypeDesc *type, Request *request, int wanted, std::string *failure)
{
    if (Send(call, id, type, request, failure) != SI_OK)
        return nullptr;
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
