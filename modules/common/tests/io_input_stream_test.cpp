#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Exception.h"
#include "IoScratch.h"
#include "String.h"
#include "io/BufferedInputStream.h"
#include "io/FileInputStream.h"
#include "io/FilterInputStream.h"
#include "io/InputStream.h"

namespace {

const char* const kHeaderUnit = "../../../modules/common/include/io/InputStream";

std::string str(const String& s) {
    return std::string(s.c_str(), s.length());
}

// An in-memory source that hands out at most `piece` bytes per read(buf, n)
// and counts its calls, like a socket that delivers data in fragments.
class PieceStream : public InputStream {
  public:
    explicit PieceStream(std::string data, int piece = 1 << 30)
        : data(std::move(data)), piece(piece) {}
    int read() override {
        reads++;
        return at < data.size() ? static_cast<unsigned char>(data[at++]) : -1;
    }
    int read(char* buf, int n) override {
        bulkReads++;
        int count = std::min<int>({n, piece, static_cast<int>(data.size() - at)});
        memcpy(buf, data.data() + at, count);
        at += count;
        return count;
    }
    int available() override { return static_cast<int>(data.size() - at); }
    int skip(int n) override {
        int count = std::min<int>(n, static_cast<int>(data.size() - at));
        at += count;
        return count;
    }
    void close() override { closed = true; }

    std::string data;
    int piece;
    size_t at = 0;
    int reads = 0;
    int bulkReads = 0;
};

// Only read() is given: every other operation is the base default.
class ByteOnlyStream : public InputStream {
  public:
    explicit ByteOnlyStream(std::string data) : data(std::move(data)) {}
    using InputStream::read;
    int read() override {
        reads++;
        return at < data.size() ? static_cast<unsigned char>(data[at++]) : -1;
    }
    std::string data;
    size_t at = 0;
    int reads = 0;
};

template <class Call>
std::string ioMessage(Call call) {
    try {
        call();
    } catch (const IOException& e) {
        return str(e.getMessage());
    }
    return "<no exception>";
}

template <class Call>
std::string ioLocationFile(Call call) {
    try {
        call();
    } catch (const IOException& e) {
        std::string location = str(e.getLocation());
        return location.substr(0, location.find(", line "));
    }
    return "<no exception>";
}

TEST(InputStreamDefaults, WorkThroughSingleByteRead) {
    InputStream bare;
    EXPECT_EQ(ioMessage([&] { bare.read(); }), "Unimplemented");
    EXPECT_EQ(ioMessage([&] { bare.available(); }), "Unimplemented");
    EXPECT_EQ(ioMessage([&] { bare.close(); }), "Unimplemented");
    EXPECT_EQ(ioLocationFile([&] { bare.close(); }), kHeaderUnit);
    EXPECT_FALSE(bare.markSupported());
    bare.mark(10);
    bare.reset();  // nothing happens

    ByteOnlyStream in("hello world");
    char buf[16] = {};
    EXPECT_EQ(in.read(buf, 0), 0);
    EXPECT_EQ(in.read(buf, 5), 5);
    EXPECT_EQ(std::string(buf, 5), "hello");
    EXPECT_EQ(in.read(buf, 16), 6);  // stops at the end
    EXPECT_EQ(std::string(buf, 6), " world");
    EXPECT_EQ(in.read(buf, 4), 0);

    std::string big(1300, 'x');
    big += "END";
    ByteOnlyStream skipping(big);
    EXPECT_EQ(skipping.skip(0), 0);
    EXPECT_EQ(skipping.skip(-5), 0);
    EXPECT_EQ(skipping.skip(1300), 1300);
    EXPECT_EQ(skipping.read(), 'E');
    EXPECT_EQ(skipping.skip(100), 2);  // a short chunk ends the skip
    EXPECT_EQ(skipping.read(), -1);
}

TEST(FileInputStreamOpen, MissingFileNamesPathAndError) {
    try {
        FileInputStream in("/nonexistent");
        FAIL() << "opened a missing file";
    } catch (const IOException& e) {
        EXPECT_EQ(str(e.getMessage()), std::string("/nonexistent: ") + strerror(ENOENT));
        EXPECT_EQ(str(e.getLocation()).rfind("io/InputStream, line ", 0), 0u);
    }
}

TEST(FileInputStreamRead, BytesCountsAndEnd) {
    ScratchDir scratch;
    writeText(scratch / "empty", "");
    writeText(scratch / "data", std::string("ab\xff\0cdefgh", 10));

    FileInputStream empty((scratch / "empty").c_str());
    char buf[10];
    EXPECT_EQ(empty.read(), -1);
    EXPECT_EQ(empty.read(buf, 10), 0);
    EXPECT_EQ(empty.available(), 0);

    FileInputStream in((scratch / "data").c_str());
    EXPECT_EQ(in.available(), 10);
    EXPECT_EQ(in.read(), 'a');
    EXPECT_EQ(in.read(), 'b');
    EXPECT_EQ(in.read(), 0xff);  // bytes are 0..255, not negative
    EXPECT_EQ(in.read(), 0);
    EXPECT_EQ(in.available(), 6);
    EXPECT_EQ(in.read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "cde");
    // skip moves the offset and reports where it now is, even past the end.
    EXPECT_EQ(in.skip(1), 8);
    EXPECT_EQ(in.read(), 'g');
    EXPECT_EQ(in.skip(5), 14);
    EXPECT_EQ(in.available(), 0);
    EXPECT_EQ(in.read(), -1);
}

TEST(FileInputStreamMark, ResetReturnsToMarkEveryTime) {
    ScratchDir scratch;
    writeText(scratch / "data", "abcdef");
    FileInputStream in((scratch / "data").c_str());
    EXPECT_TRUE(in.markSupported());
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "No mark set");
    in.read();
    in.mark(0);
    EXPECT_EQ(in.read(), 'b');
    EXPECT_EQ(in.read(), 'c');
    in.reset();
    EXPECT_EQ(in.read(), 'b');
    in.skip(3);
    in.reset();  // the mark stays valid
    EXPECT_EQ(in.read(), 'b');
}

