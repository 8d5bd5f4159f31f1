#include "assoc/errors.h"

#include <cstdarg>
#include <cstdio>

#include "diag/api_log.h"
#include "diag/trace.h"
#include "ui/mem.h"

namespace {

// The toolkit's message area: texts longer than this are cut.
const size_t kMessageSize = 5000;

// Traces, logs and stores a made structure; a structure that could not be
// completed for want of memory is given back as far as it got.
void Deliver(SIError **slot, DbvAssocId assocId, SIError *error)
{
    TraceErrorStructure(assocId, error);
    LogApiError(error, error->pcDiagnostics);
    if (slot) {
        SIFreeError(*slot);
        *slot = error;
    } else {
        SIFreeError(error);
    }
}

} // namespace

extern "C" void SIFreeError(SIError *psError)
{
    if (!psError)
        return;
    if (psError->eErrorClass == SI_Abort && psError->uErrorCode.psAbort) {
        MemFree(psError->uErrorCode.psAbort->pcDiagnostics);
        MemFree(psError->uErrorCode.psAbort);
    }
    MemFree(psError->pcDiagnostics);
    MemFree(psError);
}

void SISetError(SIError **slot, DbvAssocId assocId, SIErrorClass errorClass, int32_t code, SIAssociationState state,
                const char *format, ...)
{
    SIError *error = static_cast<SIError *>(MemAlloc(sizeof(SIError)));
    if (!error)
        return;
    char text[kMessageSize];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    error->eErrorClass = errorClass;
    error->uErrorCode.lIfOsCoError = code;
    error->pcDiagnostics = CopyText(text);
    error->eAssociationState = state;
    Deliver(slot, assocId, error);
}

void SISetInvalidParameters(SIError **slot, DbvAssocId assocId, SIAssociationState state, const char *detail)
{
    SISetError(slot, assocId, SI_Interface_Error, SI_ERR_INVALID_PARAMETERS, state,
               "Function called with invalid parameters.\nDiagnostics: %s", detail);
}

void SISetAborted(SIError **slot, DbvAssocId assocId)
{
    const char *text = "The Association has been aborted";
    SIError *error = static_cast<SIError *>(MemAlloc(sizeof(SIError)));
    if (!error)
        return;
    error->eErrorClass = SI_Abort;
    error->eAssociationState = Association_Closed;
    error->pcDiagnostics = CopyText(text);
    SIAbortInfo *abort = static_cast<SIAbortInfo *>(MemAlloc(sizeof(SIAbortInfo)));
    error->uErrorCode.psAbort = abort;
    if (!abort) {
        // An abort without its record cannot be printed; report the loss plainly.
        error->eErrorClass = SI_Communication_Error;
        error->uErrorCode.lIfOsCoError = SI_ERR_ASSOCIATION_LOST;
    } else {
        abort->pcDiagnostics = CopyText(text);
    }
    Deliver(slot, assocId, error);
}
