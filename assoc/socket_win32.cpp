// Windows Sockets 1.1 behind the transport seam.
#include "assoc/socket.h"

#include <windows.h>
#include <winsock.h>

#include <cerrno>

namespace {

const WORD kVersion11 = 257;
bool startedUp;

SOCKET Sock(SocketHandle socket)
{
    return static_cast<SOCKET>(socket);
}

} // namespace

void SocketStartup(void)
{
    if (startedUp)
        return;
    startedUp = true; // not retried: the connect goes on and reports its own failure
    WSADATA data;
    if (WSAStartup(kVersion11, &data) != 0) {
        MessageBoxA(nullptr, "couldn`t find winsock.dll\n", "Info", MB_OK);
        MessageBoxA(nullptr, "couldnt start up winsock 1.1\n", "Info", MB_OK);
    }
}

int SocketLastError(void)
{
    return WSAGetLastError();
}

SocketErrorKind SocketErrorKindOf(int error)
{
    switch (error) {
    case WSAEWOULDBLOCK:
        return SOCKET_ERROR_WOULD_BLOCK;
    case WSAEALREADY:
    case 11:
        return SOCKET_ERROR_ALREADY;
    case WSAEISCONN:
        return SOCKET_ERROR_IS_CONNECTED;
    case WSAEINTR:
    case EINTR:
        return SOCKET_ERROR_INTERRUPTED;
    default:
        return SOCKET_ERROR_OTHER;
    }
}

int SocketResolve(const char *host, uint32_t *address, int *family)
{
    unsigned long dotted = inet_addr(host);
    if (dotted != INADDR_NONE) {
        *address = static_cast<uint32_t>(dotted);
        *family = AF_INET;
        return 0;
    }
    const hostent *entry = gethostbyname(host);
    if (!entry || entry->h_length != 4 || !entry->h_addr_list[0])
        return -1;
    CopyMemory(address, entry->h_addr_list[0], 4);
    *family = entry->h_addrtype;
    return 0;
}

int SocketOpenStream(int family, SocketHandle *socket)
{
    SOCKET s = ::socket(family, SOCK_STREAM, 0);
    if (s == INVALID_SOCKET)
        return -1;
    *socket = static_cast<SocketHandle>(s);
    return 0;
}

int SocketConnect(SocketHandle socket, int family, uint32_t address, uint16_t port)
{
    sockaddr_in to{};
    to.sin_family = static_cast<short>(family);
    to.sin_port = htons(port);
    to.sin_addr.s_addr = address;
    return connect(Sock(socket), reinterpret_cast<const sockaddr *>(&to), sizeof to) == 0 ? 0 : -1;
}

int SocketSetNonBlocking(SocketHandle socket)
{
    u_long on = 1;
    return ioctlsocket(Sock(socket), FIONBIO, &on) == 0 ? 0 : -1;
}

int SocketSetReceiveBuffer(SocketHandle socket, uint32_t octets)
{
    int size = octets > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(octets);
    return setsockopt(Sock(socket), SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char *>(&size), sizeof size) == 0
               ? 0
               : -1;
}

int SocketClose(SocketHandle socket)
{
    return closesocket(Sock(socket)) == 0 ? 0 : -1;
}

long SocketSend(SocketHandle socket, const unsigned char *octets, size_t count)
{
    int chunk = count > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(count);
    return send(Sock(socket), reinterpret_cast<const char *>(octets), chunk, 0);
}

long SocketReceive(SocketHandle socket, unsigned char *octets, size_t count, int peek)
{
    int chunk = count > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(count);
    return recv(Sock(socket), reinterpret_cast<char *>(octets), chunk, peek ? MSG_PEEK : 0);
}

long SocketAvailable(SocketHandle socket)
{
    u_long arrived = 0;
    if (ioctlsocket(Sock(socket), FIONREAD, &arrived) != 0)
        return 0;
    return arrived > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<long>(arrived);
}

int SocketPoll(SocketPollEntry *entries, size_t count, int64_t timeoutMicros)
{
    if (count > SOCKET_SET_SIZE)
        count = SOCKET_SET_SIZE;
    fd_set readers;
    fd_set writers;
    FD_ZERO(&readers);
    FD_ZERO(&writers);
    for (size_t i = 0; i < count; i++) {
        if (entries[i].wanted & SOCKET_READABLE)
            FD_SET(Sock(entries[i].socket), &readers);
        if (entries[i].wanted & SOCKET_WRITABLE)
            FD_SET(Sock(entries[i].socket), &writers);
    }
    timeval limit;
    limit.tv_sec = static_cast<long>(timeoutMicros / 1000000);
    limit.tv_usec = static_cast<long>(timeoutMicros % 1000000);
    if (select(0, &readers, &writers, nullptr, timeoutMicros < 0 ? nullptr : &limit) == SOCKET_ERROR)
        return -1;
    int ready = 0;
    for (size_t i = 0; i < count; i++) {
        entries[i].ready = (FD_ISSET(Sock(entries[i].socket), &readers) ? SOCKET_READABLE : 0) |
                           (FD_ISSET(Sock(entries[i].socket), &writers) ? SOCKET_WRITABLE : 0);
        ready += entries[i].ready != 0;
    }
    return ready;
}
