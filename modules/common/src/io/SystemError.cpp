#include "SystemError.h"

#include <string.h>

String systemErrorText(int errorNumber) {
    char scratch[256];
    // The GNU variant returns a pointer that may or may not be `scratch`.
    return String(strerror_r(errorNumber, scratch, sizeof scratch));
}

String pathErrorText(const char* path, int errorNumber) {
    String text(path);
    text.append(": ").append(systemErrorText(errorNumber));
    return text;
}
