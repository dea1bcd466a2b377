#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "IoScratch.h"
#include "io/AtomicFile.h"

namespace {

void replaceText(const std::string& path, const std::string& text) {
    AtomicFile::replace(String(path.c_str()), text.data(), static_cast<int>(text.size()));
}

std::string replaceError(const std::string& path, const std::string& text,
                         const AtomicFile::SystemCalls& calls = AtomicFile::systemCalls()) {
    try {
        AtomicFile::replace(String(path.c_str()), text.data(), static_cast<int>(text.size()),
                            calls);
    } catch (const IOException& e) {
        return str(e.getMessage());
    }
    return "<no exception>";
}

std::string linkText(const std::string& path) {
    char buf[4096];
    ssize_t n = readlink(path.c_str(), buf, sizeof buf);
    return n < 0 ? "<not a link>" : std::string(buf, n);
}

// ---- Fault injection through the system-call seam ----

enum Step {
    NONE,
    OPEN_FOLDER,
    CREATE_NEW,
    FCHOWN,
    FCHMOD,
    WRITE,
    WRITE_NOTHING,
    FILE_FSYNC,
    FILE_CLOSE,
    LINK,
    RENAME,
    FOLDER_FSYNC,
    KILL_IN_WRITE,
    KILL_BEFORE_RENAME,
};

struct Fault {
    Step step = NONE;
    int error = 0;
    Step second = NONE;  // a further step that fails as well
    int folderFd = -1;
    int writes = 0;
    std::vector<std::string> trace;
} fault;

bool failsAt(Step step) {
    if (fault.step != step && fault.second != step) return false;
    errno = fault.error;
    return true;
}

const AtomicFile::SystemCalls& real() {
    return AtomicFile::systemCalls();
}

// Records the call in the trace; true when it is to fail (errno then set).
bool fails(const char* call, Step step) {
    fault.trace.push_back(call);
    return failsAt(step);
}

ssize_t fakeWrite(int fd, const void* bytes, size_t count) {
    fault.trace.push_back("write");
    // The first write gets half of the text through, so that a torn new
    // file exists when the failure comes.
    if (fault.writes++ == 0 && count > 1 &&
        (fault.step == WRITE || fault.step == WRITE_NOTHING || fault.step == KILL_IN_WRITE)) {
        return real().write(fd, bytes, count / 2);
    }
    if (fault.step == KILL_IN_WRITE) _exit(9);
    if (fault.step == WRITE_NOTHING) return 0;
    return failsAt(WRITE) ? -1 : real().write(fd, bytes, count);
}

const AtomicFile::SystemCalls kFaulty = {
    [](const char* path) {
        return fails("openFolder", OPEN_FOLDER) ? -1 : (fault.folderFd = real().openFolder(path));
    },
    [](int folderFd, const char* name, mode_t mode) {
        return fails("createNew", CREATE_NEW) ? -1 : real().createNew(folderFd, name, mode);
    },
    fakeWrite,
    [](int fd) {
        bool folder = fd == fault.folderFd;
        if (fails(folder ? "fsyncFolder" : "fsyncFile", folder ? FOLDER_FSYNC : FILE_FSYNC)) {
            return -1;
        }
        return real().fsync(fd);
    },
    [](int fd, uid_t owner, gid_t group) {
        return fails("fchown", FCHOWN) ? -1 : real().fchown(fd, owner, group);
    },
    [](int fd, mode_t mode) { return fails("fchmod", FCHMOD) ? -1 : real().fchmod(fd, mode); },
    [](int fd) {
        bool folder = fd == fault.folderFd;
        fault.trace.push_back(folder ? "closeFolder" : "closeFile");
        int result = real().close(fd);
        return !folder && failsAt(FILE_CLOSE) ? -1 : result;
    },
    [](int folderFd, const char* from, const char* to) {
        return fails("link", LINK) ? -1 : real().link(folderFd, from, to);
    },
    [](int folderFd, const char* from, const char* to) {
        if (fault.step == KILL_BEFORE_RENAME) _exit(9);
        return fails("rename", RENAME) ? -1 : real().rename(folderFd, from, to);
    },
    [](int folderFd, const char* name) {
        fault.trace.push_back("unlink");
        return real().unlink(folderFd, name);
    },
};

void injectFault(Step step, int error, Step second = NONE) {
    fault = Fault();
    fault.step = step;
    fault.error = error;
    fault.second = second;
}

const std::string kOld = std::string("<ZRInventory version=\"1\">\n  <old/>\0tail\n", 40);
const std::string kNew(5000, 'n');

// ---- Tests ----

TEST(AtomicFileReplace, WritesNewDocumentsAndReplacesKeepingModeAndOwner) {
    ScratchDir scratch;
    std::string doc = scratch / "zr-inventory";
    mode_t oldMask = umask(027);
    replaceText(doc, kOld);
    umask(oldMask);
    EXPECT_EQ(readText(doc), kOld);  // every byte, NUL included
    EXPECT_EQ(modeOf(doc), 0640u);   // as FileOutputStream would create it

    ASSERT_EQ(chmod(doc.c_str(), 0604), 0);
    bool root = geteuid() == 0;
    if (root) {
        ASSERT_EQ(chown(doc.c_str(), 1234, 5678), 0);
    }
    // Names like the side files of a replacement are left alone.
    writeText(scratch / "zr-inventory.new-000000", "junk");
    injectFault(NONE, 0);
    EXPECT_EQ(replaceError(doc, kNew, kFaulty), "<no exception>");
    // The new file is complete on the disk before it takes the name.
    std::vector<std::string> expected = {"openFolder", "createNew",   "fchown",    "fchmod",
                                         "write",      "fsyncFile",   "closeFile", "link",
                                         "rename",     "fsyncFolder", "unlink",    "closeFolder"};
    EXPECT_EQ(fault.trace, expected);
    EXPECT_EQ(readText(doc), kNew);
    struct stat info;
    ASSERT_EQ(stat(doc.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0604u);
    if (root) {
        EXPECT_EQ(info.st_uid, 1234u);
        EXPECT_EQ(info.st_gid, 5678u);
    }
    replaceText(doc, "");
    EXPECT_EQ(readText(doc), "");
    EXPECT_EQ(readText(scratch / "zr-inventory.new-000000"), "junk");
    EXPECT_EQ(folderNames(scratch.path()),
              (std::vector<std::string>{"zr-inventory", "zr-inventory.new-000000"}));

    // A relative path is relative to the working directory.
    WorkingDirectory cwd(scratch.path());
    replaceText("zr-network", "net");
    EXPECT_EQ(readText(scratch / "zr-network"), "net");
}

struct FailingStep {
    Step step;
    int error;
    const char* name;
};

const FailingStep kFailingSteps[] = {
    {OPEN_FOLDER, EACCES, "open folder"},
    {CREATE_NEW, ENOSPC, "create"},
    {FCHOWN, EIO, "fchown"},
    {FCHMOD, EPERM, "fchmod"},
    {WRITE, ENOSPC, "write"},
    {WRITE_NOTHING, ENOSPC, "write of nothing"},
    {FILE_FSYNC, EIO, "fsync file"},
    {FILE_CLOSE, EIO, "close file"},
    {RENAME, EROFS, "rename"},
    {FOLDER_FSYNC, EIO, "fsync folder"},
};

TEST(AtomicFileFailure, EveryFailedStepLeavesOldDocumentOrNothing) {
    for (const FailingStep& failing : kFailingSteps) {
        SCOPED_TRACE(failing.name);
        ScratchDir scratch;
        std::string doc = scratch / "zr-inventory";
        writeText(doc, kOld, 0640);
        struct stat before;
        ASSERT_EQ(stat(doc.c_str(), &before), 0);

        injectFault(failing.step, failing.error);
        EXPECT_EQ(replaceError(doc, kNew, kFaulty), doc + ": " + strerror(failing.error));
        EXPECT_EQ(readText(doc), kOld);
        EXPECT_EQ(folderNames(scratch.path()), std::vector<std::string>{"zr-inventory"});
        struct stat after;
        ASSERT_EQ(stat(doc.c_str(), &after), 0);
        EXPECT_EQ(after.st_ino, before.st_ino);
        EXPECT_EQ(after.st_mode, before.st_mode);

        // Nothing is stuck: the next write goes through.
        replaceText(doc, kNew);
        EXPECT_EQ(readText(doc), kNew);

        // A new document that fails leaves no file (it has no owner or mode
        // to copy).
        if (failing.step == FCHOWN || failing.step == FCHMOD) continue;
        std::string fresh = scratch / "zr-partial-files";
        injectFault(failing.step, failing.error);
        EXPECT_EQ(replaceError(fresh, kNew, kFaulty), fresh + ": " + strerror(failing.error));
        EXPECT_EQ(folderNames(scratch.path()), std::vector<std::string>{"zr-inventory"});
    }
}

TEST(AtomicFileFailure, WithoutHardLinksOnlyFolderSyncLeavesNewDocument) {
    ScratchDir scratch;
    std::string doc = scratch / "doc";
    writeText(doc, kOld);
    injectFault(LINK, EPERM);
    EXPECT_EQ(replaceError(doc, kNew, kFaulty), "<no exception>");
    EXPECT_EQ(readText(doc), kNew);
    EXPECT_EQ(folderNames(scratch.path()), std::vector<std::string>{"doc"});

    // No second name to go back to: the failure is still reported.
    injectFault(LINK, EPERM, FOLDER_FSYNC);
    EXPECT_EQ(replaceError(doc, kOld, kFaulty), doc + ": " + strerror(EPERM));
    EXPECT_EQ(readText(doc), kOld);
    EXPECT_EQ(folderNames(scratch.path()), std::vector<std::string>{"doc"});
}

TEST(AtomicFileFailure, KilledRunLeavesOldDocumentAndNamedLeftover) {
    for (Step kill : {KILL_IN_WRITE, KILL_BEFORE_RENAME}) {
        ScratchDir scratch;
        std::string doc = scratch / "zr-inventory";
        writeText(doc, kOld);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            injectFault(kill, 0);
            try {
                AtomicFile::replace(String(doc.c_str()), kNew.data(), static_cast<int>(kNew.size()),
                                    kFaulty);
            } catch (...) {
            }
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 9);
        EXPECT_EQ(readText(doc), kOld);

        std::vector<std::string> names = folderNames(scratch.path());
        ASSERT_GE(names.size(), 2u);
        for (const std::string& name : names) {
            if (name != "zr-inventory") {
                EXPECT_EQ(name.rfind("zr-inventory.", 0), 0u) << name;
            }
        }
        // The leftovers neither block nor disturb the next write; once no
        // live save can be using them, the next save removes them, but only
        // this user's side files of this document.
        replaceText(doc, kNew);
        EXPECT_EQ(readText(doc), kNew);
        EXPECT_EQ(folderNames(scratch.path()), names);
        std::string theirs = doc + ".old-0123456789ab";
        std::string other = scratch / "zr-network.new-0123456789ab";
        for (const std::string& extra : {theirs, other, doc + ".new-notes"}) writeText(extra, "x");
        ASSERT_EQ(chown(theirs.c_str(), 65534, 65534), 0);
        names = folderNames(scratch.path());
        struct timespec anHourAgo[2] = {{time(nullptr) - 3600, 0}, {time(nullptr) - 3600, 0}};
        for (const std::string& name : names) {
            ASSERT_EQ(utimensat(AT_FDCWD, (scratch / name).c_str(), anHourAgo, 0), 0);
        }
        replaceText(doc, kOld);
        EXPECT_EQ(folderNames(scratch.path()),
                  (std::vector<std::string>{"zr-inventory", "zr-inventory.new-notes",
                                            "zr-inventory.old-0123456789ab",
                                            "zr-network.new-0123456789ab"}));
    }
}

TEST(AtomicFileLinks, TargetIsReplacedAndLinkStays) {
    ScratchDir scratch;
    ASSERT_EQ(mkdir((scratch / "conf").c_str(), 0755), 0);
    ASSERT_EQ(mkdir((scratch / "real").c_str(), 0755), 0);
    std::string target = scratch / "real/zr-network";
    writeText(target, kOld, 0600);

    std::string absolute = scratch / "conf/zr-network";
    ASSERT_EQ(symlink(target.c_str(), absolute.c_str()), 0);
    replaceText(absolute, kNew);
    EXPECT_EQ(linkText(absolute), target);
    EXPECT_EQ(readText(target), kNew);
    EXPECT_EQ(modeOf(target), 0600u);
    EXPECT_EQ(folderNames(scratch / "conf"), std::vector<std::string>{"zr-network"});
    EXPECT_EQ(folderNames(scratch / "real"), std::vector<std::string>{"zr-network"});

    // A relative link, reached through a second link.
    std::string relative = scratch / "conf/rel";
    std::string chained = scratch / "chained";
    ASSERT_EQ(symlink("../real/zr-network", relative.c_str()), 0);
    ASSERT_EQ(symlink("conf/rel", chained.c_str()), 0);
    replaceText(chained, "via chain");
    EXPECT_EQ(linkText(chained), "conf/rel");
    EXPECT_EQ(linkText(relative), "../real/zr-network");
    EXPECT_EQ(readText(target), "via chain");

    // A link to a file not yet there creates it.
    std::string dangling = scratch / "conf/new";
    ASSERT_EQ(symlink("../real/created", dangling.c_str()), 0);
    replaceText(dangling, "created");
    EXPECT_EQ(linkText(dangling), "../real/created");
    EXPECT_EQ(readText(scratch / "real/created"), "created");
}

TEST(AtomicFileLinks, LinkIntoMissingFolderFailsLikeOpening) {
    ScratchDir scratch;
    std::string link = scratch / "doc";
    ASSERT_EQ(symlink((scratch / "gone/doc").c_str(), link.c_str()), 0);
    EXPECT_EQ(replaceError(link, kNew), link + ": " + strerror(ENOENT));
    EXPECT_EQ(linkText(link), scratch / "gone/doc");
    EXPECT_EQ(folderNames(scratch.path()), std::vector<std::string>{"doc"});

    std::string loop = scratch / "loop";
    ASSERT_EQ(symlink("loop", loop.c_str()), 0);
    EXPECT_EQ(replaceError(loop, kNew), loop + ": " + strerror(ELOOP));

    // The new file is always made afresh: never an existing file, never
    // through a link.
    writeText(scratch / "existing", "keep");
    int folder = open(scratch.path().c_str(), O_RDONLY | O_DIRECTORY);
    for (const char* name : {"existing", "doc", "loop"}) {
        errno = 0;
        int fd = real().createNew(folder, name, 0600);
        EXPECT_EQ(fd, -1) << name;
        EXPECT_EQ(errno, EEXIST) << name;
        if (fd >= 0) close(fd);
    }
    close(folder);
    EXPECT_EQ(readText(scratch / "existing"), "keep");

    EXPECT_EQ(replaceError("", kNew), std::string(": ") + strerror(ENOENT));
    EXPECT_EQ(replaceError(scratch.path() + "/", kNew), scratch.path() + "/: " + strerror(EISDIR));
    EXPECT_EQ(replaceError(scratch / "missing/doc", kNew),
              scratch / "missing/doc" + ": " + strerror(ENOENT));
}

// ---- What is not a regular file is never replaced ----

// A document linked to a device or a FIFO keeps that node (a rename over it
// would break it for every program on the machine): a device takes the
// bytes, a FIFO takes them when somebody reads it and fails at once
// otherwise; a folder is refused.
TEST(AtomicFileInPlace, NodesAreWrittenNeverReplaced) {
    ScratchDir scratch;
    std::string device = scratch / "null", fifo = scratch / "fifo", link = scratch / "doc";
    ASSERT_EQ(mknod(device.c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
    ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
    ASSERT_EQ(symlink(device.c_str(), link.c_str()), 0);
    EXPECT_EQ(AtomicFile::replace(String(link.c_str()), "doc", 3), AtomicFile::WRITTEN_IN_PLACE);
    EXPECT_EQ(replaceError(fifo, kNew), fifo + ": " + strerror(ENXIO));
    EXPECT_EQ(replaceError(scratch.path(), kNew), scratch.path() + ": " + strerror(EISDIR));
    int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    replaceText(fifo, "doc");
    char got[8] = {};
    EXPECT_EQ(read(reader, got, sizeof got), 3);
    close(reader);
    struct stat info;
    ASSERT_EQ(stat(link.c_str(), &info), 0);
    EXPECT_TRUE(S_ISCHR(info.st_mode) && info.st_rdev == makedev(1, 3));
    ASSERT_EQ(lstat(fifo.c_str(), &info), 0);
    EXPECT_TRUE(S_ISFIFO(info.st_mode));
    EXPECT_EQ(folderNames(scratch.path()), (std::vector<std::string>{"doc", "fifo", "null"}));
}

// A document with a mode limit (credentials): created private whatever the
// umask, narrowed when replaced, a stricter mode kept.
TEST(AtomicFileReplace, ModeLimitKeepsDocumentPrivate) {
    ScratchDir scratch;
    std::string doc = scratch / "zr-network";
    auto replacePrivate = [&](const std::string& text) {
        return AtomicFile::replace(String(doc.c_str()), text.data(), static_cast<int>(text.size()),
                                   AtomicFile::PRIVATE_MODE);
    };
    mode_t oldMask = umask(0);
    replacePrivate(kOld);
    umask(oldMask);
    EXPECT_EQ(modeOf(doc), 0600u);
    for (mode_t before : {0644, 0755, 0400}) {
        ASSERT_EQ(chmod(doc.c_str(), before), 0);
        EXPECT_EQ(replacePrivate(kNew), AtomicFile::REPLACED);
        EXPECT_EQ(modeOf(doc), before & 0600u) << before;
    }

    // Its owner rewriting it in place (no new file allowed in the folder)
    // narrows it as well.
    ASSERT_EQ(chown(doc.c_str(), 65534, 65534) | chmod(doc.c_str(), 0644), 0);
    ASSERT_EQ(chmod(scratch.path().c_str(), 0755), 0);
    pid_t child = fork();
    if (child == 0) {
        bool ok = setgroups(0, nullptr) == 0 && setgid(65534) == 0 && setuid(65534) == 0;
        _exit(ok && replacePrivate(kOld) == AtomicFile::WRITTEN_IN_PLACE ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readText(doc), kOld);
    EXPECT_EQ(modeOf(doc), 0600u);
}

// A product's script under its own account may write the document but not
// make files in its folder (0755), or not give a new file the document's
// owner (0777): the document is then rewritten in place, owner and mode kept.
TEST(AtomicFileInPlace, CallerWhoCannotReplaceRewritesInPlace) {
    ScratchDir scratch;
    ASSERT_EQ(chmod(scratch.path().c_str(), 0755), 0);
    for (mode_t folderMode : {0755, 0777}) {
        std::string folder = scratch / std::to_string(folderMode), doc = folder + "/doc";
        ASSERT_EQ(mkdir(folder.c_str(), 0755) | chmod(folder.c_str(), folderMode), 0);
        writeText(doc, kNew);
        ASSERT_EQ(chown(doc.c_str(), 0, 65534) | chmod(doc.c_str(), 0664), 0);
        pid_t child = fork();
        if (child == 0) {
            bool ok = setgroups(0, nullptr) == 0 && setgid(65534) == 0 && setuid(65534) == 0;
            _exit(ok && AtomicFile::replace(String(doc.c_str()), kOld.data(), kOld.size()) ==
                              AtomicFile::WRITTEN_IN_PLACE
                      ? 0
                      : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << folderMode;
        EXPECT_EQ(readText(doc), kOld);
        struct stat info;
        ASSERT_EQ(stat(doc.c_str(), &info), 0);
        EXPECT_EQ(info.st_uid + (info.st_mode & 07777), 0664u);
        EXPECT_EQ(folderNames(folder), std::vector<std::string>{"doc"});
    }
}

}  // namespace
