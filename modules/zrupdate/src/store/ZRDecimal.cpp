#include "store/ZRDecimal.h"

#include "Utils.h"

long parseDecimal(const String& text) {
    const char* s = text.c_str();
    int length = text.length();
    int start = 0;
    while (start < length && (s[start] == ' ' || s[start] == '\t' || s[start] == '\0')) ++start;
    bool negative = start < length && s[start] == '-';
    if (negative) ++start;
    // Unsigned, so that a value that wrapped around negates without
    // overflow, as the library's own arithmetic wraps.
    unsigned long value =
        static_cast<unsigned long>(Utils::parseLongNumber(s + start, length - start, 10));
    return static_cast<long>(negative ? 0UL - value : value);
}
