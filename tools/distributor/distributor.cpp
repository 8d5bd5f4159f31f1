// kestra-distributor: plays the distributor's part for one client. It starts
// (or attaches to) a client, hands it request files through the exchange file
// and the window messages, waits for MSG_REQUEST_DONE per request line, and
// prints every line the requests append to the response file.
#include "service/service.h"
#include "tools/distributor/marc_display.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace {

const char kUsage[] =
    "usage: kestra-distributor [options] [REQUEST-FILE...]\n"
    "Runs each request file through one Kestra client and prints the response lines.\n"
    "  --client PATH       the client program (default: kestra beside this tool)\n"
    "  --timeout SECONDS   how long to wait for the client each time (default 60)\n"
    "  --attach NUMBER     use the running client whose window is \"Tellan:NUMBER\"\n"
    "  --keep              leave the client running at the end (no EXIT)\n"
    "  --wait-end          at the end, wait for the client to end by itself (idle limit)\n"
    "  --instance N        the distributor's instance number (default 1)\n"
    "  --command-line REQ  start the client with this request on its command line\n"
    "  --query-state       print \"State:N\", the client's session state, at the end\n"
    "  --show-marc         print a record line whose record is ISO 2709 in place of the raw\n"
    "                      line as \"Record <position>\" and the record one field a line in\n"
    "                      UTF-8: \"LDR <leader>\", \"001 <data>\", \"245 10 $a<data>$c<data>\";\n"
    "                      any other good record as \"Record <position> (<syntax>)\" and its text\n"
    "  --verbose           report the client's instance name on standard error\n"
    "  --help              this text\n"
    "Exit status: 0 every request succeeded, 1 one failed, 2 usage or communication error.\n";

enum ExitStatus { kAllSucceeded = 0, kRequestFailed = 1, kCommunicationError = 2 };

struct Options {
    std::string client;
    unsigned timeout_ms = 60000;
    long attach = 0;
    bool keep = false;
    bool wait_end = false;
    long instance = 1;
    std::string command_line;
    bool query_state = false;
    bool verbose = false;
    bool show_marc = false;
    std::vector<std::string> files;
};

struct RequestDone {
    uintptr_t window;
    uint32_t lparam;
};

struct Distributor {
    Options options;
    WindowHandle own_window = 0;
    WindowHandle client = 0;
    ChildProcess child = 0;
    std::deque<RequestDone> done;
    std::map<std::string, long> read_offsets;
    std::string record_syntax; // what the PRESENT whose record lines are printed asked for
    WindowHandle dismissed_box = 0;
    int status = kAllSucceeded;
};

Distributor g_distributor;

intptr_t DistributorWindowProcedure(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam)
{
    if (message == MSG_REQUEST_DONE) {
        g_distributor.done.push_back({wparam, static_cast<uint32_t>(lparam)});
        return 0;
    }
    return DefaultWindowProcedure(window, message, wparam, lparam);
}

[[noreturn]] void Fail(const char *what)
{
    std::fprintf(stderr, "kestra-distributor: %s\n", what);
    std::fflush(stdout);
    std::exit(kCommunicationError);
}

std::string DefaultClient(const char *tool)
{
    std::string path = tool;
    size_t slash = path.find_last_of("/\\");
    std::string directory = slash == std::string::npos ? "." : path.substr(0, slash);
    std::string suffix = path.size() > 4 && path.compare(path.size() - 4, 4, ".exe") == 0 ? ".exe" : "";
    return directory + "/kestra" + suffix;
}

bool ParseNumber(const char *text, long *out)
{
    char *end;
    *out = std::strtol(text, &end, 10);
    return *text && !*end;
}

