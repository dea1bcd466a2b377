#ifndef ZR_IO_SYSTEM_ERROR_H
#define ZR_IO_SYSTEM_ERROR_H

#include <sys/types.h>

#include "String.h"

// Private to the io units: the operating system's text for an error number.
String systemErrorText(int errorNumber);

// Throws IOException with the system's text for `errorNumber`, located at unit.
[[noreturn]] void throwSystemError(int errorNumber, const char* unit);

// "path: text" — the message of a failed open or replace of `path`.
String pathErrorText(const char* path, int errorNumber);

// Opens path with the given flags (close-on-exec added); on failure throws
// IOException "path: error text" located at unit.
int openPath(const char* path, int flags, mode_t mode, const char* unit);

#endif
