// The heap with a size header in front of each block, so that a grown
// block's new part can be zeroed as the Windows allocator does.
#include "ui/mem.h"

#include <cstdlib>
#include <cstring>

namespace {

union Header {
    size_t size;
    max_align_t align;
};

Header *HeaderOf(void *block)
{
    return static_cast<Header *>(block) - 1;
}

} // namespace

extern "C" void *MemAlloc(size_t size)
{
    if (size == 0)
        size = 1;
    if (size > static_cast<size_t>(-1) - sizeof(Header))
        return nullptr;
    auto *header = static_cast<Header *>(std::calloc(1, sizeof(Header) + size));
    if (!header)
        return nullptr;
    header->size = size;
    return header + 1;
}

extern "C" void *MemRealloc(void *block, size_t size)
{
    if (!block)
        return MemAlloc(size);
    if (size == 0)
        size = 1;
    if (size > static_cast<size_t>(-1) - sizeof(Header))
        return nullptr;
    size_t old_size = HeaderOf(block)->size;
    auto *header = static_cast<Header *>(std::realloc(HeaderOf(block), sizeof(Header) + size));
    if (!header)
        return nullptr;
    if (size > old_size)
        std::memset(reinterpret_cast<char *>(header + 1) + old_size, 0, size - old_size);
    header->size = size;
    return header + 1;
}

extern "C" void MemFree(void *block)
{
    if (block)
        std::free(HeaderOf(block));
}
