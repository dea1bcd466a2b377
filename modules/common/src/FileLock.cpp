#include "FileLock.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace {
// A request covering the whole file however long it grows: offset 0 from the
// start, length 0.
struct flock wholeFileRequest(short type) {
    struct flock request;
    std::memset(&request, 0, sizeof request);
    request.l_type = type;
    request.l_whence = SEEK_SET;
    request.l_start = 0;
    request.l_len = 0;
    return request;
}
}  // namespace

// The constructor always makes a private lock file; sharing it with other
// users is asked for explicitly through open().
FileLock::FileLock(const char* lockPath, bool /*shared*/) : fd(-1), shared(false) {
    path[0] = '\0';
    open(lockPath, false);
}

FileLock::~FileLock() {
    close();
}

int FileLock::open(const char* lockPath, bool makeShared) {
    close();
    shared = makeShared;
    path[0] = '\0';
    if (lockPath == nullptr || lockPath[0] == '\0') return -1;

    std::strncpy(path, lockPath, PATH_CAPACITY - 1);
    path[PATH_CAPACITY - 1] = '\0';

    // Close-on-exec: programs started by this process do not inherit the
    // lock file's descriptor.
    fd = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd == -1) return -1;
    // Let processes of other users lock the same file. Failing (a file owned by
    // somebody else) is harmless: it was then made shareable by its owner.
    if (shared) fchmod(fd, 0666);
    return 0;
}

int FileLock::lock() {
    if (fd == -1) return -1;
    struct flock request = wholeFileRequest(F_WRLCK);
    return fcntl(fd, F_SETLKW, &request);
}

int FileLock::unlock() {
    if (fd == -1) return -1;
    struct flock request = wholeFileRequest(F_UNLCK);
    return fcntl(fd, F_SETLKW, &request);
}

int FileLock::close() {
    if (fd == -1) return -1;
    int result = ::close(fd);
    // The descriptor is gone even when close() reports an error, so it is
    // never closed twice.
    fd = -1;
    return result == 0 ? 0 : -1;
}

int FileLock::remove() {
    if (fd == -1) return -1;
    return unlink(path);
}
