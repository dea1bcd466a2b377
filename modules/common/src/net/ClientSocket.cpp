#include "net/ClientSocket.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

#include "util/Log.h"

namespace {
const char* const kUnit = "net/ClientSocket";

[[noreturn]] void fail(const char* code, int line) {
    zrThrow<SocketException>(code, kUnit, line);
}
#define SOCKET_FAIL(code) fail((code), __LINE__)

void debug(const char* where, const char* what) {
    String line(where);
    line.append(what);
    Log::getLog()->log(line, Log::LEVEL_DEBUG);
}

String dottedText(uint32_t address) {
    in_addr a;
    a.s_addr = address;
    return String(inet_ntoa(a));
}
}  // namespace

// ------------------------------------------------------------- InetAddress

InetAddress::InetAddress() : address(0), hostAddress(dottedText(0)) {}

InetAddress::InetAddress(uint32_t address) : address(address), hostAddress(dottedText(address)) {}

InetAddress::InetAddress(const InetAddress& other)
    : address(other.address), hostAddress(other.hostAddress) {}

InetAddress& InetAddress::operator=(const InetAddress& other) {
    address = other.address;
    hostAddress = other.hostAddress;
    hostName.clear();
    return *this;
}

InetAddress* InetAddress::getByName(const char* name) {
    if (name == nullptr) return nullptr;
    hostent* entry = gethostbyname(name);
    if (entry == nullptr || entry->h_addr_list[0] == nullptr) return nullptr;
    uint32_t word;
    memcpy(&word, entry->h_addr_list[0], sizeof word);
    InetAddress* result = new InetAddress(word);
    if (strcmp(result->hostAddress.c_str(), name) != 0) result->hostName = name;
    return result;
}

InetAddress* InetAddress::getByAddress(const char* dotted) {
    if (dotted == nullptr) return nullptr;
    in_addr_t word = inet_addr(dotted);
    return word == INADDR_NONE ? nullptr : new InetAddress(word);
}

String InetAddress::getHostName() {
    if (hostName.isEmpty()) {
        in_addr_t word = inet_addr(hostAddress.c_str());
        hostent* entry = gethostbyaddr(&word, 4, AF_INET);
        if (entry != nullptr && entry->h_name != nullptr) hostName = entry->h_name;
    }
    return hostName;
}

// ------------------------------------------------------- InetSocketAddress

namespace {
sockaddr_in makeSockAddr(uint32_t address, int port) {
    sockaddr_in raw;
    memset(&raw, 0, sizeof raw);
    raw.sin_family = AF_INET;
    raw.sin_port = htons(static_cast<uint16_t>(port));
    raw.sin_addr.s_addr = address;
    return raw;
}
}  // namespace

InetSocketAddress::InetSocketAddress(const InetAddress& address, int port)
    : sockaddr(makeSockAddr(address.getAddress(), port)),
      address(new InetAddress(address.getAddress())) {}

InetSocketAddress::InetSocketAddress(const char* host, int port)
    : sockaddr(makeSockAddr(0, port)), address(InetAddress::getByName(host)) {
    if (address != nullptr) sockaddr.sin_addr.s_addr = address->getAddress();
}

InetSocketAddress::InetSocketAddress(int port)
    : sockaddr(makeSockAddr(0, port)), address(new InetAddress()) {}

InetSocketAddress::InetSocketAddress(const sockaddr_in& raw)
    : sockaddr(raw), address(new InetAddress(raw.sin_addr.s_addr)) {}

InetSocketAddress::InetSocketAddress(const InetSocketAddress& other)
    : sockaddr(other.sockaddr),
      address(other.address ? new InetAddress(*other.address) : nullptr) {}

InetSocketAddress& InetSocketAddress::operator=(const InetSocketAddress& other) {
    if (this != &other) {
        InetAddress* copy = other.address ? new InetAddress(*other.address) : nullptr;
        delete address;
        address = copy;
        sockaddr = other.sockaddr;
    }
    return *this;
}

InetSocketAddress::~InetSocketAddress() {
    delete address;
}

