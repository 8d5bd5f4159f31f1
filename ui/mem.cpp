// What the allocator offers on every platform beside the three calls.
#include "ui/mem.h"

#include <cstring>

extern "C" char *CopyText(const char *text)
{
    size_t size = std::strlen(text) + 1;
    char *copy = static_cast<char *>(MemAlloc(size));
    if (copy)
        std::memcpy(copy, text, size);
    return copy;
}
