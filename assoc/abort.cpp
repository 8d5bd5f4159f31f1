// DbvAbortRequest: ending an association through the origin state machine.
#include <cstring>

#include "assoc/assoc_table.h"
#include "assoc/errors.h"
#include "assoc/state_machine.h"
#include "diag/trace.h"

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
