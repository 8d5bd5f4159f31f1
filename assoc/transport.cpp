#include "assoc/transport.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "asn/asn_pdu.h"
#include "assoc/assoc_table.h"
#include "assoc/errors.h"
#include "assoc/pdu_scan.h"
#include "assoc/socket.h"
#include "assoc/state_machine.h"
#include "assoc/target_names.h"
#include "diag/trace.h"
#include "ui/mem.h"

namespace {

const int64_t kEventSliceMicros = 10000;
const int64_t kShortPollMicros = 1000;
// A negotiated association accepts PDUs of this many times its larger
// size, plus this much, before it calls an announced length absurd.
const uint32_t kLimitFactor = 4;
const uint32_t kLimitSlack = 64 * 1024;
// The socket's receive buffer is raised to hold a negotiated message of up
// to kMaxReceiveBuffer octets; below kMinReceiveBuffer the system's own is left.
const uint32_t kMinReceiveBuffer = 64 * 1024;
const uint32_t kMaxReceiveBuffer = 4 * 1024 * 1024;

uint64_t receiveCalls;

const char *ErrorText(int error)
{
    return std::strerror(error);
}

void SetConnectFailed(SIError **slot, const char *diagnostics)
{
    SISetError(slot, 0, SI_Communication_Error, SI_ERR_CONNECT_FAILED, Association_Closed,
               "TCP: connect() failed.\nDiagnostics :%s", diagnostics);
}

void SetSelectFailed(SIError **slot, DbvAssocId assocId, const char *call, int error)
{
    SISetError(slot, assocId, SI_Communication_Error, SI_ERR_SELECT_FAILED, Association_Unknown_State,
               "A call to the system function %s returned error: %s", call, ErrorText(error));
}

void SetAssociationLost(SIError **slot, DbvAssocId assocId)
{
    SISetError(slot, assocId, SI_Communication_Error, SI_ERR_ASSOCIATION_LOST, Association_Closed,
               "This association has been unexpectedly lost");
}

int WaitFor(SocketHandle socket, int wanted, int64_t timeoutMicros)
{
    SocketPollEntry entry = {socket, wanted, 0};
    return SocketPoll(&entry, 1, timeoutMicros);
}

int64_t Micros(int32_t seconds)
{
    return static_cast<int64_t>(seconds) * 1000000;
}

// Connects without a time limit; 0 when connected.
int ConnectBlocking(SocketHandle socket, int family, uint32_t address, uint16_t port, SIError **slot)
{
    while (SocketConnect(socket, family, address, port) != 0) {
        int error = SocketLastError();
        if (SocketErrorKindOf(error) != SOCKET_ERROR_INTERRUPTED) {
            SetConnectFailed(slot, ErrorText(error));
            return -1;
        }
        std::printf("Interrupted!\n");
    }
    return 0;
}

// Connects within the time limit: 0 with *status SI_CONNECTED or
// SI_CONNECT_IN_PROGRESS, or -1.
int ConnectTimed(SocketHandle socket, int family, uint32_t address, uint16_t port, int32_t seconds,
                 int32_t *status, SIError **slot)
{
    SocketSetNonBlocking(socket);
    for (;;) {
        if (SocketConnect(socket, family, address, port) == 0) {
            *status = SI_CONNECTED;
            return 0;
        }
        int error = SocketLastError();
        SocketErrorKind kind = SocketErrorKindOf(error);
        if (kind == SOCKET_ERROR_WOULD_BLOCK) {
            if (WaitFor(socket, SOCKET_WRITABLE, Micros(seconds)) < 0) {
                SetConnectFailed(slot, " select() error");
                return -1;
            }
        } else if (kind != SOCKET_ERROR_INTERRUPTED) {
            SetConnectFailed(slot, ErrorText(error));
            return -1;
        }
        if (kind != SOCKET_ERROR_INTERRUPTED) {
            // Asking again tells how the attempt stands.
            if (SocketConnect(socket, family, address, port) == 0) {
                *status = SI_CONNECTED;
                return 0;
            }
            error = SocketLastError();
            kind = SocketErrorKindOf(error);
            if (kind == SOCKET_ERROR_IS_CONNECTED || kind == SOCKET_ERROR_ALREADY ||
                kind == SOCKET_ERROR_WOULD_BLOCK) {
                *status = kind == SOCKET_ERROR_IS_CONNECTED ? SI_CONNECTED : SI_CONNECT_IN_PROGRESS;
                return 0;
            }
            if (kind != SOCKET_ERROR_INTERRUPTED) {
                SetConnectFailed(slot, ErrorText(error));
                return -1;
            }
        }
        std::printf("Interrupted!\n");
    }
}

// The entry of a TCP association for a transfer, or NULL with the lookup
// error in the slot; an OSI association is reported on the console.
AssocEntry *TcpEntry(DbvAssocId assocId, SIError **slot, bool *osi)
{
    AssocEntry *entry = nullptr;
    *osi = false;
    if (AssocLookUp(assocId, &entry, slot) != 0)
        return nullptr;
    if (entry->addressKind != OIA_Internet) {
        std::printf("OSI not supported\n");
        *osi = true;
        return nullptr;
    }
    return entry;
}

bool PeerHasClosed(SocketHandle socket)
{
    SocketPollEntry entry = {socket, SOCKET_READABLE | SOCKET_WRITABLE, 0};
    if (SocketPoll(&entry, 1, -1) <= 0 || !(entry.ready & SOCKET_READABLE))
        return false;
    unsigned char octet;
    return SocketReceive(socket, &octet, 1, 1) == 0;
}

bool SendAll(SocketHandle socket, const unsigned char *octets, uint32_t count)
{
    while (count > 0) {
        long sent = SocketSend(socket, octets, count);
        if (sent < 0) {
            // A socket left non-blocking by a timed connect waits for room.
            if (SocketErrorKindOf(SocketLastError()) != SOCKET_ERROR_WOULD_BLOCK ||
                WaitFor(socket, SOCKET_WRITABLE, -1) < 0)
                return false;
            continue;
        }
        octets += sent;
        count -= static_cast<uint32_t>(sent);
    }
    return true;
}

// Opens the connection to an Internet target and registers it.
int Open(const DbvTargetInformation *target, int32_t timeout, DbvAssocId *assocId, int32_t *status, SIError **slot)
{
    if (target->eOsiOrInternetAddress != OIA_Internet) {
        SISetInvalidParameters(slot, 0, Association_Closed,
                               "Value for psTargetInformation->eOsiOrInternetAddress is invalid");
        return SI_NOTOK;
    }
    SocketStartup();
    uint32_t address = 0;
    int family = 0;
    if (SocketResolve(target->sInternet.pcHostName, &address, &family) != 0) {
        SISetError(slot, 0, SI_Communication_Error, SI_ERR_INVALID_ADDRESS, Association_Closed,
                   "TCP/IP: address %s is invalid", target->sInternet.pcHostName);
        return SI_NOTOK;
    }
    SocketHandle socket = 0;
    if (SocketOpenStream(family, &socket) != 0) {
        SetConnectFailed(slot, ErrorText(SocketLastError()));
        return SI_NOTOK;
    }
    uint16_t port = static_cast<uint16_t>(target->sInternet.lPort);
    *status = SI_CONNECTED;
    int connected = timeout == -1 ? ConnectBlocking(socket, family, address, port, slot)
                                  : ConnectTimed(socket, family, address, port, timeout, status, slot);
    if (connected != 0) {
        SocketClose(socket);
        return SI_NOTOK;
    }
    AssocEntry *entry = AssocAdd(OIA_Internet, socket, *status);
    entry->protocolState = *status == SI_CONNECTED ? DBV_OS_ASSOCIATION : DBV_OS_ASSOCREQ_INPROGRESS;
    *assocId = entry->assocId;
    return SI_OK;
}

} // namespace

