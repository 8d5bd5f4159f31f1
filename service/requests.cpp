// The request queue, its dispatch by "RequestType", the LOAD settings and
// the message that reports each request's end to the distributor.
#include "retrieval/retrieval.h"
#include "service/service.h"
#include "session/session.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

ServiceState g_service;

namespace {

struct RequestHandler {
    const char *type;
    int code;
    bool (*run)();
    int state_after_success; // 0: unchanged
    int state_after_failure; // 0: unchanged
};

// A new INITIALIZE first ends the session that is open.
bool RunInitialize()
{
    if (g_service.session_state == SESSION_OPEN || g_service.session_state == SESSION_SEARCHED)
        Disconnect();
    return InitializeOperation();
}

bool RunExit()
{
    std::memset(g_service.request_queue, 0, sizeof g_service.request_queue);
    PostToWindow(g_exchange.instance_window, OS_MSG_DESTROY, 0, 0);
    return true;
}

// The one place that names the request types and their handlers.
const RequestHandler kHandlers[] = {
    {"LOAD", REQUEST_LOAD, LoadSettings, 0, 0},
    {"INITIALIZE", REQUEST_INITIALIZE, RunInitialize, SESSION_OPEN, 0},
    {"SEARCH", REQUEST_SEARCH, HandleSearch, SESSION_SEARCHED, SESSION_OPEN},
    {"PRESENT", REQUEST_PRESENT, HandlePresent, 0, 0},
    {"SCAN", REQUEST_SCAN, HandleScan, 0, 0},
    {"CLOSE", REQUEST_CLOSE, CloseOperation, SESSION_NONE, 0},
    {"EXIT", REQUEST_EXIT, RunExit, 0, 0},
};

const RequestHandler *FindHandler(const char *type)
{
    for (const RequestHandler &handler : kHandlers)
        if (std::strcmp(handler.type, type) == 0)
            return &handler;
    return nullptr;
}

// Runs a handler; a request that runs out of memory fails.
bool RunHandler(const RequestHandler &handler)
{
    try {
        return handler.run();
    } catch (const std::bad_alloc &) {
        ShowStatus("Out of memory");
        return false;
    }
}

void PostRequestDone(int code, bool success)
{
    uint32_t lparam = (static_cast<uint32_t>(g_service.instance_number) << 16) + (static_cast<uint32_t>(code) << 8) +
                      (success ? 1 : 0);
    PostToWindow(WindowFromNumber(g_service.distributor), MSG_REQUEST_DONE,
                 static_cast<uintptr_t>(g_exchange.instance_window), static_cast<intptr_t>(lparam));
}

// Reads a request file of at most twice the queue's size; a larger one
// cannot fit and is refused as a whole.
bool ReadRequestFile(const char *path, std::string *text, bool *too_long)
{
    std::FILE *file = std::fopen(path, "r");
    if (!file)
        return false;
    char chunk[2 * kRequestQueueSize + 1];
    size_t got = std::fread(chunk, 1, sizeof chunk, file);
    std::fclose(file);
    text->assign(chunk, got);
    *too_long = got == sizeof chunk;
    return true;
}

void RefuseLongRequestFile()
{
    std::memset(g_service.request_queue, 0, sizeof g_service.request_queue);
    char note[120];
    std::snprintf(note, sizeof note, "Request file does not fit the %zu-byte request queue: nothing queued",
                  kRequestQueueSize);
    ShowStatus(note);
}

} // namespace

int RequestCode(const char *type)
{
    const RequestHandler *handler = FindHandler(UpperCase(type).c_str());
    return handler ? handler->code : 0;
}

bool QueueRequestText(const std::string &text)
{
    char *queue = g_service.request_queue;
    std::memset(queue, 0, kRequestQueueSize);
    size_t used = 0;
    size_t start = 0;
    while (start < text.size()) {
        size_t newline = text.find('\n', start);
        size_t end = newline == std::string::npos ? text.size() : newline;
        // A line longer than 999 characters becomes several request lines.
        size_t piece = start;
        do {
            size_t length = std::min(end - piece, kRequestLineMax);
            if (used + length + 2 > kRequestQueueSize) {
                std::memset(queue, 0, kRequestQueueSize);
                return false;
            }
            std::memcpy(queue + used, text.data() + piece, length);
            used += length + 1;
            piece += length;
        } while (piece < end);
        start = end + 1;
    }
    return true;
}

