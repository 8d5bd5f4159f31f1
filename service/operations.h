/* The operations behind the request types. Each writes its own echo and
 * response lines and returns true on success, leaving a status behind on
 * failure. */
#ifndef KESTRA_SERVICE_OPERATIONS_H
#define KESTRA_SERVICE_OPERATIONS_H

bool HandleInitialize();
bool HandleSearch();
bool HandlePresent();
bool HandleScan();
bool HandleClose();

/* True while an association with a target is open. */
bool SessionAssociationOpen();

/* The two line shapes every operation writes. */
void WriteEchoLine(const char *request_tag);
void WriteResponseLine(const char *response_tag, bool success);

/* Answers a request type this build cannot carry out yet: the echo line and
 * a response line with the given status code. */
bool RefuseUnavailable(const char *request_type, long code);

#endif
