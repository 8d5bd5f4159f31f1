// Request files through the request service, as the distributor hands them
// over: the input is the file's text, which the client reads on
// MSG_SUBMIT_REQUEST (refusing a file too large for its queue, splitting
// long lines) and runs on MSG_PROCESS_REQUESTS, line by line, in plain or
// quoted mode as its first line decides.
//
// Nothing leaves the machine: every TCP connect goes to a loopback port
// that refuses connections and every host name resolves to the loopback
// address (this program's own connect and gethostbyname take the C
// library's place). Files stay in the scratch directory: an input whose
// LOAD would move the response file elsewhere ("TempPath", or a
// "TempPrefix" with a path in it) is queued but not run.
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/fuzz_kit.h"
#include "service/exchange/exchange.h"
#include "service/service.h"

namespace {

// The distributor window and instance that name the request file.
const long kDistributor = 0x1234;
const long kInstance = 1;

sockaddr_in g_refusing_port;

// Binds a loopback port without listening on it: connects to it are
// refused, and no other program can take it while this one runs.
void ReserveRefusingPort()
{
    int holder = socket(AF_INET, SOCK_STREAM, 0);
    g_refusing_port = {};
    g_refusing_port.sin_family = AF_INET;
    g_refusing_port.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof g_refusing_port;
    if (holder < 0 || bind(holder, reinterpret_cast<sockaddr *>(&g_refusing_port), length) != 0 ||
        getsockname(holder, reinterpret_cast<sockaddr *>(&g_refusing_port), &length) != 0)
        std::abort();
}

std::string RequestFilePath()
{
    char name[64];
    std::snprintf(name, sizeof name, "%s%08lX%04lX.tmp", g_exchange.temp_prefix, kDistributor, kInstance);
    return g_exchange.temp_directory + std::string(name);
}

bool NotEmpty(const char *value)
{
    return value[0] != '\0';
}

bool HoldsPath(const char *value)
{
    return std::strpbrk(value, "/\\") != nullptr;
}

// True when the value of key in some queued line is refused.
bool AnyQueuedValue(const char *key, bool (*refused)(const char *value))
{
    for (size_t offset = 0; offset < kRequestQueueSize && g_service.request_queue[offset];) {
        const char *line = g_service.request_queue + offset;
        char value[kRequestSize];
        if (ReadKeyString(line, key, value, sizeof value, "") && refused(value))
            return true;
        offset += std::strlen(line) + 1;
    }
    return false;
}

// True when the queued requests keep their files in the scratch directory.
bool StaysInScratchDirectory()
{
    return !AnyQueuedValue("TempPath", NotEmpty) && !AnyQueuedValue("TempPrefix", HoldsPath);
}

} // namespace

// Every IPv4 connect of the program goes to the refusing port.
extern "C" int connect(int socket, const sockaddr *address, socklen_t length)
{
    if (address && address->sa_family == AF_INET) {
        address = reinterpret_cast<const sockaddr *>(&g_refusing_port);
        length = sizeof g_refusing_port;
    }
    return static_cast<int>(syscall(SYS_connect, socket, address, length));
}

// Every host name is the loopback address, without asking a name server.
extern "C" hostent *gethostbyname(const char *)
{
    static in_addr loopback = {htonl(INADDR_LOOPBACK)};
    static char *addresses[] = {reinterpret_cast<char *>(&loopback), nullptr};
    static char name[] = "localhost";
    static char *aliases[] = {nullptr};
    static hostent entry = {name, aliases, AF_INET, 4, addresses};
    return &entry;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::ScratchDirectory();
    ReserveRefusingPort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::ResetService();
    if (std::FILE *file = std::fopen(RequestFilePath().c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    SubmitRequest(static_cast<WindowHandle>(kDistributor), static_cast<intptr_t>((kInstance << 16) | 3));
    if (StaysInScratchDirectory())
        ProcessRequests();
    fuzz::EndInput();
    return 0;
}
