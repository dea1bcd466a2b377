#ifndef ZR_IO_ATOMIC_FILE_H
#define ZR_IO_ATOMIC_FILE_H

#include <sys/types.h>

#include "String.h"

// The one way documents are written to their files: at every instant the
// file holds either the whole previous document or the whole new one.
class AtomicFile {
  public:
    // Replaces the file at path (the target, when path is a symbolic link)
    // with the length bytes at data, keeping its mode and owner; a new file
    // gets the mode FileOutputStream gives (0666 less the umask). Throws
    // IOException "path: error text" on any failure, and then the old file
    // is untouched and no new file is left. (One exception: on a file system
    // without hard links, a failed sync of the folder after the rename
    // leaves the new document in place, still reported as a failure.)
    static void replace(const String& path, const char* data, int length);

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
    static void replace(const String& path, const char* data, int length, const SystemCalls& calls);
};

#endif
