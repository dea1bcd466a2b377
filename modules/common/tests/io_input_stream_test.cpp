#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "IoScratch.h"
#include "io/BufferedInputStream.h"
#include "io/FileInputStream.h"
#include "io/FilterInputStream.h"
#include "io/InputStream.h"

namespace {

const std::string kClosed = "Stream is already closed";

// An in-memory source that hands out at most `piece` bytes per read(buf, n),
// like a socket that delivers data in fragments. With byteOnly it keeps the
// base class's read(buf, n) and skip(), which go through read().
class PieceStream : public InputStream {
public:
    explicit PieceStream(std::string data, int piece = 1 << 30, bool byteOnly = false)
        : data(std::move(data)), piece(piece), byteOnly(byteOnly) {}
    int read() override { return at < data.size() ? static_cast<unsigned char>(data[at++]) : -1; }
    int read(char* buf, int n) override {
        if (byteOnly) return InputStream::read(buf, n);
        int count = std::min<int>({n, piece, static_cast<int>(data.size() - at)});
        memcpy(buf, data.data() + at, count);
        at += count;
        return count;
    }
    int available() override { return static_cast<int>(data.size() - at); }
    int skip(int n) override {
        if (byteOnly) return InputStream::skip(n);
        int count = std::min<int>(n, static_cast<int>(data.size() - at));
        at += count;
        return count;
    }
    void close() override { closed = true; }

    std::string data;
    int piece;
    bool byteOnly;
    size_t at = 0;
};

std::string readString(InputStream& in, int n) {
    std::string buf(n, '\0');
    buf.resize(std::max(0, in.read(&buf[0], n)));
    return buf;
}

TEST(InputStreamDefaults, WorkThroughSingleByteRead) {
    InputStream bare;
    EXPECT_EQ(ioMessages({[&] { bare.read(); }, [&] { bare.available(); }, [&] { bare.close(); }}),
              std::vector<std::string>(3, "Unimplemented"));
    EXPECT_FALSE(bare.markSupported());
    bare.mark(10);
    bare.reset();  // nothing happens

    PieceStream in("hello world", 1 << 30, true);
    EXPECT_EQ(readString(in, 0), "");
    EXPECT_EQ(readString(in, 5), "hello");
    EXPECT_EQ(readString(in, 16), " world");  // stops at the end
    EXPECT_EQ(readString(in, 4), "");

    PieceStream skipping(std::string(1300, 'x') + "END", 1 << 30, true);
    EXPECT_EQ(skipping.skip(0), 0);
    EXPECT_EQ(skipping.skip(-5), 0);
    EXPECT_EQ(skipping.skip(1300), 1300);
    EXPECT_EQ(skipping.read(), 'E');
    EXPECT_EQ(skipping.skip(100), 2);  // a short chunk ends the skip
    EXPECT_EQ(skipping.read(), -1);
}

TEST(FileInputStream, OpensReadsSkipsAndMarks) {
    auto openMissing = [] { FileInputStream in("/nonexistent"); };
    EXPECT_EQ(ioMessage(openMissing), std::string("/nonexistent: ") + strerror(ENOENT));

    ScratchDir scratch;
    writeText(scratch / "empty", "");
    writeText(scratch / "data", std::string("ab\xff\0cdefgh", 10));
    FileInputStream empty((scratch / "empty").c_str());
    EXPECT_EQ(empty.read(), -1);
    EXPECT_EQ(readString(empty, 10), "");
    EXPECT_EQ(empty.available(), 0);

    FileInputStream in((scratch / "data").c_str());
    EXPECT_EQ(in.available(), 10);
    EXPECT_EQ(in.read(), 'a');
    EXPECT_TRUE(in.markSupported());
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "No mark set");
    in.mark(0);
    EXPECT_EQ(in.read(), 'b');
    EXPECT_EQ(in.read(), 0xff);  // bytes are 0..255, not negative
    EXPECT_EQ(in.read(), 0);
    EXPECT_EQ(in.available(), 6);
    EXPECT_EQ(readString(in, 3), "cde");
    // skip moves the offset and reports where it now is, even past the end.
    EXPECT_EQ(in.skip(1), 8);
    EXPECT_EQ(in.read(), 'g');
    EXPECT_EQ(in.skip(5), 14);
    EXPECT_EQ(in.available(), 0);
    EXPECT_EQ(in.read(), -1);
    in.reset();
    EXPECT_EQ(in.read(), 'b');
    in.reset();  // the mark stays valid
    EXPECT_EQ(in.read(), 'b');
}

TEST(FileInputStream, PipesAreNotSeekable) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(write(fds[1], "xyz", 3), 3);
    FileInputStream in(fds[0]);
    EXPECT_FALSE(in.markSupported());
    EXPECT_EQ(in.available(), 3);  // counted by the system for a pipe
    EXPECT_EQ(ioMessage([&] { in.mark(1); }),
              std::string("File::mark: ") + strerror(ESPIPE) + ", possibly non-seekable fd");
    EXPECT_EQ(in.read(), 'x');
    EXPECT_EQ(ioMessage([&] { in.skip(1); }), strerror(ESPIPE));
    close(fds[1]);
    in.close();
    EXPECT_EQ(fcntl(fds[0], F_GETFD), -1);  // the adopted descriptor went with it
}