Options ParseOptions(int argc, char **argv)
{
    Options options;
    options.client = DefaultClient(argv[0]);
    for (int i = 1; i < argc; ++i) {
        std::string option = argv[i];
        bool has_value = i + 1 < argc;
        long number = 0;
        if (option == "--help") {
            std::fputs(kUsage, stdout);
            std::exit(kAllSucceeded);
        } else if (option == "--keep") {
            options.keep = true;
        } else if (option == "--wait-end") {
            options.wait_end = true;
        } else if (option == "--query-state") {
            options.query_state = true;
        } else if (option == "--verbose") {
            options.verbose = true;
        } else if (option == "--show-marc") {
            options.show_marc = true;
        } else if (option == "--client" && has_value) {
            options.client = argv[++i];
        } else if (option == "--command-line" && has_value) {
            options.command_line = argv[++i];
        } else if (option == "--timeout" && has_value && ParseNumber(argv[i + 1], &number) && number > 0) {
            options.timeout_ms = static_cast<unsigned>(number) * 1000;
            ++i;
        } else if (option == "--attach" && has_value && ParseNumber(argv[i + 1], &number) && number > 0) {
            options.attach = number;
            ++i;
        } else if (option == "--instance" && has_value && ParseNumber(argv[i + 1], &number) && number >= 0 &&
                   number <= 0xFFFF) {
            options.instance = number;
            ++i;
        } else if (option.compare(0, 2, "--") == 0) {
            std::fprintf(stderr, "kestra-distributor: bad option %s\n%s", option.c_str(), kUsage);
            std::exit(kCommunicationError);
        } else {
            options.files.push_back(option);
        }
    }
    bool has_work = !options.files.empty() || !options.command_line.empty() || options.query_state ||
                    options.keep || options.wait_end || options.attach;
    if (!has_work) {
        std::fputs(kUsage, stderr);
        std::exit(kCommunicationError);
    }
    return options;
}

// The overall time-out of one wait. The wait itself returns as soon as a
// message arrives or the client ends; it looks around at least every
// kLookAgainMs for what sends no message: a message box that the client
// opens, or a client attached by number that ends.
const unsigned kLookAgainMs = 250;

struct Deadline {
    std::chrono::steady_clock::time_point end;
    explicit Deadline(unsigned milliseconds) : end(std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds)) {}
    bool Passed() const { return std::chrono::steady_clock::now() >= end; }
    // How long the next wait may last: what is left, at most kLookAgainMs.
    unsigned Slice() const
    {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        return left <= 0 ? 0 : left < kLookAgainMs ? static_cast<unsigned>(left) : kLookAgainMs;
    }
};

bool ClientEnded()
{
    return g_distributor.child && WaitChildProcess(g_distributor.child, 0);
}

// Reads a key of a request line the way the client reads it: the first line
// the client ever looks at sets plain or quoted mode for good, in the
// distributor's copy of the mode as in the client's.
std::string LineValue(const std::string &line, const char *key, bool *found)
{
    char value[kRequestSize];
    *found = ReadKeyString(line.c_str(), key, value, sizeof value, "");
    return value;
}

// Reads a key in the line's own style, leaving the mode alone.
std::string OwnStyleValue(const std::string &line, const char *key)
{
    FormatMode mode = g_exchange.format_mode;
    g_exchange.format_mode = line[0] == '"' ? FORMAT_QUOTED : FORMAT_PLAIN;
    bool found;
    std::string value = LineValue(line, key, &found);
    g_exchange.format_mode = mode;
    return value;
}

// Adds "Distributor" and "Instance" to a line that lacks them, in the line's own style.
std::string AddReturnAddress(const std::string &line)
{
    if (line.empty())
        return line;
    char text[kRequestSize * 2];
    std::snprintf(text, sizeof text, "%s", line.c_str());
    bool found;
    LineValue(line, "Distributor", &found);
    if (!found)
        WriteKeyInteger(text, sizeof text, "Distributor", WindowNumber(g_distributor.own_window));
    LineValue(line, "Instance", &found);
    if (!found)
        WriteKeyInteger(text, sizeof text, "Instance", g_distributor.options.instance);
    return text;
}