int InetSocketAddress::getPort() const {
    return ntohs(sockaddr.sin_port);
}

// ------------------------------------------------------------ ClientSocket

ClientSocket::ClientSocket(const InetAddress& address, int port) {
    init(new InetSocketAddress(address, port));
}

ClientSocket::ClientSocket(const InetSocketAddress& address) {
    init(new InetSocketAddress(address));
}

ClientSocket::ClientSocket(const char* host, int port) {
    init(new InetSocketAddress(host, port));
}

ClientSocket::ClientSocket(int fd)
    : fd(fd), remote(nullptr), local(nullptr), timeout(-1), ownsFd(false), state(SOCKET_CONNECTED) {
    fillRemoteAddress();
    try {
        fillLocalAddress();
    } catch (...) {
        delete remote;
        throw;
    }
}

// Close-on-exec so that install scripts started later do not inherit it.
void ClientSocket::init(InetSocketAddress* remoteAddress) {
    remote = remoteAddress;
    local = nullptr;
    timeout = -1;
    ownsFd = true;
    state = SOCKET_NEW;
    fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        delete remote;
        SOCKET_FAIL("cannot get socket fd");
    }
}

ClientSocket::~ClientSocket() {
    // The plain close: a derived socket releases its own state in its
    // destructor, before this one runs.
    ClientSocket::close();
    delete remote;
    delete local;
}

void ClientSocket::close() {
    if (state == SOCKET_CLOSED) return;
    // A socket that never connected still holds the descriptor its
    // constructor made: it is released too, so failed connects do not leak.
    if (ownsFd && fd >= 0) {
        ::close(fd);
        fd = -1;
    }
    delete local;
    local = nullptr;
    state = SOCKET_CLOSED;
}

int ClientSocket::waitFor(short events) const {
    // Whole seconds, as the time-out has always been honoured; the bound of
    // the waits as a whole counts in full milliseconds. Once that bound has
    // passed no wait succeeds, even on a descriptor that is ready at once.
    if (bound.remaining() == 0) return 0;
    return waitFor(events, bound.cap(timeout < 0 ? -1 : (timeout / 1000) * 1000));
}

void ClientSocket::limitWaits(int ms) {
    bound = Deadline(ms);
    rateBytes = 0;
}

void ClientSocket::requireRate(int bytes, int periodMs) {
    bound = Deadline(periodMs);
    rateBytes = periodMs < 0 ? 0 : bytes;
    ratePeriod = periodMs;
    movedInPeriod = 0;
}

void ClientSocket::noteMoved(int count) {
    if (rateBytes <= 0 || count <= 0) return;
    movedInPeriod += count;
    if (movedInPeriod < rateBytes) return;
    bound = Deadline(ratePeriod);
    movedInPeriod = 0;
}

int ClientSocket::waitFor(short events, int ms) const {
    pollfd one;
    one.fd = fd;
    one.events = events;
    one.revents = 0;
    int ready = ::poll(&one, 1, ms);
    if (ready <= 0) return ready;
    // A descriptor that is not a socket at all is a failed wait; an error or
    // hang-up is left for the following call to report.
    if (one.revents & POLLNVAL) {
        errno = EBADF;
        return -1;
    }
    return 1;
}

