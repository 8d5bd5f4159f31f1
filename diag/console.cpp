#include "diag/console.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ui/mem.h"

namespace {

const char kBell = 7;
size_t allocatedBytes;

} // namespace

extern "C" {

void ReportUtilityError(int severity, const char *message, const char *context)
{
    if (severity == UTILITY_FATAL) {
        std::printf("%c%s:%s\n", kBell, context, message);
        std::fflush(stdout);
        std::exit(-1);
    }
    std::printf("%c%s:%s", kBell, context, message);
    if (severity != UTILITY_ASK) {
        std::fflush(stdout);
        return;
    }
    std::printf("Do you wish to continue? [Y or N]");
    std::fflush(stdout);
    int answer = std::getchar();
    if (answer == 'N' || answer == 'n')
        std::exit(-1);
    for (int c = answer; c != '\n' && c != EOF;)
        c = std::getchar();
}

void *CountedAlloc(size_t size, const char *context)
{
    void *block = MemAlloc(size);
    if (!block)
        ReportUtilityError(UTILITY_FATAL, "Out of memory", context);
    allocatedBytes += size;
    return block;
}

char *CountedStrDup(const char *text)
{
    size_t size = std::strlen(text) + 1;
    char *copy = static_cast<char *>(CountedAlloc(size, "STR1"));
    std::memcpy(copy, text, size);
    return copy;
}

size_t CountedAllocatedBytes(void)
{
    return allocatedBytes;
}

} // extern "C"
