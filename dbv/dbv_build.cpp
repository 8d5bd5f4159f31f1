#include "dbv/dbv_build.h"

#include <cstring>

namespace dbv {

void *Allocate(size_t size)
{
    void *block = MemAlloc(size);
    if (!block)
        throw std::bad_alloc();
    return block;
}

DbvOctetString *Octets(const std::string &bytes)
{
    DbvOctetString *octets = New<DbvOctetString>();
    try {
        *octets = InlineOctets(bytes);
    } catch (const std::bad_alloc &) {
        MemFree(octets);
        throw;
    }
    return octets;
}

DbvOctetString InlineOctets(const std::string &bytes)
{
    DbvOctetString octets;
    octets.ulLength = static_cast<uint32_t>(bytes.size());
    octets.pbData = static_cast<unsigned char *>(Allocate(bytes.size() + 1));
    std::memcpy(octets.pbData, bytes.data(), bytes.size());
    return octets;
}

char *Text(const char *text)
{
    char *copy = static_cast<char *>(Allocate(std::strlen(text) + 1));
    std::strcpy(copy, text);
    return copy;
}

std::string TextOf(const DbvOctetString *octets)
{
    if (!octets || !octets->pbData)
        return std::string();
    const char *data = reinterpret_cast<const char *>(octets->pbData);
    const void *nul = std::memchr(data, '\0', octets->ulLength);
    return std::string(data, nul ? static_cast<const char *>(nul) - data : octets->ulLength);
}

} // namespace dbv
