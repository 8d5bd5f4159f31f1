/* The console error routine of the toolkit's own utilities, and the counted
 * allocation those utilities use for their tables. */
#ifndef KESTRA_DIAG_CONSOLE_H
#define KESTRA_DIAG_CONSOLE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Severity 0: reports and returns. 1: reports, asks whether to go on and
 * ends the process with status -1 on N or n. 2: reports and ends the
 * process with status -1. */
enum { UTILITY_NOTE = 0, UTILITY_ASK = 1, UTILITY_FATAL = 2 };
void ReportUtilityError(int severity, const char *message, const char *context);

/* Zero-filled allocation that ends the process with "Out of memory" under
 * the given context when memory runs out; released with MemFree. */
void *CountedAlloc(size_t size, const char *context);
/* A copy of text in counted memory (context "STR1"). */
char *CountedStrDup(const char *text);
/* The bytes allocated by the two calls above since the process began. */
size_t CountedAllocatedBytes(void);

#ifdef __cplusplus
}
#endif

#endif
