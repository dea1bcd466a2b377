// Why documents are written this way: the program is often killed by a
// time-out or loses power in the middle of a run. Rewriting a document in
// place (truncate, then write) leaves an empty or torn file after such an
// interruption, and from then on every command fails on the broken document.
// So the new text goes to a new file beside the old one, is flushed to the
// disk, and only then renamed over the old name; the folder is synced so
// that the new name survives a power cut as well. A rename within a folder is
// atomic, so the name always refers to one complete document.
#include "io/AtomicFile.h"

#include <ctype.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "Exception.h"
#include "SystemError.h"
#include "io/File.h"

namespace {
const char* const kUnit = "io/AtomicFile";
// As many links as the system itself follows before giving up with ELOOP.
const int kMaxLinks = 40;
const int kNameAttempts = 100;
// A save takes a fraction of a second; a side file untouched for this long
// was left by a save that was killed.
const time_t kLeftoverAgeSeconds = 10 * 60;
const int kSuffixDigits = 12;

[[noreturn]] void fail(const String& path, int error) {
    ZR_THROW(IOException, pathErrorText(path.c_str(), error).c_str(), kUnit);
}

int realOpenFolder(const char* path) {
    return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// Exclusive creation never follows a link and never reuses a file that is
// already there (for instance one left by a killed run).
int realCreateNew(int folderFd, const char* name, mode_t mode) {
    return openat(folderFd, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
}

int realLink(int folderFd, const char* from, const char* to) {
    return linkat(folderFd, from, folderFd, to, 0);
}

int realRename(int folderFd, const char* from, const char* to) {
    return renameat(folderFd, from, folderFd, to);
}

int realUnlink(int folderFd, const char* name) {
    return unlinkat(folderFd, name, 0);
}

const AtomicFile::SystemCalls kRealCalls = {
    realOpenFolder, realCreateNew, ::write,  ::fsync,    ::fchown,
    ::fchmod,       ::close,       realLink, realRename, realUnlink,
};

// The file that really holds the document: symbolic links are followed, so
// that the link stays and its target is replaced.
String resolveLinks(const String& path) {
    String current(path);
    for (int hops = 0; hops <= kMaxLinks; hops++) {
        struct stat info;
        if (lstat(current.c_str(), &info) != 0) {
            if (errno == ENOENT) return current;  // a new document
            fail(path, errno);
        }
        if (!S_ISLNK(info.st_mode)) return current;
        char target[4096];
        ssize_t size = readlink(current.c_str(), target, sizeof target - 1);
        if (size < 0) fail(path, errno);
        target[size] = '\0';
        if (target[0] == '/') {
            current = String(target);
        } else {
            String next = File::folderOf(current);
            next.append('/').append(target);
            current = next;
        }
    }
    fail(path, ELOOP);
}

// Random hex digits; a name that is taken anyway is simply tried again.
String uniqueSuffix() {
    unsigned char bytes[6];
    if (getrandom(bytes, sizeof bytes, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof bytes)) {
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        unsigned long mix =
            static_cast<unsigned long>(now.tv_nsec) ^ (static_cast<unsigned long>(getpid()) << 20);
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(mix);
            mix = mix * 6364136223846793005UL + 1442695040888963407UL;
        }
    }
    char text[2 * sizeof bytes + 1];
    for (size_t i = 0; i < sizeof bytes; i++) snprintf(text + 2 * i, 3, "%02x", bytes[i]);
    return String(text);
}

String sideName(const String& name, const char* kind) {
    String side(name);
    side.append('.').append(kind).append('-').append(uniqueSuffix());
    return side;
}

// Everything one replacement holds open or has created; whatever is still
// recorded here when it ends is undone, so a failure leaves no new file.
struct Replacement {
    const AtomicFile::SystemCalls& calls;
    int folderFd = -1;
    int fd = -1;
    String newName;     // the new file, until it has been renamed
    String backupName;  // a second link to the old document, while needed

    explicit Replacement(const AtomicFile::SystemCalls& calls) : calls(calls) {}
    ~Replacement() {
        if (fd >= 0) calls.close(fd);
        if (!newName.isEmpty()) calls.unlink(folderFd, newName.c_str());
        if (!backupName.isEmpty()) calls.unlink(folderFd, backupName.c_str());
        if (folderFd >= 0) calls.close(folderFd);
    }
};

// "<name>.new-" or "<name>.old-" and the random suffix of sideName().
bool isSideFileOf(const char* entry, const String& name) {
    size_t nameLength = static_cast<size_t>(name.length());
    if (strncmp(entry, name.c_str(), nameLength) != 0) return false;
    const char* rest = entry + nameLength;
    if (strncmp(rest, ".new-", 5) != 0 && strncmp(rest, ".old-", 5) != 0) return false;
    rest += 5;
    int digits = 0;
    while (isxdigit(static_cast<unsigned char>(rest[digits]))) digits++;
    return digits == kSuffixDigits && rest[digits] == '\0';
}

// Side files of `name` that a killed save left behind: regular files of this
// user not modified for a while. A live save writes its new file just before
// renaming it, so that file is always fresh; the second name of an old
// document carries the old document's time, but a live save needs it only
// to undo a failed folder sync, which then fails without harm.
void removeLeftovers(int folderFd, const String& name) {
    int listFd = dup(folderFd);
    DIR* folder = listFd < 0 ? nullptr : fdopendir(listFd);
    if (folder == nullptr) {
        if (listFd >= 0) close(listFd);
        return;
    }
    time_t cutoff = time(nullptr) - kLeftoverAgeSeconds;
    while (struct dirent* entry = readdir(folder)) {
        if (!isSideFileOf(entry->d_name, name)) continue;
        struct stat info;
        if (fstatat(folderFd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(info.st_mode) && info.st_uid == geteuid() && info.st_mtime < cutoff) {
            unlinkat(folderFd, entry->d_name, 0);
        }
    }
    closedir(folder);
}

bool writeAll(const AtomicFile::SystemCalls& calls, int fd, const char* data, int length) {
    while (length > 0) {
        ssize_t written = calls.write(fd, data, static_cast<size_t>(length));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            if (written == 0) errno = ENOSPC;
            return false;
        }
        data += written;
        length -= static_cast<int>(written);
    }
    return true;
}
}  // namespace

const AtomicFile::SystemCalls& AtomicFile::systemCalls() {
    return kRealCalls;
}

AtomicFile::Outcome AtomicFile::replace(const String& path, const char* data, int length) {
    return replace(path, data, length, kRealCalls);
}

AtomicFile::Outcome AtomicFile::replace(const String& path, const char* data, int length,
                                        mode_t limit) {
    return replace(path, data, length, kRealCalls, limit);
}

namespace {

// Writes the document into the existing file `target` itself. A regular file
// is rewritten from its start, cut to the new length and synced; a node
// (device, FIFO, socket) takes the bytes as they come, without blocking.
// When the file cannot be opened the failure reported is `refusedError` (the
// reason the crash-safe way was not possible), or the open's own for a node.
AtomicFile::Outcome writeInPlace(const String& path, const String& target, bool regular,
                                 const char* data, int length, const AtomicFile::SystemCalls& calls,
                                 int refusedError, mode_t limit = AtomicFile::ANY_MODE) {
    int flags = O_WRONLY | O_NOFOLLOW | O_CLOEXEC | (regular ? 0 : O_NONBLOCK);
    int fd = open(target.c_str(), flags);
    if (fd < 0) fail(path, regular ? refusedError : errno);
    // Narrowed before the new bytes are in; a caller that may not change
    // the mode writes all the same, as the file's owner allowed.
    struct stat info;
    if (regular && fstat(fd, &info) == 0 && (info.st_mode & 07777 & ~limit) != 0) {
        calls.fchmod(fd, info.st_mode & 07777 & limit);
    }
    bool written = writeAll(calls, fd, data, length) &&
                   (!regular || (ftruncate(fd, length) == 0 && calls.fsync(fd) == 0));
    int error = errno;
    if (calls.close(fd) != 0 && written) {
        written = false;
        error = errno;
    }
    if (!written) fail(path, error);
    return AtomicFile::WRITTEN_IN_PLACE;
}

// Errors by which a caller that may still write the document itself is
// refused the crash-safe way: no new file in the folder, or none that can
// be given the document's owner.
bool refusedToCaller(int error) {
    return error == EACCES || error == EPERM;
}

}  // namespace

AtomicFile::Outcome AtomicFile::replace(const String& path, const char* data, int length,
                                        const SystemCalls& calls, mode_t limit) {
    if (length < 0 || (data == nullptr && length > 0)) fail(path, EINVAL);
    if (path.isEmpty()) fail(path, ENOENT);  // as opening "" would
    String target = resolveLinks(path);
    if (target.endsWith("/")) fail(path, EISDIR);
    String name = target.substring(target.lastIndexOf('/') + 1);

    struct stat old;
    bool replacing = lstat(target.c_str(), &old) == 0;
    if (!replacing && errno != ENOENT) fail(path, errno);
    if (replacing && S_ISDIR(old.st_mode)) fail(path, EISDIR);
    if (replacing && !S_ISREG(old.st_mode)) {
        return writeInPlace(path, target, false, data, length, calls, 0);
    }

    Replacement work(calls);
    // A link into a missing folder fails here, with the error an open for
    // writing would give.
    work.folderFd = calls.openFolder(File::folderOf(target).c_str());
    if (work.folderFd < 0) fail(path, errno);

    // While it is written the new file is private (0600) when it will take
    // the old file's mode; a new document is created as FileOutputStream
    // creates files, within the limit, and the umask applies.
    for (int attempt = 0; work.fd < 0; attempt++) {
        String candidate = sideName(name, "new");
        work.fd =
            calls.createNew(work.folderFd, candidate.c_str(), replacing ? 0600 : 0666 & limit);
        if (work.fd >= 0) {
            work.newName = candidate;
        } else if (replacing && refusedToCaller(errno)) {
            return writeInPlace(path, target, true, data, length, calls, errno, limit);
        } else if (errno != EEXIST || attempt + 1 >= kNameAttempts) {
            fail(path, errno);
        }
    }
    if (replacing) {
        if (calls.fchown(work.fd, old.st_uid, old.st_gid) != 0) {
            if (refusedToCaller(errno)) {
                return writeInPlace(path, target, true, data, length, calls, errno, limit);
            }
            fail(path, errno);
        }
        if (calls.fchmod(work.fd, old.st_mode & 07777 & limit) != 0) fail(path, errno);
    }
    if (!writeAll(calls, work.fd, data, length)) fail(path, errno);
    if (calls.fsync(work.fd) != 0) fail(path, errno);
    int fd = work.fd;
    work.fd = -1;
    if (calls.close(fd) != 0) fail(path, errno);

    // A second name for the old document lets a failed folder sync put it
    // back. Where the file system has no hard links the replacement goes on
    // without that safety net.
    if (replacing) {
        for (int attempt = 0; attempt < kNameAttempts; attempt++) {
            String candidate = sideName(name, "old");
            if (calls.link(work.folderFd, name.c_str(), candidate.c_str()) == 0) {
                work.backupName = candidate;
                break;
            }
            if (errno != EEXIST) break;
        }
    }

    if (calls.rename(work.folderFd, work.newName.c_str(), name.c_str()) != 0) fail(path, errno);
    work.newName.clear();

    // EINVAL: the file system cannot sync folders; nothing more can be done.
    if (calls.fsync(work.folderFd) != 0 && errno != EINVAL) {
        // The new name may not survive a power cut: go back to the state
        // before the call, so that a failure always means "nothing changed".
        int error = errno;
        if (!replacing) {
            calls.unlink(work.folderFd, name.c_str());
        } else if (!work.backupName.isEmpty() &&
                   calls.rename(work.folderFd, work.backupName.c_str(), name.c_str()) == 0) {
            work.backupName.clear();
        }
        calls.fsync(work.folderFd);
        fail(path, error);
    }
    if (!work.backupName.isEmpty()) {
        calls.unlink(work.folderFd, work.backupName.c_str());
        work.backupName.clear();
    }
    removeLeftovers(work.folderFd, name);
    return REPLACED;
}
