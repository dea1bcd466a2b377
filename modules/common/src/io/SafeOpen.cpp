#include "io/SafeOpen.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

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

namespace {

// Tries at taking a name that somebody else holds; each try clears it once.
const int kClaimTries = 5;
// Deeper trees are not removed: a stranger's tree must not exhaust the
// descriptors or the stack.
const int kMaxTreeDepth = 128;

bool removeEntryAt(int parent, const char* name, int depth) {
    int fd = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        // A link, a file or any other non-folder: the name itself goes.
        return (errno == ELOOP || errno == ENOTDIR) && unlinkat(parent, name, 0) == 0;
    }
    DIR* dir = fdopendir(fd);
    if (dir == nullptr) {
        close(fd);
        return false;
    }
    std::vector<std::string> names;
    while (struct dirent* entry = readdir(dir)) {
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
            names.push_back(entry->d_name);
        }
    }
    bool ok = depth < kMaxTreeDepth;
    for (size_t i = 0; ok && i < names.size(); i++) {
        ok = removeEntryAt(dirfd(dir), names[i].c_str(), depth + 1);
    }
    closedir(dir);
    return ok && unlinkat(parent, name, AT_REMOVEDIR) == 0;
}

// A name nobody can guess in advance: a neighbour who plants entries at
// every name the program might move to must not block it.
std::string unguessableSuffix() {
    unsigned long long value = 0;
    if (getrandom(&value, sizeof value, 0) != sizeof value) value = 0;
    return std::to_string(getpid()) + "." + std::to_string(value);
}

// Moves a folder that is not the program's out of the way under a fresh
// name beside it, then removes it. The move is one step that follows no
// link, so the name is free at once even if the removal is never finished.
bool moveAside(const char* path) {
    for (int i = 0; i < kClaimTries; i++) {
        std::string aside = std::string(path) + ".foreign." + unguessableSuffix();
        if (renameat2(AT_FDCWD, path, AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) == 0) {
            SafeOpen::removeTree(aside.c_str());
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

// Frees the name of whatever is there, never following it.
void clearName(const char* path) {
    struct stat info;
    if (lstat(path, &info) != 0) return;
    if (S_ISDIR(info.st_mode)) {
        moveAside(path);
    } else {
        unlink(path);
    }
}

// The open folder is the program's own: a folder of the effective user,
// given exactly `mode`.
bool ownFolder(int fd, mode_t mode) {
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != geteuid()) return false;
    return (info.st_mode & 07777) == mode || fchmod(fd, mode) == 0;
}

}  // namespace

int SafeOpen::claimFolder(const char* path, mode_t mode, String& why) {
    for (int i = 0; i < kClaimTries; i++) {
        if (mkdir(path, mode) != 0 && errno != EEXIST) return refuseError(path, errno, why);
        int fd = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0 && ownFolder(fd, mode)) return fd;
        if (fd >= 0) close(fd);
        clearName(path);
    }
    return refuse(path, "kept by another user", why);
}

int SafeOpen::claimFile(const char* path, mode_t mode, String& why) {
    const int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    for (int i = 0; i < kClaimTries; i++) {
        int fd = open(path, flags, mode);
        if (fd >= 0) {
            // Created here, so ours; only the umask may have narrowed it.
            if (fchmod(fd, mode) == 0) return fd;
            int error = errno;
            close(fd);
            return refuseError(path, error, why);
        }
        if (errno != EEXIST) return refuseError(path, errno, why);
        clearName(path);
    }
    return refuse(path, "kept by another user", why);
}

bool SafeOpen::removeTree(const char* path) {
    struct stat info;
    if (lstat(path, &info) != 0) return errno == ENOENT;
    return removeEntryAt(AT_FDCWD, path, 0);
}
