// Logging on real files in scratch folders: line formats, the process-wide
// logs and switches, rotation into numbered copies, and several processes
// writing to one log at once.
#include "util/Log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Exception.h"
#include "FileLock.h"
#include "NameValuePairs.h"
#include "ZRPaths.h"
#include "io/StringOutputStream.h"

namespace {

namespace fs = std::filesystem;

// Whether `line` starts with "YYYY-MM-DD HH:MM:SS" and a tab.
bool hasStamp(const std::string& line) {
    const std::string shape = "dddd-dd-dd dd:dd:dd\t";
    if (line.size() < shape.size()) return false;
    for (size_t i = 0; i < shape.size(); ++i) {
        bool ok = shape[i] == 'd' ? (line[i] >= '0' && line[i] <= '9') : line[i] == shape[i];
        if (!ok) return false;
    }
    return true;
}

// A scratch folder under /tmp holding one log file with a name of its own, so
// that its lock files in the temporary directory are its own too. Everything
// is removed at the end.
class Scratch {
  public:
    Scratch() {
        char pattern[] = "/tmp/zrlogtest.XXXXXX";
        const char* made = mkdtemp(pattern);
        EXPECT_NE(made, nullptr);
        dir = made != nullptr ? made : "/tmp";
        base = "zrlogtest-" + fs::path(dir).filename().string().substr(10) + ".log";
        log = dir + "/" + base;
    }
    ~Scratch() {
        std::error_code ignored;
        fs::remove_all(dir, ignored);
        fs::remove(lockPath(".lock"), ignored);
        fs::remove(lockPath(".rlock"), ignored);
    }
    std::string copy(int n) const { return log + "." + std::to_string(n); }
    std::string lockPath(const char* suffix) const {
        return RotationFileLog::lockFilePath(String(log.c_str()), suffix).c_str();
    }

