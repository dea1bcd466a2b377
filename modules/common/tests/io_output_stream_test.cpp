#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "IoScratch.h"
#include "io/BufferedOutputStream.h"
#include "io/FileOutputStream.h"
#include "io/FilterOutputStream.h"
#include "io/OutputStream.h"
#include "io/StringOutputStream.h"

namespace {

const std::string kClosed = "Stream is already closed";

// Records every call that reaches it, one entry per write.
class RecordingStream : public OutputStream {
public:
    void write(char c) override { writes.push_back(std::string(1, c)); }
    using OutputStream::write;
    void write(const char* buf, int n) override { writes.push_back(std::string(buf, n)); }
    void flush() override { flushes++; }
    void close() override { closed = true; }
    std::string all() const {
        std::string joined;
        for (const std::string& w : writes) joined += w;
        return joined;
    }
    std::vector<std::string> writes;
    int flushes = 0;
};

TEST(OutputStreamDefaults, UnimplementedAndTextThroughBulkWrite) {
    OutputStream bare;
    EXPECT_EQ(ioMessages({[&] { bare.write('x'); }, [&] { bare.write("abc", 3); },
                          [&] { bare.write("abc"); }, [&] { bare.close(); }}),
              std::vector<std::string>(4, "Unimplemented"));
    bare.flush();  // does nothing

    RecordingStream out;
    out.write("hello");
    out.write("");
    EXPECT_EQ(out.writes, (std::vector<std::string>{"hello", ""}));  // one bulk write, not five
}

TEST(FileOutputStreamOpen, ModesChooseTruncateAppendOrCreate) {
    ScratchDir scratch;
    std::string path = scratch / "f";
    auto writeWith = [&](int mode, const char* text) {
        FileOutputStream out(path.c_str(), mode);
        out.write(text);
    };
    EXPECT_EQ(ioMessage([&] { writeWith(FileOutputStream::APPEND, "x"); }),
              path + ": " + strerror(ENOENT));
    EXPECT_EQ(readText(path), "<missing>");

    mode_t oldMask = umask(027);
    writeWith(FileOutputStream::APPEND_OR_CREATE, "one");
    umask(oldMask);
    EXPECT_EQ(modeOf(path), 0640u);  // 0666 less the umask
    writeWith(FileOutputStream::APPEND, "two");
    EXPECT_EQ(readText(path), "onetwo");
    writeWith(7, "XY");  // from the start, no truncation
    EXPECT_EQ(readText(path), "XYetwo");
    writeWith(FileOutputStream::REPLACE, "z");
    EXPECT_EQ(readText(path), "z");

    path = scratch / "no/dir/f";
    EXPECT_EQ(ioMessage([&] { writeWith(FileOutputStream::REPLACE, "x"); }),
              path + ": " + strerror(ENOENT));
}

TEST(FileOutputStreamWrite, ErrorsCarrySystemText) {
    FileOutputStream full("/dev/full", FileOutputStream::REPLACE);
    EXPECT_EQ(ioMessages({[&] { full.write("data", 4); }, [&] { full.write('x'); }}),
              std::vector<std::string>(2, strerror(ENOSPC)));

    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    close(fds[0]);
    signal(SIGPIPE, SIG_IGN);
    FileOutputStream broken(fds[1]);
    EXPECT_EQ(ioMessage([&] { broken.write("x", 1); }), strerror(EPIPE));
}

TEST(FileOutputStreamClose, ClosesOwnDescriptorButNeverStandardStreams) {
    ScratchDir scratch;
    std::string path = scratch / "f";
    FileOutputStream out(path.c_str(), FileOutputStream::REPLACE);
    out.write("abc", 3);
    int fd = out.getFD();
    out.close();
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    out.close();  // harmless
    EXPECT_TRUE(out.isClosed());
    EXPECT_EQ(
        ioMessages({[&] { out.write('x'); }, [&] { out.write("x", 1); }, [&] { out.write("x"); }}),
        std::vector<std::string>(3, kClosed));
    EXPECT_EQ(readText(path), "abc");

    {
        FileOutputStream stdOut(1);
        stdOut.close();
        FileOutputStream stdErr(2);
    }
    EXPECT_NE(fcntl(1, F_GETFD), -1);
    EXPECT_NE(fcntl(2, F_GETFD), -1);

    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    {
        FileOutputStream adopted(fds[1]);
        adopted.write("p", 1);
    }
    EXPECT_EQ(fcntl(fds[1], F_GETFD), -1);  // the destructor closed it
    char c = 0;
    EXPECT_EQ(read(fds[0], &c, 1), 1);
    EXPECT_EQ(c, 'p');
    close(fds[0]);
}

TEST(FilterOutputStream, ForwardsAndClosesOnlyItself) {
    RecordingStream target;
    FilterOutputStream filter(&target);
    filter.write('a');
    filter.write("bc", 2);
    filter.write("de");
    filter.flush();
    EXPECT_EQ(target.all(), "abcde");
    EXPECT_EQ(target.flushes, 1);
    filter.close();
    EXPECT_TRUE(filter.isClosed());
    EXPECT_FALSE(target.isClosed());
}

TEST(BufferedOutputStream, SmallWritesWaitLargeWritesGoStraight) {
    RecordingStream target;
    BufferedOutputStream out(&target, 4);
    out.write("abc", 3);
    EXPECT_TRUE(target.writes.empty());
    out.flush();
    EXPECT_EQ(target.writes, (std::vector<std::string>{"abc"}));
    EXPECT_EQ(target.flushes, 0);  // the target itself is not flushed

    target.writes.clear();
    out.write("abcdef", 6);  // empty buffer: all six at once
    EXPECT_EQ(target.writes, (std::vector<std::string>{"abcdef"}));

    target.writes.clear();
    out.write("xy", 2);
    out.write("123456789", 9);  // fills to 4, flushes, the 7 left go straight
    EXPECT_EQ(target.writes, (std::vector<std::string>{"xy12", "3456789"}));

    target.writes.clear();
    out.write("xy", 2);
    out.write("12345", 5);  // fills, flushes, keeps the last 3
    EXPECT_EQ(target.writes, (std::vector<std::string>{"xy12"}));
    out.write('Z');  // the buffer becomes full
    EXPECT_EQ(target.writes, (std::vector<std::string>{"xy12", "345Z"}));
    out.flush();  // nothing buffered: nothing written
    EXPECT_EQ(target.writes.size(), 2u);
}

TEST(BufferedOutputStream, CloseAndDestructorFlush) {
    RecordingStream target;
    {
        BufferedOutputStream out(&target, 16);
        out.write("abc");
        out.close();
        EXPECT_EQ(target.all(), "abc");
        EXPECT_FALSE(target.isClosed());
        out.close();
        EXPECT_EQ(ioMessages({[&] { out.write('x'); }, [&] { out.flush(); }}),
                  std::vector<std::string>(2, kClosed));
    }
    target.writes.clear();
    {
        BufferedOutputStream out(&target, 16);
        out.write("tail");
    }
    EXPECT_EQ(target.all(), "tail");

    // A failing target: the failure reaches the caller of flush, and the
    // destructor afterwards does not throw or write twice.
    FileOutputStream full("/dev/full", FileOutputStream::REPLACE);
    {
        BufferedOutputStream out(&full, 8);
        out.write("abc");
        EXPECT_EQ(ioMessage([&] { out.flush(); }), strerror(ENOSPC));
        out.write("d");
    }

    // Through a real file, every byte in order.
    ScratchDir scratch;
    std::string path = scratch / "out";
    std::string expected;
    {
        FileOutputStream file(path.c_str(), FileOutputStream::REPLACE);
        BufferedOutputStream out(&file, 64);
        for (int i = 0; i < 500; i++) {
            std::string piece(i % 150, static_cast<char>('a' + i % 26));
            out.write(piece.data(), static_cast<int>(piece.size()));
            out.write('\n');
            expected += piece + "\n";
        }
        out.close();
    }
    EXPECT_EQ(readText(path), expected);
}

TEST(StringOutputStream, CollectsBytesIncludingNul) {
    StringOutputStream out;
    out.write('a');
    out.write("b\0c", 3);
    out.write("de");
    out.flush();
    EXPECT_EQ(out.getString().length(), 6);
    EXPECT_EQ(std::string(out.getString().c_str(), 6), std::string("ab\0cde", 6));
    out.close();
    EXPECT_EQ(out.getString().length(), 0);
    EXPECT_EQ(ioMessage([&] { out.write('x'); }), kClosed);
}

}  // namespace
