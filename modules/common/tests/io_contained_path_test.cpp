// Where paths really lead before something is deleted or run under a folder,
// and names in a shared folder claimed from whatever another user put there.
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "IoScratch.h"
#include "io/ContainedPath.h"
#include "io/SafeOpen.h"

namespace {

// The part of `path` below `folder`, or "<outside>".
std::string below(const std::string& path, const std::string& folder, bool followLast = false) {
    String rest;
    if (!ContainedPath::isInside(String(path.c_str()), String(folder.c_str()), followLast, rest)) {
        return "<outside>";
    }
    return str(rest);
}

TEST(ContainedPathTest, DotsSeparatorsAndLinksAreResolvedBeforeTheCheck) {
    ScratchDir scratch;
    char real[PATH_MAX];
    ASSERT_NE(realpath(scratch.path().c_str(), real), nullptr);
    const std::string top = real;
    const std::string root = top + "/root";
    ASSERT_EQ(mkdir(root.c_str(), 0700) | mkdir((root + "/7").c_str(), 0700) |
                  mkdir((top + "/rootx").c_str(), 0700) |
                  symlink(top.c_str(), (root + "/up").c_str()) |
                  symlink((root + "/7").c_str(), (root + "/seven").c_str()) |
                  symlink("loop", (root + "/loop").c_str()),
              0);
    struct Case {
        std::string path;
        const char* rest;
    } cases[] = {
        {root + "/7/a", "7/a"},
        {root + "//7/./a/", "7/a"},
        {root + "/7/../8", "8"},               // ".." inside stays inside
        {root + "/new/deeper/../x", "new/x"},  // missing entries are text
        {root + "/7/..", "<outside>"},         // the folder itself
        {root + "/./", "<outside>"},
        {root + "/7/../../x", "<outside>"},
        {root + "/../root/7", "7"},
        {top + "/rootx/a", "<outside>"},  // a name that only starts alike
        {root + "/up/x", "<outside>"},    // a parent link leading out
        {root + "/up/root/7", "7"},       // ... and back in
        {root + "/up", "up"},             // the link itself is inside
        {root + "/seven/a", "7/a"},
        {root + "/loop/x", "<outside>"},        // cannot be resolved
        {"/../" + root.substr(1) + "/7", "7"},  // ".." above "/" stays there
    };
    for (const Case& c : cases) EXPECT_EQ(c.rest, below(c.path, root)) << c.path;
    // Following the last link as well.
    EXPECT_EQ("<outside>", below(root + "/up", root, true));
    EXPECT_EQ("7", below(root + "/seven", root, true));
}

// What another user put at the name of the program's own folder or file is
// cleared away: nothing behind it is followed, and the name is then the
// program's own, with exactly the mode asked for.
TEST(SafeOpenTest, ClaimsNamesWhateverWasPlantedThere) {
    ScratchDir dir;
    std::string target = dir / "precious";
    ASSERT_EQ(mkdir(target.c_str(), 0700), 0);
    writeText(target + "/file", "secret", 0600);
    for (const char* name : {"link", "file-link"}) {
        ASSERT_EQ(symlink(target.c_str(), (dir / name).c_str()), 0);
    }
    for (const char* name : {"theirs", "their-file"}) {
        std::string path = dir / name;
        ASSERT_EQ(mkdir(path.c_str(), 0777), 0);
        ASSERT_EQ(mkdir((path + "/sub").c_str(), 0777), 0);
        ASSERT_EQ(symlink(target.c_str(), (path + "/sub/in").c_str()), 0);
        ASSERT_EQ(symlink((target + "/file").c_str(), (path + "/to-file").c_str()), 0);
        ASSERT_EQ(system(("chown -R -h 65534:65534 " + path).c_str()), 0);
    }
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0666), 0);
    for (const char* name : {"link", "theirs", "fifo", "fresh"}) {
        String why;
        int fd = SafeOpen::claimFolder((dir / name).c_str(), 0755, why);
        ASSERT_GE(fd, 0) << name << ": " << why.c_str();
        close(fd);
        struct stat info;
        ASSERT_EQ(lstat((dir / name).c_str(), &info), 0);
        EXPECT_TRUE(S_ISDIR(info.st_mode) && info.st_uid == geteuid()) << name;
        EXPECT_EQ(0755u, info.st_mode & 07777) << name;
    }
    for (const char* name : {"file-link", "their-file"}) {
        String why;
        int fd = SafeOpen::claimFile((dir / name).c_str(), 0600, why);
        ASSERT_GE(fd, 0) << name << ": " << why.c_str();
        EXPECT_EQ(write(fd, "new", 3), 3);
        close(fd);
        EXPECT_EQ("new", readFile(dir / name)) << name;
    }
    EXPECT_EQ("secret", readFile(target + "/file"));
    // Folders moved aside are removed as well.
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        EXPECT_EQ(std::string::npos, entry.path().string().find(".foreign.")) << entry.path();
    }
}

}  // namespace
