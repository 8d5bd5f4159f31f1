#include "fuzz/fuzz_kit.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "retrieval/retrieval.h"
#include "session/session.h"
#include "service/exchange/exchange.h"
#include "service/service.h"

namespace fuzz {

namespace {

// Removes the regular files of a directory; with all, its subdirectories
// (one level deep: the window files' folder) and the directory itself too.
void ClearDirectory(const std::string &path, bool all)
{
    DIR *directory = opendir(path.c_str());
    if (!directory)
        return;
    while (dirent *entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        if (unlink((path + name).c_str()) != 0 && all)
            ClearDirectory(path + name + "/", true);
    }
    closedir(directory);
    if (all)
        rmdir(path.c_str());
}

void RemoveScratchDirectory()
{
    ClearDirectory(ScratchDirectory(), true);
}

} // namespace

const std::string &ScratchDirectory()
{
    // Never destroyed: the handler that removes the directory runs at exit.
    static const std::string &path = *new std::string([] {
        const char *temp = std::getenv("TMPDIR");
        std::string pattern = std::string(temp && *temp ? temp : "/tmp") + "/kestra-fuzz-XXXXXX";
        if (!mkdtemp(&pattern[0]))
            std::abort();
        setenv("TMPDIR", pattern.c_str(), 1);
        std::atexit(RemoveScratchDirectory);
        return pattern + "/";
    }());
    return path;
}

std::FILE *Sink()
{
    static std::FILE *sink = std::fopen("/dev/null", "w");
    return sink;
}

void ResetService()
{
    ClearStatus();
    g_exchange.response_text.clear();
    std::memset(g_service.request_queue, 0, sizeof g_service.request_queue);
    g_exchange.current_request[0] = '\0';
    g_exchange.response_pairs[0] = '\0';
    g_exchange.format_mode = FORMAT_UNDECIDED;
    g_service.session_state = SESSION_NONE;
    g_exchange.session_timeout = 30;
    g_service.distributor = 0;
    g_service.instance_number = 0;
    std::snprintf(g_exchange.temp_directory, sizeof g_exchange.temp_directory, "%s", ScratchDirectory().c_str());
    std::snprintf(g_exchange.temp_prefix, sizeof g_exchange.temp_prefix, "Z39");
    g_result_set = ResultSetState();
    g_session.wait_timeout = 30;
    g_session.target_options.clear();
}

void EndInput()
{
    ReleaseSession();
    ClearDirectory(ScratchDirectory(), false);
}

std::string InputText(const uint8_t *data, size_t size, size_t limit)
{
    const char *text = reinterpret_cast<const char *>(data);
    return std::string(text, strnlen(text, size < limit ? size : limit));
}

} // namespace fuzz
