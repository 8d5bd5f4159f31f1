// Session control: opening and ending the session with a target, the wait
// for a target's answer that every operation shares, and the texts that
// report how a session ended.
#ifndef KESTRA_SESSION_SESSION_H
#define KESTRA_SESSION_SESSION_H

#include <cstdio>
#include <string>

#include "dbv/dbvproto.h"
#include "service/exchange/exchange.h"

struct SessionValues {
    DbvAssocId association = -1; // -1: no association
    long wait_timeout = 30;      // seconds; 0 or below waits without limit
    std::string target_options;  // the options the target granted, one '0' or '1' per bit
    std::FILE *trace = nullptr;  // the session's trace file, when one was asked for
};

extern SessionValues g_session;

// The INITIALIZE request: true when the session is open.
bool InitializeOperation();
// The CLOSE request: true when no association is left open.
bool CloseOperation();
// Aborts the session's association; true when none is left open.
bool Disconnect();
// A Close from the target: aborts the association and sets status 6000
// with the reason's text (no status for a reason without one).
void HandleClosePdu(const DbvClose *close);

// True while the session has an association.
bool SessionHasAssociation();
// The options the target granted, one '0' or '1' per bit.
const std::string &GrantedOptions();

// Releases the session's association, without a word, as the program ends.
void ReleaseSession();

// Waits for the next PDU of the session: true with the PDU (the caller's
// to free) and error number 0; false with the toolkit's error number, or
// with 0 when the wait time-out passed with nothing received or the PDU
// was still incomplete after ten wait time-outs in all (the association is
// then aborted, so that a late answer is never taken for the answer to a
// later request).
bool AwaitResponse(DbvReceivedPdu **pdu, long *error_number);

// Waits for the answer to the request just sent: the PDU when it is of the
// expected kind (RPT_...), else NULL with the status set: 6000 and the
// reason when the target closed the session, otherwise failure_code with
// failure_text (and the toolkit's error number, when there is one).
DbvReceivedPdu *AwaitAnswer(int expected_type, long failure_code, const char *failure_text);

// The number that reports a toolkit error; when the error says the
// association is lost, the session's association is dropped too.
long ErrorNumber(const SIError *error);

// Sends a request of the session through the toolkit's call: true when it
// went out, else false with failure_code, failure_text and the toolkit's
// error number as the status.
template <typename Request>
bool SendRequest(int (*call)(DbvAssocId, const Request *, SIError **), const Request *request, long failure_code,
                 const char *failure_text)
{
    SIError *error = nullptr;
    bool sent = call(g_session.association, request, &error) == SI_OK;
    if (!sent)
        SetStatus(failure_code, ErrorNumber(error), failure_text);
    SIFreeError(error);
    return sent;
}

#endif
