#include "io/FileOutputStream.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "SystemError.h"

namespace {
const char* const kUnit = "io/OutputStream";

int openFlags(int mode) {
    switch (mode) {
        case FileOutputStream::REPLACE:
            return O_WRONLY | O_CREAT | O_TRUNC;
        case FileOutputStream::APPEND:
            return O_WRONLY | O_APPEND;
        case FileOutputStream::APPEND_OR_CREATE:
            return O_WRONLY | O_CREAT | O_APPEND;
        default:
            return O_WRONLY;
    }
}

// A short write leaves errno untouched; report it as what it almost always
// is, a full device.
int writeError(ssize_t written) {
    return written < 0 ? errno : ENOSPC;
}
}  // namespace

FileOutputStream::FileOutputStream(const char* path, int mode)
    : fd(openPath(path, openFlags(mode), CREATE_PERMISSIONS, kUnit)) {}

FileOutputStream::FileOutputStream(int fd) : fd(fd) {}

FileOutputStream::~FileOutputStream() {
    if (!closed) {
        closed = true;
        closeDescriptor(false);
    }
}

void FileOutputStream::close() {
    if (closed) return;
    closed = true;
    closeDescriptor(true);
}

void FileOutputStream::closeDescriptor(bool reportFailure) {
    // Standard output and standard error stay open for the rest of the process.
    if (fd == 1 || fd == 2) return;
    int old = fd;
    fd = -1;
    if (old >= 0 && ::close(old) != 0 && reportFailure) throwSystemError(errno, kUnit);
}

void FileOutputStream::write(char c) {
    checkClosed();
    ssize_t written = ::write(fd, &c, 1);
    if (written != 1) throwSystemError(writeError(written), kUnit);
}

void FileOutputStream::write(const char* buf, int n) {
    checkClosed();
    if (n <= 0) return;
    ssize_t written = ::write(fd, buf, static_cast<size_t>(n));
    if (written != n) throwSystemError(writeError(written), kUnit);
}