std::vector<std::string> SplitLines(const std::string &text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t newline = text.find('\n', start);
        size_t end = newline == std::string::npos ? text.size() : newline;
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

// How many requests the client will run from this text: its queue's lines up to the first empty one.
size_t QueuedRequestCount(const std::string &text)
{
    if (!QueueRequestText(text))
        return 0;
    size_t count = 0;
    for (size_t offset = 0; offset < kRequestQueueSize && g_service.request_queue[offset]; ++count)
        offset += std::strlen(g_service.request_queue + offset) + 1;
    return count;
}

// The text with every CR LF line end turned into LF.
std::string WithoutCarriageReturns(const std::string &text)
{
    std::string without_returns;
    for (size_t i = 0; i < text.size(); ++i)
        if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n'))
            without_returns += text[i];
    return without_returns;
}

// Reads a file from where it stands to its end, and closes it.
std::string ReadRest(std::FILE *file)
{
    std::string text;
    char chunk[4096];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        text.append(chunk, got);
    std::fclose(file);
    return text;
}

// Notes the record syntax that a PRESENT's echo line asks for, upper-cased
// as the client takes it ("USMARC" when it names none).
void FollowPresentSyntax(const std::string &line)
{
    std::vector<std::string> fields;
    if (!SplitResponseFields(line, &fields) || fields.size() != 3 || fields[0] != "PRESENT_REQUEST")
        return;
    bool found;
    std::string syntax = LineValue(fields[2], "RecordSyntax", &found);
    g_distributor.record_syntax = UpperCase(found ? syntax : "USMARC");
}

// Prints one response line (with its line feed), or with --show-marc the
// readable form of the record that it carries.
void PrintResponseLine(const std::string &line)
{
    std::string shown;
    if (g_distributor.options.show_marc) {
        std::string bare = line.substr(0, line.size() - 1);
        FollowPresentSyntax(bare);
        shown = DisplayRecordLine(bare, g_distributor.record_syntax);
    }
    if (shown.empty())
        shown = line;
    std::fwrite(shown.data(), 1, shown.size(), stdout);
}

void PrintNewResponseLines()
{
    std::string path = ResponseFileName();
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (!file)
        return;
    long &offset = g_distributor.read_offsets[path];
    std::fseek(file, offset, SEEK_SET);
    std::string fresh = ReadRest(file);
    size_t complete = fresh.rfind('\n');
    if (complete == std::string::npos)
        return;
    offset += static_cast<long>(complete + 1);
    std::string lines = fresh.substr(0, complete + 1);
    for (size_t start = 0, length; start < lines.size(); start += length) {
        length = ResponseLineLength(lines, start);
        PrintResponseLine(WithoutCarriageReturns(lines.substr(start, length)));
    }
    std::fflush(stdout);
}

// A message box that the client opens would wait for a person: its caption
// and text go to standard error as "<caption>: <text>" and the box is closed.
void DismissClientMessageBox()
{
    char caption[128];
    char text[1024];
    WindowHandle box = FindMessageBox(g_distributor.client, caption, sizeof caption, text, sizeof text);
    if (!box || box == g_distributor.dismissed_box)
        return;
    g_distributor.dismissed_box = box;
    std::fprintf(stderr, "%s: %s\n", caption, text);
    std::fflush(stderr);
    DismissMessageBox(box);
}

// Waits for the client's next MSG_REQUEST_DONE; false on time-out or when the client ended without one.
bool AwaitRequestDone(RequestDone *done)
{
    Deadline deadline(g_distributor.options.timeout_ms);
    for (;;) {
        while (!g_distributor.done.empty()) {
            *done = g_distributor.done.front();
            g_distributor.done.pop_front();
            if (static_cast<WindowHandle>(done->window) == g_distributor.client)
                return true;
        }
        if (deadline.Passed())
            return false;
        bool ended = ClientEnded();
        DismissClientMessageBox();
        PumpMessages(deadline.Slice());
        if (ended && g_distributor.done.empty())
            return false;
    }
}

// Applies a LOAD line's directory and prefix, as the client does for the requests after it.
void FollowLoadSettings(const std::string &line)
{
    bool found;
    if (UpperCase(LineValue(line, "RequestType", &found)) != "LOAD")
        return;
    std::string path = LineValue(line, "TempPath", &found);
    if (path.empty()) {
        SystemTempDirectory(g_exchange.temp_directory, sizeof g_exchange.temp_directory);
    } else {
        std::snprintf(g_exchange.temp_directory, sizeof g_exchange.temp_directory, "%s", path.c_str());
        AddPathSeparator(g_exchange.temp_directory, sizeof g_exchange.temp_directory);
    }
    std::string prefix = LineValue(line, "TempPrefix", &found);
    if (!prefix.empty())
        std::snprintf(g_exchange.temp_prefix, sizeof g_exchange.temp_prefix, "%s", prefix.c_str());
}

// Waits for one MSG_REQUEST_DONE per queued line, printing the response lines; stops at a failure.
void FollowRequests(const std::vector<std::string> &lines, size_t expected)
{
    for (size_t i = 0; i < expected; ++i) {
        RequestDone done;
        if (!AwaitRequestDone(&done))
            Fail(ClientEnded() ? "the client ended before reporting a request" : "time-out waiting for the client");
        // An EXIT writes no line, and its client deletes the response file as
        // it ends: an open file would keep Windows from deleting it.
        if (static_cast<int>((done.lparam >> 8) & 0xFF) != RequestCode("EXIT"))
            PrintNewResponseLines();
        if (!(done.lparam & 1)) {
            g_distributor.status = kRequestFailed;
            return;
        }
        if (i < lines.size())
            FollowLoadSettings(lines[i]);
    }
}

std::string InstanceName()
{
    char name[32];
    std::snprintf(name, sizeof name, "Tellan:%ld", WindowNumber(g_distributor.client));
    return name;
}

std::string WriteRequestFile(const std::vector<std::string> &lines)
{
    char path[kTempPathSize + kTempPrefixSize + 20];
    std::snprintf(path, sizeof path, "%s%s%08lX%04lX.tmp", g_exchange.temp_directory, g_exchange.temp_prefix,
                  static_cast<unsigned long>(WindowNumber(g_distributor.own_window)) & 0xFFFFFFFFUL,
                  static_cast<unsigned long>(g_distributor.options.instance) & 0xFFFFUL);
    // The client holds its mutex while it reads the file; take it before rewriting.
    NamedMutex mutex = OpenNamedMutex(InstanceName().c_str());
    WaitNamedMutex(mutex);
    std::FILE *file = std::fopen(path, "w");
    if (file) {
        for (const std::string &line : lines)
            std::fprintf(file, "%s\n", line.c_str());
        std::fclose(file);
    }
    ReleaseNamedMutex(mutex);
    CloseNamedMutex(mutex);
    if (!file)
        Fail("cannot write the request file");
    return path;
}

// Sends MSG_SUBMIT_REQUEST: the client's answer (1 accepted, 0 refused), or
// -1 when the message did not reach the client's window.
intptr_t SubmitLines(int code)
{
    intptr_t lparam = static_cast<intptr_t>((static_cast<uint32_t>(g_distributor.options.instance) << 16) |
                                            static_cast<uint32_t>(code));
    intptr_t stored = 0;
    if (!SendToWindow(g_distributor.client, MSG_SUBMIT_REQUEST, static_cast<uintptr_t>(g_distributor.own_window),
                      lparam, g_distributor.options.timeout_ms, &stored))
        return -1;
    return stored;
}

void RunRequestText(const std::string &text)
{
    std::vector<std::string> lines = SplitLines(text);
    int code = lines.empty() ? 0 : RequestCode(UpperCase(OwnStyleValue(lines[0], "RequestType")).c_str());
    // A client's first request built from CLOSE or EXIT puts it in plain mode.
    bool client_builds = code == REQUEST_CLOSE || code == REQUEST_EXIT;
    if (client_builds && g_exchange.format_mode == FORMAT_UNDECIDED)
        g_exchange.format_mode = FORMAT_PLAIN;
    for (std::string &line : lines)
        line = AddReturnAddress(line);
    std::string joined;
    for (const std::string &line : lines)
        joined += line + "\n";
    // For CLOSE and EXIT the client builds the one request itself.
    size_t expected = client_builds ? 1 : QueuedRequestCount(joined);
    std::string path = WriteRequestFile(lines);
    if (ClientEnded())
        Fail("the client has ended");
    intptr_t answer = SubmitLines(code);
    if (answer < 0)
        Fail("the client does not answer MSG_SUBMIT_REQUEST");
    if (answer == 1) {
        PostToWindow(g_distributor.client, MSG_PROCESS_REQUESTS, 0, 0);
        FollowRequests(lines, expected);
    } else {
        std::fprintf(stderr, "kestra-distributor: the client did not accept the request file\n");
        g_distributor.status = kRequestFailed;
    }
    DeleteFileIfExists(path.c_str());
}

std::string ReadFile(const std::string &path)
{
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (!file)
        Fail(("cannot read " + path).c_str());
    return WithoutCarriageReturns(ReadRest(file));
}

void ConnectToClient()
{
    Options &options = g_distributor.options;
    if (options.attach) {
        g_distributor.client = WindowFromNumber(options.attach);
        char title[32];
        std::snprintf(title, sizeof title, "Tellan:%ld", options.attach);
        if (FindWindowByTitle(title) != g_distributor.client)
            Fail("no client with that instance name is running");
        g_exchange.instance_window = g_distributor.client;
        return;
    }
    std::string command_line = options.command_line.empty() ? "" : AddReturnAddress(options.command_line);
    long process_id = 0;
    g_distributor.child = StartChildProcess(options.client.c_str(), command_line.c_str(), &process_id);
    if (!g_distributor.child)
        Fail(("cannot start " + options.client).c_str());
    // The window appears without a message: look again every millisecond,
    // which costs a few file look-ups while the client starts.
    Deadline deadline(options.timeout_ms);
    while (!(g_distributor.client = FindProcessWindow(process_id, "BLDGENERIC", "Tellan:"))) {
        if (deadline.Passed() || ClientEnded())
            Fail("no client window found");
        PumpMessages(1);
    }
    // The response file carries the client's window number.
    g_exchange.instance_window = g_distributor.client;
    if (!command_line.empty())
        FollowRequests(SplitLines(command_line), QueuedRequestCount(command_line));
}

bool ClientGone()
{
    return ClientEnded() || (!g_distributor.child && !FindWindowByTitle(InstanceName().c_str()));
}

// Waits for the client to end, by EXIT or by its idle limit.
void AwaitClientEnd(const char *failure)
{
    Deadline deadline(g_distributor.options.timeout_ms);
    while (!ClientGone()) {
        if (deadline.Passed())
            Fail(failure);
        PumpMessages(deadline.Slice());
    }
    if (g_distributor.options.verbose)
        std::fprintf(stderr, "kestra-distributor: client ended\n");
}

void EndClient()
{
    if (!ClientGone()) {
        intptr_t answer = SubmitLines(8);
        // Unanswered with its window gone, the client is ending already
        // (the EXIT of the last request file): only its process is left.
        if (answer < 0 && FindWindowByTitle(InstanceName().c_str()))
            Fail("the client does not answer MSG_SUBMIT_REQUEST");
        if (answer == 0)
            Fail("the client refused EXIT");
        if (answer == 1) {
            PostToWindow(g_distributor.client, MSG_PROCESS_REQUESTS, 0, 0);
            FollowRequests({}, 1);
        }
    }
    AwaitClientEnd("the client did not end after EXIT");
}

} // namespace

