#include "io/FileLock.h"

#include <errno.h>
#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

#include "io/SafeOpen.h"

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
FileLock::FileLock(const char* lockPath, bool /*shared*/) : fd(-1), shared(false), why() {
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
    why.clear();
    if (lockPath == nullptr || lockPath[0] == '\0') return -1;

    std::strncpy(path, lockPath, PATH_CAPACITY - 1);
    path[PATH_CAPACITY - 1] = '\0';

    // Close-on-exec: programs started by this process do not inherit the
    // lock file's descriptor. A shared lock file of another user is used as
    // it is (it was made shareable by its owner); it is only ever locked.
    fd = SafeOpen::file(path, shared ? 0666 : 0600, true, why);
    return fd == -1 ? -1 : 0;
}

int FileLock::lock() {
    if (fd == -1) return -1;
    struct flock request = wholeFileRequest(F_WRLCK);
    return fcntl(fd, F_SETLKW, &request);
}

int FileLock::lock(int timeoutMs) {
    if (fd == -1) return -1;
    struct flock request = wholeFileRequest(F_WRLCK);
    struct timespec start, now;
    clock_gettime(CLOCK_MONOTONIC, &start);
    // Short naps at first, as a lock is normally held for one write only.
    for (int napMs = 1;; napMs = napMs < 50 ? napMs * 2 : 50) {
        if (fcntl(fd, F_SETLK, &request) == 0) return 0;
        if (errno != EACCES && errno != EAGAIN && errno != EINTR) return -1;
        clock_gettime(CLOCK_MONOTONIC, &now);
        long waitedMs =
            (now.tv_sec - start.tv_sec) * 1000L + (now.tv_nsec - start.tv_nsec) / 1000000L;
        if (waitedMs >= timeoutMs) {
            errno = ETIMEDOUT;
            return -1;
        }
        poll(nullptr, 0, napMs);
    }
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
