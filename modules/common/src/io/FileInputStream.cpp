#include "io/FileInputStream.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Exception.h"
#include "SystemError.h"

namespace {
const char* const kUnit = "io/InputStream";

bool isStreamLike(mode_t mode) {
    return S_ISCHR(mode) || S_ISFIFO(mode) || S_ISSOCK(mode);
}
}  // namespace

FileInputStream::FileInputStream(const char* path) : fd(openPath(path, O_RDONLY, 0, kUnit)) {}

FileInputStream::FileInputStream(int fd) : fd(fd) {}

FileInputStream::~FileInputStream() {
    if (!closed && fd >= 0) ::close(fd);
    closed = true;
}

int FileInputStream::available() {
    checkClosed();
    if (fd == -1) throwSystemError(EBADF, kUnit);
    struct stat info;
    if (fstat(fd, &info) != 0) throwSystemError(errno, kUnit);
    if (isStreamLike(info.st_mode)) {
        int readable = 0;
        if (ioctl(fd, FIONREAD, &readable) != 0) throwSystemError(errno, kUnit);
        return readable;
    }
    off_t current = lseek(fd, 0, SEEK_CUR);
    if (current < 0) throwSystemError(errno, kUnit);
    off_t end = lseek(fd, 0, SEEK_END);
    if (end < 0) throwSystemError(errno, kUnit);
    if (lseek(fd, current, SEEK_SET) < 0) throwSystemError(errno, kUnit);
    off_t left = end - current;
    // A file read past its end has nothing left; a huge one reports what fits.
    if (left < 0) return 0;
    return left > 0x7fffffff ? 0x7fffffff : static_cast<int>(left);
}

void FileInputStream::close() {
    if (closed) return;
    closed = true;
    int old = fd;
    fd = -1;
    if (old >= 0 && ::close(old) != 0) throwSystemError(errno, kUnit);
}

int FileInputStream::read() {
    checkClosed();
    unsigned char byte;
    ssize_t got = ::read(fd, &byte, 1);
    if (got < 0) throwSystemError(errno, kUnit);
    return got == 0 ? -1 : byte;
}

int FileInputStream::read(char* buf, int n) {
    checkClosed();
    if (n <= 0) return 0;
    ssize_t got = ::read(fd, buf, static_cast<size_t>(n));
    if (got < 0) throwSystemError(errno, kUnit);
    return static_cast<int>(got);
}

int FileInputStream::skip(int n) {
    checkClosed();
    off_t offset = lseek(fd, n, SEEK_CUR);
    if (offset < 0) throwSystemError(errno, kUnit);
    return static_cast<int>(offset);
}

bool FileInputStream::markSupported() {
    struct stat info;
    if (fstat(fd, &info) != 0) throwSystemError(errno, kUnit);
    return !isStreamLike(info.st_mode);
}

void FileInputStream::mark(int) {
    checkClosed();
    off_t offset = lseek(fd, 0, SEEK_CUR);
    if (offset < 0) {
        String text("File::mark: ");
        text.append(systemErrorText(errno)).append(", possibly non-seekable fd");
        ZR_THROW(IOException, text.c_str(), kUnit);
    }
    markPosition = offset;
}

void FileInputStream::reset() {
    checkClosed();
    if (markPosition < 0) ZR_THROW(IOException, "No mark set", kUnit);
    if (lseek(fd, markPosition, SEEK_SET) < 0) throwSystemError(errno, kUnit);
}
