/* The thin seam between the association layer and the platform's sockets:
 * Windows Sockets 1.1 on Windows (socket_win32.cpp), BSD sockets elsewhere
 * (socket_posix.cpp). Errors are the platform's own numbers, read with
 * SocketLastError right after the failing call; SocketErrorKindOf sorts out
 * the few that the callers act on. */
#ifndef KESTRA_ASSOC_SOCKET_H
#define KESTRA_ASSOC_SOCKET_H

#include <stddef.h>
#include <stdint.h>

typedef uintptr_t SocketHandle;

typedef enum SocketErrorKind {
    SOCKET_ERROR_OTHER,
    SOCKET_ERROR_WOULD_BLOCK,  /* also a non-blocking connect under way */
    SOCKET_ERROR_ALREADY,      /* a second connect while the first is under way */
    SOCKET_ERROR_IS_CONNECTED,
    SOCKET_ERROR_INTERRUPTED
} SocketErrorKind;

enum { SOCKET_READABLE = 1, SOCKET_WRITABLE = 2 };

/* At most this many entries are watched by one SocketPoll. */
enum { SOCKET_SET_SIZE = 64 };

typedef struct SocketPollEntry {
    SocketHandle socket;
    int wanted; /* SOCKET_READABLE and/or SOCKET_WRITABLE */
    int ready;  /* what the poll found */
} SocketPollEntry;

/* Starts the sockets library; runs its work once per process. */
void SocketStartup(void);

int SocketLastError(void);
SocketErrorKind SocketErrorKindOf(int error);

/* Dotted text or a host name to an address in network order and its
 * family. 0 on success, -1 when the host is unknown. */
int SocketResolve(const char *host, uint32_t *address, int *family);

/* 0 with the new stream socket, or -1. */
int SocketOpenStream(int family, SocketHandle *socket);
/* 0 when connected, else -1. */
int SocketConnect(SocketHandle socket, int family, uint32_t address, uint16_t port);
int SocketSetNonBlocking(SocketHandle socket);
/* Asks the system to buffer this many received octets; 0 when it agreed, else -1. */
int SocketSetReceiveBuffer(SocketHandle socket, uint32_t octets);
/* 0 when closed, else -1. */
int SocketClose(SocketHandle socket);

/* Octets sent or received, -1 on error; a receive of 0 means the peer closed. */
long SocketSend(SocketHandle socket, const unsigned char *octets, size_t count);
long SocketReceive(SocketHandle socket, unsigned char *octets, size_t count, int peek);
/* Octets that have arrived and can be received without waiting; 0 when
 * none or on error. */
long SocketAvailable(SocketHandle socket);

/* Waits up to timeoutMicros (negative: without limit) until one of the
 * first SOCKET_SET_SIZE entries is ready as wanted; the rest are not
 * watched. The number of ready entries, or -1 on error. */
int SocketPoll(SocketPollEntry *entries, size_t count, int64_t timeoutMicros);

#endif
