#include "Utils.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Exception.h"

namespace {

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

// The value of a hexadecimal digit. Lower-case digits are accepted as well,
// since escapes in URLs and headers come in both cases; anything else counts
// as 0.
int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return 0;
}

// The value of `c` as a digit of `base`, or -1 when it is not one.
int digitValue(char c, int base) {
    switch (base) {
        case 8:
            return (c >= '0' && c <= '7') ? c - '0' : -1;
        case 16:
            return isHexDigit(c) ? hexValue(c) : -1;
        default:
            return (c >= '0' && c <= '9') ? c - '0' : -1;
    }
}

String formatNow(const char* pattern) {
    time_t now = time(nullptr);
    struct tm local;
    char text[11] = "";  // room for "YYYY-MM-DD" and for "HH:MM:SS"
    if (localtime_r(&now, &local) != nullptr) strftime(text, sizeof text, pattern, &local);
    return String(text);
}

}  // namespace

int Utils::parseNumber(const char* text, int length, int base) {
    // Cutting the 64-bit value to 32 bits gives what 32-bit arithmetic that
    // wraps would have given.
    return static_cast<int>(static_cast<unsigned int>(parseLongNumber(text, length, base)));
}

long long Utils::parseLongNumber(const char* text, int length, int base) {
    if (base != 8 && base != 16) base = 10;
    // Unsigned arithmetic: the value wraps without undefined behaviour on
    // overflow.
    unsigned long long value = 0;
    if (text == nullptr) return 0;
    for (int i = 0; i < length; ++i) {
        char c = text[i];
        if (c == '\0' || c == ' ' || c == '\t') continue;
        int digit = digitValue(c, base);
        if (digit < 0) {
            if (base == 8) ZR_THROW(Exception, "invalid oct number", "Utils");
            if (base == 16) ZR_THROW(Exception, "invalid hex number", "Utils");
            ZR_THROW(Exception, "invalid dec number", "Utils");
        }
        value = value * static_cast<unsigned long long>(base) + static_cast<unsigned>(digit);
        if (i + 1 < length && !isHexDigit(text[i + 1])) break;
    }
    return static_cast<long long>(value);
}

String Utils::getDate() {
    return formatNow("%Y-%m-%d");
}

String Utils::getTime() {
    return formatNow("%H:%M:%S");
}

bool Utils::isNumeric(const char* s, const char* allowed) {
    if (s == nullptr || *s == '\0') return false;
    for (; *s != '\0'; ++s) {
        if (*s >= '0' && *s <= '9') continue;
        if (allowed == nullptr || std::strchr(allowed, *s) == nullptr) return false;
    }
    return true;
}

bool Utils::equalBytes(const char* a, const char* b, unsigned n) {
    if (n == 0 || a == b) return true;
    if (a == nullptr || b == nullptr) return false;
    while (n > 0) {
        --n;
        if (a[n] != b[n]) return false;
    }
    return true;
}

char Utils::hexDigit(int v) {
    return "0123456789ABCDEF"[v & 0xF];
}

char Utils::hexByte(char high, char low) {
    return static_cast<char>((hexValue(high) << 4) | hexValue(low));
}

String Utils::format(const char* fmt, ...) {
    if (fmt == nullptr) return String();
    char text[4096];
    va_list args;
    va_start(args, fmt);
    int written = vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    if (written < 0) text[0] = '\0';
    return String(text);
}

bool Utils::contains(const char* buf, int length, const char* pattern, int patternLength) {
    if (patternLength <= 0 || buf == pattern) return true;
    if (buf == nullptr || pattern == nullptr || patternLength > length) return false;
    return memmem(buf, static_cast<size_t>(length), pattern, static_cast<size_t>(patternLength)) !=
           nullptr;
}

char* Utils::getToken(const char* s, int index, const char* delimiters) {
    if (s == nullptr || index < 0) return nullptr;
    if (delimiters == nullptr) delimiters = "";
    const char* p = s;
    for (int i = 0;; ++i) {
        p += std::strspn(p, delimiters);
        if (*p == '\0') return nullptr;
        size_t tokenLength = std::strcspn(p, delimiters);
        if (i == index) {
            char* copy = static_cast<char*>(std::malloc(tokenLength + 1));
            if (copy == nullptr) return nullptr;
            std::memcpy(copy, p, tokenLength);
            copy[tokenLength] = '\0';
            return copy;
        }
        p += tokenLength;
    }
}
