#ifndef ZR_IO_ATOMIC_FILE_H
#define ZR_IO_ATOMIC_FILE_H

#include <sys/types.h>

#include "String.h"

// The one way documents are written to their files: at every instant the
// file holds either the whole previous document or the whole new one.
class AtomicFile {
public:
    enum Outcome {
        REPLACED,         // the crash-safe way: a new file renamed over the old
        WRITTEN_IN_PLACE  // the existing file itself was rewritten (see below)
    };

    // Replaces the file at path (the target, when path is a symbolic link)
    // with the length bytes at data, keeping its mode and owner; a new file
    // gets the mode FileOutputStream gives (0666 less the umask). Throws
    // IOException "path: error text" on any failure, and then the old file
    // is untouched and no new file is left. (One exception: on a file system
    // without hard links, a failed sync of the folder after the rename
    // leaves the new document in place, still reported as a failure.)
    // After a replacement, side files of this document that a killed save
    // left behind ("<name>.new-*", "<name>.old-*") are removed once they are
    // old enough that no live save can still be using them.
    //
    // Only regular files are replaced. Two cases are written in place:
    // - the target is a device, a FIFO or a socket: renaming a file over it
    //   would destroy the node for every program on the machine, so the
    //   bytes are written to it, without blocking (a FIFO nobody reads fails
    //   at once); a folder fails with "Is a directory";
    // - the caller may write the document but neither create files in its
    //   folder nor give a new file the document's owner (a product's script
    //   running under its own account): the file is rewritten from the start,
    //   cut to length and synced. A kill in the middle can then tear it, so
    //   the caller should say the save was not crash-safe.
    static Outcome replace(const String& path, const char* data, int length);

    // Permission bits a document may have at most: a private document
    // (credentials) is written with PRIVATE_MODE. A new file is created with
    // 0666 & limit (less the umask); a replaced one keeps its mode & limit,
    // so a stricter mode an administrator gave it stays and a wider one is
    // narrowed. A file rewritten in place is narrowed the same way when this
    // process may change its mode.
    static const mode_t ANY_MODE = 07777;
    static const mode_t PRIVATE_MODE = 0600;
    static Outcome replace(const String& path, const char* data, int length, mode_t limit);

    // The system calls replace() makes, so that tests can make each step
    // fail. Names are relative to the descriptor of the document's folder.
    // Each returns what the system call does (-1 with errno on failure).
    struct SystemCalls {
        int (*openFolder)(const char* path);
        int (*createNew)(int folderFd, const char* name, mode_t mode);
        ssize_t (*write)(int fd, const void* bytes, size_t count);
        int (*fsync)(int fd);
        int (*fchown)(int fd, uid_t owner, gid_t group);
        int (*fchmod)(int fd, mode_t mode);
        int (*close)(int fd);
        int (*link)(int folderFd, const char* from, const char* to);
        int (*rename)(int folderFd, const char* from, const char* to);
        int (*unlink)(int folderFd, const char* name);
    };
    // The real calls, which replace(path, data, length) uses.
    static const SystemCalls& systemCalls();
    // replace() through the given calls; for tests only.
    static Outcome replace(const String& path, const char* data, int length,
                           const SystemCalls& calls, mode_t limit = ANY_MODE);
};

#endif
