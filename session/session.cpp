// Session control: INITIALIZE opens the session with a target, CLOSE ends
// it, and every operation waits for the target's answer here. Ending a
// session never sends a Close: the association is aborted.
#include "session/session.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "dbv/dbv_build.h"
#include "service/exchange/exchange.h"
#include "ui/os.h"

SessionValues g_session;

namespace {

// The Z39.50 close reasons, by their number.
const char *const kCloseReasonTexts[] = {
    "Service session has Finished",
    "Service session has Shut Down",
    "Service has encountered a System Problem - Session has ended",
    "Service session has Closed due to Cost Limits",
    "Service session has Finished for lack of Resources",
    "Service session has Closed due to a Security Violation",
    "Service session has Closed due to a Protocol Error",
    "Service session has Closed due to a Lack of Activity",
    "Service session has Closed - the Operation was Aborted",
    "Service session has Closed - no reason is given by the Service",
};

// The association is gone: forget it and close its trace file.
void ForgetAssociation()
{
    g_session.association = -1;
    if (g_session.trace) {
        std::fclose(g_session.trace);
        g_session.trace = nullptr;
    }
}

// Aborts the association without a word on the status display, whatever
// becomes of it: its connection and table entry are released.
void AbortQuietly()
{
    SIError *error = nullptr;
    DbvAbortRequest(g_session.association, &error);
    SIFreeError(error);
    ForgetAssociation();
}

// One operation lasts at most this many wait time-outs, however slowly its
// octets keep arriving.
const long kOperationWaits = 10;

// When the operation must end: idle is the wait time-out in seconds (0 or
// below: no limit, and no end either).
struct OperationClock {
    long idle;
    std::chrono::steady_clock::time_point end;
};

// Starts the operation's clock, and bounds the association's reads by its end.
OperationClock StartOperationClock(long idle)
{
    long long total = idle > 0 ? static_cast<long long>(idle) * kOperationWaits : -1;
    if (total > INT32_MAX)
        total = INT32_MAX;
    SIError *error = nullptr;
    SISetReadDeadline(g_session.association, static_cast<int32_t>(total), &error);
    SIFreeError(error);
    return {idle, std::chrono::steady_clock::now() + std::chrono::seconds(total > 0 ? total : 0)};
}

// The next wait in seconds: the idle limit, cut to the whole seconds left
// before the end (rounded up); 0 once the end has passed; -1 without limit.
int32_t NextWait(const OperationClock &clock)
{
    if (clock.idle <= 0)
        return -1;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(clock.end - std::chrono::steady_clock::now());
    if (left.count() <= 0)
        return 0;
    long long seconds = (left.count() + 999) / 1000;
    return static_cast<int32_t>(seconds < clock.idle ? seconds : clock.idle);
}

// INITIALIZE keys with their defaults, as the Initialize request carries them.
struct InitializeKeys {
    char server[kValueSize * 3];
    long port;
    char user_id[kValueSize];
    char password[kValueSize];
    char open_string[kValueSize];
    char implementation_id[kValueSize];
    char implementation_name[kValueSize];
    char implementation_version[kValueSize];
    long preferred_message_size;
    long maximum_message_size;
};

InitializeKeys ReadInitializeKeys()
{
    InitializeKeys keys;
    RequestString("Server", keys.server, sizeof keys.server, "localhost");
    RequestInteger("Port", &keys.port, 210);
    RequestString("UserId", keys.user_id, sizeof keys.user_id, "");
    RequestString("Password", keys.password, sizeof keys.password, "");
    RequestString("OpenString", keys.open_string, sizeof keys.open_string, "");
    RequestString("ImplementationId", keys.implementation_id, sizeof keys.implementation_id, "Vantor Systems (61)");
    RequestString("ImplementationName", keys.implementation_name, sizeof keys.implementation_name,
                  "Kestra Z39.50 Client");
    RequestString("ImplementationVersion", keys.implementation_version, sizeof keys.implementation_version, "1.1");
    RequestInteger("PreferredMessageSize", &keys.preferred_message_size, 10000);
    RequestInteger("MaximumMessageSize", &keys.maximum_message_size, 10000);
    return keys;
}

// The open form of authentication takes the place of the id/password
// form, which is sent only with both a user id and a password.
void SetAuthentication(DbvInitializeReq *request, const InitializeKeys &keys)
{
    if (!keys.open_string[0] && !(keys.user_id[0] && keys.password[0]))
        return;
    DbvIdAuthentication *authentication = request->psAuthentication = dbv::New<DbvIdAuthentication>();
    if (keys.open_string[0]) {
        authentication->eAuthenticationType = AUTH_Open;
        authentication->uAuthentication.psOpen = dbv::Text(keys.open_string);
        return;
    }
    authentication->eAuthenticationType = AUTH_IdPassword;
    DbvIdPassword *id_password = authentication->uAuthentication.psIdPassword = dbv::New<DbvIdPassword>();
    id_password->psUserId = dbv::Octets(keys.user_id);
    id_password->psPassword = dbv::Octets(keys.password);
}

void FillInitializeRequest(DbvInitializeReq *request, const InitializeKeys &keys)
{
    // A fixed reference id, deliberately not empty.
    request->psReferenceId = dbv::Octets("NULL");
    // Versions 1, 2 and 3.
    request->pcProtocolVersion = dbv::Text("111");
    // Search, present, access control, scan, level-1 segmentation and named result sets.
    request->pcOptions = dbv::Text("110000110001001");
    request->ulPreferredMessageSize = static_cast<uint32_t>(keys.preferred_message_size);
    request->ulMaxmiumMessageSize = static_cast<uint32_t>(keys.maximum_message_size);
    SetAuthentication(request, keys);
    request->psImplementationId = dbv::Octets(keys.implementation_id);
    request->psImplementationName = dbv::Octets(keys.implementation_name);
    request->psImplementationVersion = dbv::Octets(keys.implementation_version);
}

// Reads the wait time-out of this and the later operations; then connects.
bool Connect(const InitializeKeys &keys)
{
    if (!RequestInteger("QueryTimeout", &g_session.wait_timeout, IdleLimit()))
        RequestInteger("Timeout", &g_session.wait_timeout, IdleLimit());
    // An association left by a failed INITIALIZE is released before a new one.
    if (g_session.association != -1)
        AbortQuietly();
    DbvTargetInformation target = {OIA_Internet, {const_cast<char *>(keys.server), static_cast<int32_t>(keys.port)}};
    bool no_limit = ConnectsWithoutTimeLimit() || g_session.wait_timeout <= 0;
    int32_t status = 0;
    SIError *error = nullptr;
    int result = SIAssociate(&target, nullptr, no_limit ? -1 : static_cast<int32_t>(g_session.wait_timeout),
                             &g_session.association, &status, &error);
    if (result != SI_OK) {
        g_session.association = -1;
        SetStatus(1000, ErrorNumber(error), "Initialize Connect Error - Server does not exist or is not working");
    } else if (status == SI_CONNECT_REFUSED) {
        SetStatus(1002, 0, "Initialize Connect Error - Server exists but connection rejected");
    }
    SIFreeError(error);
    return !StatusIsSet();
}

bool SendInitializeRequest(const InitializeKeys &keys)
{
    ShowStatus("Initializing...");
    dbv::Owned<DbvInitializeReq> request(dbv::New<DbvInitializeReq>(), DbvFreeInitializeReq);
    FillInitializeRequest(request.get(), keys);
    SIError *error = nullptr;
    bool sent = DBVInitializeRequest(g_session.association, request.get(), &error) == SI_OK;
    if (!sent) {
        long number = ErrorNumber(error);
        if (Disconnect())
            SetStatus(1000, number, "Initialize Request Error - Disconnected from server");
    }
    SIFreeError(error);
    return sent;
}

// Writes the target's answer as the response pairs and keeps its options.
void RecordInitializeResponse(const DbvInitializeRsp *response)
{
    g_session.target_options = response->pcOptions ? response->pcOptions : "";
    PairString("ProtocolVersion", response->pcProtocolVersion ? response->pcProtocolVersion : "");
    PairString("ProtocolOptions", g_session.target_options.c_str());
    const struct {
        const char *key;
        const DbvOctetString *value;
    } implementation[] = {
        {"ImplementationID", response->psImplementationId},
        {"ImplementationName", response->psImplementationName},
        {"ImplementationVersion", response->psImplementationVersion},
    };
    for (const auto &pair : implementation) {
        if (pair.value)
            PairString(pair.key, dbv::TextOf(pair.value).c_str());
    }
    PairInteger("PreferredMessageSize", static_cast<long>(response->ulPreferredMessageSize));
    PairInteger("MaximumMessageSize", static_cast<long>(response->ulMaxmiumMessageSize));
}

bool ReceiveInitializeResponse()
{
    DbvReceivedPdu *pdu =
        AwaitAnswer(RPT_InitializeRsp, 1001, "Initialize Response Error - Session failed to start");
    if (!pdu)
        return false;
    // A target may send any non-zero octet for true.
    if (pdu->uPdu.psInitializeRsp->fResult) {
        ShowStatus("Session has Started");
        RecordInitializeResponse(pdu->uPdu.psInitializeRsp);
    } else {
        SetStatus(1002, 0, "Initialize Response Error - Connection refused");
    }
    DbvFreeReceivedPdu(pdu);
    return !StatusIsSet();
}

// "Trace" above 0: the session's PDUs go to a file named by the local time
// ("%j%H%M%S.trc") in the current directory. A file that cannot be opened
// is shown, not reported as a failure.
void StartTraceIfAsked()
{
    long level = 0;
    RequestInteger("Trace", &level, 0);
    if (level <= 0)
        return;
    std::time_t now = std::time(nullptr);
    char stamp[12];
    std::strftime(stamp, sizeof stamp, "%j%H%M%S", std::localtime(&now));
    char name[20];
    std::snprintf(name, sizeof name, "%s.trc", stamp);
    std::FILE *file = std::fopen(name, "w");
    if (!file) {
        ShowStatus("Error Setting Trace");
        return;
    }
    if (g_session.trace)
        std::fclose(g_session.trace);
    g_session.trace = file;
    SIError *error = nullptr;
    SISetTraceParameter(g_session.association, file, Trace_High, &error);
    SIFreeError(error);
}

} // namespace

