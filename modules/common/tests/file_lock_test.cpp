// FileLock: exclusion between processes (a forked child blocks in lock()
// until the parent unlocks or closes), the closed state, file modes and the
// cut of long paths.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "IoScratch.h"
#include "io/FileLock.h"
#include "io/SafeOpen.h"

namespace {

// Waits up to `ms` milliseconds for one byte on `fd`; 0 when none came.
char readByte(int fd, int ms) {
    struct pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, ms) != 1) return 0;
    char c = 0;
    return read(fd, &c, 1) == 1 ? c : 0;
}

enum class Release { Unlock, Close };

// The parent holds the lock while a forked child asks for it. The child
// reports 'w' before lock() and 'L' once it has the lock; it must stay blocked
// until the parent releases the lock in the given way.
void checkChildWaitsUntilRelease(const std::string& lockPath, Release release) {
    FileLock parentLock(lockPath.c_str(), false);
    ASSERT_TRUE(parentLock.isOpen());
    ASSERT_EQ(0, parentLock.lock());

    int pipeEnds[2];
    ASSERT_EQ(0, pipe(pipeEnds));
    pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        close(pipeEnds[0]);
        FileLock childLock(lockPath.c_str(), false);
        (void)!write(pipeEnds[1], "w", 1);
        char result = (childLock.lock() == 0) ? 'L' : 'E';
        (void)!write(pipeEnds[1], &result, 1);
        _exit(0);
    }
    close(pipeEnds[1]);

    EXPECT_EQ('w', readByte(pipeEnds[0], 5000));
    EXPECT_EQ(0, readByte(pipeEnds[0], 400)) << "child got the lock the parent holds";

    if (release == Release::Unlock) {
        EXPECT_EQ(0, parentLock.unlock());
    } else {
        EXPECT_EQ(0, parentLock.close());
    }
    EXPECT_EQ('L', readByte(pipeEnds[0], 5000)) << "child did not get the released lock";

    // Bounded wait for the child; kill it if it is still stuck.
    int status = 0;
    pid_t done = 0;
    for (int i = 0; i < 500 && done == 0; ++i) {
        done = waitpid(child, &status, WNOHANG);
        if (done == 0) usleep(10000);
    }
    if (done == 0) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        ADD_FAILURE() << "child did not end";
    }
    close(pipeEnds[0]);
}

}  // namespace

TEST(FileLockTest, SecondProcessWaitsUntilTheFirstUnlocksOrCloses) {
    ScratchDir dir;
    for (Release release : {Release::Unlock, Release::Close}) {
        checkChildWaitsUntilRelease(dir / "run.lock", release);
    }
}

TEST(FileLockTest, ClosedLockRefusesEveryOperation) {
    FileLock empty("", false);
    EXPECT_FALSE(empty.isOpen());
    EXPECT_EQ(-1, empty.lock());
    EXPECT_EQ(-1, empty.unlock());
    EXPECT_EQ(-1, empty.remove());
    EXPECT_EQ(-1, empty.close());

    // A path that cannot be created leaves the lock closed.
    FileLock unusable("/nonexistent-zr-dir/sub/x.lock", false);
    EXPECT_FALSE(unusable.isOpen());
    EXPECT_EQ(-1, unusable.lock());

    ScratchDir dir;
    std::string lockPath = dir / "a.lock";
    FileLock lock(lockPath.c_str(), false);
    ASSERT_TRUE(lock.isOpen());
    EXPECT_EQ(0, lock.close());
    EXPECT_FALSE(lock.isOpen());
    EXPECT_EQ(-1, lock.close());
    EXPECT_EQ(-1, lock.lock());
}

