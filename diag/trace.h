/* Per-association trace files: the trace table, the level-filtered trace
 * write, the entry and exit lines of every API call, the dump of error
 * structures, and the banner and closing lines of a trace. */
#ifndef KESTRA_DIAG_TRACE_H
#define KESTRA_DIAG_TRACE_H

#include <stdint.h>
#include <stdio.h>
#include <time.h>

#include "diag/si_error.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One traced association; owned by the trace table. */
typedef struct TraceEntry {
    int32_t level;
    FILE *stream;
    DbvAssocId assocId;
} TraceEntry;

TraceEntry *TraceFind(DbvAssocId assocId);
/* Appends an entry for the association (which has none yet). */
TraceEntry *TraceAdd(DbvAssocId assocId, FILE *stream, int32_t level);
/* Removes and frees the association's entry, if it has one. */
void TraceRemove(DbvAssocId assocId);

/* The association's level, 0 when it is not traced. */
int32_t TraceLevel(DbvAssocId assocId);

/* Writes text and flushes when the association is traced at a level that
 * admits messages of this level (1 at Trace_Low and Trace_High, 2 only at
 * Trace_High). Never fails. */
void TraceWrite(int32_t assocId, int32_t level, const char *text);
void TraceWritef(DbvAssocId assocId, int32_t level, const char *format, ...)
#ifdef __GNUC__
    __attribute__((format(printf, 3, 4)))
#endif
    ;

/* The entry and exit lines of an API call; the exit line names the result
 * for SI_OK and SI_NOTOK only. */
void TraceEnter(DbvAssocId assocId, const char *function);
void TraceLeave(DbvAssocId assocId, const char *function, int result);

/* "An error has occured, Error structure is:" and the structure. */
void TraceErrorStructure(DbvAssocId assocId, const SIError *error);

/* strftime with %T, %t and %n expanded first, so that every platform's
 * formatter gives the time, a tab and line ends. */
void FormatTraceTime(char *out, size_t size, const char *format, const struct tm *when);

/* The banner that opens a trace and the lines that end one, written
 * straight to the stream. stackName is "TCP_Stack" or "OSI_Stack". */
void TraceWriteBanner(FILE *stream, DbvAssocId assocId, const char *stackName, int32_t level, const struct tm *when);
void TraceWriteEnding(FILE *stream, const struct tm *when);

#ifdef __cplusplus
}
#endif

#endif