long ErrorNumber(const SIError *error)
{
    if (!error)
        return 0;
    long number = error->uErrorCode.lIfOsCoError;
    if (error->eErrorClass == SI_Abort)
        number = error->uErrorCode.psAbort ? error->uErrorCode.psAbort->lAbortReason : 0;
    if (error->eAssociationState == Association_Closed && g_session.association != -1)
        AbortQuietly();
    return number;
}

bool InitializeOperation()
{
    WriteEchoLine("INITIALIZE_REQUEST");
    InitializeKeys keys = ReadInitializeKeys();
    bool success = Connect(keys) && SendInitializeRequest(keys) && ReceiveInitializeResponse();
    if (success)
        StartTraceIfAsked();
    WriteResponseLine("INITIALIZE_RESPONSE", success);
    return success;
}

bool SessionHasAssociation()
{
    return g_session.association != -1;
}

const std::string &GrantedOptions()
{
    return g_session.target_options;
}

void ReleaseSession()
{
    if (g_session.association != -1)
        AbortQuietly();
}

bool Disconnect()
{
    if (g_session.association == -1) {
        ShowStatus("");
        return true;
    }
    SIError *error = nullptr;
    const char *text = "Session Ended";
    bool gone = true;
    if (DbvAbortRequest(g_session.association, &error) != SI_OK) {
        gone = error && error->eAssociationState == Association_Closed;
        text = gone ? "Probably Disconnected" : "";
        if (!gone)
            SetStatus(6000, 0, "Disconnect Failed - Still connected");
    }
    if (gone)
        ForgetAssociation();
    ShowStatus(text);
    SIFreeError(error);
    return gone;
}

