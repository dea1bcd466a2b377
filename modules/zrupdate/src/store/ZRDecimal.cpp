#include "store/ZRDecimal.h"

#include <climits>

#include "Exception.h"

static bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

long parseDecimal(const String& text) {
    const char* s = text.c_str();
    int begin = 0;
    int end = text.length();
    while (begin < end && isBlank(s[begin])) ++begin;
    while (end > begin && isBlank(s[end - 1])) --end;
    if (begin == end) return 0;

    bool negative = false;
    if (s[begin] == '-' || s[begin] == '+') {
        negative = s[begin] == '-';
        ++begin;
    }
    if (begin == end) ZR_THROW(Exception, "invalid dec number", "ZRDecimal");

    // Accumulate as a negative number so that LONG_MIN fits too.
    long value = 0;
    for (int i = begin; i < end; ++i) {
        if (s[i] < '0' || s[i] > '9') ZR_THROW(Exception, "invalid dec number", "ZRDecimal");
        int digit = s[i] - '0';
        if (value < (LONG_MIN + digit) / 10) ZR_THROW(Exception, "invalid dec number", "ZRDecimal");
        value = value * 10 - digit;
    }
    if (!negative) {
        if (value == LONG_MIN) ZR_THROW(Exception, "invalid dec number", "ZRDecimal");
        value = -value;
    }
    return value;
}
