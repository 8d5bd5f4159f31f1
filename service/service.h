/* The request service: process-wide state, the exchange-file operations
 * every request handler uses, and the request entry points. */
#ifndef KESTRA_SERVICE_SERVICE_H
#define KESTRA_SERVICE_SERVICE_H

#include "ui/os.h"

#include <ctime>
#include <string>

enum {
    MSG_SUBMIT_REQUEST = OS_MSG_USER + 50,
    MSG_PROCESS_REQUESTS = OS_MSG_USER + 51,
    MSG_REQUEST_DONE = OS_MSG_USER + 52,
    MSG_QUERY_STATE = OS_MSG_USER + 53
};

enum SessionState { SESSION_NONE = 1, SESSION_OPEN = 2, SESSION_SEARCHED = 3 };

enum FormatMode { FORMAT_UNDECIDED, FORMAT_PLAIN, FORMAT_QUOTED };

const size_t kRequestQueueSize = 5000;
const size_t kRequestLineMax = 999;
const size_t kRequestSize = 2000;
const size_t kResponsePairsSize = 2000;
const size_t kTempPathSize = 260;
const size_t kTempPrefixSize = 52;
/* The area handlers read most single values into. */
const size_t kValueSize = 100;

struct ServiceState {
    WindowHandle instance_window;
    NamedMutex instance_mutex;
    std::time_t last_activity; // start-up, or the end of the last request: the idle limit counts from it
    long session_timeout = 30;
    int session_state = SESSION_NONE;
    unsigned toolbar_message;
    unsigned help_message;

    char request_queue[kRequestQueueSize];
    char current_request[kRequestSize];
    char response_pairs[kResponsePairsSize];
    std::string response_text;
    char temp_directory[kTempPathSize];
    char temp_prefix[kTempPrefixSize] = "Z39";
    long distributor;
    long instance_number;
    long status_code;
    std::string status_text;
    FormatMode format_mode = FORMAT_UNDECIDED;
};

extern ServiceState g_service;

/* Key:value texts: a request line, the response pairs. The position is the
 * offset of the key (plain mode) or of the quote before it (quoted mode). */
bool FindKey(const char *text, const char *key, size_t *position);
bool ReadKeyString(const char *text, const char *key, char *out, size_t out_size, const char *default_value);
bool ReadKeyInteger(const char *text, const char *key, long *out, long default_value);
void RemoveKey(char *text, const char *key);
bool WriteKeyString(char *text, size_t text_size, const char *key, const char *value);
bool WriteKeyInteger(char *text, size_t text_size, const char *key, long value);

bool RequestString(const char *key, char *out, size_t out_size, const char *default_value);
bool RequestInteger(const char *key, long *out, long default_value);
bool PairString(const char *key, const char *value);
bool PairInteger(const char *key, long value);

/* The response line. */
void AppendField(const char *text);
void AppendInteger(long value);
void FlushResponse();
std::string ResponseFileName();

/* The status record and the status display. */
void SetStatus(long code, long number, const char *text);
bool StatusIsSet();
long StatusCode();
const char *StatusText();
void ClearStatus();
void ShowStatus(const char *text);

/* Request entry points of the instance window. */
void SubmitRequest(WindowHandle distributor, intptr_t lparam);
void ProcessRequests();
/* Stores text as request lines in the queue; false if it does not fit. */
bool QueueRequestText(const std::string &text);
bool LoadSettings();
/* The request code of an upper-case request type; 0 when unknown. */
int RequestCode(const char *type);

#endif
