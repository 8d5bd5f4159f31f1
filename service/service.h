/* The request service: the window messages, the request codes, the state of
 * the process and the request entry points of the instance window. */
#ifndef KESTRA_SERVICE_SERVICE_H
#define KESTRA_SERVICE_SERVICE_H

#include "service/exchange/exchange.h"
#include "ui/os.h"

#include <ctime>
#include <string>

enum {
    MSG_SUBMIT_REQUEST = OS_MSG_USER + 50,
    MSG_PROCESS_REQUESTS = OS_MSG_USER + 51,
    MSG_REQUEST_DONE = OS_MSG_USER + 52,
    MSG_QUERY_STATE = OS_MSG_USER + 53
};

/* The codes of the request types in MSG_SUBMIT_REQUEST and MSG_REQUEST_DONE. */
enum RequestTypeCode {
    REQUEST_LOAD = 1,
    REQUEST_INITIALIZE = 2,
    REQUEST_SEARCH = 3,
    REQUEST_PRESENT = 4,
    REQUEST_SCAN = 6,
    REQUEST_CLOSE = 7,
    REQUEST_EXIT = 8
};

enum SessionState { SESSION_NONE = 1, SESSION_OPEN = 2, SESSION_SEARCHED = 3 };

const size_t kRequestQueueSize = 5000;
const size_t kRequestLineMax = 999;

struct ServiceState {
    NamedMutex instance_mutex;
    std::time_t last_activity; // start-up, or the end of the last request: the idle limit counts from it
    int session_state = SESSION_NONE;
    unsigned toolbar_message;
    unsigned help_message;
    char request_queue[kRequestQueueSize];
    long distributor;
    long instance_number;
};

extern ServiceState g_service;

/* Request entry points of the instance window. */
void SubmitRequest(WindowHandle distributor, intptr_t lparam);
void ProcessRequests();
/* Stores text as request lines in the queue; false if it does not fit. */
bool QueueRequestText(const std::string &text);
bool LoadSettings();
/* The request code of an upper-case request type; 0 when unknown. */
int RequestCode(const char *type);

#endif
