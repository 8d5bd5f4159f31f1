#include "assoc/assoc_table.h"

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

void AssocRemove(DbvAssocId assocId)
{
    IdTableRemove(assocTable, assocId);
}

void AssocSetNextId(DbvAssocId next)
{
    nextId = next;
}
