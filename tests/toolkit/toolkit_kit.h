// Sessions through the toolkit's API for the tests and the benchmark: the
// peers' ports, the scripted target and sending.
#ifndef KESTRA_TESTS_TOOLKIT_TOOLKIT_KIT_H
#define KESTRA_TESTS_TOOLKIT_TOOLKIT_KIT_H

#include <string>
#include <vector>

#include "dbv/dbvproto.h"
#include "tests/dbv/dbv_testkit.h"

// The port of a peer named in the JSON state file of tests/peers that the
// environment variable names; 0 when there is none.
int PeerPort(const char *environment, const char *name);
// A connected association to 127.0.0.1:port, or -1.
DbvAssocId OpenAssociation(int port);
// An association with the scripted target (KESTRA_TARGETS_STATE), told to
// send octets back in segments of `segment` octets `delayMs` apart, then to
// keep quiet (mode "keep") or close (mode "close").
DbvAssocId OpenScripted(const char *mode, const std::vector<unsigned char> &octets, size_t segment = 100000,
                        int delayMs = 0);
// DbvAbortRequest, its error freed.
int Abort(DbvAssocId id);

// Sends a request and frees it; the call's result (its error text in *text).
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

#endif
