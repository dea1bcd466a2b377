// Logging on real files in scratch folders: line formats, the process-wide
// logs and switches, rotation into numbered copies, and several processes
// writing to one log at once.
#include "util/Log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "Exception.h"
#include "NameValuePairs.h"
#include "io/FileLock.h"
#include "io/StringOutputStream.h"
#include "xml_test_support.h"

namespace {

using Lines = std::vector<std::string>;

// "YYYY-MM-DD HH:MM:SS\t<rest>" with a time near the clock's; gives <rest>.
std::string afterStamp(const std::string& line) {
    const std::string shape = "dddd-dd-dd dd:dd:dd\t";
    bool ok = line.size() >= shape.size();
    for (size_t i = 0; ok && i < shape.size(); ++i) {
        ok = shape[i] == 'd' ? isdigit(static_cast<unsigned char>(line[i])) != 0
                             : line[i] == shape[i];
    }
    struct tm parts = {};
    if (!ok || !strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &parts)) {
        ADD_FAILURE() << "no time stamp in: " << line;
        return line;
    }
    parts.tm_isdst = -1;
    double age = difftime(time(nullptr), mktime(&parts));
    EXPECT_TRUE(age >= -2.0 && age <= 60.0) << line;
    return line.substr(20);
}

Lines readLines(const std::string& path) {
    Lines lines;
    std::istringstream in(readFile(path));
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// The lines of the file at `path` without their stamps.
Lines messages(const std::string& path) {
    Lines lines = readLines(path);
    for (std::string& line : lines) line = afterStamp(line);
    return lines;
}

// Runs `body` in a child process, which exits 0 when the body returns and 1
// when it throws.
template <class Body>
pid_t startChild(Body body) {
    pid_t pid = fork();
    if (pid == 0) {
        int status = 0;
        try {
            body();
        } catch (...) {
            status = 1;
        }
        _exit(status);
    }
    return pid;
}

// The exit status of a child, -1 when it did not exit normally.
int waitChild(pid_t pid) {
    int status = -1;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

template <class Body>
int inChild(Body body) {
    return waitChild(startChild(body));
}

// What the main log wrote while this file's static objects were being built,
// before main() and possibly before the library's own statics.
std::string writtenBeforeMain = [] {
    char path[] = "/tmp/zrlogtest-early.XXXXXX";
    int fd = mkstemp(path);
    int saved = dup(2);
    dup2(fd, 2);
    Log::getFileLog()->log(String("logged before main"), 1);
    dup2(saved, 2);
    close(saved);
    close(fd);
    std::string text = readFile(path);
    unlink(path);
    return text;
}();

// Gives each test one log file in a scratch folder, named after the folder so
// that its lock files in the temporary folder are its own too, and puts the
// process-wide logs and settings back as the test found them.
class LogTest : public ::testing::Test {
protected:
    LogTest() { Log::setLockFolder(scratch.path().c_str()); }
    void TearDown() override {
        Log::setLockFolder("/tmp");
        Log::setEnabled(true);
        Log::setMode(0);
        Log::setMaxSizeKB(0);
        Log::setMaxCount(4);
        Log::setDebug(false);
        Log::getDebugLog()->setLimits(1024, 100);
        Log::openLog("");
        Log::openDebugLog("");
    }
    std::string copy(int n) const { return log + "." + std::to_string(n); }
    std::string lockPath(const char* suffix) const { return scratch.file(base + suffix); }

    ScratchDir scratch;
    std::string base = "zrlogtest-" + scratch.name() + ".log";
    std::string log = scratch.file(base);
};

TEST_F(LogTest, LineFormats) {
    NameValuePairs record;
    record.add(String("first"), TypedValue("a\tb"));
    record.add(String("second"), TypedValue("c"));
    record.add(String("count"), TypedValue(42L));
    Log::setLevel(Log::LEVEL_DEBUG);
    {
        FileLog file(log.c_str());
        file.log(String("plain message"));
        file.log(String("x"), 2);
        file.log(String("x\n"), 0);
        file.log(String("careful"), 1);
        file.log(String("details"), 3);
        file.log(String("unknown level"), 7);
        file.log(String("negative level"), -1);
        file.log(String(""));
        file.log(record);
    }
    EXPECT_EQ(messages(log),
              (Lines{"plain message", "error\tx", "info\tx", "warning\tcareful", "debug\tdetails",
                     "info\tunknown level", "info\tnegative level", "", "a b\tc\t42"}));
    EXPECT_EQ(readFile(log).back(), '\n');

    // The base class writes messages and records as they are; a file log on
    // a borrowed stream stamps them as on a file.
    StringOutputStream plain;
    Log base(&plain);
    base.log(String("as is"));
    base.log(String("level ignored"), 2);
    base.log(String("ends already\n"));
    base.log(record);
    EXPECT_STREQ(plain.getString().c_str(),
                 "as is\nlevel ignored\nends already\nfirst=a\tb\nsecond=c\ncount=42\n==\n");
    StringOutputStream borrowed;
    FileLog onStream(&borrowed);
    onStream.log(String("to the stream"), 1);
    EXPECT_EQ(afterStamp(borrowed.getString().c_str()), "warning\tto the stream\n");
}

TEST_F(LogTest, ProcessWideLogsAndSwitches) {
    // Mode 1 hands out the main log, any other mode the null log.
    for (int mode : {0, 1, 3}) {
        Log::setMode(mode);
        EXPECT_EQ(Log::getMainLog(), mode == 1 ? Log::getFileLog() : Log::getNullLog()) << mode;
    }
    // Only positive copy counts are accepted.
    Log::setMaxCount(7);
    Log::setMaxCount(0);
    EXPECT_EQ(Log::getMaxCount(), 7);

    // While disabled, no log writes anything, whatever the call.
    StringOutputStream out;
    Log plain(&out);
    RotationFileLog file(log.c_str());
    Log::setEnabled(false);
    file.log(String("hidden"));
    file.log(String("hidden"), 2);
    file.log(NameValuePairs());
    plain.log(String("hidden"));
    Log::setEnabled(true);
    file.log(String("after"));
    EXPECT_EQ(messages(log), Lines{"after"});
    EXPECT_TRUE(out.getString().isEmpty());
}

// Debug lines are written only at the debug level; the file is not open to
// every user; no credential of a logged request reaches the file.
TEST_F(LogTest, LevelModeAndMaskedCredentials) {
    mode_t saved = umask(022);
    FileLog file(log.c_str());
    umask(saved);
    file.log(String("request details"), Log::LEVEL_DEBUG);
    file.log(String("kept"), Log::LEVEL_ERROR);
    Log::setDebug(true);
    file.log(String("now written"), Log::LEVEL_DEBUG);
    Log::setDebug(false);
    file.log(String("dropped again"), Log::LEVEL_DEBUG);
    file.log(
        String("CONNECT h:443 HTTP/1.0\r\nProxy-authorization: Basic dTpzZWNyZXQ=\r\n"
               "AUTHORIZATION:Bearer  tok\r\nauthorization: bare\r\nAuthorization:\r\nX: y"));
    StringOutputStream plain;
    Log base(&plain);
    base.log(String("debug text"), Log::LEVEL_DEBUG);
    base.log(String("Authorization: Basic c2VjcmV0"));

    std::string text = readFile(log);
    size_t connect = text.find("CONNECT");
    ASSERT_NE(connect, std::string::npos) << text;
    EXPECT_EQ(text.substr(connect),
              "CONNECT h:443 HTTP/1.0\r\nProxy-authorization: Basic ****\r\n"
              "AUTHORIZATION:Bearer  ****\r\nauthorization: ****\r\nAuthorization:\r\nX: y\n");
    std::istringstream head(text.substr(0, connect));
    Lines first;
    for (std::string line; std::getline(head, line);) first.push_back(afterStamp(line));
    EXPECT_EQ(first, (Lines{"error\tkept", "debug\tnow written", ""}));
    EXPECT_STREQ(plain.getString().c_str(), "Authorization: Basic ****\n");
    struct stat info;
    ASSERT_EQ(stat(log.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u);
}

TEST_F(LogTest, MainAndDebugLogsUseStandardErrorUntilAFileIsOpened) {
    EXPECT_EQ(afterStamp(writtenBeforeMain), "warning\tlogged before main\n");

    std::string captured = scratch.file("stderr");
    std::string debugFile = log + "-debug";
    // In a child whose standard error is a file, from the first line on.
    EXPECT_EQ(inChild([&] {
                  int fd = open(captured.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
                  dup2(fd, 2);
                  Log::getFileLog()->log(String("to stderr first"), 2);
                  if (!Log::openLog(log.c_str())) throw 1;
                  Log::getFileLog()->log(String("to the file"));
                  if (Log::openLog("") || !Log::getLogFileName().isEmpty()) throw 2;
                  Log::getFileLog()->log(String("to stderr again"));
                  Log::setDebug(true);
                  Log::getLog()->log(String("debug on stderr"), 3);
                  if (!Log::openDebugLog(debugFile.c_str())) throw 3;
                  if (!(Log::getDebugLogFileName() == debugFile.c_str())) throw 4;
                  Log::getLog()->log(String("debug in its file"), 3);
                  Log::setDebug(false);
                  Log::getLog()->log(String("discarded"), 3);
              }),
              0);
    EXPECT_EQ(messages(captured),
              (Lines{"error\tto stderr first", "to stderr again", "debug\tdebug on stderr"}));
    EXPECT_EQ(messages(log), Lines{"to the file"});
    EXPECT_EQ(messages(debugFile), Lines{"debug\tdebug in its file"});
}

TEST_F(LogTest, OpenAppendsAndReportsFailures) {
    RotationFileLog file(log.c_str());
    file.log(String("one"));
    EXPECT_TRUE(file.open(log.c_str()));  // the same file again: appended to
    file.log(String("two"));
    EXPECT_EQ(messages(log), (Lines{"one", "two"}));
    // The log closed to other users (0640 as the umask allows); its lock
    // files in the temporary folder open to every user.
    mode_t mask = umask(0);
    umask(mask);
    struct stat info;
    ASSERT_EQ(stat(log.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u & ~mask);
    for (const char* suffix : {".lock", ".rlock"}) {
        std::string lock = lockPath(suffix);
        ASSERT_EQ(stat(lock.c_str(), &info), 0) << lock;
        EXPECT_EQ(info.st_mode & 0777, 0666u) << lock;
    }

    // A file that cannot be opened, or a full disk, drops the line and never
    // throws; a rotating log retries before every write and recovers once
    // the file can be made.
    std::string missing = scratch.file("later/" + base);
    EXPECT_FALSE(file.open(missing.c_str()));
    EXPECT_STREQ(file.getFileName().c_str(), missing.c_str());
    file.log(String("lost"));
    ASSERT_EQ(mkdir(scratch.file("later").c_str(), 0700), 0);
    file.log(String("found"));
    EXPECT_EQ(messages(missing), Lines{"found"});
    file.open("");

    FileLog(scratch.file("nowhere/y.log").c_str()).log(String("lost"), 2);
    std::string full = scratch.file("full");
    ASSERT_EQ(mknod(full.c_str(), S_IFCHR | 0666, makedev(1, 7)), 0);
    RotationFileLog(full.c_str()).log(String("lost"), 1);
}

TEST_F(LogTest, WritesWaitForTheLockOfAnotherProcess) {
    FileLock held(RotationFileLog::lockFilePath(String(log.c_str()), ".lock").c_str(), true);
    ASSERT_EQ(held.lock(), 0);
    pid_t child = startChild([&] { RotationFileLog(log.c_str()).log(String("waited")); });
    ASSERT_GT(child, 0);
    usleep(300 * 1000);
    EXPECT_EQ(readFile(log), "");  // the child may have made the file, not written to it
    ASSERT_EQ(held.unlock(), 0);
    EXPECT_EQ(waitChild(child), 0);
    EXPECT_EQ(messages(log), Lines{"waited"});

    // A lock held past the wait is given up once, with a warning.
    ASSERT_EQ(held.lock(), 0);
    time_t start = time(nullptr);
    EXPECT_EQ(inChild([&] {
                  RotationFileLog writer(log.c_str());
                  writer.setLockWait(300);
                  writer.log(String("late"));
                  writer.log(String("at once"));
              }),
              0);
    EXPECT_LE(time(nullptr) - start, 3);
    EXPECT_EQ(messages(log), (Lines{"waited",
                                    "warning\tlog lock file " + lockPath(".lock") +
                                        " held by another process for 300 ms, writing without it",
                                    "late", "at once"}));
}

// Four processes write numbered lines at once, into one growing file and into
// 1 KB files rotating into as many copies as it takes: every line arrives
// whole, exactly once, each process's lines in order from the oldest copy to
// the log itself.
TEST_F(LogTest, ProcessesWritingAtOnceLoseAndInterleaveNoLine) {
    const int processes = 4;
    struct Run {
        int perProcess, maxSizeKB, maxCount;
    };
    for (Run run : {Run{2000, 0, 4}, Run{1000, 1, 1000}}) {
        SCOPED_TRACE(run.maxSizeKB);
        std::vector<pid_t> children;
        for (int p = 0; p < processes; ++p) {
            children.push_back(startChild([&, p] {
                Log::setMaxSizeKB(run.maxSizeKB);
                Log::setMaxCount(run.maxCount);
                RotationFileLog writer(log.c_str());
                for (int n = 0; n < run.perProcess; ++n) {
                    String message("process ");
                    message.append(p).append(" line ").append(n).append(
                        " ........................");
                    writer.log(message, 0);
                }
            }));
        }
        for (pid_t child : children) EXPECT_EQ(waitChild(child), 0);
        Lines lines;
        for (int n = run.maxCount; n >= 0; --n) {
            for (const std::string& line : readLines(n > 0 ? copy(n) : log)) lines.push_back(line);
        }
        EXPECT_FALSE(fileExists(copy(0)));
        EXPECT_FALSE(fileExists(copy(run.maxCount + 1)));
        EXPECT_TRUE(run.maxSizeKB == 0 || fileExists(copy(100)));  // every copy kept

        std::map<int, int> nextOf;
        for (const std::string& line : lines) {
            int p = -1, n = -1, end = 0;
            std::string rest = afterStamp(line);
            bool whole = sscanf(rest.c_str(), "info\tprocess %d line %d %n", &p, &n, &end) == 2 &&
                         rest.substr(end) == std::string(24, '.');
            ASSERT_TRUE(whole) << "broken line: " << line;
            EXPECT_EQ(n, nextOf[p]) << "lost, doubled or out of order: " << line;
            nextOf[p] = n + 1;
        }
        EXPECT_EQ(lines.size(), static_cast<size_t>(processes * run.perProcess));
        for (int p = 0; p < processes; ++p) EXPECT_EQ(nextOf[p], run.perProcess) << p;
        RotationFileLog(log.c_str()).reset();
    }
}

// A line a little over 1 KB, tagged so that each file's content can be told.
String bigLine(int tag) {
    String line("line ");
    line.append(tag).append(' ');
    for (int i = 0; i < 1100; ++i) line.append('x');
    return line;
}

// The tag of the one line in the file at `path`, -1 unless there is one.
int tagOf(const std::string& path) {
    Lines lines = messages(path);
    size_t at = lines.size() == 1 ? lines[0].find("line ") : std::string::npos;
    return at == std::string::npos ? -1 : std::atoi(lines[0].c_str() + at + 5);
}

TEST_F(LogTest, RotationKeepsTheNewestCopies) {
    Log::setMaxSizeKB(1);
    Log::setMaxCount(4);
    RotationFileLog file(log.c_str());
    // Every line fills the file, so each later write rotates first; past four
    // copies the oldest is dropped.
    int tag = 0;
    for (int last : {5, 6, 12}) {
        while (tag < last) file.log(bigLine(++tag));
        EXPECT_EQ(tagOf(log), last);
        for (int n = 1; n <= 4; ++n) EXPECT_EQ(tagOf(copy(n)), last - n) << "copy " << n;
        EXPECT_FALSE(fileExists(copy(5)));
        EXPECT_FALSE(fileExists(copy(0)));
    }

    // The debug log rotates within its own limits, not the main log's.
    file.reset();
    Log::setMaxSizeKB(0);
    DebugLog debug(log.c_str());
    debug.setLimits(1, 2);
    Log::setLevel(Log::LEVEL_DEBUG);
    for (tag = 1; tag <= 5; ++tag) debug.log(bigLine(tag), 3);
    EXPECT_EQ(tagOf(log), 5);
    EXPECT_EQ(tagOf(copy(1)), 4);
    EXPECT_EQ(tagOf(copy(2)), 3);
    EXPECT_FALSE(fileExists(copy(3)));

    // Without a size limit the file grows and never rotates.
    debug.reset();
    for (tag = 1; tag <= 6; ++tag) file.log(bigLine(tag));
    EXPECT_EQ(readLines(log).size(), 6u);
    EXPECT_FALSE(fileExists(copy(1)));

    // A file exactly at the limit is not rotated; one byte more is.
    file.reset();
    Log::setMaxSizeKB(1);
    for (size_t size : {1024u, 1025u}) {
        writeFile(log, std::string(size, 'x'));
        file.log(String("next"));
        EXPECT_EQ(fileExists(copy(1)), size > 1024) << size;
    }
}

TEST_F(LogTest, NextNameNumbersCopiesUpToTheCount) {
    Log::setMaxCount(4);
    RotationFileLog file(log.c_str());
    auto next = [&](const std::string& name) {
        return std::string(file.nextName(String(name.c_str())).c_str());
    };
    // Numbered copies move on; past the count comes the oldest name, whose
    // file is deleted first; any other name stays as it is.
    const std::string a = scratch.file("a.log");
    const std::string oldest = a + ".4";
    struct Case {
        std::string name, next;
        bool dropsOldest;
    };
    const Case cases[] = {{a + ".0", a + ".1", false},
                          {a + ".3", oldest, false},
                          {a + ".09", oldest, true},
                          {oldest, oldest, true},
                          {a + ".12345678901", oldest, true},
                          {a, a, false},
                          {a + ".", a + ".", false},
                          {a + ".1a", a + ".1a", false},
                          {scratch.file("noext"), scratch.file("noext"), false}};
    writeFile(a, "log");
    for (const Case& c : cases) {
        writeFile(oldest, "oldest");
        EXPECT_EQ(next(c.name), c.next) << c.name;
        EXPECT_NE(fileExists(oldest), c.dropsOldest) << c.name;
    }
    EXPECT_TRUE(fileExists(a));
    Log::setMaxCount(1);
    EXPECT_EQ(next(a + ".0"), a + ".1");
    EXPECT_EQ(next(a + ".1"), a + ".1");
}

TEST_F(LogTest, ResetRemovesTheLogAndItsCopiesOnly) {
    RotationFileLog file(log.c_str());
    file.log(String("old"));
    for (int n : {0, 1, 2, 7}) writeFile(copy(n), "copy\n");
    const std::string others[] = {log + "-notes", scratch.file("other.txt")};
    for (const std::string& other : others) writeFile(other, "keep\n");
    file.reset();
    EXPECT_FALSE(fileExists(log));
    for (int n : {0, 1, 2, 7}) EXPECT_FALSE(fileExists(copy(n))) << n;
    for (const std::string& other : others) EXPECT_TRUE(fileExists(other)) << other;
    file.log(String("new"));
    EXPECT_EQ(messages(log), Lines{"new"});

    // A plain file log is emptied and keeps writing to its file.
    FileLog plain(copy(1).c_str());
    plain.log(String("old"));
    plain.reset();
    EXPECT_EQ(readFile(copy(1)), "");
    plain.log(String("new"));
    EXPECT_EQ(messages(copy(1)), Lines{"new"});

    // A log named by a folder path has no copies to remove: hidden files of
    // that folder stay.
    const std::string hidden = scratch.file(".hidden");
    writeFile(hidden, "keep\n");
    RotationFileLog onFolder((scratch.path() + "/").c_str());
    onFolder.reset();
    EXPECT_TRUE(fileExists(hidden));
}

TEST_F(LogTest, TrimDeletesCopiesBeyondWhatIsKept) {
    RotationFileLog file(log.c_str());
    struct Step {
        std::vector<int> make;
        int sizeKB, keepKB;
        std::vector<int> left;
    };
    const Step steps[] = {
        {{1, 2, 3, 4, 5, 6}, 0, 1, {1, 2, 3, 4, 5, 6}},  // no size limit: nothing is trimmed
        {{}, 1, 3, {1, 2, 3}},
        {{}, 2, 3, {1}},            // 3 KB of 2 KB copies: one copy kept
        {{2, 3, 5}, 1, 1, {1, 5}},  // deleting stops at the first missing copy
        {{}, 1, 0, {5}},
    };
    for (const Step& step : steps) {
        for (int n : step.make) writeFile(copy(n), "copy\n");
        Log::setMaxSizeKB(step.sizeKB);
        file.trim(step.keepKB);
        std::vector<int> left;
        for (int n = 0; n <= 10; ++n) {
            if (fileExists(copy(n))) left.push_back(n);
        }
        EXPECT_EQ(left, step.left) << step.keepKB << " KB of " << step.sizeKB << " KB copies";
    }
    EXPECT_TRUE(fileExists(log));
}

TEST_F(LogTest, RotateNowAndLogsFollowingOtherProcesses) {
    ASSERT_TRUE(Log::openLog(log.c_str()));
    RotationFileLog* file = Log::getFileLog();
    file->log(String("first"));
    Log::rotateLog();
    Log::rotateLog();  // an empty log is left alone
    EXPECT_TRUE(fileExists(log));
    EXPECT_EQ(readFile(log), "");
    EXPECT_FALSE(fileExists(copy(2)));
    // A log follows its file when another process rotates it or removes it.
    file->log(String("second"));
    EXPECT_EQ(inChild([&] { RotationFileLog(log.c_str()).rotateNow(); }), 0);
    file->log(String("third"));
    EXPECT_EQ(messages(log), Lines{"third"});
    EXPECT_EQ(messages(copy(1)), Lines{"second"});
    EXPECT_EQ(messages(copy(2)), Lines{"first"});
    EXPECT_EQ(inChild([&] { RotationFileLog(log.c_str()).reset(); }), 0);
    EXPECT_FALSE(fileExists(log));
    file->log(String("recreated"));
    EXPECT_EQ(messages(log), Lines{"recreated"});
}

}  // namespace
