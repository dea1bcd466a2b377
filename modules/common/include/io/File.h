#ifndef ZR_IO_FILE_H
#define ZR_IO_FILE_H

#include "String.h"
#include "Vector.h"
#include "ZRObject.h"

// A path in the file system, with queries and changes that go to the
// operating system afresh each time (nothing is cached). Failures are
// answered with false or -1, never thrown; only running out of memory
// throws (list, getCanonicalPath) besides the String rules (getName).
class File : public ZRObject {
public:
    // Holds path as given: relative or absolute, not normalised.
    File(const String& path);
    // dir + "/" + name ("/" only when dir does not end with one); just name
    // when dir is empty.
    File(const String& dir, const String& name);

    static String getSeparator();      // "/"
    static String getTempDirectory();  // "/tmp"

    String getPath() const { return path; }
    // The text after the last "/" (the whole path without one); a path ending
    // in "/" throws ArrayIndexException.
    String getName() const;
    // "a/b" -> "a", "/a" -> "/", "/" -> "", "a" -> "".
    String getParent() const;
    // The folder to open for working on path's entry: the text before the
    // last "/", "/" for "/a", "." for a bare name ("a").
    static String folderOf(const String& path);
    bool isAbsolute() const;
    // The path, prefixed with the working directory when relative.
    String getAbsolutePath() const;
    // The absolute path without "." and ".." segments or doubled separators;
    // a trailing "/." or "/.." leaves a trailing "/" ("/a/b/.." -> "/a/").
    // Purely textual: symbolic links are not resolved.
    String getCanonicalPath() const;
    // Byte-wise comparison of the path with other: negative, 0 or positive.
    int compareTo(const String& other) const;

    bool exists() const;
    bool canRead() const;
    bool canWrite() const;
    bool isDirectory() const;  // follows links
    bool isFile() const;       // a regular file, following links
    // Readable, and the owner-write bit is clear.
    bool isReadOnly() const;
    // The modification time in seconds since the epoch, into t.
    bool lastModified(long& t) const;
    // Size of a readable regular file; -1 otherwise.
    long length() const;
    // The path and the open descriptor name the same inode (the device is
    // not compared).
    bool isSameFile(int fd) const;
    // Appends the entry names of a directory (without "." and ".."), in the
    // order the system gives them; nothing for anything else.
    void list(Vector<String>& names) const;

    // Creates an empty file with mode 0600; false if the path exists.
    bool createNewFile() const;
    bool mkdir() const;  // mode 0700
    // Creates the directory and every missing parent.
    bool mkdirs() const;
    // Removes a file (or a symbolic link) or an empty directory.
    bool deleteFile() const;
    // Removes a file, or a directory with everything under it; stops at the
    // first entry that cannot be removed. Symbolic links are removed, never
    // followed.
    bool deleteRecursive() const;
    // Needs write access to the path; afterwards this object names newPath.
    bool renameTo(const String& newPath);
    bool setLastModified(long t) const;
    // Clears the three write bits.
    bool setReadOnly() const;

    // Creates a new unique file "/tmp/<prefix>XXXXXX" (mode 0600) and
    // returns its open descriptor, which the caller must close; -1 on
    // failure, outPath then unchanged.
    static int createTempFile(const String& prefix, String& outPath);
    static int createTempFile(const String& prefix, const String& dir, String& outPath);

private:
    String path;
};

#endif
