#include "diag/trace.h"

#include <cstdarg>
#include <ctime>
#include <string>
#include <vector>

#include "diag/api_log.h"
#include "diag/id_table.h"
#include "ui/mem.h"

namespace {

// In order of creation; lookups run from the start.
std::vector<TraceEntry *> traceTable;

// Writes one line straight to the stream and flushes it.
void Put(FILE *stream, const char *text)
{
    std::fputs(text, stream);
    std::fflush(stream);
}

bool Admits(const TraceEntry *entry, int32_t level)
{
    return entry && entry->stream && entry->level != 0 && level <= entry->level;
}

} // namespace

extern "C" {

TraceEntry *TraceFind(DbvAssocId assocId)
{
    return IdTableFind(traceTable, assocId);
}

TraceEntry *TraceAdd(DbvAssocId assocId, FILE *stream, int32_t level)
{
    TraceEntry *entry = IdTableAdd(traceTable, assocId, "TRACE");
    entry->stream = stream;
    entry->level = level;
    return entry;
}

void TraceRemove(DbvAssocId assocId)
{
    IdTableRemove(traceTable, assocId);
}

int32_t TraceLevel(DbvAssocId assocId)
{
    const TraceEntry *entry = TraceFind(assocId);
    return entry ? entry->level : 0;
}

void TraceWrite(int32_t assocId, int32_t level, const char *text)
{
    TraceEntry *entry = TraceFind(assocId);
    if (Admits(entry, level))
        Put(entry->stream, text);
}

void TraceWritef(DbvAssocId assocId, int32_t level, const char *format, ...)
{
    if (!Admits(TraceFind(assocId), level))
        return;
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    int n = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    if (n >= 0) {
        std::string text(static_cast<size_t>(n), '\0');
        std::vsnprintf(&text[0], text.size() + 1, format, again);
        TraceWrite(assocId, level, text.c_str());
    }
    va_end(again);
}

void TraceEnter(DbvAssocId assocId, const char *function)
{
    TraceWritef(assocId, Trace_Low, "Vantor Norbel for Windows Trace File Association: %d\n", static_cast<int>(assocId));
    TraceWritef(assocId, Trace_Low, "**Entering function:%s\n", function);
}

void TraceLeave(DbvAssocId assocId, const char *function, int result)
{
    TraceWritef(assocId, Trace_Low, "Vantor Norbel for Windows Trace File Association: %d\n", static_cast<int>(assocId));
    TraceWritef(assocId, Trace_Low, "**Leaving function:%s\n", function);
    if (result == SI_OK)
        TraceWrite(assocId, Trace_Low, "Function returned: SI_OK\n\n");
    else if (result == SI_NOTOK)
        TraceWrite(assocId, Trace_Low, "Function returned: SI_NOTOK\n\n");
}

void TraceErrorStructure(DbvAssocId assocId, const SIError *error)
{
    if (!Admits(TraceFind(assocId), Trace_Low))
        return;
    TraceWrite(assocId, Trace_Low, "An error has occured, Error structure is:\n");
    TraceWritef(assocId, Trace_Low, "eErrorClass == %s\n", ErrorClassName(error->eErrorClass));
    if (error->eErrorClass == SI_Abort) {
        const SIAbortInfo *abort = error->uErrorCode.psAbort;
        TraceWritef(assocId, Trace_Low, "uErrorCode.psAbort->eAbortSource == %d\n",
                    static_cast<int>(abort->eAbortSource));
        TraceWritef(assocId, Trace_Low, "uErrorCode.psAbort->lAbortReason == %d\n",
                    static_cast<int>(abort->lAbortReason));
    } else {
        TraceWritef(assocId, Trace_Low, "uErrorCode.lIfOsCoError == %d\n",
                    static_cast<int>(error->uErrorCode.lIfOsCoError));
    }
    TraceWritef(assocId, Trace_Low, "Diagnostic: %s\n", error->pcDiagnostics ? error->pcDiagnostics : "");
    TraceWritef(assocId, Trace_Low, "eAssociationState == %s\n", AssociationStateName(error->eAssociationState));
}

void FormatTraceTime(char *out, size_t size, const char *format, const struct tm *when)
{
    std::string expanded;
    for (const char *p = format; *p; p++) {
        if (p[0] == '%' && p[1] == 'T') {
            expanded += "%H:%M:%S";
        } else if (p[0] == '%' && p[1] == 't') {
            expanded += '\t';
        } else if (p[0] == '%' && p[1] == 'n') {
            expanded += '\n';
        } else {
            expanded += p[0];
            if (p[0] == '%' && p[1])
                expanded += *++p;
            continue;
        }
        p++;
    }
    if (size && std::strftime(out, size, expanded.c_str(), when) == 0)
        out[0] = '\0';
}

void TraceWriteBanner(FILE *stream, DbvAssocId assocId, const char *stackName, int32_t level, const struct tm *when)
{
    char line[128];
    Put(stream, "Vantor Norbel for Windows API Trace Information\n");
    Put(stream, "-------------------------------------------------\n");
    std::snprintf(line, sizeof line, "\nBeginning trace for Association:%d\n", static_cast<int>(assocId));
    Put(stream, line);
    FormatTraceTime(line, sizeof line, "Started at %T %t%d/%m/%Y %n %n", when);
    Put(stream, line);
    std::snprintf(line, sizeof line, "Association uses stack: %s\n", stackName);
    Put(stream, line);
    Put(stream, "\nBeginning Trace at Level: ");
    Put(stream, level == Trace_High ? "Trace_High\n" : "Trace_Low\n");
}

void TraceWriteEnding(FILE *stream, const struct tm *when)
{
    char line[128];
    Put(stream, "Ending current trace.\n");
    FormatTraceTime(line, sizeof line, "Ended at:%T %t%d/%m/%Y %n %n", when);
    Put(stream, line);
}

} // extern "C"
