// SISetTraceParameter: starting, changing and ending an association's trace.
#include <ctime>

#include "assoc/assoc_table.h"
#include "assoc/errors.h"
#include "diag/trace.h"

extern "C" int SISetTraceParameter(DbvAssocId lAssocId, FILE *psStream, int32_t lLevel, SIError **ppsError)
{
    *ppsError = nullptr;
    TraceEntry *entry = TraceFind(lAssocId);
    time_t now = std::time(nullptr);
    struct tm when = *std::localtime(&now);
    AssocEntry *assoc = nullptr;
    if (AssocLookUp(lAssocId, &assoc, ppsError) != 0)
        return SI_NOTOK;
    if (lLevel == Trace_Off && !entry) {
        SISetInvalidParameters(
            ppsError, lAssocId, Association_Closed,
            "SISetTraceParameter: There is no trace file for this Association, so it cannot be closed");
        return SI_NOTOK;
    }
    if (lLevel < Trace_Off || lLevel > Trace_High || !psStream) {
        SISetInvalidParameters(ppsError, lAssocId, Association_Open,
                               "SISetTraceParameter: the level must be 0, 1 or 2 and the stream open");
        return SI_NOTOK;
    }
    if (lLevel == Trace_Off) {
        TraceWriteEnding(psStream, &when);
        TraceRemove(lAssocId);
        return SI_OK;
    }
    if (entry) {
        entry->stream = psStream;
        entry->level = lLevel;
    } else {
        TraceAdd(lAssocId, psStream, lLevel);
    }
    TraceWriteBanner(psStream, lAssocId, AssocStackName(assoc), lLevel, &when);
    return SI_OK;
}