extern "C" int SIAssociate(const DbvTargetInformation *psTarget, const char *pcTargetName, int32_t lConnectTimeout,
                           DbvAssocId *plAssocId, int32_t *plConnectStatus, SIError **ppsError)
{
    *ppsError = nullptr;
    DbvTargetInformation *lookedUp = nullptr;
    if (!psTarget) {
        if (!pcTargetName) {
            SISetInvalidParameters(ppsError, 0, Association_Closed, "SIAssociate: no target given");
            return SI_NOTOK;
        }
        if (LookUpTargetName(pcTargetName, &lookedUp, ppsError) != 0)
            return SI_NOTOK;
    }
    int result = Open(psTarget ? psTarget : lookedUp, lConnectTimeout, plAssocId, plConnectStatus, ppsError);
    SIFreeTargetInformation(lookedUp);
    return result;
}

int SISendOctets(DbvAssocId assocId, const unsigned char *octets, uint32_t count, SIError **slot)
{
    bool osi = false;
    AssocEntry *entry = TcpEntry(assocId, slot, &osi);
    if (!entry)
        return osi ? SI_OK : SI_NOTOK;
    if (PeerHasClosed(entry->socket) || !SendAll(entry->socket, octets, count)) {
        SIError *refusal = nullptr;
        FeedOriginEvent(assocId, DBV_OE_AABORT_IND, &refusal);
        SIFreeError(refusal);
        SISetAborted(slot, assocId);
        AssocDrop(assocId);
        return SI_NOTOK;
    }
    TraceWrite(assocId, Trace_High, "Send was successful\n");
    return SI_OK;
}