TEST(FileInputStreamMark, PipesAreNotSeekable) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(write(fds[1], "xyz", 3), 3);
    FileInputStream in(fds[0]);
    EXPECT_FALSE(in.markSupported());
    EXPECT_EQ(in.available(), 3);  // counted by the system for a pipe
    std::string message = ioMessage([&] { in.mark(1); });
    EXPECT_EQ(message,
              std::string("File::mark: ") + strerror(ESPIPE) + ", possibly non-seekable fd");
    EXPECT_EQ(in.read(), 'x');
    EXPECT_EQ(ioMessage([&] { in.skip(1); }), strerror(ESPIPE));
    close(fds[1]);
    in.close();
    // The adopted descriptor was closed with the stream.
    EXPECT_EQ(fcntl(fds[0], F_GETFD), -1);

    int sv[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
    FileInputStream sock(sv[0]);
    EXPECT_FALSE(sock.markSupported());
    sock.close();
    close(sv[1]);
}

TEST(FileInputStreamClose, ClosedStreamRefusesWork) {
    ScratchDir scratch;
    writeText(scratch / "data", "abc");
    FileInputStream in((scratch / "data").c_str());
    int fd = in.getFD();
    EXPECT_FALSE(in.isClosed());
    in.close();
    EXPECT_TRUE(in.isClosed());
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    in.close();  // harmless
    char buf[4];
    EXPECT_EQ(ioMessage([&] { in.read(); }), "Stream is already closed");
    EXPECT_EQ(ioLocationFile([&] { in.read(); }), kHeaderUnit);
    EXPECT_EQ(ioMessage([&] { in.read(buf, 4); }), "Stream is already closed");
    EXPECT_EQ(ioMessage([&] { in.available(); }), "Stream is already closed");
    EXPECT_EQ(ioMessage([&] { in.skip(1); }), "Stream is already closed");
    EXPECT_EQ(ioMessage([&] { in.mark(1); }), "Stream is already closed");
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "Stream is already closed");

    // A descriptor that is not open gives the system's error text.
    FileInputStream stale(fd);
    EXPECT_EQ(ioMessage([&] { stale.read(); }), strerror(EBADF));
    EXPECT_EQ(ioMessage([&] { stale.available(); }), strerror(EBADF));
    EXPECT_EQ(ioMessage([&] { stale.close(); }), strerror(EBADF));
}

