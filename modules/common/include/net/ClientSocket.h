#ifndef ZR_NET_CLIENT_SOCKET_H
#define ZR_NET_CLIENT_SOCKET_H

#include <netinet/in.h>
#include <stdint.h>
#include <sys/socket.h>

#include "Exception.h"
#include "String.h"
#include "net/Deadline.h"

// Socket failures. The message starts with a code such as "EC_READ_TIMEOUT"
// (the text before the first colon) or is the system's error text.
class SocketException : public IOException {
public:
    SocketException() = default;
    using IOException::IOException;
};

// A resolved IPv4 address: the address word (network byte order), its
// dotted text and, once known, the host name.
class InetAddress {
public:
    // The address 0.0.0.0.
    InetAddress();
    explicit InetAddress(uint32_t address);
    // Copies the address; the host name is not copied (it is looked up again
    // when asked for).
    InetAddress(const InetAddress& other);
    InetAddress& operator=(const InetAddress& other);

    // Resolves a host name or dotted text; null when it does not resolve.
    // The caller owns the result. The host name is kept when it differs from
    // the dotted text.
    static InetAddress* getByName(const char* name);
    // Parses dotted text; null when it is not an address. Caller owns it.
    static InetAddress* getByAddress(const char* dotted);

    // The host name; when unknown, a reverse lookup is tried once per call
    // until it succeeds (a failure gives the empty text).
    String getHostName();
    const String& getHostAddress() const { return hostAddress; }
    uint32_t getAddress() const { return address; }

private:
    uint32_t address;
    String hostAddress;
    String hostName;
};

// An IPv4 socket address (address and port) with the resolved host it was
// made from; the host record is null when resolution failed.
class InetSocketAddress {
public:
    InetSocketAddress(const InetAddress& address, int port);
    // Resolves `host`; when that fails getAddress() is null and the address
    // word stays 0.
    InetSocketAddress(const char* host, int port);
    // The any-address 0 with the given port.
    explicit InetSocketAddress(int port);
    explicit InetSocketAddress(const sockaddr_in& raw);
    InetSocketAddress(const InetSocketAddress& other);
    InetSocketAddress& operator=(const InetSocketAddress& other);
    ~InetSocketAddress();

    InetAddress* getAddress() const { return address; }
    const sockaddr_in& getSockAddr() const { return sockaddr; }
    // Host byte order.
    int getPort() const;

private:
    sockaddr_in sockaddr;
    InetAddress* address;
};

// IPv4 TCP client endpoint: connects, reads and writes with a time-out and
// reports every failure as a SocketException whose message begins with an
// error code. Every wait is a poll() on the one descriptor, so descriptors at
// or above FD_SETSIZE work.
//
// The time-out is in milliseconds but honoured in whole seconds (2500 waits
// 2 s; below 1000 checks readiness without waiting); negative waits without
// limit. It bounds each single wait; a peer that sends or takes a byte now
// and then wakes every wait in time, so the caller also sets a bound on the
// waits that follow as a whole (limitWaits) or a minimum rate (requireRate).
// A wait cut short by either throws the time-out code of the operation.
// Writes never block: each send takes what the socket can hold now.
//
// A TLS socket derives from this class and replaces open, write, read and
// close.
class ClientSocket {
public:
    static const int SOCKET_NEW = 0;
    static const int SOCKET_CONNECTED = 1;
    static const int SOCKET_CLOSED = 2;

    ClientSocket(const InetAddress& address, int port);
    explicit ClientSocket(const InetSocketAddress& address);
    // Resolves `host` now; a host that does not resolve fails in open().
    ClientSocket(const char* host, int port);
    // Wraps an already connected descriptor without owning it: close() and
    // the destructor leave it open.
    explicit ClientSocket(int fd);
    ClientSocket(const ClientSocket&) = delete;
    ClientSocket& operator=(const ClientSocket&) = delete;
    virtual ~ClientSocket();

    // Connects with the time-out. 0 on success, -1 (nothing done) when the
    // socket is not new; failures throw SocketException.
    virtual int open();
    // Waits until the descriptor is writable, then one send() of what the
    // socket takes without blocking; a short count is returned as it is. -1
    // for a null buffer or len < 1, or a failed send.
    virtual int write(const char* buf, int len);
    // Waits until the descriptor is readable, then one recv(): bytes read, 0
    // at the end of the stream, -1 for a failed recv (or null buf / len < 1).
    virtual int read(char* buf, int len);
    // Closes an owned, connected descriptor; always forgets the local address.
    virtual void close();

    int getFd() const { return fd; }
    void setTimeout(int ms) { timeout = ms; }
    int getTimeout() const { return timeout; }
    bool isConnected() const { return state == SOCKET_CONNECTED; }
    bool isClosed() const { return state == SOCKET_CLOSED; }
    void setOwnsFd(bool owns) { ownsFd = owns; }
    InetAddress* getInetAddress() const;
    InetAddress* getLocalAddress() const;
    int getSockOpt(int level, int name, void* value, socklen_t* length) const;
    int setSockOpt(int level, int name, const void* value, socklen_t length);
    void setBlocking(bool blocking);

    // The waits from now on must all be over within `ms` (negative: only
    // the time-out of each wait bounds them).
    void limitWaits(int ms);
    // From now on, each `periodMs` must move at least `bytes` (read or
    // written): the bound moves `periodMs` ahead each time they have moved.
    // A slow transfer goes on as long as it keeps that rate. A negative
    // period sets no bound.
    void requireRate(int bytes, int periodMs);

protected:
    // Waits for `events` (POLLIN / POLLOUT) on the descriptor within the
    // time-out: 1 ready, 0 timed out, -1 failed (errno set; an interrupted
    // wait counts as failed).
    int waitFor(short events) const;
    // The same within `ms` milliseconds (negative: no limit), for callers
    // that count down a deadline of their own (the TLS handshake).
    int waitFor(short events, int ms) const;
    // The bound set by limitWaits or requireRate.
    const Deadline& waitsBound() const { return bound; }
    // Counts bytes moved towards the rate of requireRate.
    void noteMoved(int count);

    int fd;
    InetSocketAddress* remote;
    InetSocketAddress* local;
    int timeout;
    bool ownsFd;
    int state;

private:
    Deadline bound{-1};
    // Rate rule: bytes due per period (0: none), the period, and the bytes
    // moved since the bound last moved.
    int rateBytes = 0;
    int ratePeriod = -1;
    long movedInPeriod = 0;

    // Waits for `events` within the time-out; a failed wait throws
    // `failCode`, a timed-out one `timeoutCode` (both logged as `where`).
    void awaitReady(short events, const char* where, const char* failCode,
                    const char* timeoutCode) const;
    void init(InetSocketAddress* remoteAddress);
    void fillRemoteAddress();
    void fillLocalAddress();
};

#endif
