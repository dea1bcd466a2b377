#ifndef ZR_UTILS_H
#define ZR_UTILS_H

#include "String.h"

// Stateless helpers of the common library: strict number parsing, date and
// time texts, character checks, hexadecimal conversions and byte searches.
class Utils {
public:
    Utils() = delete;

    // Parses text[0] .. text[length-1] as a number in base 8, 16 or (any other
    // base) 10. NUL bytes and blanks are skipped; a digit followed by a byte
    // that is not a hexadecimal digit ends the number ("12 34" gives 12).
    // Any other byte that is not a digit of the base throws an Exception
    // "invalid oct number", "invalid hex number" or "invalid dec number".
    // There is no sign and no overflow check; empty text gives 0.
    static int parseNumber(const char* text, int length, int base);
    // The same rule in 64-bit arithmetic, for sizes and offsets of files and
    // bodies; parseNumber is this value cut to 32 bits.
    static long long parseLongNumber(const char* text, int length, int base);

    static String getDate();  // local date, "YYYY-MM-DD"
    static String getTime();  // local time, "HH:MM:SS"

    // True when `s` is non-empty and every byte is a decimal digit or occurs
    // in `allowed` (null `allowed` allows digits only).
    static bool isNumeric(const char* s, const char* allowed);

    // Whether the first `n` bytes of `a` and `b` are equal.
    static bool equalBytes(const char* a, const char* b, unsigned n);

    // The upper-case hexadecimal digit of the low four bits of `v`.
    static char hexDigit(int v);
    // The byte whose two hexadecimal digits are `high` and `low`.
    static char hexByte(char high, char low);

    // printf-style formatting; results longer than 4095 bytes are cut.
    static String format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

    // Whether the byte pattern occurs in buf[0 .. length-1]. An empty pattern,
    // or `buf` being `pattern` itself, counts as found; a pattern longer than
    // the buffer is not found.
    static bool contains(const char* buf, int length, const char* pattern, int patternLength);

    // A new NUL-terminated copy of token number `index` (from 0) of `s`, the
    // tokens being separated by runs of bytes from `delimiters`; null when
    // there is no such token or no memory. The caller releases it with free().
    static char* getToken(const char* s, int index, const char* delimiters);
};

#endif