    std::string dir;
    std::string base;
    std::string log;
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// "<stamp>\t<rest>" with the stamp checked against the clock; gives <rest>.
std::string afterStamp(const std::string& line) {
    if (!hasStamp(line)) {
        ADD_FAILURE() << "no time stamp in: " << line;
        return line;
    }
    struct tm parts = {};
    EXPECT_NE(strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &parts), nullptr);
    parts.tm_isdst = -1;
    double age = difftime(time(nullptr), mktime(&parts));
    EXPECT_LE(age, 60.0) << line;
    EXPECT_GE(age, -2.0) << line;
    return line.substr(20);
}

// The one line of the file at `path`, without its stamp.
std::string onlyLine(const std::string& path) {
    std::vector<std::string> lines = readLines(path);
    if (lines.size() == 1) return afterStamp(lines[0]);
    ADD_FAILURE() << path << " holds " << lines.size() << " lines";
    return "";
}

// Puts the process-wide logs and settings back as each test found them.
class LogTest : public ::testing::Test {
  protected:
    void TearDown() override {
        Log::setEnabled(true);
        Log::setMode(0);
        Log::setMaxSizeKB(0);
        Log::setMaxCount(4);
        Log::setDebug(false);
        Log::getDebugLog()->setLimits(1024, 100);
        Log::openLog("");
        Log::openDebugLog("");
    }
};

// Runs `body` in a child process and gives its exit status (0 when the body
// returns normally, 1 when it throws).
template <class Body>
pid_t runChild(Body body) {
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

int waitChild(pid_t pid) {
    int status = -1;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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

TEST_F(LogTest, LogsWorkBeforeMainOnStandardError) {
    EXPECT_EQ(afterStamp(writtenBeforeMain), "warning\tlogged before main\n");
}

TEST_F(LogTest, FileLogLineFormats) {
    Scratch scratch;
    {
        FileLog log(scratch.log.c_str());
        EXPECT_STREQ(log.getFileName().c_str(), scratch.log.c_str());
        log.log(String("plain message"));
        log.log(String("x"), 2);
        log.log(String("x\n"), 0);
        log.log(String("careful"), 1);
        log.log(String("details"), 3);
        log.log(String("unknown level"), 7);
        log.log(String("negative level"), -1);
        log.log(String(""));

        NameValuePairs record;
        record.add(String("first"), TypedValue("a\tb"));
        record.add(String("second"), TypedValue("c"));
        record.add(String("count"), TypedValue(42L));
        log.log(record);
    }
    std::vector<std::string> lines = readLines(scratch.log);
    std::vector<std::string> expected = {"plain message",
                                         "error\tx",
                                         "info\tx",
                                         "warning\tcareful",
                                         "debug\tdetails",
                                         "info\tunknown level",
                                         "info\tnegative level",
                                         "",
                                         "a b\tc\t42"};
    ASSERT_EQ(lines.size(), expected.size()) << readFile(scratch.log);
    for (size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(afterStamp(lines[i]), expected[i]);
    // Exactly one newline per line, none doubled by a message ending in one.
    std::string text = readFile(scratch.log);
    EXPECT_EQ(text.find("\n\n"), std::string::npos);
    EXPECT_EQ(text.back(), '\n');
}

TEST_F(LogTest, BaseLogWritesMessagesAndRecordsAsTheyAre) {
    StringOutputStream out;
    Log log(&out);
    log.log(String("as is"));
    log.log(String("level ignored"), 2);
    log.log(String("ends already\n"));
    NameValuePairs record;
    record.add(String("name"), TypedValue("value"));
    record.add(String("n"), TypedValue(7L));
    log.log(record);
    EXPECT_STREQ(out.getString().c_str(),
                 "as is\nlevel ignored\nends already\nname=value\nn=7\n==\n");

    // A borrowed stream gets the same time-stamped lines as a file.
    StringOutputStream borrowed;
    FileLog fileLog(&borrowed);
    fileLog.log(String("to the stream"), 1);
    EXPECT_EQ(afterStamp(borrowed.getString().c_str()), "warning\tto the stream\n");
    EXPECT_TRUE(fileLog.getFileName().isEmpty());
}

TEST_F(LogTest, DisabledLoggingWritesNothing) {
    Scratch scratch;
    StringOutputStream out;
    Log plain(&out);
    RotationFileLog log(scratch.log.c_str());
    log.log(String("before"));

    Log::setEnabled(false);
    EXPECT_FALSE(Log::isEnabled());
    log.log(String("hidden"));
    log.log(String("hidden"), 2);
    NameValuePairs record;
    record.add(String("a"), TypedValue("b"));
    log.log(record);
    plain.log(String("hidden"));
    EXPECT_EQ(readLines(scratch.log).size(), 1u);
    EXPECT_TRUE(out.getString().isEmpty());

    Log::setEnabled(true);
    log.log(String("after"));
    std::vector<std::string> lines = readLines(scratch.log);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(afterStamp(lines[1]), "after");
}

TEST_F(LogTest, ProcessWideLogsAndSwitches) {
    Log* nullLog = Log::getNullLog();
    EXPECT_NE(static_cast<Log*>(Log::getDebugLog()), static_cast<Log*>(Log::getFileLog()));

    Log::setMode(0);
    EXPECT_EQ(Log::getMainLog(), nullLog);
    Log::setMode(1);
    EXPECT_EQ(Log::getMode(), 1);
    EXPECT_EQ(Log::getMainLog(), static_cast<Log*>(Log::getFileLog()));
    Log::setMode(3);
    EXPECT_EQ(Log::getMainLog(), nullLog);

    EXPECT_EQ(Log::getLog(), nullLog);
    Log::setDebug(true);
    EXPECT_TRUE(Log::isDebug());
    EXPECT_EQ(Log::getLog(), static_cast<Log*>(Log::getDebugLog()));
    Log::setDebug(false);
    EXPECT_EQ(Log::getLog(), nullLog);

    // Only positive copy counts are accepted.
    Log::setMaxCount(7);
    Log::setMaxCount(0);
    EXPECT_EQ(Log::getMaxCount(), 7);
}

TEST_F(LogTest, MainAndDebugLogsUseStandardErrorUntilAFileIsOpened) {
    Scratch scratch;
    std::string captured = scratch.dir + "/stderr";
    std::string debugFile = scratch.log + "-debug";
    // In a child whose standard error is a file, from the first line on.
    pid_t child = runChild([&] {
        int fd = open(captured.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(fd, 2);
        Log::getFileLog()->log(String("to stderr first"), 2);
        if (!Log::openLog(scratch.log.c_str())) throw 1;
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
    });
    ASSERT_EQ(waitChild(child), 0);
    std::vector<std::string> err = readLines(captured);
    ASSERT_EQ(err.size(), 3u);
    EXPECT_EQ(afterStamp(err[0]), "error\tto stderr first");
    EXPECT_EQ(afterStamp(err[1]), "to stderr again");
    EXPECT_EQ(afterStamp(err[2]), "debug\tdebug on stderr");
    EXPECT_EQ(onlyLine(scratch.log), "to the file");
    EXPECT_EQ(onlyLine(debugFile), "debug\tdebug in its file");
    fs::remove(RotationFileLog::lockFilePath(String(debugFile.c_str()), ".lock").c_str());
    fs::remove(RotationFileLog::lockFilePath(String(debugFile.c_str()), ".rlock").c_str());
}

TEST_F(LogTest, OpenKeepsTheSameFileAndReportsFailures) {
    Scratch scratch;
    RotationFileLog log(scratch.log.c_str());
    log.log(String("one"));
    // Opening the same file again appends to it.
    EXPECT_TRUE(log.open(scratch.log.c_str()));
    log.log(String("two"));
    EXPECT_EQ(readLines(scratch.log).size(), 2u);
    struct stat info;
    ASSERT_EQ(stat(scratch.log.c_str(), &info), 0);
    mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0666u & ~mask);

    // Lock files in the temporary directory, open to every user.
    ASSERT_EQ(stat(scratch.lockPath(".lock").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0666u);
    EXPECT_EQ(scratch.lockPath(".rlock"),
              std::string(ZRPaths::TMP_DIR) + "/" + scratch.base + ".rlock");
    EXPECT_TRUE(exists(scratch.lockPath(".rlock")));

    // A file that cannot be opened makes writes throw the reason; a rotating
    // log retries before every write and recovers once the file can be made.
    std::string missing = scratch.dir + "/later/" + scratch.base;
    EXPECT_FALSE(log.open(missing.c_str()));
    EXPECT_STREQ(log.getFileName().c_str(), missing.c_str());
    try {
        log.log(String("lost"));
        ADD_FAILURE() << "writing to an unopened file did not throw";
    } catch (const IOException& e) {
        EXPECT_EQ(std::string(e.getMessage().c_str()).rfind(missing + ": ", 0), 0u)
            << e.getMessage().c_str();
    }
    ASSERT_EQ(mkdir((scratch.dir + "/later").c_str(), 0700), 0);
    log.log(String("found"));
    EXPECT_EQ(onlyLine(missing), "found");
    log.open("");

    FileLog plain((scratch.dir + "/nowhere/y.log").c_str());
    EXPECT_THROW(plain.log(String("lost"), 2), IOException);
}

TEST_F(LogTest, WritesWaitForTheLockOfAnotherProcess) {
    Scratch scratch;
    FileLock held(scratch.lockPath(".lock").c_str(), true);
    ASSERT_EQ(held.lock(), 0);
    pid_t child = runChild([&] {
        RotationFileLog log(scratch.log.c_str());
        log.log(String("waited"));
    });
    ASSERT_GT(child, 0);
    usleep(300 * 1000);
    // The child may have created the file, but not written to it.
    EXPECT_EQ(readFile(scratch.log), "");
    ASSERT_EQ(held.unlock(), 0);
    EXPECT_EQ(waitChild(child), 0);
    EXPECT_EQ(onlyLine(scratch.log), "waited");
}

// Each of `processes` children writes `perProcess` numbered lines; returns the
// lines found in the log and its copies, oldest copy first.
std::vector<std::string> writeConcurrently(const Scratch& scratch, int processes, int perProcess,
                                           int maxSizeKB, int maxCount) {
    std::vector<pid_t> children;
    for (int p = 0; p < processes; ++p) {
        children.push_back(runChild([&, p] {
            Log::setMaxSizeKB(maxSizeKB);
            Log::setMaxCount(maxCount);
            RotationFileLog log(scratch.log.c_str());
            for (int n = 0; n < perProcess; ++n) {
                String message("process ");
                message.append(p).append(" line ").append(n).append(" ........................");
                log.log(message, 0);
            }
        }));
    }
    for (pid_t child : children) EXPECT_EQ(waitChild(child), 0);
    std::vector<std::string> lines;
    for (int n = maxCount; n >= 1; --n) {
        for (const std::string& line : readLines(scratch.copy(n))) lines.push_back(line);
    }
    for (const std::string& line : readLines(scratch.log)) lines.push_back(line);
    EXPECT_FALSE(exists(scratch.copy(0)));
    EXPECT_FALSE(exists(scratch.copy(maxCount + 1)));
    return lines;
}

// Every line whole, each exactly once, and each process's lines in order.
void expectEveryLineOnceInOrder(const std::vector<std::string>& lines, int processes,
                                int perProcess) {
    std::map<int, int> nextOf;
    std::set<std::pair<int, int>> seen;
    for (const std::string& line : lines) {
        int p = -1;
        int n = -1;
        int end = 0;
        bool whole = hasStamp(line) &&
                     sscanf(line.c_str() + 20, "info\tprocess %d line %d %n", &p, &n, &end) == 2 &&
                     line.substr(20 + end) == std::string(24, '.');
        ASSERT_TRUE(whole) << "broken line: " << line;
        EXPECT_TRUE(seen.insert({p, n}).second) << "twice: " << line;
        EXPECT_EQ(n, nextOf[p]) << "out of order: " << line;
        nextOf[p] = n + 1;
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(processes * perProcess));
}

TEST_F(LogTest, ProcessesAppendingAtOnceLoseNoLine) {
    Scratch scratch;
    std::vector<std::string> lines = writeConcurrently(scratch, 4, 2000, 0, 4);
    EXPECT_EQ(lines.size(), 8000u);
    expectEveryLineOnceInOrder(lines, 4, 2000);
}

TEST_F(LogTest, ProcessesRotatingAtOnceLoseNoLine) {
    Scratch scratch;
    // About 300 KB in 1 KB files: every copy is kept, so all lines must be
    // found, in order, from the oldest copy to the log itself.
    std::vector<std::string> lines = writeConcurrently(scratch, 4, 1000, 1, 1000);
    EXPECT_EQ(lines.size(), 4000u);
    expectEveryLineOnceInOrder(lines, 4, 1000);
    EXPECT_TRUE(exists(scratch.copy(100)));
}

// A line a little over 1 KB, tagged so that each file's content can be told.
String bigLine(int tag) {
    String line("line ");
    line.append(tag).append(' ');
    for (int i = 0; i < 1100; ++i) line.append('x');
    return line;
}

int tagOf(const std::string& path) {
    std::vector<std::string> lines = readLines(path);
    if (lines.size() != 1) return -1;
    std::string rest = afterStamp(lines[0]);
    size_t at = rest.find("line ");
    return at == std::string::npos ? -1 : std::atoi(rest.c_str() + at + 5);
}

TEST_F(LogTest, RotationKeepsTheNewestCopies) {
    Scratch scratch;
    Log::setMaxSizeKB(1);
    Log::setMaxCount(4);
    RotationFileLog log(scratch.log.c_str());
    // Every line fills the file, so each later write rotates first.
    for (int tag = 1; tag <= 5; ++tag) log.log(bigLine(tag));
    EXPECT_EQ(tagOf(scratch.log), 5);
    for (int n = 1; n <= 4; ++n) EXPECT_EQ(tagOf(scratch.copy(n)), 5 - n) << "copy " << n;

    // The fifth rotation drops the oldest copy.
    log.log(bigLine(6));
    EXPECT_EQ(tagOf(scratch.log), 6);
    for (int n = 1; n <= 4; ++n) EXPECT_EQ(tagOf(scratch.copy(n)), 6 - n) << "copy " << n;
    EXPECT_FALSE(exists(scratch.copy(5)));
    EXPECT_FALSE(exists(scratch.copy(0)));

    for (int tag = 7; tag <= 12; ++tag) log.log(bigLine(tag));
    EXPECT_EQ(tagOf(scratch.log), 12);
    for (int n = 1; n <= 4; ++n) EXPECT_EQ(tagOf(scratch.copy(n)), 12 - n) << "copy " << n;
    EXPECT_FALSE(exists(scratch.copy(5)));

    // Without a size limit the file grows and never rotates.
    Log::setMaxSizeKB(0);
    Scratch unlimited;
    RotationFileLog growing(unlimited.log.c_str());
    for (int tag = 1; tag <= 6; ++tag) growing.log(bigLine(tag));
    EXPECT_EQ(readLines(unlimited.log).size(), 6u);
    EXPECT_FALSE(exists(unlimited.copy(1)));
}

TEST_F(LogTest, DebugLogRotatesWithinItsOwnLimits) {
    Scratch scratch;
    Log::setMaxSizeKB(0);
    Log::setMaxCount(4);
    DebugLog debug(scratch.log.c_str());
    debug.setLimits(1, 2);
    for (int tag = 1; tag <= 5; ++tag) debug.log(bigLine(tag), 3);
    EXPECT_EQ(tagOf(scratch.log), 5);
    EXPECT_EQ(tagOf(scratch.copy(1)), 4);
    EXPECT_EQ(tagOf(scratch.copy(2)), 3);
    EXPECT_FALSE(exists(scratch.copy(3)));
    EXPECT_EQ(debug.nextName(String("a.1")), String("a.2"));
}

TEST_F(LogTest, NextNameNumbersCopiesUpToTheCount) {
    Scratch scratch;
    Log::setMaxCount(4);
    RotationFileLog log(scratch.log.c_str());
    auto next = [&](const std::string& name) {
        return std::string(log.nextName(String(name.c_str())).c_str());
    };
    std::string base = scratch.dir + "/a.log";
    EXPECT_EQ(next(base + ".0"), base + ".1");
    EXPECT_EQ(next(base + ".3"), base + ".4");
    EXPECT_EQ(next(base + ".09"), base + ".4");
    // Past the count: the oldest name, whose file is deleted first.
    writeFile(base + ".4", "oldest");
    EXPECT_EQ(next(base + ".4"), base + ".4");
    EXPECT_FALSE(exists(base + ".4"));
    writeFile(base + ".4", "oldest");
    EXPECT_EQ(next(base + ".12345678901"), base + ".4");
    EXPECT_FALSE(exists(base + ".4"));
    // Names that are not numbered copies stay as they are.
    writeFile(base, "log");
    EXPECT_EQ(next(base), base);
    EXPECT_EQ(next(scratch.dir + "/noext"), scratch.dir + "/noext");
    EXPECT_EQ(next(base + "."), base + ".");
    EXPECT_EQ(next(base + ".1a"), base + ".1a");
    EXPECT_TRUE(exists(base));

    Log::setMaxCount(1);
    EXPECT_EQ(next(base + ".0"), base + ".1");
    EXPECT_EQ(next(base + ".1"), base + ".1");
}

TEST_F(LogTest, RotateLogMovesANonEmptyLogAside) {
    Scratch scratch;
    Log::setMaxSizeKB(0);
    ASSERT_TRUE(Log::openLog(scratch.log.c_str()));
    Log::getFileLog()->log(String("first"));
    Log::rotateLog();
    EXPECT_TRUE(exists(scratch.log));
    EXPECT_EQ(readFile(scratch.log), "");
    EXPECT_EQ(onlyLine(scratch.copy(1)), "first");

    // An empty log is left alone.
    Log::rotateLog();
    EXPECT_FALSE(exists(scratch.copy(2)));
    EXPECT_EQ(readLines(scratch.copy(1)).size(), 1u);

    Log::getFileLog()->log(String("second"));
    Log::rotateLog();
    EXPECT_EQ(onlyLine(scratch.copy(1)), "second");
    EXPECT_EQ(onlyLine(scratch.copy(2)), "first");
    Log::openLog("");
}

TEST_F(LogTest, ResetRemovesTheLogAndItsCopies) {
    Scratch scratch;
    RotationFileLog log(scratch.log.c_str());
    log.log(String("old"));
    for (int n : {0, 1, 2, 7}) writeFile(scratch.copy(n), "copy\n");
    std::string sameStart = scratch.log + "-notes";
    std::string other = scratch.dir + "/other.txt";
    writeFile(sameStart, "keep\n");
    writeFile(other, "keep\n");
    log.reset();
    EXPECT_FALSE(exists(scratch.log));
    for (int n : {0, 1, 2, 7}) EXPECT_FALSE(exists(scratch.copy(n))) << n;
    EXPECT_TRUE(exists(sameStart));
    EXPECT_TRUE(exists(other));
    log.log(String("new"));
    EXPECT_EQ(onlyLine(scratch.log), "new");

    // A plain file log is emptied and keeps writing to its file.
    Scratch plainScratch;
    FileLog plain(plainScratch.log.c_str());
    plain.log(String("old"));
    plain.reset();
    EXPECT_EQ(readFile(plainScratch.log), "");
    plain.log(String("new"));
    EXPECT_EQ(onlyLine(plainScratch.log), "new");
}

TEST_F(LogTest, TrimDeletesCopiesBeyondWhatIsKept) {
    Scratch scratch;
    RotationFileLog log(scratch.log.c_str());
    auto makeCopies = [&](std::initializer_list<int> numbers) {
        for (int n : numbers) writeFile(scratch.copy(n), "copy\n");
    };
    auto present = [&] {
        std::vector<int> numbers;
        for (int n = 0; n <= 10; ++n) {
            if (exists(scratch.copy(n))) numbers.push_back(n);
        }
        return numbers;
    };
    makeCopies({1, 2, 3, 4, 5, 6});
    Log::setMaxSizeKB(0);
    log.trim(1);
    EXPECT_EQ(present(), (std::vector<int>{1, 2, 3, 4, 5, 6}));

    Log::setMaxSizeKB(1);
    log.trim(3);
    EXPECT_EQ(present(), (std::vector<int>{1, 2, 3}));

    Log::setMaxSizeKB(2);
    log.trim(3);  // 3 KB of 2 KB copies: one copy kept
    EXPECT_EQ(present(), (std::vector<int>{1}));

    // Deleting stops at the first missing copy.
    makeCopies({2, 3, 5});
    Log::setMaxSizeKB(1);
    log.trim(1);
    EXPECT_EQ(present(), (std::vector<int>{1, 5}));
    log.trim(0);
    EXPECT_EQ(present(), (std::vector<int>{5}));
    EXPECT_TRUE(exists(scratch.log));
}

TEST_F(LogTest, ALogFollowsItsFileWhenAnotherProcessRotatesIt) {
    Scratch scratch;
    Log::setMaxSizeKB(0);
    RotationFileLog log(scratch.log.c_str());
    log.log(String("before"));
    pid_t child = runChild([&] {
        RotationFileLog other(scratch.log.c_str());
        other.rotateNow();
    });
    ASSERT_EQ(waitChild(child), 0);
    log.log(String("after"));
    EXPECT_EQ(onlyLine(scratch.log), "after");
    EXPECT_EQ(onlyLine(scratch.copy(1)), "before");

    // Also when another process has removed the log altogether.
    child = runChild([&] {
        RotationFileLog other(scratch.log.c_str());
        other.reset();
    });
    ASSERT_EQ(waitChild(child), 0);
    EXPECT_FALSE(exists(scratch.log));
    log.log(String("recreated"));
    EXPECT_EQ(onlyLine(scratch.log), "recreated");
}

}  // namespace
