// The platform seam on POSIX. A window is a listening Unix-domain socket in
// the shared directory "<temp>/kestra-windows/"; a message is one 24-octet
// record on a connection to it, which a sender keeps for its later messages
// to that window; a sending call waits for an 8-octet answer.
// Named mutexes are lock files there, the status display a text file.
// docs/posix-contract.md describes the contract for other distributors.
#include "ui/os.h"
#include "ui/dialog.h"
#include "ui/strings.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// Window numbers stay below 2^31: the process id plus a multiple of the
// largest Linux process id for a process's second and later windows.
const long kWindowNumberStep = 4194304;

enum MessageKind : uint32_t { kPosted = 0, kSent = 1 };

struct WireMessage {
    uint32_t kind;
    uint32_t message;
    int64_t wparam;
    int64_t lparam;
};

struct Window {
    WindowHandle handle;
    std::string class_name;
    int listener;
    std::vector<int> links; // accepted connections that may carry more messages
    bool timer_on;
    unsigned timer_id;
    Clock::duration period;
    Clock::time_point next_tick;
};

struct Posted {
    WindowHandle window;
    WireMessage wire;
};

struct State {
    std::map<std::string, WindowProcedure> classes;
    std::vector<Window> windows;
    std::deque<Posted> posted;
    bool quit = false;
    int quit_code = 0;
    int reply_fd = -1;
    bool replied = false;
    std::string status_path;
    std::string status_text;
    bool status_changed = false;        // the text differs from the published file
    Clock::time_point status_published; // when the file was last written
    std::map<intptr_t, std::string> created_mutexes;
    long windows_made = 0;
    std::map<WindowHandle, int> links; // this process's connections to other windows
};

State &Os()
{
    static State state;
    return state;
}

std::string RuntimeDirectory()
{
    char temp[260];
    SystemTempDirectory(temp, sizeof temp);
    std::string directory = std::string(temp) + "kestra-windows/";
    // Made at most once per process for each temp directory.
    static std::string made;
    if (directory != made) {
        if (mkdir(directory.c_str(), 01777) == 0)
            chmod(directory.c_str(), 01777);
        made = directory;
    }
    return directory;
}

std::string WindowFile(WindowHandle window, const char *suffix)
{
    return RuntimeDirectory() + std::to_string(window) + suffix;
}

bool FillAddress(const std::string &path, sockaddr_un *address)
{
    std::memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof address->sun_path)
        return false;
    std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}

