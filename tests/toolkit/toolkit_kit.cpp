#include "tests/toolkit/toolkit_kit.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "assoc/transport.h"

int PeerPort(const char *environment, const char *name)
{
    const char *path = std::getenv(environment);
    std::ifstream in(path ? path : "");
    std::string s((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    size_t at = s.find(std::string("\"") + name + "\""); // "name": ["host", port]
    size_t end = at == std::string::npos ? at : s.find(']', at);
    size_t comma = end == std::string::npos ? end : s.rfind(',', end);
    return end == std::string::npos || comma < at ? 0 : std::atoi(s.c_str() + comma + 1);
}

DbvAssocId OpenAssociation(int port)
{
    DbvTargetInformation target = {OIA_Internet, {const_cast<char *>("127.0.0.1"), port}};
    DbvAssocId id = -1;
    int32_t status = 0;
    SIError *error = nullptr;
    if (SIAssociate(&target, nullptr, -1, &id, &status, &error) != SI_OK)
        id = -1;
    SIFreeError(error);
    return id;
}

DbvAssocId OpenScripted(const char *mode, const std::vector<unsigned char> &octets, size_t segment, int delayMs)
{
    DbvAssocId id = OpenAssociation(PeerPort("KESTRA_TARGETS_STATE", "scripted"));
    std::string script = std::string(mode) + " " + std::to_string(segment) + " " + std::to_string(delayMs) + "\n";
    char pair[3];
    for (unsigned char c : octets) {
        std::snprintf(pair, sizeof pair, "%02x", c);
        script += pair;
    }
    script += "\n";
    SIError *error = nullptr;
    if (SISendOctets(id, reinterpret_cast<const unsigned char *>(script.data()), static_cast<uint32_t>(script.size()),
                     &error) != SI_OK)
        id = -1;
    SIFreeError(error);
    return id;
}

int Abort(DbvAssocId id)
{
    SIError *error = nullptr;
    int result = DbvAbortRequest(id, &error);
    SIFreeError(error);
    return result;
}
