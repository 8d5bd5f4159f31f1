#include "assoc/assoc_table.h"

#include <chrono>
#include <cstring>
#include <vector>

#include "assoc/errors.h"
#include "assoc/state_machine.h"
#include "diag/console.h"
#include "diag/trace.h"
#include "ui/mem.h"

namespace {

// Until sizes are negotiated, a PDU may be this long.
const uint32_t kDefaultReceiveLimit = 16u * 1024 * 1024;

// In order of creation; lookups run from the start.
std::vector<AssocEntry *> assocTable;
DbvAssocId nextId = 1;

// Microseconds on the steady clock.
int64_t SteadyMicros()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

DbvAssocId TakeId()
{
    for (;;) {
        DbvAssocId id = nextId;
        nextId = nextId == 0x7FFFFFFF ? 0 : nextId + 1;
        if (!AssocFind(id))
            return id;
    }
}

} // namespace

AssocEntry *AssocFind(DbvAssocId assocId)
{
    for (AssocEntry *entry : assocTable)
        if (entry->assocId == assocId)
            return entry;
    return nullptr;
}

int AssocLookUp(DbvAssocId assocId, AssocEntry **entry, SIError **slot)
{
    AssocEntry *found = AssocFind(assocId);
    if (!found) {
        SISetError(slot, assocId, SI_Communication_Error, SI_ERR_INVALID_ASSOCIATION, Association_Closed,
                   "The association %d is invalid", static_cast<int>(assocId));
        return 1;
    }
    if (found->addressKind != OIA_Internet && found->addressKind != OIA_Osi) {
        SISetError(slot, assocId, SI_OperatingSystem_Error, SI_ERR_INVALID_STACK, Association_Closed,
                   "Association %d has an invalid stack type", static_cast<int>(assocId));
        return 1;
    }
    *entry = found;
    return 0;
}

const char *AssocStackName(const AssocEntry *entry)
{
    return entry->addressKind == OIA_Internet ? "TCP_Stack" : "OSI_Stack";
}

AssocEntry *AssocAdd(int32_t addressKind, SocketHandle socket, int32_t connectStatus)
{
    AssocEntry *entry = static_cast<AssocEntry *>(CountedAlloc(sizeof(AssocEntry), "ASSOC"));
    entry->assocId = TakeId();
    entry->addressKind = addressKind;
    entry->socket = socket;
    entry->connectStatus = connectStatus;
    entry->protocolState = DBV_OS_CLOSED;
    entry->role = ROLE_ORIGIN;
    entry->receiveLimit = kDefaultReceiveLimit;
    assocTable.push_back(entry);
    return entry;
}

void AssocRemove(DbvAssocId assocId)
{
    for (auto it = assocTable.begin(); it != assocTable.end(); ++it) {
        if ((*it)->assocId == assocId) {
            MemFree(*it);
            assocTable.erase(it);
            return;
        }
    }
}

void AssocDrop(DbvAssocId assocId)
{
    TraceRemove(assocId);
    if (AssocEntry *entry = AssocFind(assocId)) {
        if (entry->addressKind == OIA_Internet)
            SocketClose(entry->socket);
        AssocRemove(assocId);
    }
}

int64_t AssocReadWait(const AssocEntry *entry, int64_t idleMicros)
{
    if (entry->readDeadline == 0)
        return idleMicros;
    int64_t left = entry->readDeadline - SteadyMicros();
    if (left < 0)
        left = 0;
    return idleMicros >= 0 && idleMicros < left ? idleMicros : left;
}

extern "C" int SISetReadDeadline(DbvAssocId lAssocId, int32_t lSeconds, SIError **ppsError)
{
    *ppsError = nullptr;
    AssocEntry *entry = nullptr;
    if (AssocLookUp(lAssocId, &entry, ppsError) != 0)
        return SI_NOTOK;
    entry->readDeadline = lSeconds < 0 ? 0 : SteadyMicros() + static_cast<int64_t>(lSeconds) * 1000000;
    return SI_OK;
}

void AssocSetNextId(DbvAssocId next)
{
    nextId = next;
}

extern "C" int DbvAbortRequest(DbvAssocId lAssocId, SIError **ppsError)
{
    const char *name = "DbvAbortRequest";
    TraceEnter(lAssocId, name);
    TraceWrite(lAssocId, Trace_High, "\nInput Function Arguments\n");
    TraceWritef(lAssocId, Trace_High, "\tDbvAssocId: %d\n", static_cast<int>(lAssocId));
    *ppsError = nullptr;
    int result = SI_NOTOK;
    AssocEntry *entry = nullptr;
    if (AssocLookUp(lAssocId, &entry, ppsError) == 0) {
        if (FeedOriginEvent(lAssocId, DBV_OE_IABORTREQ, ppsError) != 0) {
            // Closed or dead already: clean up and never fail; the slot
            // keeps the machine's refusal.
            if (entry->addressKind == OIA_Internet)
                SocketClose(entry->socket);
            AssocRemove(lAssocId);
            result = SI_OK;
        } else if (entry->addressKind == OIA_Internet) {
            if (SocketClose(entry->socket) != 0) {
                SISetError(ppsError, lAssocId, SI_Communication_Error, SI_ERR_CLOSE_FAILED,
                           Association_Unknown_State, "TCP: close() failed for Association %d\nDiagnostics: %s",
                           static_cast<int>(lAssocId), strerror(SocketLastError()));
            } else {
                AssocRemove(lAssocId);
                result = SI_OK;
            }
        }
    }
    TraceLeave(lAssocId, name, result);
    if (!AssocFind(lAssocId))
        TraceRemove(lAssocId);
    return result;
}
