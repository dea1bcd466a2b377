#include "io/File.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <new>
#include <vector>

#include "Exception.h"

namespace {
const char* const kUnit = "io/File";

String withSeparator(const String& dir, const String& name) {
    if (dir.isEmpty()) return name;
    String joined(dir);
    if (!joined.endsWith("/")) joined.append('/');
    joined.append(name);
    return joined;
}

bool statPath(const String& path, struct stat& info) {
    return stat(path.c_str(), &info) == 0;
}

// Three textual passes over an absolute path: "./" segments, runs of "/",
// then "/../" segments.
String dropDotSegments(const char* in, int length) {
    String out(length);
    for (int i = 0; i < length; i++) {
        if (in[i] == '.' && i > 0 && in[i - 1] == '/' && in[i + 1] == '/') {
            i++;  // the "/" after the "." goes as well
            continue;
        }
        out.append(in[i]);
    }
    if (out.length() > 1 && out.endsWith("/.")) out.setLength(out.length() - 1);
    return out;
}

String collapseSeparators(const char* in, int length) {
    String out(length);
    for (int i = 0; i < length; i++) {
        if (in[i] == '/' && in[i + 1] == '/') continue;
        out.append(in[i]);
    }
    return out;
}

String resolveParentSegments(const char* in, int length) {
    std::vector<int> separators;
    try {
        separators.reserve(static_cast<size_t>(length) + 1);
    } catch (const std::bad_alloc&) {
        ZR_THROW(OutOfMemoryException, "Out of memory", kUnit);
    }
    String out(length);
    int i = 0;
    while (i < length) {
        if (in[i] != '/') {
            out.append(in[i++]);
            continue;
        }
        separators.push_back(out.length());
        if (strncmp(in + i, "/../", 4) == 0) {
            // Back to the separator before this one; ".." above the root
            // stays at the root.
            separators.pop_back();
            if (separators.empty()) {
                out.clear();
            } else {
                out.setLength(separators.back());
                separators.pop_back();
            }
            i += 3;  // continue at the "/" after ".."
            continue;
        }
        out.append('/');
        i++;
    }
    if (out.length() > 2 && out.endsWith("/..")) {
        int previous = out.lastIndexOf('/', out.length() - 4);
        out.setLength(previous < 0 ? 0 : previous + 1);
        if (out.isEmpty()) out.append('/');
    }
    return out;
}
}  // namespace

File::File(const String& path) : path(path) {}

File::File(const String& dir, const String& name) : path(withSeparator(dir, name)) {}

String File::getSeparator() {
    return String("/");
}

String File::getTempDirectory() {
    return String("/tmp");
}

String File::getName() const {
    int slash = path.lastIndexOf('/');
    if (slash < 0) return path;
    return path.substring(slash + 1);
}

String File::getParent() const {
    int slash = path.lastIndexOf('/');
    if (slash < 0) return String();
    if (slash == 0) return path.length() == 1 ? String() : String("/");
    return path.substring(0, slash);
}

String File::folderOf(const String& path) {
    int slash = path.lastIndexOf('/');
    if (slash < 0) return String(".");
    if (slash == 0) return String("/");
    return path.substring(0, slash);
}

bool File::isAbsolute() const {
    return path.startsWith("/");
}

String File::getAbsolutePath() const {
    if (isAbsolute()) return path;
    char cwd[4096];
    memset(cwd, 0, sizeof cwd);
    String absolute;
    if (getcwd(cwd, sizeof cwd) != nullptr) absolute.append(cwd);
    // The working directory "/" already ends with the separator.
    if (!absolute.endsWith("/")) absolute.append('/');
    absolute.append(path);
    return absolute;
}

String File::getCanonicalPath() const {
    String text = getAbsolutePath();
    text = dropDotSegments(text.c_str(), text.length());
    text = collapseSeparators(text.c_str(), text.length());
    return resolveParentSegments(text.c_str(), text.length());
}

int File::compareTo(const String& other) const {
    return path.compareTo(other.c_str());
}

bool File::exists() const {
    return access(path.c_str(), F_OK) == 0;
}

bool File::canRead() const {
    return access(path.c_str(), R_OK) == 0;
}