int SISendPdu(DbvAssocId assocId, PDU *pdu, SIError **slot)
{
    ASN_SetTraceWriter(TraceWrite);
    TraceWrite(assocId, Trace_High, "Encoding and sending PDU\n");
    unsigned char *octets = nullptr;
    uint32_t count = 0;
    ASN_PduError failure = {0, 0, nullptr};
    if (EncodePdu(assocId, pdu, &octets, &count, &failure) != 0) {
        SISetError(slot, assocId, static_cast<SIErrorClass>(failure.errorClass), failure.errorCode, Association_Open,
                   "%s", failure.text ? failure.text : "");
        return SI_NOTOK;
    }
    return SISendOctets(assocId, octets, count, slot);
}

namespace {

// The association's socket as the stream one PDU is read from; every
// receive call, peeks included, is counted.
struct SocketStream {
    SocketHandle socket;
    const AssocEntry *entry;
    int64_t idleMicros; // how long to wait for more of a PDU (negative: without limit)
};

// How long the next wait for more of a PDU may last: the idle wait, cut
// short at the association's read deadline.
int64_t MoreWait(const SocketStream *stream)
{
    return AssocReadWait(stream->entry, stream->idleMicros);
}

long StreamAvailable(void *context)
{
    return SocketAvailable(static_cast<SocketStream *>(context)->socket);
}

long StreamReceive(void *context, unsigned char *octets, size_t count, int peek)
{
    SocketStream *stream = static_cast<SocketStream *>(context);
    for (;;) {
        receiveCalls++;
        long got = SocketReceive(stream->socket, octets, count, peek);
        // A socket left non-blocking by a timed connect may have nothing yet.
        if (got >= 0 || SocketErrorKindOf(SocketLastError()) != SOCKET_ERROR_WOULD_BLOCK)
            return got;
        if (WaitFor(stream->socket, SOCKET_READABLE, MoreWait(stream)) <= 0)
            return -1;
    }
}

int StreamAwait(void *context)
{
    SocketStream *stream = static_cast<SocketStream *>(context);
    return WaitFor(stream->socket, SOCKET_READABLE, MoreWait(stream));
}

} // namespace