void SubmitRequest(WindowHandle distributor, intptr_t lparam)
{
    uint32_t parameter = static_cast<uint32_t>(lparam);
    g_service.distributor = WindowNumber(distributor);
    g_service.instance_number = static_cast<long>(parameter >> 16);
    std::memset(g_service.request_queue, 0, sizeof g_service.request_queue);
    unsigned code = parameter & 0xFFFF;
    if (code == 0) {
        ReplyToSender(0);
        return;
    }
    if (code == REQUEST_CLOSE || code == REQUEST_EXIT) {
        char *queue = g_service.request_queue;
        WriteKeyString(queue, kRequestQueueSize, "RequestType", code == REQUEST_CLOSE ? "CLOSE" : "EXIT");
        WriteKeyInteger(queue, kRequestQueueSize, "Distributor", g_service.distributor);
        WriteKeyInteger(queue, kRequestQueueSize, "Instance", g_service.instance_number);
        ReplyToSender(1);
        return;
    }
    char path[kTempPathSize + kTempPrefixSize + 20];
    std::snprintf(path, sizeof path, "%s%s%08lX%04lX.tmp", g_exchange.temp_directory, g_exchange.temp_prefix,
                  static_cast<unsigned long>(g_service.distributor) & 0xFFFFFFFFUL,
                  static_cast<unsigned long>(g_service.instance_number) & 0xFFFFUL);
    std::string text;
    bool too_long = false;
    if (!ReadRequestFile(path, &text, &too_long)) {
        ReplyToSender(0);
        return;
    }
    if (too_long || !QueueRequestText(text)) {
        RefuseLongRequestFile();
        ReplyToSender(0);
        return;
    }
    ReplyToSender(1);
}

void ProcessRequests()
{
    size_t offset = 0;
    while (offset < kRequestQueueSize && g_service.request_queue[offset]) {
        WaitNamedMutex(g_service.instance_mutex);
        ClearStatus();
        g_exchange.response_text.clear();

        const char *line = g_service.request_queue + offset;
        std::snprintf(g_exchange.current_request, sizeof g_exchange.current_request, "%s", line);
        offset += std::strlen(line) + 1;

        char type[kValueSize];
        RequestString("RequestType", type, sizeof type, "");
        RequestInteger("Distributor", &g_service.distributor, 0);
        RequestInteger("Instance", &g_service.instance_number, 0);
        ShowStatus(g_exchange.current_request);
        g_exchange.response_pairs[0] = '\0';

        const RequestHandler *handler = FindHandler(UpperCase(type).c_str());
        bool success = handler && RunHandler(*handler);
        CloseResponseFile();
        // The idle limit counts from the end of the last request: one that
        // outlasted it must not end the process, and its response file with
        // it, before the distributor has read the lines.
        g_service.last_activity = std::time(nullptr);
        int next_state = handler ? (success ? handler->state_after_success : handler->state_after_failure) : 0;
        if (next_state)
            g_service.session_state = next_state;
        int code = handler ? handler->code : 0;
        if (success) {
            ShowStatus("SUCCESS");
            ReleaseNamedMutex(g_service.instance_mutex);
            PostRequestDone(code, true);
            continue;
        }
        // A failed request cancels the requests queued behind it.
        ShowStatus("ERROR");
        std::memset(g_service.request_queue, 0, sizeof g_service.request_queue);
        if (!SessionHasAssociation())
            g_service.session_state = SESSION_NONE;
        ReleaseNamedMutex(g_service.instance_mutex);
        PostRequestDone(code, false);
        return;
    }
}

bool LoadSettings()
{
    RequestInteger("SessionTimeout", &g_exchange.session_timeout, g_exchange.session_timeout);

    char path[kTempPathSize - 1];
    RequestString("TempPath", path, sizeof path, "");
    if (path[0]) {
        std::snprintf(g_exchange.temp_directory, sizeof g_exchange.temp_directory, "%s", path);
        AddPathSeparator(g_exchange.temp_directory, sizeof g_exchange.temp_directory);
    } else {
        SystemTempDirectory(g_exchange.temp_directory, sizeof g_exchange.temp_directory);
    }

    char prefix[kTempPrefixSize];
    RequestString("TempPrefix", prefix, sizeof prefix, "Z39");
    if (prefix[0])
        std::snprintf(g_exchange.temp_prefix, sizeof g_exchange.temp_prefix, "%s", prefix);

    long console = 0;
    if (RequestInteger("Console", &console, 0)) {
        if (console != 0)
            BringWindowToFront(WindowFromNumber(console));
    } else if (std::strcmp(prefix, "Z39") == 0) {
        BringWindowToFront(WindowFromNumber(g_service.distributor));
    }
    return true;
}
