// A minimal form of the safe opening of names in shared folders: enough for
// the work directory and the delay-status file of the updater.
#include "io/SafeOpen.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "SystemError.h"

namespace {

int refuse(int fd, const char* path, const char* reason, String& why) {
    if (fd >= 0) close(fd);
    why = String(path);
    why.append(": ").append(reason);
    return -1;
}

int refuseError(int fd, const char* path, int error, String& why) {
    return refuse(fd, path, systemErrorText(error).c_str(), why);
}

}  // namespace

int SafeOpen::file(const char* path, mode_t mode, bool anyOwner, String& why) {
    // O_NONBLOCK: a FIFO planted at the name must not hang the open.
    int fd = open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode);
    if (fd < 0) {
        return errno == ELOOP ? refuse(-1, path, "is a symbolic link", why)
                              : refuseError(-1, path, errno, why);
    }
    struct stat st;
    if (fstat(fd, &st) != 0) return refuseError(fd, path, errno, why);
    if (!S_ISREG(st.st_mode)) return refuse(fd, path, "is not a regular file", why);
    if (!anyOwner) {
        if (st.st_uid != geteuid()) return refuse(fd, path, "is owned by another user", why);
        if (st.st_nlink != 1) return refuse(fd, path, "has other names (hard links)", why);
        if (fchmod(fd, mode) != 0) return refuseError(fd, path, errno, why);
    }
    int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0)
        return refuseError(fd, path, errno, why);
    return fd;
}

int SafeOpen::folder(const char* path, mode_t mode, String& why) {
    if (mkdir(path, mode) != 0 && errno != EEXIST) return refuseError(-1, path, errno, why);
    int fd = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        return errno == ELOOP || errno == ENOTDIR
                   ? refuse(-1, path, "is not a folder (a symbolic link or a file)", why)
                   : refuseError(-1, path, errno, why);
    }
    struct stat st;
    if (fstat(fd, &st) != 0) return refuseError(fd, path, errno, why);
    if (st.st_uid != geteuid()) return refuse(fd, path, "is owned by another user", why);
    if (fchmod(fd, mode) != 0) return refuseError(fd, path, errno, why);
    return fd;
}
