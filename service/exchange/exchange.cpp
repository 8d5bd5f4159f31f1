// The exchange-file text operations: key:value pairs in plain or quoted
// mode, the comma-separated response line, the status record and display.
#include "service/exchange/exchange.h"
#include "ui/dialog.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

ExchangeState g_exchange;

std::string UpperCase(std::string text)
{
    for (char &c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

namespace {

std::string DoubleQuotes(const char *value)
{
    std::string doubled;
    for (const char *c = value; *c; ++c) {
        doubled += *c;
        if (*c == '"')
            doubled += '"';
    }
    return doubled;
}

// The offset just past the value of the pair found at position, in the
// current mode: past its closing quote, or at the blank or end ending it.
size_t ValueEnd(const char *text, size_t position, size_t *value_start)
{
    const char *colon = std::strchr(text + position, ':');
    size_t start = colon ? static_cast<size_t>(colon - text) + 1 : std::strlen(text);
    *value_start = start;
    size_t end = start;
    if (g_exchange.format_mode == FORMAT_QUOTED) {
        while (text[end] && !(text[end] == '"' && text[end + 1] != '"'))
            end += text[end] == '"' ? 2 : 1;
        return text[end] ? end + 1 : end;
    }
    if (text[end] == '"') {
        const char *close = std::strchr(text + end + 1, '"');
        return close ? static_cast<size_t>(close - text) + 1 : std::strlen(text);
    }
    while (text[end] && text[end] != ' ')
        ++end;
    return end;
}

} // namespace

bool FindKey(const char *text, const char *key, size_t *position)
{
    if (g_exchange.format_mode == FORMAT_UNDECIDED)
        g_exchange.format_mode = text[0] == '"' ? FORMAT_QUOTED : FORMAT_PLAIN;
    std::string haystack = UpperCase(std::string(" ") + text + " ");
    std::string needle = UpperCase(std::string(g_exchange.format_mode == FORMAT_QUOTED ? " \"" : " ") + key + ":");
    size_t found = haystack.find(needle);
    if (found == std::string::npos)
        return false;
    if (position)
        *position = found;
    return true;
}

bool ReadKeyString(const char *text, const char *key, char *out, size_t out_size, const char *default_value)
{
    size_t position;
    if (!FindKey(text, key, &position)) {
        std::snprintf(out, out_size, "%s", default_value);
        return false;
    }
    size_t start;
    size_t end = ValueEnd(text, position, &start);
    std::string value;
    if (g_exchange.format_mode == FORMAT_QUOTED) {
        for (size_t i = start; i < end && !(text[i] == '"' && text[i + 1] != '"'); ++i) {
            value += text[i];
            if (text[i] == '"')
                ++i;
        }
    } else if (text[start] == '"') {
        value.assign(text + start + 1, text + end - (text[end - 1] == '"' && end > start + 1 ? 1 : 0));
    } else {
        value.assign(text + start, text + end);
    }
    if (value.size() >= out_size) {
        char note[160];
        std::snprintf(note, sizeof note, "Value of %.60s cut to %zu characters", key, out_size - 1);
        ShowStatus(note);
    }
    std::snprintf(out, out_size, "%s", value.c_str());
    return true;
}

bool ReadKeyInteger(const char *text, const char *key, long *out, long default_value)
{
    *out = default_value;
    char value[kValueSize];
    if (!ReadKeyString(text, key, value, sizeof value, "") || value[0] == '\0')
        return false;
    for (const char *c = value; *c; ++c)
        if (!std::isdigit(static_cast<unsigned char>(*c)))
            return true;
    *out = std::strtol(value, nullptr, 10);
    return true;
}

void RemoveKey(char *text, const char *key)
{
    size_t position;
    if (!FindKey(text, key, &position))
        return;
    size_t start;
    size_t end = ValueEnd(text, position, &start);
    // The blank that ends an unquoted plain value goes with its pair; so
    // does the character after a quoted-mode pair's closing quote.
    bool quoted = g_exchange.format_mode == FORMAT_QUOTED;
    if (text[end] && (quoted || (text[start] != '"' && text[end] == ' ')))
        ++end;
    std::memset(text + position, ' ', end - position);
}

bool WriteKeyString(char *text, size_t text_size, const char *key, const char *value)
{
    RemoveKey(text, key);
    std::string pair = text[0] ? " " : "";
    if (g_exchange.format_mode == FORMAT_QUOTED)
        pair += "\"" + std::string(key) + ":" + DoubleQuotes(value) + "\"";
    else if (std::strchr(value, ' '))
        pair += std::string(key) + ":\"" + DoubleQuotes(value) + "\"";
    else
        pair += std::string(key) + ":" + value;
    size_t length = std::strlen(text);
    if (length + pair.size() >= text_size) {
        char note[160];
        std::snprintf(note, sizeof note, "No room for %.60s in the response pairs", key);
        ShowStatus(note);
        return false;
    }
    std::memcpy(text + length, pair.c_str(), pair.size() + 1);
    return true;
}

bool WriteKeyInteger(char *text, size_t text_size, const char *key, long value)
{
    char number[24];
    std::snprintf(number, sizeof number, "%ld", value);
    return WriteKeyString(text, text_size, key, number);
}

bool RequestString(const char *key, char *out, size_t out_size, const char *default_value)
{
    return ReadKeyString(g_exchange.current_request, key, out, out_size, default_value);
}

bool RequestInteger(const char *key, long *out, long default_value)
{
    return ReadKeyInteger(g_exchange.current_request, key, out, default_value);
}

bool PairString(const char *key, const char *value)
{
    return WriteKeyString(g_exchange.response_pairs, sizeof g_exchange.response_pairs, key, value);
}

bool PairInteger(const char *key, long value)
{
    return WriteKeyInteger(g_exchange.response_pairs, sizeof g_exchange.response_pairs, key, value);
}

void AppendField(const char *text)
{
    if (!text)
        text = "";
    if (std::strpbrk(text, "\",\n\r"))
        g_exchange.response_text += "\"" + DoubleQuotes(text) + "\"";
    else
        g_exchange.response_text += text;
    g_exchange.response_text += ",";
}

void AppendInteger(long value)
{
    char number[24];
    std::snprintf(number, sizeof number, "%ld", value);
    AppendField(number);
}

std::string ResponseFileName()
{
    char name[kTempPathSize + kTempPrefixSize + 16];
    std::snprintf(name, sizeof name, "%s%s%08lX0000.tmp", g_exchange.temp_directory, g_exchange.temp_prefix,
                  static_cast<unsigned long>(WindowNumber(g_exchange.instance_window)) & 0xFFFFFFFFUL);
    return name;
}

namespace {

const size_t kResponseBufferSize = 64 * 1024;

// The response file held open while a request writes its lines, and its name.
struct HeldResponseFile {
    std::FILE *file = nullptr;
    std::string name;
};

HeldResponseFile g_response_file;

} // namespace

void FlushResponse()
{
    std::string name = ResponseFileName();
    if (g_response_file.file && g_response_file.name != name)
        CloseResponseFile();
    if (!g_response_file.file) {
        g_response_file.file = std::fopen(name.c_str(), "a+");
        g_response_file.name = name;
        // The lines of a request go out in few writes; the distributor reads
        // them once the request is done, after CloseResponseFile.
        if (g_response_file.file)
            std::setvbuf(g_response_file.file, nullptr, _IOFBF, kResponseBufferSize);
    }
    // A response file that cannot be opened loses the line without a message.
    if (g_response_file.file)
        std::fprintf(g_response_file.file, "%s\n", g_exchange.response_text.c_str());
    g_exchange.response_text.clear();
}

void CloseResponseFile()
{
    if (g_response_file.file)
        std::fclose(g_response_file.file);
    g_response_file.file = nullptr;
}

void WriteEchoLine(const char *request_tag)
{
    AppendField(request_tag);
    AppendInteger(0);
    AppendField(g_exchange.current_request);
    FlushResponse();
}

void WriteResponseLine(const char *response_tag, bool success)
{
    AppendField(response_tag);
    AppendInteger(success ? 0 : StatusCode());
    AppendField(success ? g_exchange.response_pairs : StatusText());
    FlushResponse();
}

void SetStatus(long code, long number, const char *text)
{
    if (!text || !*text)
        return;
    if (number == 0) {
        g_exchange.status_text = text;
    } else {
        char with_number[40];
        std::snprintf(with_number, sizeof with_number, " (Error: %ld)", number);
        g_exchange.status_text = std::string(text) + with_number;
    }
    g_exchange.status_code = code;
    ShowStatus(g_exchange.status_text.c_str());
}

bool StatusIsSet()
{
    return !g_exchange.status_text.empty();
}

long StatusCode()
{
    return g_exchange.status_code;
}

const char *StatusText()
{
    return g_exchange.status_text.c_str();
}

void ClearStatus()
{
    g_exchange.status_text.clear();
    g_exchange.status_code = 0;
}

void ShowStatus(const char *text)
{
    PrependStatusLine(text);
}

long IdleLimit()
{
    return g_exchange.session_timeout;
}

WindowHandle InstanceWindow()
{
    return g_exchange.instance_window;
}
