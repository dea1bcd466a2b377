#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "NetTestPeer.h"
#include "net/ClientSocket.h"

namespace {

// The message of the SocketException `action` throws ("" when none).
std::string socketError(const std::function<void()>& action) {
    try {
        action();
    } catch (const SocketException& e) {
        EXPECT_STREQ("net/ClientSocket", e.getFile().c_str());
        return e.getMessage().c_str();
    }
    return "";
}

double secondsOf(const std::function<void()>& action) {
    auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(ClientSocket, ConnectsReadsWritesAndCloses) {
    Listener peer;
    ClientSocket socket("127.0.0.1", peer.port());
    EXPECT_EQ(nullptr, socket.getLocalAddress());
    ASSERT_EQ(0, socket.open());
    EXPECT_EQ(-1, socket.open());
    EXPECT_TRUE(socket.isConnected());
    ASSERT_NE(nullptr, socket.getLocalAddress());
    EXPECT_STREQ("127.0.0.1", socket.getInetAddress()->getHostAddress().c_str());

    int server = peer.accept();
    ASSERT_EQ(5, socket.write("hello", 5));
    char buf[16] = {};
    ASSERT_EQ(5, ::read(server, buf, sizeof buf));
    EXPECT_EQ(std::string("hello"), std::string(buf, 5));
    EXPECT_EQ(-1, socket.read(nullptr, 4));
    EXPECT_EQ(-1, socket.read(buf, 0));
    EXPECT_EQ(-1, socket.write(buf, 0));

    // A wrapper of the same descriptor leaves it open when it goes away.
    {
        ClientSocket wrapper(socket.getFd());
        EXPECT_TRUE(wrapper.isConnected());
        ASSERT_NE(nullptr, wrapper.getInetAddress());
        EXPECT_STREQ("127.0.0.1", wrapper.getInetAddress()->getHostAddress().c_str());
        wrapper.close();
    }
    EXPECT_NE(-1, fcntl(socket.getFd(), F_GETFD));

    ::write(server, "ab", 2);
    ::close(server);
    EXPECT_EQ(2, socket.read(buf, sizeof buf));
    EXPECT_EQ(0, socket.read(buf, sizeof buf));  // the peer's close is no error
    socket.close();
    EXPECT_TRUE(socket.isClosed());
    EXPECT_EQ(-1, socket.open());
}

TEST(ClientSocket, FailuresCarryTheirCodes) {
    EXPECT_EQ("EC_INVALID_HOST: invalid remote host",
              socketError([] { ClientSocket("no-such-host.invalid", 80).open(); }));
    int closedPort;
    {
        Listener gone;
        closedPort = gone.port();
    }
    std::string refused = socketError([&] { ClientSocket("127.0.0.1", closedPort).open(); });
    EXPECT_TRUE(refused == "EC_CONNECT_REFUSED: connecting refused failed" ||
                refused == "EC_CONNECT_FAILED: connecting failed")
        << refused;
}

TEST(ClientSocket, TimeOutsInWholeSeconds) {
    Listener peer;
    ClientSocket socket("127.0.0.1", peer.port());
    ASSERT_EQ(0, socket.open());
    int server = peer.accept();
    char buf[8];
    struct Case {
        int timeout;
        double least, most;
    };
    for (Case c : {Case{1500, 0.9, 1.4}, Case{500, 0.0, 0.3}}) {
        socket.setTimeout(c.timeout);
        double took = secondsOf([&] {
            EXPECT_EQ("EC_READ_TIMEOUT: reading data from socket timeout",
                      socketError([&] { socket.read(buf, sizeof buf); }));
        });
        EXPECT_GE(took, c.least) << c.timeout;
        EXPECT_LE(took, c.most) << c.timeout;
    }

    // Fill the peer's window until a write cannot go on.
    socket.setTimeout(0);
    std::vector<char> block(1 << 16, 'x');
    std::string error;
    for (int i = 0; i < 10000 && error.empty(); i++) {
        error = socketError([&] { socket.write(block.data(), static_cast<int>(block.size())); });
    }
    EXPECT_EQ("EC_WRITE_TIMEOUT: sending data on socket timeout", error);
    ::close(server);
}

// A connected pair: the socket (time-out 5 s per wait) and the peer's end.
struct Pair {
    Pair() : socket("127.0.0.1", peer.port()) {
        socket.setTimeout(5000);
        socket.open();
        server = peer.accept();
    }
    ~Pair() { ::close(server); }
    Listener peer;
    ClientSocket socket;
    int server;
};

const char* const kReadTimeout = "EC_READ_TIMEOUT: reading data from socket timeout";

TEST(ClientSocket, BoundOfTheWaitsAsAWhole) {
    Pair p;
    char buf[8];
    // Milliseconds count in full, unlike the time-out of each wait.
    p.socket.limitWaits(1500);
    double took =
        secondsOf([&] { EXPECT_EQ(kReadTimeout, socketError([&] { p.socket.read(buf, 1); })); });
    EXPECT_GE(took, 1.4);
    EXPECT_LE(took, 1.9);

    // A passed bound fails even a wait whose bytes are there already.
    p.socket.limitWaits(300);
    ASSERT_EQ(2, ::write(p.server, "ab", 2));
    EXPECT_EQ(1, p.socket.read(buf, 1));
    usleep(400000);
    EXPECT_EQ(kReadTimeout, socketError([&] { p.socket.read(buf, 1); }));
    p.socket.limitWaits(-1);
    EXPECT_EQ(1, p.socket.read(buf, 1));
}

TEST(ClientSocket, MinimumRateMovesTheBound) {
    Pair p;
    char buf[8];
    p.socket.requireRate(4, 800);
    usleep(500000);
    ASSERT_EQ(4, ::write(p.server, "abcd", 4));
    EXPECT_EQ(4, p.socket.read(buf, sizeof buf));
    // Past the first period, but the four bytes moved the bound on.
    usleep(600000);
    ASSERT_EQ(3, ::write(p.server, "efg", 3));
    EXPECT_EQ(3, p.socket.read(buf, sizeof buf));
    // Three bytes are below the rate: the bound stays where it was.
    usleep(400000);
    ASSERT_EQ(1, ::write(p.server, "h", 1));
    EXPECT_EQ(kReadTimeout, socketError([&] { p.socket.read(buf, sizeof buf); }));

    // Bytes written count as well.
    p.socket.requireRate(1, 500);
    usleep(300000);
    EXPECT_EQ(4, p.socket.write("abcd", 4));
    usleep(300000);
    EXPECT_EQ(1, p.socket.read(buf, sizeof buf));  // the "h" still queued

    // A whole bound set after a rate is not moved by what arrives.
    p.socket.limitWaits(300);
    ASSERT_EQ(1, ::write(p.server, "i", 1));
    EXPECT_EQ(1, p.socket.read(buf, sizeof buf));
    usleep(400000);
    ASSERT_EQ(1, ::write(p.server, "j", 1));
    EXPECT_EQ(kReadTimeout, socketError([&] { p.socket.read(buf, sizeof buf); }));
}

// A peer that never reads cannot hold a large write: each write takes what
// fits and the bound ends them. A send time-out of 3 s on the descriptor
// makes a blocking send show as a slow test instead of a hung one.
TEST(ClientSocket, WritesNeverBlockPastTheBound) {
    Pair p;
    timeval sendLimit{3, 0};
    p.socket.setSockOpt(SOL_SOCKET, SO_SNDTIMEO, &sendLimit, sizeof sendLimit);
    std::vector<char> block(8 << 20, 'x');
    const int size = static_cast<int>(block.size());
    p.socket.limitWaits(1000);
    long sent = 0;
    std::string error;
    double took = secondsOf([&] {
        for (int i = 0; i < 1000 && error.empty(); i++) {
            error = socketError([&] { sent += p.socket.write(block.data(), size); });
        }
    });
    EXPECT_EQ("EC_WRITE_TIMEOUT: sending data on socket timeout", error);
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, size);
    EXPECT_LE(took, 1.5);
}

// Descriptors past the select() limit work: the waits use poll().
TEST(ClientSocket, WorksAboveDescriptor1024) {
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < 1200) {
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 1200);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    if (limit.rlim_cur < 1200) GTEST_SKIP() << "descriptor limit below 1200";
    std::vector<int> filler;
    while (filler.size() < 1100) filler.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    Listener peer;
    {
        ClientSocket socket("127.0.0.1", peer.port());
        EXPECT_GE(socket.getFd(), 1024);
        socket.setTimeout(2000);
        ASSERT_EQ(0, socket.open());
        int server = peer.accept();
        ::write(server, "z", 1);
        char c = 0;
        EXPECT_EQ(1, socket.read(&c, 1));
        EXPECT_EQ('z', c);
        ::close(server);
    }
    for (int fd : filler) ::close(fd);
}

}  // namespace
