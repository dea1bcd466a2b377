#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <string>

#include "IoScratch.h"
#include "Vector.h"
#include "io/File.h"

namespace {

std::vector<std::string> sortedList(const File& dir) {
    Vector<String> names;
    dir.list(names);
    std::vector<std::string> out;
    for (int i = 0; i < names.size(); i++) out.push_back(str(names.elementAt(i)));
    std::sort(out.begin(), out.end());
    return out;
}

TEST(FilePathText, JoinsSplitsAndCanonicalises) {
    EXPECT_EQ(str(File("", "x").getPath()), "x");
    EXPECT_EQ(str(File("/tmp/", "x").getPath()), "/tmp/x");
    EXPECT_EQ(str(File("/tmp", "x").getPath()), "/tmp/x");
    EXPECT_EQ(str(File("a//b").getPath()), "a//b");  // kept as given

    const char* const parents[][2] = {{"/", ""},    {"/a", "/"},    {"a", ""},
                                      {"a/b", "a"}, {"/a/b", "/a"}, {"a/", "a"}};
    for (const auto& p : parents) EXPECT_EQ(str(File(p[0]).getParent()), p[1]) << p[0];
    const char* const folders[][2] = {{"/a", "/"}, {"a", "."}, {"a/b", "a"}, {"/a/b/c", "/a/b"}};
    for (const auto& f : folders) EXPECT_EQ(str(File::folderOf(f[0])), f[1]) << f[0];
    EXPECT_EQ(str(File("/a/b.txt").getName()), "b.txt");
    EXPECT_EQ(str(File("b").getName()), "b");
    EXPECT_THROW(File("dir/").getName(), ArrayIndexException);
    EXPECT_TRUE(File("/x").isAbsolute());
    EXPECT_FALSE(File("x/y").isAbsolute());
    EXPECT_FALSE(File("").isAbsolute());
    EXPECT_EQ(File("abc").compareTo(String("abc")), 0);
    EXPECT_LT(File("abc").compareTo(String("abd")), 0);
    EXPECT_GT(File("abd").compareTo(String("abc")), 0);

    // A path ending in "/." or "/.." keeps a trailing separator; names that
    // merely contain dots are names.
    const char* const canonical[][2] = {{"/a/./b//c/../d", "/a/b/d"},
                                        {"/../x", "/x"},
                                        {"/a/../../x", "/x"},
                                        {"//a///b", "/a/b"},
                                        {"/a/b/c/../../d", "/a/d"},
                                        {"/a/b/../", "/a/"},
                                        {"/a/b/..", "/a/"},
                                        {"/a/b/.", "/a/b/"},
                                        {"/a/..", "/"},
                                        {"/..", "/"},
                                        {"/.", "/"},
                                        {"/", "/"},
                                        {"/a/..b/.c/d.", "/a/..b/.c/d."},
                                        {"/a/.../b", "/a/.../b"}};
    for (const auto& c : canonical) EXPECT_EQ(str(File(c[0]).getCanonicalPath()), c[1]) << c[0];

    // Relative paths start at the working directory.
    ScratchDir scratch;
    WorkingDirectory cwd(scratch.path());
    EXPECT_EQ(str(File("/abs/x").getAbsolutePath()), "/abs/x");
    EXPECT_EQ(str(File("rel/x").getAbsolutePath()), scratch / "rel/x");
    EXPECT_EQ(str(File("x/../y").getCanonicalPath()), scratch / "y");
    std::string parent = scratch.path().substr(0, scratch.path().rfind('/'));
    EXPECT_EQ(str(File("../q").getCanonicalPath()), parent + "/q");
    WorkingDirectory root("/");
    EXPECT_EQ(str(File("etc").getAbsolutePath()), "/etc");
}

TEST(FileQueries, AnswerFromTheFileSystem) {
    ScratchDir scratch;
    writeText(scratch / "empty", "");
    writeText(scratch / "five", "12345");
    mkdir((scratch / "dir").c_str(), 0755);
    symlink((scratch / "dir").c_str(), (scratch / "dirlink").c_str());

    // exists, isFile, isDirectory, canRead, canWrite, length, for each kind.
    struct Case {
        const char* name;
        bool exists, isFile, isDirectory, canRead, canWrite;
        long length;
    } cases[] = {
        {"empty", true, true, false, true, true, 0},
        {"five", true, true, false, true, true, 5},
        {"dir", true, false, true, true, true, -1},
        {"dirlink", true, false, true, true, true, -1},
        {"missing", false, false, false, false, false, -1},
        {"five/x", false, false, false, false, false, -1},  // under a regular file
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        File file((scratch / c.name).c_str());
        EXPECT_EQ(file.exists(), c.exists);
        EXPECT_EQ(file.isFile(), c.isFile);
        EXPECT_EQ(file.isDirectory(), c.isDirectory);
        EXPECT_EQ(file.canRead(), c.canRead);
        EXPECT_EQ(file.canWrite(), c.canWrite);
        EXPECT_EQ(file.length(), c.length);
    }
    long t = 42;
    File missing((scratch / "missing").c_str());
    EXPECT_FALSE(missing.isReadOnly());
    EXPECT_FALSE(missing.lastModified(t));
    EXPECT_EQ(t, 42);
}

TEST(FileQueries, TimesAndReadOnly) {
    ScratchDir scratch;
    std::string path = scratch / "f";
    writeText(path, "x", 0664);
    struct utimbuf times = {1000000, 2000000};
    ASSERT_EQ(utime(path.c_str(), &times), 0);

    File file(String(path.c_str()));
    long t = 0;
    ASSERT_TRUE(file.lastModified(t));
    EXPECT_EQ(t, 2000000);

    ASSERT_TRUE(file.setLastModified(1234567890L));
    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mtime, 1234567890);
    EXPECT_EQ(info.st_atime, 1000000);  // access time kept

