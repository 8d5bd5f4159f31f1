// Building and reading DBV values from C++: zero-filled structures from the
// program's allocator, octet strings, texts and NULL-terminated lists, and
// the text of an octet string. Everything built here is released with the
// toolkit's free routines. An allocation that fails throws std::bad_alloc.
#ifndef KESTRA_DBV_DBV_BUILD_H
#define KESTRA_DBV_DBV_BUILD_H

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <string>

#include "dbv/dbv_desc.h"
#include "ui/mem.h"

namespace dbv {

// A zero-filled block of the given size.
void *Allocate(size_t size);

// A zero-filled structure: every optional field absent, every list empty.
template <typename T> T *New()
{
    return static_cast<T *>(Allocate(sizeof(T)));
}

// A new octet string holding the bytes, with a NUL after them.
DbvOctetString *Octets(const std::string &bytes);
// The same octets held inline, as in a structure's own field.
DbvOctetString InlineOctets(const std::string &bytes);
// A new NUL-terminated copy of the text.
char *Text(const char *text);

// A NULL-terminated list of the given entries.
template <typename T> T **List(std::initializer_list<T *> entries)
{
    T **list = static_cast<T **>(Allocate((entries.size() + 1) * sizeof(T *)));
    size_t i = 0;
    for (T *entry : entries)
        list[i++] = entry;
    return list;
}

// A value that releases itself with the toolkit's free routine of its type.
template <typename T> using Owned = std::unique_ptr<T, void (*)(T *)>;

// The octets as text, cut at the first NUL byte; empty when absent.
std::string TextOf(const DbvOctetString *octets);

} // namespace dbv

#endif
