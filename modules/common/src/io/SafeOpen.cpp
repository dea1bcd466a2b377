#include "io/SafeOpen.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "SystemError.h"

namespace {

int refuse(const char* path, const char* reason, String& why) {
    why = String(path);
    why.append(": ").append(reason);
    return -1;
}

int refuseError(const char* path, int error, String& why) {
    why = pathErrorText(path, error);
    return -1;
}

// Checks what an open descriptor refers to; closes it and refuses when it is
// not the expected kind of entry or belongs to somebody else.
int accept(int fd, const char* path, bool folder, bool anyOwner, mode_t mode, String& why) {
    struct stat info;
    if (fstat(fd, &info) != 0) {
        int error = errno;
        close(fd);
        return refuseError(path, error, why);
    }
    const char* reason = nullptr;
    bool own = info.st_uid == geteuid();
    if (folder ? !S_ISDIR(info.st_mode) : !S_ISREG(info.st_mode)) {
        reason = folder ? "not a folder" : "not a regular file";
    } else if (!folder && info.st_nlink != 1) {
        // A second name may be a hard link to a file of this user elsewhere.
        reason = "has more than one name";
    } else if (!own && !anyOwner) {
        reason = "owned by another user";
    } else if (own && (info.st_mode & 07777) != mode && fchmod(fd, mode) != 0) {
        int error = errno;
        close(fd);
        return refuseError(path, error, why);
    }
    if (reason == nullptr) return fd;
    close(fd);
    return refuse(path, reason, why);
}

// The name must not be a link, and anything but the expected kind is refused
// before it is opened: opening a device may have effects of its own.
bool plainEntry(const char* path, bool folder, String& why) {
    struct stat info;
    if (lstat(path, &info) != 0) {
        refuseError(path, errno, why);
        return false;
    }
    const char* reason = nullptr;
    if (S_ISLNK(info.st_mode)) {
        reason = "is a symbolic link";
    } else if (folder ? !S_ISDIR(info.st_mode) : !S_ISREG(info.st_mode)) {
        reason = folder ? "not a folder" : "not a regular file";
    }
    if (reason != nullptr) refuse(path, reason, why);
    return reason == nullptr;
}

}  // namespace

int SafeOpen::file(const char* path, mode_t mode, bool anyOwner, String& why) {
    const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    int fd = open(path, flags | O_CREAT | O_EXCL, mode);
    if (fd < 0 && errno != EEXIST) return refuseError(path, errno, why);
    if (fd < 0) {
        if (!plainEntry(path, false, why)) return -1;
        fd = open(path, flags);
        if (fd < 0) return refuseError(path, errno, why);
    }
    return accept(fd, path, false, anyOwner, mode, why);
}

int SafeOpen::folder(const char* path, mode_t mode, String& why) {
    if (mkdir(path, mode) != 0 && errno != EEXIST) return refuseError(path, errno, why);
    if (!plainEntry(path, true, why)) return -1;
    int fd = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return refuseError(path, errno, why);
    return accept(fd, path, true, false, mode, why);
}