TEST(FileInputStream, ClosedStreamRefusesWorkAndDestructorCloses) {
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
    EXPECT_EQ(ioMessages({[&] { in.read(); }, [&] { in.read(buf, 4); }, [&] { in.available(); },
                          [&] { in.skip(1); }, [&] { in.mark(1); }, [&] { in.reset(); }}),
              std::vector<std::string>(6, kClosed));

    // A descriptor that is not open gives the system's error text.
    FileInputStream stale(fd);
    EXPECT_EQ(
        ioMessages({[&] { stale.read(); }, [&] { stale.available(); }, [&] { stale.close(); }}),
        std::vector<std::string>(3, strerror(EBADF)));

    {
        FileInputStream scoped((scratch / "data").c_str());
        fd = scoped.getFD();
        EXPECT_NE(fcntl(fd, F_GETFD), -1);
    }
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST(FilterInputStream, ForwardsAndClosesOnlyItself) {
    PieceStream source("0123456789");
    FilterInputStream filter(&source);
    EXPECT_EQ(filter.available(), 10);
    EXPECT_EQ(filter.read(), '0');
    EXPECT_EQ(readString(filter, 3), "123");
    EXPECT_EQ(filter.skip(2), 2);
    EXPECT_EQ(filter.read(), '6');
    EXPECT_FALSE(filter.markSupported());
    filter.close();
    EXPECT_TRUE(filter.isClosed());
    EXPECT_FALSE(source.isClosed());
    EXPECT_EQ(source.read(), '7');
}

TEST(BufferedInputStream, RefillsUntilRequestIsMetAndReadsLines) {
    std::string data;
    for (int i = 0; i < 100; i++) data += static_cast<char>('a' + i % 26);
    PieceStream source(data, 2);  // two bytes per underlying read
    BufferedInputStream in(&source, 3);
    EXPECT_EQ(in.read(), 'a');
    EXPECT_EQ(readString(in, 40), data.substr(1, 40));  // blocks for the full count
    EXPECT_EQ(in.available(), 59);
    EXPECT_EQ(readString(in, 100), data.substr(41));
    EXPECT_EQ(in.read(), -1);
    EXPECT_EQ(readString(in, 5), "");

    PieceStream text("one\r\ntwo\nthree\rfour\r\n\nlast", 3);
    BufferedInputStream lines(&text, 4);  // line ends fall across refills
    String line("stale");
    std::vector<std::string> got;
    while (lines.readLine(line)) got.push_back(str(line));
    EXPECT_EQ(got, (std::vector<std::string>{"one", "two", "three", "four", "", "last"}));
    EXPECT_EQ(str(line), "");
    EXPECT_FALSE(lines.readLine(line));
}

TEST(BufferedInputStream, MarkResetAndSkip) {
    PieceStream source("abcdefghijklmnopqrstuvwxyz", 2);
    BufferedInputStream in(&source, 4);
    EXPECT_TRUE(in.markSupported());
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "No mark was set");
    in.read();
    in.mark(10);  // marked inside the buffer, then the buffer grows
    EXPECT_EQ(readString(in, 10), "bcdefghijk");
    in.reset();
    EXPECT_EQ(readString(in, 3), "bcd");
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "No mark was set");  // reset() uses the mark up
    in.mark(3);
    EXPECT_EQ(readString(in, 8), "efghijkl");  // well past the limit: the mark is gone
    EXPECT_EQ(ioMessage([&] { in.reset(); }), "No mark was set");
    EXPECT_EQ(readString(in, 3), "mno");  // reading goes on undisturbed

    PieceStream digits("0123456789abcdef", 16);
    BufferedInputStream skipping(&digits, 4);
    EXPECT_EQ(skipping.read(), '0');
    EXPECT_EQ(skipping.skip(5), 5);  // 3 buffered, 2 skipped below
    EXPECT_EQ(skipping.read(), '6');
    skipping.mark(100);
    EXPECT_EQ(skipping.skip(6), 6);
    EXPECT_EQ(skipping.read(), 'd');
    skipping.reset();
    EXPECT_EQ(skipping.read(), '7');
    EXPECT_EQ(skipping.skip(0), 0);
}

TEST(BufferedInputStream, CloseLeavesWrappedStreamOpen) {
    PieceStream source("abc");
    String line;
    {
        BufferedInputStream in(&source, 2);
        EXPECT_EQ(in.read(), 'a');
        in.close();
        in.close();
        EXPECT_TRUE(in.isClosed());
        EXPECT_FALSE(source.isClosed());
        EXPECT_EQ(ioMessages({[&] { in.read(); }, [&] { in.available(); }, [&] { in.skip(1); },
                              [&] { in.mark(1); }, [&] { in.readLine(line); }}),
                  std::vector<std::string>(5, kClosed));
    }
    EXPECT_EQ(source.read(), 'c');  // 'b' went into the buffer
}

}  // namespace