bool WriteAll(int fd, const void *data, size_t size)
{
    const char *octets = static_cast<const char *>(data);
    while (size) {
        ssize_t written = send(fd, octets, size, MSG_NOSIGNAL);
        if (written <= 0) {
            if (written < 0 && errno == EINTR)
                continue;
            return false;
        }
        octets += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// Reads exactly size octets, waiting at most timeout_ms for each part.
bool ReadAll(int fd, void *data, size_t size, int timeout_ms)
{
    char *octets = static_cast<char *>(data);
    while (size) {
        pollfd wait = {fd, POLLIN, 0};
        int ready = poll(&wait, 1, timeout_ms);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return false;
        ssize_t got = recv(fd, octets, size, 0);
        if (got <= 0) {
            if (got < 0 && errno == EINTR)
                continue;
            return false;
        }
        octets += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

int ConnectToWindow(WindowHandle window)
{
    sockaddr_un address;
    if (window <= 0 || !FillAddress(WindowFile(window, ".win"), &address))
        return -1;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

Window *OwnWindow(WindowHandle handle)
{
    for (Window &window : Os().windows)
        if (window.handle == handle)
            return &window;
    return nullptr;
}

intptr_t Dispatch(WindowHandle handle, const WireMessage &wire)
{
    Window *window = OwnWindow(handle);
    if (!window)
        return 0;
    WindowProcedure procedure = Os().classes[window->class_name];
    return procedure(handle, wire.message, static_cast<uintptr_t>(wire.wparam), static_cast<intptr_t>(wire.lparam));
}

// The files of this process in the runtime directory, kept where a signal
// handler can reach them without allocating: an interrupt or a kill must
// not leave them behind.
const int kMaxSignalFiles = 16;
char g_signal_files[kMaxSignalFiles][sizeof(sockaddr_un::sun_path) + 16];
volatile sig_atomic_t g_signal_file_count = 0;

void EndBySignal(int signal_number)
{
    for (int i = 0; i < g_signal_file_count; i++)
        unlink(g_signal_files[i]);
    signal(signal_number, SIG_DFL);
    raise(signal_number);
}

void RemoveOnSignal(const std::string &path)
{
    if (g_signal_file_count == 0) {
        for (int signal_number : {SIGINT, SIGTERM, SIGHUP})
            signal(signal_number, EndBySignal);
    }
    if (g_signal_file_count < kMaxSignalFiles && path.size() < sizeof g_signal_files[0]) {
        std::memcpy(g_signal_files[g_signal_file_count], path.c_str(), path.size() + 1);
        g_signal_file_count = g_signal_file_count + 1;
    }
}

void RemoveWindowFiles(const Window &window)
{
    close(window.listener);
    for (int link : window.links)
        close(link);
    unlink(WindowFile(window.handle, ".win").c_str());
    unlink(WindowFile(window.handle, ".title").c_str());
}

void RemoveAllWindowFiles()
{
    for (const Window &window : Os().windows)
        RemoveWindowFiles(window);
    Os().windows.clear();
    if (!Os().status_path.empty())
        unlink(Os().status_path.c_str());
}

std::string ReadWholeFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void WriteWholeFile(const std::string &path, const std::string &text)
{
    std::string partial = path + ".new";
    std::FILE *file = std::fopen(partial.c_str(), "wb");
    if (!file)
        return;
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    chmod(partial.c_str(), 0644);
    std::rename(partial.c_str(), path.c_str());
}

// The status display's text goes to its file at most this often while it
// changes; a reader that needs it at once sends MSG_QUERY_STATE first.
const auto kStatusPublishPeriod = std::chrono::milliseconds(250);

void PublishStatus()
{
    State &os = Os();
    if (!os.status_changed || os.status_path.empty())
        return;
    WriteWholeFile(os.status_path, os.status_text);
    os.status_changed = false;
    os.status_published = Clock::now();
}

// Milliseconds until changed status text is due for its file (0: now);
// -1 when nothing is waiting.
long long StatusDueIn()
{
    State &os = Os();
    if (!os.status_changed)
        return -1;
    auto due = os.status_published + kStatusPublishPeriod - Clock::now();
    long long left = std::chrono::duration_cast<std::chrono::milliseconds>(due).count();
    return left > 0 ? left : 0;
}

// A pipe that the SIGCHLD handler writes an octet into, so that waits for
// messages and for children wake when a child ends; -1 until a child starts.
int g_child_ended[2] = {-1, -1};

void NoteChildEnded(int)
{
    int saved = errno;
    char octet = 0;
    if (write(g_child_ended[1], &octet, 1) < 0) {
        // Full: a wake-up is pending already.
    }
    errno = saved;
}

void WatchChildEnds()
{
    if (g_child_ended[0] >= 0 || pipe(g_child_ended) != 0)
        return;
    for (int fd : g_child_ended) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
        fcntl(fd, F_SETFL, O_NONBLOCK);
    }
    struct sigaction action = {};
    action.sa_handler = NoteChildEnded;
    action.sa_flags = SA_RESTART | SA_NOCLDSTOP;
    sigemptyset(&action.sa_mask);
    sigaction(SIGCHLD, &action, nullptr);
}

void DrainChildEnds()
{
    char octets[64];
    while (g_child_ended[0] >= 0 && read(g_child_ended[0], octets, sizeof octets) > 0) {
    }
}

// Reads one message from a connection to a window: a posted message is
// queued, a sent one is handled at once and answered. False when the
// connection brought none: its sender closed it, or sent only part.
bool ReadMessage(WindowHandle handle, int fd)
{
    WireMessage wire;
    if (!ReadAll(fd, &wire, sizeof wire, 2000))
        return false;
    if (wire.kind == kPosted) {
        Os().posted.push_back({handle, wire});
        return true;
    }
    int outer_fd = Os().reply_fd;
    bool outer_replied = Os().replied;
    Os().reply_fd = fd;
    Os().replied = false;
    intptr_t result = Dispatch(handle, wire);
    if (!Os().replied)
        ReplyToSender(result);
    Os().reply_fd = outer_fd;
    Os().replied = outer_replied;
    return true;
}

// Handles a message on the window's connection fd, a new one (taken off its
// socket) when fd is the listener. A connection stays open for the sender's
// next message until the sender closes it. False when nothing was handled.
bool TakeMessage(WindowHandle handle, int fd)
{
    Window *window = OwnWindow(handle);
    if (!window)
        return false;
    if (fd == window->listener) {
        fd = accept4(window->listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            return false;
        window->links.push_back(fd);
    } else if (std::find(window->links.begin(), window->links.end(), fd) == window->links.end()) {
        return false; // closed while an earlier message was handled
    }
    if (ReadMessage(handle, fd))
        return true;
    // The window procedure may have destroyed the window meanwhile.
    if ((window = OwnWindow(handle)) != nullptr) {
        window->links.erase(std::find(window->links.begin(), window->links.end(), fd));
        close(fd);
    }
    return false;
}

// Closes this process's connection fd to another window.
void DropLink(int fd)
{
    std::map<WindowHandle, int> &links = Os().links;
    for (auto link = links.begin(); link != links.end(); ++link) {
        if (link->second == fd) {
            close(fd);
            links.erase(link);
            return;
        }
    }
}

// Sends a message to another process's window over this process's
// connection to it, made when there is none; a connection that its
// receiver has closed is made afresh once. A sent message waits at most
// timeout_ms for its answer. False when the message did not go, or its
// answer did not come.
bool SendWire(WindowHandle window, const WireMessage &wire, int timeout_ms, int64_t *answer)
{
    std::map<WindowHandle, int> &links = Os().links;
    for (int attempt = 0; attempt < 2; ++attempt) {
        auto link = links.find(window);
        bool fresh = link == links.end();
        if (fresh) {
            int fd = ConnectToWindow(window);
            if (fd < 0)
                return false;
            link = links.emplace(window, fd).first;
        }
        int fd = link->second;
        bool written = WriteAll(fd, &wire, sizeof wire);
        if (written && (wire.kind == kPosted || ReadAll(fd, answer, sizeof *answer, timeout_ms)))
            return true;
        // A late answer must not be taken for the next message's.
        DropLink(fd);
        if (written || fresh)
            return false;
    }
    return false;
}

// Handles what is due: a posted message, else arriving connections and the
// timers, waiting at most timeout_ms for something to happen. True when
// something did: a message or tick was handled or queued, or a child ended.
bool PumpOnce(int timeout_ms)
{
    State &os = Os();
    if (!os.posted.empty()) {
        Posted next = os.posted.front();
        os.posted.pop_front();
        Dispatch(next.window, next.wire);
        return true;
    }
    long long status_due = StatusDueIn();
    if (status_due == 0)
        PublishStatus();
    else if (status_due > 0 && status_due < timeout_ms)
        timeout_ms = static_cast<int>(status_due);
    Clock::time_point now = Clock::now();
    for (const Window &window : os.windows) {
        if (!window.timer_on)
            continue;
        auto until_tick = std::chrono::duration_cast<std::chrono::milliseconds>(window.next_tick - now).count();
        if (until_tick < timeout_ms)
            timeout_ms = until_tick < 0 ? 0 : static_cast<int>(until_tick);
    }
    std::vector<pollfd> waits;
    std::vector<WindowHandle> owners;
    for (const Window &window : os.windows) {
        waits.push_back({window.listener, POLLIN, 0});
        owners.push_back(window.handle);
        for (int link : window.links) {
            waits.push_back({link, POLLIN, 0});
            owners.push_back(window.handle);
        }
    }
    // This process's connections to other windows carry nothing between
    // messages: one that wakes has been closed by its window, which has gone.
    size_t window_waits = waits.size();
    for (const auto &link : os.links)
        waits.push_back({link.second, POLLIN, 0});
    waits.push_back({g_child_ended[0], POLLIN, 0}); // ignored while negative
    int ready = poll(waits.data(), waits.size(), timeout_ms);
    bool happened = false;
    if (ready > 0 && (waits.back().revents & POLLIN)) {
        DrainChildEnds();
        happened = true;
    }
    waits.pop_back();
    for (size_t i = window_waits; ready > 0 && i < waits.size(); ++i)
        if (waits[i].revents)
            DropLink(waits[i].fd);
    for (size_t i = 0; ready > 0 && i < window_waits; ++i)
        if (waits[i].revents & (POLLIN | POLLHUP | POLLERR))
            happened = TakeMessage(owners[i], waits[i].fd) || happened;
    now = Clock::now();
    std::vector<std::pair<WindowHandle, unsigned>> ticks;
    for (Window &window : os.windows) {
        if (window.timer_on && now >= window.next_tick) {
            window.next_tick = now + window.period;
            ticks.push_back({window.handle, window.timer_id});
        }
    }
    for (const auto &tick : ticks)
        Dispatch(tick.first, {kPosted, OS_MSG_TIMER, tick.second, 0});
    return happened || !ticks.empty();
}

std::string MutexPath(const char *name)
{
    return RuntimeDirectory() + name + ".mutex";
}

NamedMutex OpenMutexFile(const char *name, int flags)
{
    int fd = open(MutexPath(name).c_str(), O_RDWR | O_CLOEXEC | flags, 0666);
    if (fd < 0)
        return 0;
    fchmod(fd, 0666);
    return fd + 1;
}

} // namespace

extern "C" {

unsigned RegisterNamedMessage(const char *name)
{
    // Registered message numbers lie in 0xC000..0xFFFF; a name hashes to the same number in every process.
    unsigned hash = 5381;
    for (const char *c = name; *c; ++c)
        hash = hash * 33 + static_cast<unsigned char>(*c);
    return 0xC000 + hash % 0x4000;
}

int RegisterWindowClass(const char *class_name, WindowProcedure procedure)
{
    Os().classes[class_name] = procedure;
    return 1;
}

WindowHandle CreateHiddenWindow(const char *class_name, const char *title)
{
    State &os = Os();
    if (!os.classes.count(class_name))
        return 0;
    WindowHandle handle = getpid() + os.windows_made * kWindowNumberStep;
    sockaddr_un address;
    std::string path = WindowFile(handle, ".win");
    if (!FillAddress(path, &address))
        return 0;
    int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0)
        return 0;
    unlink(path.c_str());
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, SOMAXCONN) != 0) {
        close(listener);
        return 0;
    }
    chmod(path.c_str(), 0666);
    if (os.windows.empty())
        std::atexit(RemoveAllWindowFiles);
    RemoveOnSignal(path);
    RemoveOnSignal(WindowFile(handle, ".title"));
    ++os.windows_made;
    os.windows.push_back({handle, class_name, listener, {}, false, 0, {}, {}});
    SetWindowTitle(handle, title);
    Dispatch(handle, {kSent, OS_MSG_CREATE, 0, 0});
    return handle;
}

void SetWindowTitle(WindowHandle window, const char *title)
{
    WriteWholeFile(WindowFile(window, ".title"), title);
}

void DestroyHiddenWindow(WindowHandle handle)
{
    State &os = Os();
    if (!OwnWindow(handle))
        return;
    Dispatch(handle, {kSent, OS_MSG_DESTROY, 0, 0});
    for (size_t i = 0; i < os.windows.size(); ++i) {
        if (os.windows[i].handle == handle) {
            RemoveWindowFiles(os.windows[i]);
            os.windows.erase(os.windows.begin() + static_cast<long>(i));
            break;
        }
    }
}

intptr_t DefaultWindowProcedure(WindowHandle, unsigned, uintptr_t, intptr_t)
{
    return 0;
}

WindowHandle FindProcessWindow(long process_id, const char *, const char *title_prefix)
{
    // A process's first window carries its process id as number.
    std::string title = ReadWholeFile(WindowFile(process_id, ".title"));
    if (title.compare(0, std::strlen(title_prefix), title_prefix) != 0)
        return 0;
    int fd = ConnectToWindow(process_id);
    if (fd < 0)
        return 0;
    close(fd);
    return process_id;
}

WindowHandle FindWindowByTitle(const char *title)
{
    std::string directory = RuntimeDirectory();
    DIR *listing = opendir(directory.c_str());
    if (!listing)
        return 0;
    WindowHandle found = 0;
    while (dirent *entry = readdir(listing)) {
        std::string name = entry->d_name;
        size_t dot = name.find(".title");
        if (dot == std::string::npos || dot + 6 != name.size())
            continue;
        WindowHandle candidate = std::strtol(name.c_str(), nullptr, 10);
        if (ReadWholeFile(directory + name) != title)
            continue;
        int fd = ConnectToWindow(candidate);
        if (fd >= 0) {
            close(fd);
            found = candidate;
            break;
        }
    }
    closedir(listing);
    return found;
}

int RunMessageLoop(void)
{
    while (!Os().quit)
        PumpOnce(60000);
    return Os().quit_code;
}

int PumpMessages(unsigned milliseconds)
{
    Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (!Os().quit) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        bool happened = PumpOnce(left > 0 ? static_cast<int>(left) : 0);
        // Queued posted messages are handled before returning.
        if ((happened && Os().posted.empty()) || left <= 0)
            return Os().quit ? 0 : 1;
    }
    return 0;
}

void PostQuit(int code)
{
    Os().quit = true;
    Os().quit_code = code;
}

int SendToWindow(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam, unsigned timeout_ms,
                 intptr_t *result)
{
    WireMessage wire = {kSent, message, static_cast<int64_t>(wparam), static_cast<int64_t>(lparam)};
    if (OwnWindow(window)) {
        intptr_t answer = Dispatch(window, wire);
        if (result)
            *result = answer;
        return 1;
    }
    int64_t answer = 0;
    bool answered = SendWire(window, wire, static_cast<int>(timeout_ms), &answer);
    if (result)
        *result = static_cast<intptr_t>(answer);
    return answered;
}

int PostToWindow(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam)
{
    WireMessage wire = {kPosted, message, static_cast<int64_t>(wparam), static_cast<int64_t>(lparam)};
    if (OwnWindow(window)) {
        Os().posted.push_back({window, wire});
        return 1;
    }
    return SendWire(window, wire, 0, nullptr);
}

void ReplyToSender(intptr_t result)
{
    State &os = Os();
    if (os.reply_fd < 0 || os.replied)
        return;
    int64_t answer = result;
    WriteAll(os.reply_fd, &answer, sizeof answer);
    os.replied = true;
}

void StartWindowTimer(WindowHandle handle, unsigned id, unsigned period_ms)
{
    if (Window *window = OwnWindow(handle)) {
        window->timer_on = true;
        window->timer_id = id;
        window->period = std::chrono::milliseconds(period_ms);
        window->next_tick = Clock::now() + window->period;
    }
}

void BringWindowToFront(WindowHandle)
{
    // No window system to raise windows in.
}

NamedMutex CreateNamedMutex(const char *name)
{
    NamedMutex mutex = OpenMutexFile(name, O_CREAT);
    if (mutex) {
        Os().created_mutexes[mutex] = MutexPath(name);
        RemoveOnSignal(MutexPath(name));
    }
    return mutex;
}

NamedMutex OpenNamedMutex(const char *name)
{
    return OpenMutexFile(name, 0);
}

void WaitNamedMutex(NamedMutex mutex)
{
    if (mutex)
        while (flock(static_cast<int>(mutex - 1), LOCK_EX) != 0 && errno == EINTR) {
        }
}

void ReleaseNamedMutex(NamedMutex mutex)
{
    if (mutex)
        flock(static_cast<int>(mutex - 1), LOCK_UN);
}

void CloseNamedMutex(NamedMutex mutex)
{
    if (!mutex)
        return;
    auto created = Os().created_mutexes.find(mutex);
    if (created != Os().created_mutexes.end()) {
        unlink(created->second.c_str());
        Os().created_mutexes.erase(created);
    }
    close(static_cast<int>(mutex - 1));
}

int CreateStatusDisplay(WindowHandle owner)
{
    State &os = Os();
    os.status_path = WindowFile(owner, ".status");
    RemoveOnSignal(os.status_path);
    os.status_text.clear();
    os.status_changed = true;
    PublishStatus();
    return 1;
}

size_t GetStatusDisplayText(char *out, size_t size)
{
    if (size == 0)
        return 0;
    size_t length = std::min(Os().status_text.size(), size - 1);
    std::memcpy(out, Os().status_text.data(), length);
    out[length] = '\0';
    return length;
}

void SetStatusDisplayText(const char *text)
{
    State &os = Os();
    if (os.status_path.empty())
        return;
    os.status_text = text;
    os.status_changed = true;
    // After a quiet spell the change shows at once; within a burst the
    // message loop writes the latest text when it is due.
    if (StatusDueIn() == 0)
        PublishStatus();
}

void PublishStatusDisplay(void)
{
    PublishStatus();
}

int ShowMessageBox(WindowHandle, const char *caption, const char *text, unsigned)
{
    std::fprintf(stderr, "%s: %s\n", caption, text);
    PrependStatusLine(text);
    return 1;
}

WindowHandle FindMessageBox(WindowHandle, char *, size_t, char *, size_t)
{
    return 0;
}

void DismissMessageBox(WindowHandle)
{
}

int LoadResourceString(unsigned id, char *out, size_t size)
{
    static const std::map<unsigned, const char *> table = {
        {IDS_CANNOT_RUN, TEXT_CANNOT_RUN},
        {IDS_CANNOT_CREATE_DIALOG, TEXT_CANNOT_CREATE_DIALOG},
        {IDS_CANNOT_LOAD_MENU, TEXT_CANNOT_LOAD_MENU},
        {IDS_CANNOT_LOAD_ICON, TEXT_CANNOT_LOAD_ICON},
        {IDS_CANNOT_LOAD_BITMAP, TEXT_CANNOT_LOAD_BITMAP},
        {IDS_CANNOT_CREATE_WINDOW, TEXT_CANNOT_CREATE_WINDOW},
    };
    auto entry = table.find(id);
    if (entry == table.end() || size == 0)
        return 0;
    std::snprintf(out, size, "%s", entry->second);
    return static_cast<int>(std::strlen(out));
}

void SystemTempDirectory(char *out, size_t size)
{
    const char *temp = std::getenv("TMPDIR");
    std::snprintf(out, size, "%s", temp && *temp ? temp : "/tmp");
    AddPathSeparator(out, size);
}

void AddPathSeparator(char *path, size_t size)
{
    size_t length = std::strlen(path);
    if (length + 2 <= size && (length == 0 || path[length - 1] != '/')) {
        path[length] = '/';
        path[length + 1] = '\0';
    }
}

void DeleteFileIfExists(const char *path)
{
    unlink(path);
}

long CurrentProcessId(void)
{
    return static_cast<long>(getpid());
}

int ConnectsWithoutTimeLimit(void)
{
    return 0;
}

const char *ProgramCommandLine(int argc, char **argv)
{
    static std::string line;
    line.clear();
    for (int i = 1; i < argc; ++i)
        line += (i > 1 ? " " : "") + std::string(argv[i]);
    return line.c_str();
}

ChildProcess StartChildProcess(const char *program, const char *argument, long *process_id)
{
    WatchChildEnds();
    pid_t child = fork();
    if (child < 0)
        return 0;
    if (child == 0) {
        if (argument && *argument)
            execl(program, program, argument, static_cast<char *>(nullptr));
        else
            execl(program, program, static_cast<char *>(nullptr));
        _exit(127);
    }
    *process_id = child;
    return child;
}

int WaitChildProcess(ChildProcess child, unsigned timeout_ms)
{
    Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        int status;
        pid_t ended = waitpid(static_cast<pid_t>(child), &status, WNOHANG);
        if (ended == child || (ended < 0 && errno == ECHILD))
            return 1;
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return 0;
        // Waits for the next SIGCHLD; a child that ended just now has written already.
        pollfd wait = {g_child_ended[0], POLLIN, 0};
        poll(&wait, 1, static_cast<int>(left));
        DrainChildEnds();
    }
}

void CloseChildProcess(ChildProcess)
{
}

void SleepMilliseconds(unsigned milliseconds)
{
    usleep(static_cast<useconds_t>(milliseconds) * 1000);
}

void UseBinaryStandardOutput(void)
{
}

} // extern "C"