TEST(FileInputStreamClose, DestructorClosesDescriptor) {
    ScratchDir scratch;
    writeText(scratch / "data", "abc");
    int fd;
    {
        FileInputStream in((scratch / "data").c_str());
        fd = in.getFD();
        EXPECT_NE(fcntl(fd, F_GETFD), -1);
    }
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST(FilterInputStream, ForwardsAndClosesOnlyItself) {
    PieceStream source("0123456789");
    FilterInputStream filter(&source);
    char buf[4];
    EXPECT_EQ(filter.available(), 10);
    EXPECT_EQ(filter.read(), '0');
    EXPECT_EQ(filter.read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "123");
    EXPECT_EQ(filter.skip(2), 2);
    EXPECT_EQ(filter.read(), '6');
    EXPECT_FALSE(filter.markSupported());
    filter.close();
    EXPECT_TRUE(filter.isClosed());
    EXPECT_FALSE(source.isClosed());
    EXPECT_EQ(source.read(), '7');
}

TEST(BufferedInputStreamRead, RefillsUntilRequestIsMet) {
    std::string data;
    for (int i = 0; i < 100; i++) data += static_cast<char>('a' + i % 26);
    PieceStream source(data, 2);  // two bytes per underlying read
    BufferedInputStream in(&source, 3);
    char buf[100];
    EXPECT_EQ(in.read(), 'a');
    EXPECT_EQ(in.read(buf, 40), 40);  // blocks for the full count
    EXPECT_EQ(std::string(buf, 40), data.substr(1, 40));
    EXPECT_EQ(in.available(), 59);
    EXPECT_EQ(in.read(buf, 100), 59);
    EXPECT_EQ(std::string(buf, 59), data.substr(41));
    EXPECT_EQ(in.read(), -1);
    EXPECT_EQ(in.read(buf, 5), 0);
}

TEST(BufferedInputStreamRead, ReadsLinesWithAnyEnding) {
    PieceStream source("one\r\ntwo\nthree\rfour\r\n\nlast", 3);
    BufferedInputStream in(&source, 4);  // line ends fall across refills
    String line("stale");
    std::vector<std::string> lines;
    while (in.readLine(line)) lines.push_back(str(line));
    EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", "three", "four", "", "last"}));
    EXPECT_EQ(str(line), "");
    EXPECT_FALSE(in.readLine(line));
}

TEST(BufferedInputStreamMark, ResetWithinLimitAcrossRefills) {
    std::string data = "abcdefghijklmnopqrstuvwxyz";
    PieceStream source(data, 2);
    BufferedInputStream in(&source, 4);
    EXPECT_TRUE(in.markSupported());
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "No mark was set");
    in.read();
    in.mark(10);  // marked inside the buffer, then the buffer grows
    char buf[10];
    ASSERT_EQ(in.read(buf, 10), 10);
    EXPECT_EQ(std::string(buf, 10), "bcdefghijk");
    in.reset();
    EXPECT_EQ(in.read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "bcd");
    // reset() uses the mark up.
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "No mark was set");

    in.mark(3);
    ASSERT_EQ(in.read(buf, 8), 8);  // well past the limit: the mark is gone
    EXPECT_EQ(std::string(buf, 8), "efghijkl");
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "No mark was set");
    ASSERT_EQ(in.read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "mno");  // reading goes on undisturbed
}

TEST(BufferedInputStreamMark, SkipKeepsMarkedBytes) {
    PieceStream source("0123456789abcdef", 16);
    BufferedInputStream in(&source, 4);
    EXPECT_EQ(in.read(), '0');
    EXPECT_EQ(in.skip(5), 5);  // 3 buffered, 2 skipped below
    EXPECT_EQ(in.read(), '6');
    in.mark(100);
    EXPECT_EQ(in.skip(6), 6);
    EXPECT_EQ(in.read(), 'd');
    in.reset();
    EXPECT_EQ(in.read(), '7');
    EXPECT_EQ(in.skip(0), 0);
}

TEST(BufferedInputStreamClose, LeavesWrappedStreamOpen) {
    PieceStream source("abc");
    String line;
    {
        BufferedInputStream in(&source, 2);
        EXPECT_EQ(in.read(), 'a');
        in.close();
        in.close();
        EXPECT_TRUE(in.isClosed());
        EXPECT_FALSE(source.isClosed());
        EXPECT_EQ(ioMessage([&] { in.read(); }), "Stream is already closed");
        EXPECT_EQ(ioMessage([&] { in.available(); }), "Stream is already closed");
        EXPECT_EQ(ioMessage([&] { in.skip(1); }), "Stream is already closed");
        EXPECT_EQ(ioMessage([&] { in.mark(1); }), "Stream is already closed");
        EXPECT_EQ(ioMessage([&] { in.readLine(line); }), "Stream is already closed");
    }
    EXPECT_EQ(source.read(), 'c');  // 'b' went into the buffer
}

TEST(BufferedInputStreamRead, OverFileStream) {
    ScratchDir scratch;
    std::string text;
    for (int i = 0; i < 3000; i++) text += "line " + std::to_string(i) + "\n";
    writeText(scratch / "big", text);
    FileInputStream file((scratch / "big").c_str());
    BufferedInputStream in(&file, 1024);
    String line;
    int count = 0;
    bool inOrder = true;
    while (in.readLine(line)) {
        inOrder = inOrder && str(line) == "line " + std::to_string(count);
        count++;
    }
    EXPECT_EQ(count, 3000);
    EXPECT_TRUE(inOrder);
}

}  // namespace
