#include "SystemError.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include "Exception.h"

String systemErrorText(int errorNumber) {
    char scratch[256];
    // The GNU variant returns a pointer that may or may not be `scratch`.
    return String(strerror_r(errorNumber, scratch, sizeof scratch));
}

void throwSystemError(int errorNumber, const char* unit) {
    ZR_THROW(IOException, systemErrorText(errorNumber).c_str(), unit);
}

String pathErrorText(const char* path, int errorNumber) {
    String text(path);
    text.append(": ").append(systemErrorText(errorNumber));
    return text;
}

// Close-on-exec, so that the programs this process starts (install scripts,
// unpackers) do not inherit its documents and logs.
int openPath(const char* path, int flags, mode_t mode, const char* unit) {
    int fd = ::open(path, flags | O_CLOEXEC, mode);
    if (fd < 0) ZR_THROW(IOException, pathErrorText(path, errno).c_str(), unit);
    return fd;
}