int main(int argc, char **argv)
{
    UseBinaryStandardOutput();
    g_distributor.options = ParseOptions(argc, argv);
    Options &options = g_distributor.options;
    SystemTempDirectory(g_exchange.temp_directory, sizeof g_exchange.temp_directory);
    if (!RegisterWindowClass("KestraDistributor", DistributorWindowProcedure))
        Fail("cannot register the window class");
    g_distributor.own_window = CreateHiddenWindow("KestraDistributor", "Kestra distributor");
    if (!g_distributor.own_window)
        Fail("cannot create the distributor window");
    // Every file is read before a client is started, so a missing one costs no client.
    std::vector<std::string> texts;
    for (const std::string &file : options.files)
        texts.push_back(ReadFile(file));
    ConnectToClient();
    if (options.verbose)
        std::fprintf(stderr, "kestra-distributor: instance %s\n", InstanceName().c_str());
    for (const std::string &text : texts)
        RunRequestText(text);
    if (options.query_state) {
        intptr_t state = 0;
        if (!SendToWindow(g_distributor.client, MSG_QUERY_STATE, 0, 0, options.timeout_ms, &state))
            Fail("the client does not answer MSG_QUERY_STATE");
        std::printf("State:%ld\n", static_cast<long>(state));
        std::fflush(stdout);
    }
    if (options.wait_end)
        AwaitClientEnd("the client did not end by itself");
    else if (!options.keep)
        EndClient();
    CloseChildProcess(g_distributor.child);
    return g_distributor.status;
}
