// Received PDUs through the client's whole receive path. A loopback target
// answers the one connection of each input with the input's octets and
// then closes its side, while the request service runs a session against
// it: INITIALIZE, SEARCH, PRESENT, SCAN and CLOSE. Each answer is read off
// the socket, decoded, fed to the state machine, converted, traced at
// Trace_High and handed to its operation, which renders the records (MARC,
// OPAC, SUTRS, Summary, and GRS-1 with the tag-name table written into the
// working directory). The seeds are such sessions: an initResponse, a
// searchResponse, a presentResponse and a scanResponse in a row.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

#include "assoc/assoc_table.h"
#include "diag/trace.h"
#include "fuzz/fuzz_kit.h"
#include "retrieval/retrieval.h"
#include "session/session.h"
#include "service/service.h"

namespace {

// The association every input's session gets, traced at the highest level.
const DbvAssocId kTracedAssociation = 1;

// The tag-name table of the GRS-1 renderer: names shown and hidden, for
// each numeric tag type.
const char kTagNameTable[] = "# tag type, tag value, name, shown\n"
                             "2 1 Title True\n"
                             "2 2 \"Author name\" True\n"
                             "1 14 Identifier True\n"
                             "4 1 Local True\n"
                             "5 3 Hidden False\n"
                             "6 2 Other True\n";

struct LoopbackTarget {
    int listener = -1;
    uint16_t port = 0;
    std::mutex lock;
    std::string answer; // what the next connection is sent
};

LoopbackTarget g_target;

// Sends the answer, closes the sending side and reads what the client sends
// until it leaves; connection after connection.
void Serve()
{
    for (;;) {
        int connection = accept(g_target.listener, nullptr, nullptr);
        if (connection < 0)
            continue;
        std::string answer;
        {
            std::lock_guard<std::mutex> hold(g_target.lock);
            answer = g_target.answer;
        }
        for (size_t sent = 0; sent < answer.size();) {
            ssize_t count = send(connection, answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
            if (count <= 0)
                break;
            sent += static_cast<size_t>(count);
        }
        shutdown(connection, SHUT_WR);
        char drained[4096];
        while (recv(connection, drained, sizeof drained, 0) > 0) {
        }
        close(connection);
    }
}

void StartTarget()
{
    g_target.listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (g_target.listener < 0 || bind(g_target.listener, reinterpret_cast<sockaddr *>(&address), length) != 0 ||
        listen(g_target.listener, 4) != 0 ||
        getsockname(g_target.listener, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        std::abort();
    g_target.port = ntohs(address.sin_port);
    std::thread(Serve).detach();
}

std::string SessionRequests()
{
    char initialize[200];
    std::snprintf(initialize, sizeof initialize,
                  "RequestType:INITIALIZE Server:127.0.0.1 Port:%u QueryTimeout:5 PreferredMessageSize:1000000 "
                  "MaximumMessageSize:1000000\n",
                  static_cast<unsigned>(g_target.port));
    return std::string(initialize) +
           "RequestType:SEARCH Query:@use=4@term=computer Terms:1\n"
           "RequestType:PRESENT StartFrom:1 Records:1 RecordSyntax:USMARC\n"
           "RequestType:SCAN Query:computer Records:5\n"
           "RequestType:CLOSE\n";
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::ScratchDirectory();
    if (std::FILE *table = std::fopen("grsbrief.tbl", "w")) {
        std::fputs(kTagNameTable, table);
        std::fclose(table);
    }
    StartTarget();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::ResetService();
    {
        std::lock_guard<std::mutex> hold(g_target.lock);
        g_target.answer.assign(reinterpret_cast<const char *>(data), size);
    }
    AssocSetNextId(kTracedAssociation);
    TraceRemove(kTracedAssociation);
    TraceAdd(kTracedAssociation, fuzz::Sink(), Trace_High);
    QueueRequestText(SessionRequests());
    ProcessRequests();
    fuzz::EndInput();
    TraceRemove(kTracedAssociation);
    return 0;
}
