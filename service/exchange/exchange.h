/* The exchange files as the operations see them: the current request line,
 * the response pairs and the response line, the status record and display,
 * and the settings of the process they need (idle limit, instance window).
 * The request service above fills the request line and the settings. */
#ifndef KESTRA_EXCHANGE_EXCHANGE_H
#define KESTRA_EXCHANGE_EXCHANGE_H

#include "ui/os.h"

#include <string>

enum FormatMode { FORMAT_UNDECIDED, FORMAT_PLAIN, FORMAT_QUOTED };

const size_t kRequestSize = 2000;
const size_t kResponsePairsSize = 2000;
const size_t kTempPathSize = 260;
const size_t kTempPrefixSize = 52;
/* The area handlers read most single values into. */
const size_t kValueSize = 100;

struct ExchangeState {
    WindowHandle instance_window;
    long session_timeout = 30;
    char current_request[kRequestSize];
    char response_pairs[kResponsePairsSize];
    std::string response_text;
    char temp_directory[kTempPathSize];
    char temp_prefix[kTempPrefixSize] = "Z39";
    long status_code;
    std::string status_text;
    FormatMode format_mode = FORMAT_UNDECIDED;
};

extern ExchangeState g_exchange;

/* Returns text with every letter in upper case. */
std::string UpperCase(std::string text);

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
/* Adds the response line to the response file, which stays open, its
 * lines buffered, until CloseResponseFile; the request service closes it
 * after every request, before it tells the distributor, which may then
 * read, and on Windows delete, the file. */
void FlushResponse();
void CloseResponseFile();
/* Returns the response file's name: temp path, prefix, instance window. */
std::string ResponseFileName();

/* The two line shapes every operation writes. The request echo: the
 * request tag, 0 and the whole request line. The response: the tag, then 0
 * and the response pairs on success, or the status code and text on
 * failure. */
void WriteEchoLine(const char *request_tag);
void WriteResponseLine(const char *response_tag, bool success);

/* The status record and the status display. */
void SetStatus(long code, long number, const char *text);
bool StatusIsSet();
long StatusCode();
const char *StatusText();
void ClearStatus();
void ShowStatus(const char *text);

/* Returns the idle limit in seconds that LOAD set ("SessionTimeout"). */
long IdleLimit();
/* Returns the client's instance window. */
WindowHandle InstanceWindow();

#endif
