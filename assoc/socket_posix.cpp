// BSD sockets behind the transport seam.
#include "assoc/socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace {

int Fd(SocketHandle socket)
{
    return static_cast<int>(socket);
}

} // namespace

void SocketStartup(void)
{
}

int SocketLastError(void)
{
    return errno;
}

SocketErrorKind SocketErrorKindOf(int error)
{
    if (error == EWOULDBLOCK || error == EAGAIN || error == EINPROGRESS)
        return SOCKET_ERROR_WOULD_BLOCK;
    if (error == EALREADY)
        return SOCKET_ERROR_ALREADY;
    if (error == EISCONN)
        return SOCKET_ERROR_IS_CONNECTED;
    if (error == EINTR)
        return SOCKET_ERROR_INTERRUPTED;
    return SOCKET_ERROR_OTHER;
}

int SocketResolve(const char *host, uint32_t *address, int *family)
{
    in_addr_t dotted = inet_addr(host);
    if (dotted != INADDR_NONE) {
        *address = dotted;
        *family = AF_INET;
        return 0;
    }
    const hostent *entry = gethostbyname(host);
    if (!entry || entry->h_length != 4 || !entry->h_addr_list[0])
        return -1;
    std::memcpy(address, entry->h_addr_list[0], 4);
    *family = entry->h_addrtype;
    return 0;
}

int SocketOpenStream(int family, SocketHandle *socket)
{
    int fd = ::socket(family, SOCK_STREAM, 0);
    if (fd < 0)
        return -1;
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    *socket = static_cast<SocketHandle>(fd);
    return 0;
}

int SocketConnect(SocketHandle socket, int family, uint32_t address, uint16_t port)
{
    sockaddr_in to{};
    to.sin_family = static_cast<sa_family_t>(family);
    to.sin_port = htons(port);
    to.sin_addr.s_addr = address;
    return connect(Fd(socket), reinterpret_cast<const sockaddr *>(&to), sizeof to) == 0 ? 0 : -1;
}

int SocketSetNonBlocking(SocketHandle socket)
{
    int flags = fcntl(Fd(socket), F_GETFL);
    return flags < 0 || fcntl(Fd(socket), F_SETFL, flags | O_NONBLOCK) < 0 ? -1 : 0;
}

int SocketSetReceiveBuffer(SocketHandle socket, uint32_t octets)
{
    int size = octets > INT32_MAX ? INT32_MAX : static_cast<int>(octets);
    return setsockopt(Fd(socket), SOL_SOCKET, SO_RCVBUF, &size, sizeof size) == 0 ? 0 : -1;
}

int SocketClose(SocketHandle socket)
{
    return close(Fd(socket)) == 0 ? 0 : -1;
}

long SocketSend(SocketHandle socket, const unsigned char *octets, size_t count)
{
    // A peer that has gone must give an error, not a signal.
    return static_cast<long>(send(Fd(socket), octets, count, MSG_NOSIGNAL));
}

long SocketReceive(SocketHandle socket, unsigned char *octets, size_t count, int peek)
{
    return static_cast<long>(recv(Fd(socket), octets, count, peek ? MSG_PEEK : 0));
}

long SocketAvailable(SocketHandle socket)
{
    int arrived = 0;
    return ioctl(Fd(socket), FIONREAD, &arrived) == 0 && arrived > 0 ? arrived : 0;
}

int SocketPoll(SocketPollEntry *entries, size_t count, int64_t timeoutMicros)
{
    if (count > SOCKET_SET_SIZE)
        count = SOCKET_SET_SIZE;
    pollfd fds[SOCKET_SET_SIZE];
    for (size_t i = 0; i < count; i++) {
        fds[i].fd = Fd(entries[i].socket);
        fds[i].events = static_cast<short>(((entries[i].wanted & SOCKET_READABLE) ? POLLIN : 0) |
                                           ((entries[i].wanted & SOCKET_WRITABLE) ? POLLOUT : 0));
        fds[i].revents = 0;
    }
    int64_t rounded = timeoutMicros < 0 ? -1 : (timeoutMicros + 999) / 1000;
    int milliseconds = static_cast<int>(rounded > INT32_MAX ? INT32_MAX : rounded);
    int n = poll(fds, count, milliseconds);
    if (n < 0)
        return -1;
    int ready = 0;
    for (size_t i = 0; i < count; i++) {
        if (fds[i].revents & POLLNVAL) {
            errno = EBADF; // as select reports a descriptor that is not open
            return -1;
        }
        // A hang-up or error counts as readable: the next read tells which.
        bool readable = fds[i].revents & (POLLIN | POLLHUP | POLLERR);
        bool writable = fds[i].revents & (POLLOUT | POLLERR);
        entries[i].ready = ((entries[i].wanted & SOCKET_READABLE) && readable ? SOCKET_READABLE : 0) |
                           ((entries[i].wanted & SOCKET_WRITABLE) && writable ? SOCKET_WRITABLE : 0);
        ready += entries[i].ready != 0;
    }
    return ready;
}