bool File::canWrite() const {
    return access(path.c_str(), W_OK) == 0;
}

bool File::isDirectory() const {
    struct stat info;
    return statPath(path, info) && S_ISDIR(info.st_mode);
}

bool File::isFile() const {
    struct stat info;
    return statPath(path, info) && S_ISREG(info.st_mode);
}

bool File::isReadOnly() const {
    struct stat info;
    return canRead() && statPath(path, info) && (info.st_mode & S_IWUSR) == 0;
}

bool File::lastModified(long& t) const {
    struct stat info;
    if (!statPath(path, info)) return false;
    t = static_cast<long>(info.st_mtime);
    return true;
}

long File::length() const {
    if (!isFile()) return -1;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return -1;
    off_t end = lseek(fd, 0, SEEK_END);
    close(fd);
    return end < 0 ? -1 : static_cast<long>(end);
}

// Inode and device both: the same inode number on another file system is
// another file.
bool File::isSameFile(int fd) const {
    struct stat byPath, byDescriptor;
    if (!statPath(path, byPath) || fstat(fd, &byDescriptor) != 0) return false;
    return byPath.st_ino == byDescriptor.st_ino && byPath.st_dev == byDescriptor.st_dev;
}

void File::list(Vector<String>& names) const {
    if (!isDirectory()) return;
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) return;
    // readdir on a stream of our own is safe; the re-entrant variant is
    // obsolete.
    try {
        while (struct dirent* entry = readdir(dir)) {
            const char* name = entry->d_name;
            if (name[0] == '\0') break;
            if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) continue;
            names.add(String(name));
        }
    } catch (...) {
        closedir(dir);
        throw;
    }
    closedir(dir);
}

bool File::createNewFile() const {
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    close(fd);
    return true;
}

bool File::mkdir() const {
    return ::mkdir(path.c_str(), 0700) == 0;
}

bool File::mkdirs() const {
    if (exists() || mkdir()) return true;
    String parent = getParent();
    if (parent.isEmpty()) return false;
    if (!File(parent).mkdirs()) return false;
    return mkdir();
}

// A symbolic link is removed itself, whatever it points to.
bool File::deleteFile() const {
    struct stat info;
    if (lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode)) return unlink(path.c_str()) == 0;
    if (isFile()) return unlink(path.c_str()) == 0;
    return rmdir(path.c_str()) == 0;
}

// Links are not followed: removing a tree must never reach into the folder
// a link inside it points to.
bool File::deleteRecursive() const {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0) return false;
    if (!S_ISDIR(info.st_mode)) return unlink(path.c_str()) == 0;
    Vector<String> names;
    list(names);
    for (int i = 0; i < names.size(); i++) {
        if (!File(path, names.elementAt(i)).deleteRecursive()) return false;
    }
    return rmdir(path.c_str()) == 0;
}

bool File::renameTo(const String& newPath) {
    if (!canWrite()) return false;
    if (::rename(path.c_str(), newPath.c_str()) != 0) return false;
    path = newPath;
    return true;
}

bool File::setLastModified(long t) const {
    struct stat info;
    if (!canWrite() || !statPath(path, info)) return false;
    struct timeval times[2];
    times[0].tv_sec = info.st_atime;
    times[0].tv_usec = 0;
    times[1].tv_sec = static_cast<time_t>(t);
    times[1].tv_usec = 0;
    return utimes(path.c_str(), times) == 0;
}

bool File::setReadOnly() const {
    struct stat info;
    if (!canWrite() || !statPath(path, info)) return false;
    return chmod(path.c_str(), info.st_mode & 07777 & ~0222) == 0;
}

int File::createTempFile(const String& prefix, String& outPath) {
    return createTempFile(prefix, getTempDirectory(), outPath);
}

int File::createTempFile(const String& prefix, const String& dir, String& outPath) {
    // As for File(dir, name), an empty dir means the working directory.
    String pattern = withSeparator(dir, prefix);
    pattern.append("XXXXXX");
    std::vector<char> name(pattern.c_str(), pattern.c_str() + pattern.length() + 1);
    int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd >= 0) outPath = String(name.data());
    return fd;
}