int ClientSocket::open() {
    if (state != SOCKET_NEW) return -1;
    if (remote == nullptr || remote->getAddress() == nullptr ||
        remote->getAddress()->getHostAddress().isEmpty()) {
        SOCKET_FAIL("EC_INVALID_HOST: invalid remote host");
    }
    setBlocking(false);
    const sockaddr_in& target = remote->getSockAddr();
    int result = ::connect(fd, reinterpret_cast<const sockaddr*>(&target), sizeof target);
    if (result == -1 && errno != EINPROGRESS) {
        debug("ClientSocket::open: ", strerror(errno));
        SOCKET_FAIL("EC_CONNECT_FAILED: connecting failed");
    }
    setBlocking(true);
    if (result != 0) {
        int ready = waitFor(POLLOUT);
        if (ready == 0) {
            debug("ClientSocket::open: ", "timeouted");
            SOCKET_FAIL("EC_CONNECT_TIMEOUT: connecting timeout");
        }
        if (ready < 0) {
            debug("ClientSocket::open: ", strerror(errno));
            SOCKET_FAIL("EC_CONNECT_FAILED: connecting failed");
        }
        int error = -1;
        socklen_t length = sizeof error;
        if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
            SOCKET_FAIL("EC_CONNECT_FAILED: connecting failed");
        }
        switch (error) {
            case 0:
            case EISCONN:
                break;
            case ECONNREFUSED:
            case ECONNRESET:
                SOCKET_FAIL("EC_CONNECT_REFUSED: connecting refused failed");
            case ETIMEDOUT:
                SOCKET_FAIL("EC_CONNECT_TIMEOUT: connecting timeout failed");
            default:
                SOCKET_FAIL("EC_CONNECT_FAILED: connecting failed");
        }
    }
    fillLocalAddress();
    state = SOCKET_CONNECTED;
    return 0;
}

void ClientSocket::awaitReady(short events, const char* where, const char* failCode,
                              const char* timeoutCode) const {
    int ready = waitFor(events);
    if (ready < 0) {
        debug(where, strerror(errno));
        SOCKET_FAIL(failCode);
    }
    if (ready == 0) {
        debug(where, "timeouted");
        SOCKET_FAIL(timeoutCode);
    }
}

int ClientSocket::read(char* buf, int len) {
    if (buf == nullptr || len <= 0) return -1;
    awaitReady(POLLIN, "ClientSocket::read: ", "EC_READ_FAILED: reading data from socket failed",
               "EC_READ_TIMEOUT: reading data from socket timeout");
    int got = static_cast<int>(::recv(fd, buf, static_cast<size_t>(len), 0));
    noteMoved(got);
    return got;
}

int ClientSocket::write(const char* buf, int len) {
    if (buf == nullptr || len <= 0) return -1;
    for (;;) {
        awaitReady(POLLOUT,
                   "ClientSocket::write: ", "EC_WRITE_FAILED: sending data on socket failed",
                   "EC_WRITE_TIMEOUT: sending data on socket timeout");
        // MSG_DONTWAIT: a peer that stops reading cannot hold a large send
        // past the bound; what does not fit now is the caller's next piece.
        // MSG_NOSIGNAL: a peer that went away gives -1 (EPIPE) here instead
        // of a signal, whether or not the program ignores SIGPIPE.
        ssize_t sent = ::send(fd, buf, static_cast<size_t>(len), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) continue;
        noteMoved(static_cast<int>(sent));
        return static_cast<int>(sent);
    }
}

InetAddress* ClientSocket::getInetAddress() const {
    return remote ? remote->getAddress() : nullptr;
}

InetAddress* ClientSocket::getLocalAddress() const {
    return local ? local->getAddress() : nullptr;
}

int ClientSocket::getSockOpt(int level, int name, void* value, socklen_t* length) const {
    return ::getsockopt(fd, level, name, value, length);
}

int ClientSocket::setSockOpt(int level, int name, const void* value, socklen_t length) {
    return ::setsockopt(fd, level, name, value, length);
}

void ClientSocket::setBlocking(bool blocking) {
    int flags = fcntl(fd, F_GETFL);
    if (flags < 0) return;
    fcntl(fd, F_SETFL, blocking ? (flags & ~O_NONBLOCK) : (flags | O_NONBLOCK));
}

namespace {
InetSocketAddress* addressOf(int fd, int (*query)(int, sockaddr*, socklen_t*)) {
    sockaddr_in raw;
    socklen_t length = sizeof raw;
    if (query(fd, reinterpret_cast<sockaddr*>(&raw), &length) != 0) {
        zrThrow<SocketException>(strerror(errno), kUnit, __LINE__);
    }
    return new InetSocketAddress(raw);
}
}  // namespace

void ClientSocket::fillRemoteAddress() {
    if (remote == nullptr) remote = addressOf(fd, ::getpeername);
}

void ClientSocket::fillLocalAddress() {
    if (local == nullptr) local = addressOf(fd, ::getsockname);
}
