/* The operations behind the request types, and the two line shapes they
 * write. Each operation writes its own echo and response lines and returns
 * true on success, leaving a status behind on failure. */
#ifndef KESTRA_SERVICE_OPERATIONS_H
#define KESTRA_SERVICE_OPERATIONS_H

#include "retrieval/retrieval.h"
#include "session/session.h"

/* The request echo: the request tag, 0 and the whole request line. */
void WriteEchoLine(const char *request_tag);
/* The response: the tag, then 0 and the response pairs on success, or the
 * status code and text on failure. */
void WriteResponseLine(const char *response_tag, bool success);

#endif
