#include "assoc/assoc_table.h"

#include <chrono>
#include <vector>

#include "assoc/errors.h"
#include "diag/id_table.h"
#include "diag/trace.h"

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
    return IdTableFind(assocTable, assocId);
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
    AssocEntry *entry = IdTableAdd(assocTable, TakeId(), "ASSOC");
    entry->addressKind = addressKind;
    entry->socket = socket;
    entry->connectStatus = connectStatus;
    entry->protocolState = DBV_OS_CLOSED;
    entry->role = ROLE_ORIGIN;
    entry->receiveLimit = kDefaultReceiveLimit;
    return entry;
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

void AssocRemove(DbvAssocId assocId)
{
    IdTableRemove(assocTable, assocId);
}

void AssocSetNextId(DbvAssocId next)
{
    nextId = next;
}
