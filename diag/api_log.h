/* The process-wide diagnostic files: the API log, which receives every
 * error structure the toolkit makes, and the dump of received PDUs that the
 * origin could not use. */
#ifndef KESTRA_DIAG_API_LOG_H
#define KESTRA_DIAG_API_LOG_H

#include <stdint.h>

#include "diag/si_error.h"

#ifdef __cplusplus
extern "C" {
#endif

/* "./DBV_API_logfile": written only when it exists, each record over the
 * head of the file, so that creating the file turns the log on and the
 * latest error stands at its head. */
#define API_LOG_PATH "./DBV_API_logfile"

/* Names of the error classes and association states as the outlets print
 * them; "" for a value outside the enumeration. */
const char *ErrorClassName(int32_t errorClass);
const char *AssociationStateName(int32_t state);

/* Writes one record for the error; text (may be NULL) follows the code of
 * classes 0-2. */
void LogApiError(const SIError *error, const char *text);

/* Appends the octets in hexadecimal to "./Inv_Pdu." plus the process id in
 * eight digits. 1 on success, -1 when the file cannot be opened. */
int DumpInvalidPdu(const unsigned char *octets, uint32_t count);
/* The name of that file for this process. */
void InvalidPduPath(char *out, unsigned size);

#ifdef __cplusplus
}
#endif

#endif