int SIReadOctets(DbvAssocId assocId, int32_t wait, unsigned char **octets, uint32_t *count, SIError **slot)
{
    bool osi = false;
    AssocEntry *entry = TcpEntry(assocId, slot, &osi);
    if (!entry)
        return osi ? SI_READ_NOTHING : SI_READ_FAILED;
    int ready = WaitFor(entry->socket, SOCKET_READABLE, wait == 0 ? kShortPollMicros : wait > 0 ? Micros(wait) : -1);
    if (ready < 0) {
        SetSelectFailed(slot, assocId, "select() ", SocketLastError());
        return SI_READ_FAILED;
    }
    if (ready == 0)
        return SI_READ_NOTHING;

    // The rest of a PDU must come within the wait as well, and before the
    // read deadline, so that a target that stops in the middle of one, or
    // drips it, cannot hold the caller.
    SocketStream socket = {entry->socket, entry, wait > 0 ? Micros(wait) : -1};
    PduStream stream = {&socket, StreamAvailable, StreamReceive, StreamAwait};
    uint32_t size = 0;
    switch (ReadOnePdu(&stream, entry->receiveLimit, octets, &size)) {
    case PDU_READ_DONE:
        *count = size;
        return SI_READ_DONE;
    case PDU_READ_TOO_LONG:
        SISetError(slot, assocId, SI_Communication_Error, SI_ERR_ASSOCIATION_LOST, Association_Closed,
                   "The received PDU announces a length of %lu octets, more than the %lu octets this "
                   "association accepts",
                   static_cast<unsigned long>(size), static_cast<unsigned long>(entry->receiveLimit));
        return SI_READ_FAILED;
    case PDU_READ_UNDECODABLE:
        SISetError(slot, assocId, SI_Interface_Error, SI_ERR_UNDECODABLE_PDU, Association_Open,
                   "The received PDU could not be decoded");
        return SI_READ_FAILED;
    case PDU_READ_NO_MEMORY:
        SISetError(slot, assocId, SI_Interface_Error, SI_ERR_OUT_OF_MEMORY, Association_Open, "Out of memory");
        return SI_READ_FAILED;
    case PDU_READ_TIMED_OUT:
    case PDU_READ_ERROR:
        SetAssociationLost(slot, assocId);
        return SI_READ_FAILED;
    case PDU_READ_CLOSED:
        break;
    }
    if (entry->role != ROLE_ORIGIN && (entry->protocolState == DBV_OS_ASSOCIATION || entry->protocolState == DBV_OS_OPEN))
        return SI_READ_TARGET_CLOSED;
    SISetAborted(slot, assocId);
    return SI_READ_FAILED;
}

int SIReadPdu(DbvAssocId assocId, int32_t wait, unsigned char **octets, uint32_t *count, PDU *pdu, SIError **slot)
{
    ASN_SetTraceWriter(TraceWrite);
    int result = SIReadOctets(assocId, wait, octets, count, slot);
    if (result != SI_READ_DONE)
        return result;
    ASN_PduError failure = {0, 0, nullptr};
    if (DecodePdu(assocId, *octets, *count, pdu, &failure) != 0) {
        SISetError(slot, assocId, static_cast<SIErrorClass>(failure.errorClass), failure.errorCode, Association_Open,
                   "%s", failure.text ? failure.text : "");
        return SI_READ_FAILED;
    }
    return SI_READ_DONE;
}

void SISetNegotiatedSizes(DbvAssocId assocId, uint32_t preferredMessageSize, uint32_t maximumRecordSize)
{
    AssocEntry *entry = AssocFind(assocId);
    if (!entry)
        return;
    uint64_t larger = preferredMessageSize > maximumRecordSize ? preferredMessageSize : maximumRecordSize;
    uint64_t limit = larger * kLimitFactor + kLimitSlack;
    entry->receiveLimit = limit > 0x7FFFFFFF ? 0x7FFFFFFFu : static_cast<uint32_t>(limit);
    // Room for a whole message in the socket lets the target send it
    // without waiting on each read, so a large one arrives in few pieces.
    if (entry->addressKind == OIA_Internet && larger > kMinReceiveBuffer)
        SocketSetReceiveBuffer(entry->socket, larger < kMaxReceiveBuffer ? static_cast<uint32_t>(larger)
                                                                         : kMaxReceiveBuffer);
}

uint64_t SIReceiveCalls(void)
{
    return receiveCalls;
}

extern "C" void SIFreeEventList(SIEventList *psEvents)
{
    if (!psEvents)
        return;
    for (uint32_t **value = psEvents->ppulFileDescriptor; value && *value; value++)
        MemFree(*value);
    for (DbvAssocId **value = psEvents->pplAssocId; value && *value; value++)
        MemFree(*value);
    MemFree(psEvents->ppulFileDescriptor);
    MemFree(psEvents->pplAssocId);
    MemFree(psEvents);
}

