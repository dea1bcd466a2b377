#include "net/SSLClientSocket.h"

#include <errno.h>
#include <poll.h>

#include "net/Deadline.h"
#include "net/SSL.h"

namespace {
const char* const kUnit = "net/SSLClientSocket";

const char* const kReadTimeout =
    "EC_READ_TIMEOUT: SSLClintSocket: reading data from socket timeout";
const char* const kReadFailed = "EC_READ_FAILED: SSLClintSocket: reading data from socket failed";
const char* const kWriteTimeout =
    "EC_WRITE_TIMEOUT: SSLClintSocket: sending data on socket timeout";
const char* const kWriteFailed = "EC_WRITE_FAILED: SSLClintSocket: sending data on socket failed";

[[noreturn]] void fail(const char* code, int line) {
    zrThrow<SocketException>(code, kUnit, line);
}
}  // namespace

SSLClientSocket::SSLClientSocket(const InetAddress& address, int port)
    : ClientSocket(address, port), client(new SSLClient()) {}

SSLClientSocket::SSLClientSocket(const InetSocketAddress& address)
    : ClientSocket(address), client(new SSLClient()) {}

SSLClientSocket::SSLClientSocket(const char* host, int port)
    : ClientSocket(host, port), client(new SSLClient()) {}

SSLClientSocket::SSLClientSocket(int fd) : ClientSocket(fd), client(new SSLClient()) {}

SSLClientSocket::~SSLClientSocket() {
    delete client;
}

int SSLClientSocket::operationLimit() const {
    return timeout < 1000 ? -1 : (timeout / 1000) * 1000;
}

int SSLClientSocket::startHandshake() {
    if (!isConnected()) return -1;
    setBlocking(false);
    return client->connect(*this);
}

int SSLClientSocket::setVerifyLocations(const char* caPath, const char* caFile) {
    if (caFile == nullptr) return -1;
    SSLClient::setVerifyLocations(caPath != nullptr ? caPath : "", caFile);
    return 0;
}

void SSLClientSocket::setPeerName(const String& name) {
    client->setPeerName(name);
}

void SSLClientSocket::checkWritable(const char* timeoutCode, const char* failedCode) {
    int ready = waitFor(POLLOUT);
    // A passed bound of the waits ends the run like any TLS time-out, here
    // as in awaitPeer, whichever wait it happens to pass in.
    if (ready == 0 && waitsBound().remaining() == 0) SSLClient::timedOut();
    if (ready == 0) fail(timeoutCode, __LINE__);
    if (ready < 0) fail(failedCode, __LINE__);
}

void SSLClientSocket::awaitPeer(const Deadline& deadline, const char* timeoutCode,
                                const char* failedCode) {
    // The bound the caller set on the waits as a whole holds here too; once
    // either has passed nothing more is awaited.
    int limit = waitsBound().cap(deadline.remaining());
    int ready = limit == 0 ? 0 : waitFor(client->wanted(), limit);
    if (ready > 0 || (ready < 0 && errno == EINTR)) return;
    if (ready < 0) fail(failedCode, __LINE__);
    SSLClient::timedOut();
    fail(timeoutCode, __LINE__);
}

template <class Call>
int SSLClientSocket::transfer(Call call, const char* timeoutCode, const char* failedCode) {
    checkWritable(timeoutCode, failedCode);
    Deadline deadline(operationLimit());
    while (true) {
        int result = call();
        if (client->wanted() == 0) return result;
        awaitPeer(deadline, timeoutCode, failedCode);
    }
}

int SSLClientSocket::write(const char* buf, int len) {
    if (buf == nullptr || len <= 0) return -1;
    int sent = transfer([&] { return client->write(buf, len); }, kWriteTimeout, kWriteFailed);
    noteMoved(sent);
    return sent;
}

int SSLClientSocket::read(char* buf, int len) {
    if (buf == nullptr || len <= 0) return -1;
    int got = transfer([&] { return client->read(buf, len); }, kReadTimeout, kReadFailed);
    noteMoved(got);
    return got;
}

void SSLClientSocket::close() {
    if (!isConnected()) return;
    client->shutdown();
    ClientSocket::close();
}