    EXPECT_FALSE(file.isReadOnly());
    ASSERT_TRUE(file.setReadOnly());
    EXPECT_EQ(modeOf(path), 0444u);
    EXPECT_TRUE(file.isReadOnly());

    EXPECT_FALSE(File((scratch / "none").c_str()).setLastModified(1));
    EXPECT_FALSE(File((scratch / "none").c_str()).setReadOnly());
}

TEST(FileQueries, SameFileComparesTheOpenDescriptor) {
    ScratchDir scratch;
    std::string path = scratch / "log";
    writeText(path, "a");
    int fd = open(path.c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    File file(String(path.c_str()));
    EXPECT_TRUE(file.isSameFile(fd));
    // Renamed away and replaced by a new file: the descriptor is stale.
    ASSERT_EQ(rename(path.c_str(), (scratch / "log.1").c_str()), 0);
    writeText(path, "b");
    EXPECT_FALSE(file.isSameFile(fd));
    EXPECT_TRUE(File((scratch / "log.1").c_str()).isSameFile(fd));
    close(fd);
    EXPECT_FALSE(file.isSameFile(fd));
    EXPECT_FALSE(File((scratch / "none").c_str()).isSameFile(0));
}

TEST(FileListing, AppendsEntriesWithoutDots) {
    ScratchDir scratch;
    File dir(String(scratch.path().c_str()));
    EXPECT_TRUE(sortedList(dir).empty());

    writeText(scratch / "b", "");
    writeText(scratch / ".hidden", "");
    mkdir((scratch / "a").c_str(), 0700);
    EXPECT_EQ(sortedList(dir), (std::vector<std::string>{".hidden", "a", "b"}));

    Vector<String> names;
    names.add(String("kept"));
    dir.list(names);
    ASSERT_EQ(names.size(), 4);
    EXPECT_EQ(str(names.elementAt(0)), "kept");

    Vector<String> none;
    File((scratch / "b").c_str()).list(none);
    File((scratch / "missing").c_str()).list(none);
    EXPECT_EQ(none.size(), 0);
}

TEST(FileChanges, CreateMakeDirectoriesAndRename) {
    ScratchDir scratch;
    mode_t oldMask = umask(0);
    std::string path = scratch / "new";
    File file(String(path.c_str()));
    EXPECT_TRUE(file.createNewFile());
    EXPECT_EQ(modeOf(path), 0600u);
    writeText(path, "keep");
    EXPECT_FALSE(file.createNewFile());
    EXPECT_EQ(readText(path), "keep");

    File dir(String((scratch / "d").c_str()));
    EXPECT_TRUE(dir.mkdir());
    EXPECT_EQ(modeOf(scratch / "d"), 0700u);
    EXPECT_FALSE(dir.mkdir());
    umask(oldMask);

    {
        WorkingDirectory cwd(scratch.path());
        EXPECT_TRUE(File("a/b/c").mkdirs());
        EXPECT_TRUE(File("a/b/c").isDirectory());
        EXPECT_TRUE(File("a/b/c").mkdirs());     // already there
        EXPECT_FALSE(File("new/sub").mkdirs());  // under a regular file
    }
    EXPECT_TRUE(File((scratch / "x/y/z").c_str()).mkdirs());
    EXPECT_TRUE(File((scratch / "x/y/z").c_str()).isDirectory());

    File moving(String(path.c_str()));
    EXPECT_TRUE(moving.renameTo(String((scratch / "moved").c_str())));
    EXPECT_EQ(str(moving.getPath()), scratch / "moved");
    EXPECT_EQ(readText(scratch / "moved"), "keep");
    EXPECT_FALSE(moving.renameTo(String((scratch / "no/such/dir").c_str())));
    EXPECT_EQ(str(moving.getPath()), scratch / "moved");
    File gone(String((scratch / "gone").c_str()));
    EXPECT_FALSE(gone.renameTo(String((scratch / "other").c_str())));
    EXPECT_EQ(str(gone.getPath()), scratch / "gone");
}

TEST(FileChanges, DeleteFilesDirectoriesAndTrees) {
    ScratchDir scratch;
    writeText(scratch / "f", "x");
    mkdir((scratch / "empty").c_str(), 0700);
    mkdir((scratch / "full").c_str(), 0700);
    writeText(scratch / "full/x", "x");

    EXPECT_TRUE(File((scratch / "f").c_str()).deleteFile());
    EXPECT_FALSE(File((scratch / "f").c_str()).exists());
    EXPECT_TRUE(File((scratch / "empty").c_str()).deleteFile());
    EXPECT_FALSE(File((scratch / "full").c_str()).deleteFile());
    EXPECT_TRUE(File((scratch / "full/x").c_str()).exists());
    EXPECT_FALSE(File((scratch / "missing").c_str()).deleteFile());

    // A tree with a link to a folder outside it: the link goes, the folder
    // it points to and its contents stay.
    ScratchDir outside;
    writeText(outside / "precious", "p");
    std::string tree = scratch / "tree";
    ASSERT_TRUE(File((tree + "/a/b/c").c_str()).mkdirs());
    writeText(tree + "/a/one", "1");
    writeText(tree + "/a/b/two", "2");
    writeText(tree + "/a/b/c/three", "3");
    symlink(outside.path().c_str(), (tree + "/a/out").c_str());
    symlink("/nonexistent/target", (tree + "/dangling").c_str());

    EXPECT_TRUE(File(tree.c_str()).deleteRecursive());
    EXPECT_FALSE(File(tree.c_str()).exists());
    EXPECT_EQ(readText(outside / "precious"), "p");

    EXPECT_TRUE(File((scratch / "full").c_str()).deleteRecursive());
    EXPECT_FALSE(File((scratch / "full").c_str()).exists());
    EXPECT_FALSE(File((scratch / "missing").c_str()).deleteRecursive());

    // A link to a directory is removed itself by deleteFile.
    symlink(outside.path().c_str(), (scratch / "link").c_str());
    EXPECT_TRUE(File((scratch / "link").c_str()).deleteFile());
    EXPECT_EQ(readText(outside / "precious"), "p");
}

TEST(FileTemporary, CreatesUniqueEmptyFiles) {
    ScratchDir scratch;
    String first, second;
    int fd1 = File::createTempFile(String("zr"), String(scratch.path().c_str()), first);
    int fd2 = File::createTempFile(String("zr"), String((scratch.path() + "/").c_str()), second);
    ASSERT_GE(fd1, 0);
    ASSERT_GE(fd2, 0);
    EXPECT_EQ(str(first).size(), (scratch / "zr").size() + 6);
    EXPECT_EQ(str(first).substr(0, (scratch / "zr").size()), scratch / "zr");
    EXPECT_NE(str(first), str(second));
    EXPECT_EQ(modeOf(str(first)), 0600u);
    EXPECT_EQ(File(first).length(), 0);
    ASSERT_EQ(write(fd1, "abc", 3), 3);  // opened for writing
    EXPECT_EQ(readText(str(first)), "abc");
    close(fd1);
    close(fd2);

    String inTmp;
    int fd3 = File::createTempFile(String("zr-io-test-"), inTmp);
    ASSERT_GE(fd3, 0);
    EXPECT_EQ(str(inTmp).substr(0, 16), "/tmp/zr-io-test-");
    EXPECT_EQ(str(inTmp).size(), 16u + 6);
    close(fd3);
    unlink(inTmp.c_str());

    String untouched("before");
    EXPECT_EQ(File::createTempFile(String("zr"), String((scratch / "missing").c_str()), untouched),
              -1);
    EXPECT_EQ(str(untouched), "before");
}

}  // namespace
