/* Making the error structures that the toolkit's calls hand back. Every
 * structure made here is written to the association's trace and to the
 * API log before it goes into the caller's error slot. */
#ifndef KESTRA_ASSOC_ERRORS_H
#define KESTRA_ASSOC_ERRORS_H

#include "assoc/si_api.h"

/* Fills the slot (freeing what it held) with an error of class 0-2 whose
 * text is formatted from format. */
void SISetError(SIError **slot, DbvAssocId assocId, SIErrorClass errorClass, int32_t code, SIAssociationState state,
                const char *format, ...) __attribute__((format(printf, 6, 7)));

/* "Function called with invalid parameters.\nDiagnostics: " and the detail;
 * class SI_Interface_Error, code 7. */
void SISetInvalidParameters(SIError **slot, DbvAssocId assocId, SIAssociationState state, const char *detail);

/* An SI_Abort error: the association has been aborted (source 0, reason 0). */
void SISetAborted(SIError **slot, DbvAssocId assocId);

#endif