namespace {

// What one watched entry stands for.
struct Watched {
    bool association;
    size_t index; // in the caller's list
};

template <typename T> T **ReadyList(const std::vector<SocketPollEntry> &entries, const std::vector<Watched> &watched,
                                    bool association, T *const *values, bool *complete)
{
    size_t n = 0;
    for (size_t i = 0; i < entries.size(); i++)
        n += entries[i].ready && watched[i].association == association;
    T **list = static_cast<T **>(MemAlloc((n + 1) * sizeof(T *)));
    if (!list) {
        *complete = false;
        return nullptr;
    }
    size_t k = 0;
    for (size_t i = 0; i < entries.size(); i++) {
        if (!entries[i].ready || watched[i].association != association)
            continue;
        T *value = static_cast<T *>(MemAlloc(sizeof(T)));
        if (!value) {
            *complete = false;
            break;
        }
        *value = *values[watched[i].index];
        list[k++] = value;
    }
    return list;
}

} // namespace

extern "C" int SIGetEventLocation(DbvAssocId **pplAssocId, int32_t lTimeout, uint32_t **ppulFileDescriptor,
                                  SIEventList **ppsEvents, SIError **ppsError)
{
    *ppsError = nullptr;
    *ppsEvents = nullptr;
    if (!pplAssocId) {
        SISetInvalidParameters(ppsError, 0, Association_Closed,
                               "SIGetEventLocation: pplAssocId must be NULL terminated list");
        return SI_NOTOK;
    }
    if (!ppulFileDescriptor) {
        SISetInvalidParameters(ppsError, 0, Association_Closed,
                               "SIGetEventLocation: ppulFileDescriptor must be NULL terminated list");
        return SI_NOTOK;
    }
    if (!pplAssocId[0] && !ppulFileDescriptor[0]) {
        SISetInvalidParameters(ppsError, 0, Association_Unknown_State,
                               "SIGetEventLocation: Association list and File Descriptor list cannot both be empty");
        return SI_NOTOK;
    }
    std::vector<SocketPollEntry> entries;
    std::vector<Watched> watched;
    auto watch = [&](SocketHandle socket, bool association, size_t index) {
        if (entries.size() < SOCKET_SET_SIZE) {
            entries.push_back({socket, SOCKET_READABLE, 0});
            watched.push_back({association, index});
        }
    };
    for (size_t i = 0; pplAssocId[i]; i++) {
        AssocEntry *entry = nullptr;
        if (AssocLookUp(*pplAssocId[i], &entry, ppsError) != 0)
            return SI_NOTOK;
        if (entry->addressKind == OIA_Internet)
            watch(entry->socket, true, i);
        else
            std::printf("SIGetEventLocation: OSI not supported\n");
    }
    for (size_t i = 0; ppulFileDescriptor[i]; i++)
        watch(static_cast<SocketHandle>(*ppulFileDescriptor[i]), false, i);

    if (lTimeout < 0 && lTimeout != -1)
        lTimeout = 0;
    // Measured on a steady clock to the millisecond, so that a wait of n
    // seconds lasts n seconds, not whatever remains of the first one.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(lTimeout);
    int ready = 0;
    for (;;) {
        ready = SocketPoll(entries.data(), entries.size(), kEventSliceMicros);
        if (ready < 0) {
            SetSelectFailed(ppsError, 0, "select()", SocketLastError());
            return SI_NOTOK;
        }
        if (ready > 0)
            break;
        std::fflush(stdout);
        if (lTimeout != -1 && std::chrono::steady_clock::now() >= deadline)
            return SI_OK;
    }
    bool complete = true;
    SIEventList *events = static_cast<SIEventList *>(MemAlloc(sizeof(SIEventList)));
    if (events) {
        events->ppulFileDescriptor = ReadyList(entries, watched, false, ppulFileDescriptor, &complete);
        events->pplAssocId = ReadyList(entries, watched, true, pplAssocId, &complete);
    }
    if (!events || !complete) {
        SIFreeEventList(events);
        SISetError(ppsError, 0, SI_Interface_Error, SI_ERR_OUT_OF_MEMORY, Association_Open, "Out of memory");
        return SI_NOTOK;
    }
    *ppsEvents = events;
    return SI_OK;
}