bool CloseOperation()
{
    WriteEchoLine("CLOSE_REQUEST");
    bool closed = Disconnect();
    WriteResponseLine("CLOSE_RESPONSE", closed);
    return closed;
}

void HandleClosePdu(const DbvClose *close)
{
    int reason = close->eCloseReason;
    bool known = reason >= 0 && reason < static_cast<int>(sizeof kCloseReasonTexts / sizeof kCloseReasonTexts[0]);
    const char *text = known ? kCloseReasonTexts[reason] : "";
    Disconnect();
    SetStatus(6000, 0, text);
    ShowStatus(text);
}

bool AwaitResponse(DbvReceivedPdu **pdu, long *error_number)
{
    ShowStatus("Waiting for service to reply...");
    *pdu = nullptr;
    *error_number = 0;
    OperationClock clock = StartOperationClock(g_session.wait_timeout);
    while (!*pdu) {
        int32_t wait = NextWait(clock);
        DbvAssocId association = g_session.association;
        DbvAssocId *associations[] = {&association, nullptr};
        uint32_t *descriptors[] = {nullptr};
        SIEventList *events = nullptr;
        SIError *error = nullptr;
        int waited = wait == 0 ? SI_OK : SIGetEventLocation(associations, wait, descriptors, &events, &error);
        bool arrived = events != nullptr;
        SIFreeEventList(events);
        if (waited == SI_OK && !arrived) {
            // Nothing came in time: end the association, so that a late
            // answer is never taken for the answer to a later request.
            Disconnect();
            return false;
        }
        if (waited == SI_OK && ReceiveDataOrigin(association, wait, pdu, &error) == SI_OK) {
            SIFreeError(error);
            continue;
        }
        long number = ErrorNumber(error);
        // An answer still unfinished when its time is up fails as a silent one does.
        *error_number = NextWait(clock) == 0 ? 0 : number;
        SIFreeError(error);
        DbvFreeReceivedPdu(*pdu);
        *pdu = nullptr;
        return false;
    }
    return true;
}

DbvReceivedPdu *AwaitAnswer(int expected_type, long failure_code, const char *failure_text)
{
    DbvReceivedPdu *pdu = nullptr;
    long number = 0;
    if (AwaitResponse(&pdu, &number) && pdu->ePduType == expected_type)
        return pdu;
    if (pdu && pdu->ePduType == RPT_CloseReq)
        HandleClosePdu(pdu->uPdu.psClose);
    // Anything else where the answer belongs is a failed response too.
    if (!StatusIsSet())
        SetStatus(failure_code, number, failure_text);
    DbvFreeReceivedPdu(pdu);
    return nullptr;
}
