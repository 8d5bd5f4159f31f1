/* The error structure every toolkit call hands back, the association id
 * it names, the results of the calls and the trace levels: made by the
 * association layer and the calls above it, written out by the trace and
 * the API log. Plain C: usable from C programs and from C++. */
#ifndef KESTRA_DIAG_SI_ERROR_H
#define KESTRA_DIAG_SI_ERROR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SI_OK 0
#define SI_NOTOK 1

/* Names one entry of the association table. */
typedef int32_t DbvAssocId;

typedef enum SIErrorClass {
    SI_Communication_Error = 0,
    SI_Interface_Error = 1,
    SI_OperatingSystem_Error = 2,
    SI_Abort = 3
} SIErrorClass;

typedef enum SIAssociationState {
    Association_Open = 0,
    Association_Closed = 1,
    Association_Unknown_State = 2
} SIAssociationState;

/* What an SI_Abort error carries instead of a code. */
typedef struct SIAbortInfo {
    int32_t eAbortSource;
    int32_t lAbortReason;
    char *pcDiagnostics;
} SIAbortInfo;

/* Made by the toolkit, owned by the caller, released with SIFreeError.
 * pcDiagnostics holds the error's text for every class (for SI_Abort the
 * same text as psAbort->pcDiagnostics). */
typedef struct SIError {
    SIErrorClass eErrorClass;
    union {
        int32_t lIfOsCoError;  /* classes 0-2 */
        SIAbortInfo *psAbort;  /* SI_Abort */
    } uErrorCode;
    char *pcDiagnostics;
    SIAssociationState eAssociationState;
} SIError;

/* Trace levels. */
enum { Trace_Off = 0, Trace_Low = 1, Trace_High = 2 };

#ifdef __cplusplus
}
#endif

#endif