TEST(FileLockTest, CreatesPrivateOrSharedFilesAndRemovesThem) {
    ScratchDir dir;
    std::string privatePath = dir / "private.lock";
    std::string sharedPath = dir / "shared.lock";
    mode_t oldMask = umask(022);

    FileLock lock(privatePath.c_str(), false);
    ASSERT_TRUE(lock.isOpen());
    EXPECT_EQ(0600u, modeOf(privatePath));
    EXPECT_EQ(0, lock.lock());

    // Reopening on another path closes the first file and its lock.
    ASSERT_EQ(0, lock.open(sharedPath.c_str(), true));
    EXPECT_EQ(0666u, modeOf(sharedPath));
    EXPECT_EQ(0, lock.lock());
    EXPECT_EQ(0, lock.unlock());

    EXPECT_EQ(0, lock.remove());
    EXPECT_NE(0, access(sharedPath.c_str(), F_OK));
    EXPECT_TRUE(lock.isOpen()) << "removing the file keeps the descriptor";
    EXPECT_EQ(0, access(privatePath.c_str(), F_OK));

    // An empty path closes the lock and leaves it closed.
    lock.open("", true);
    EXPECT_FALSE(lock.isOpen());
    umask(oldMask);
}

TEST(FileLockTest, PathIsCutAt255Characters) {
    ScratchDir dir;
    std::string full = dir.path() + "/";
    full.append(280 - full.size(), 'n');
    ASSERT_EQ(280u, full.size());
    std::string cut = full.substr(0, 255);

    FileLock lock(full.c_str(), false);
    ASSERT_TRUE(lock.isOpen());
    EXPECT_EQ(0, access(cut.c_str(), F_OK)) << "the file must carry the first 255 characters";
    EXPECT_EQ(0, lock.remove());
    EXPECT_NE(0, access(cut.c_str(), F_OK));

    // Exactly 255 characters are kept whole.
    FileLock exact(cut.c_str(), false);
    ASSERT_TRUE(exact.isOpen());
    EXPECT_EQ(0, access(cut.c_str(), F_OK));
}

// What another user may have put at a name in a shared folder beforehand: a
// link to a file of this user, a FIFO, a second name of such a file, or an
// entry of his own. Nothing behind the name is followed or changed.
TEST(SafeOpenTest, RefusesWhatWasPlantedAtTheName) {
    ScratchDir dir;
    std::string target = dir / "precious";
    writeText(target, "secret", 0600);
    ASSERT_EQ(mkdir((dir / "own").c_str(), 0777) | mkdir((dir / "theirs").c_str(), 0700) |
                  symlink(target.c_str(), (dir / "link").c_str()) |
                  symlink((dir / "own").c_str(), (dir / "folder-link").c_str()) |
                  mkfifo((dir / "fifo").c_str(), 0666) |
                  link(target.c_str(), (dir / "second-name").c_str()),
              0);
    writeText(dir / "their-file", "theirs", 0644);
    for (const char* name : {"theirs", "their-file"}) {
        ASSERT_EQ(chown((dir / name).c_str(), 65534, 65534), 0);
    }
    struct Case {
        const char* name;
        bool folder, anyOwner;
        const char* refusal;  // nullptr: accepted
    } cases[] = {
        {"link", false, true, "is a symbolic link"},
        {"fifo", false, true, "not a regular file"},
        {"second-name", false, true, "has more than one name"},
        {"their-file", false, false, "owned by another user"},
        {"their-file", false, true, nullptr},
        {"folder-link", true, false, "is a symbolic link"},
        {"precious", true, false, "not a folder"},
        {"theirs", true, false, "owned by another user"},
        {"own", true, false, nullptr},
    };
    for (const Case& c : cases) {
        String why;
        int fd = c.folder ? SafeOpen::folder((dir / c.name).c_str(), 0700, why)
                          : SafeOpen::file((dir / c.name).c_str(), 0666, c.anyOwner, why);
        EXPECT_EQ(why.c_str(), c.refusal ? dir / c.name + ": " + c.refusal : "") << c.name;
        EXPECT_EQ(fd >= 0, c.refusal == nullptr) << c.name;
        if (fd >= 0) close(fd);
    }
    EXPECT_EQ("secret", readText(target));
    EXPECT_EQ(0600u, modeOf(target));
    EXPECT_EQ(0644u, modeOf(dir / "their-file"));
    EXPECT_EQ(0700u, modeOf(dir / "own"));  // no other user may add entries
}
