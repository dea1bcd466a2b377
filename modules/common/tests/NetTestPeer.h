#ifndef ZR_NET_TEST_PEER_H
#define ZR_NET_TEST_PEER_H

// An in-process listening socket on 127.0.0.1 with an ephemeral port, for the
// socket-level tests that need a peer but no protocol.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

class Listener {
public:
    Listener() {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof a;
        if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
            listen(fd_, 8) != 0 || getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len) != 0) {
            throw std::runtime_error("cannot listen on 127.0.0.1");
        }
        port_ = ntohs(a.sin_port);
    }
    ~Listener() { ::close(fd_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int port() const { return port_; }
    // The next connection's descriptor (owned by the caller).
    int accept() { return ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC); }

private:
    int fd_;
    int port_;
};

#endif
