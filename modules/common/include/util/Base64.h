#ifndef ZR_UTIL_BASE64_H
#define ZR_UTIL_BASE64_H

#include "String.h"

// Base64 with the standard alphabet (A-Z a-z 0-9 + /), "=" padding and no
// line breaks.
//
// Decoding is strict: the text must be whole groups of four alphabet
// characters, with at most two "=" and only at the very end. Anything else
// (a length that is not a multiple of four, whitespace, characters outside
// the alphabet, "=" inside the text, non-zero bits left over before the
// padding) is rejected as a whole and nothing is written. A lenient decoder
// would have to guess at what such text means; credentials decoded from a
// damaged file are better refused than silently changed.
class Base64 {
public:
    // Encodes `len` bytes of `data`; with `len` 0 `data` is taken as a
    // NUL-terminated text. Allocates a NUL-terminated buffer of
    // len * 4 / 3 + 4 bytes, hands it over through `out` (the caller frees it
    // with delete[]) and returns the text length. -1, and `*out` set to null,
    // when the buffer cannot be had or an argument is null or negative.
    static int encode(const unsigned char* data, int len, char** out);

    // The encoding of the text's bytes; empty for empty input.
    static String encode(const String& text);

    // The number of bytes the NUL-terminated `text` decodes to, or -1 when it
    // is not valid Base64 (or null). Never more than strlen(text) * 3 / 4.
    static int decodedLength(const char* text);

    // Decodes `text` into `out`, which must have room for
    // decodedLength(text) bytes (strlen(text) bytes always suffice). Returns
    // the number of bytes written, or -1 (nothing written) when `text` is
    // not valid Base64 or a pointer is null.
    static int decode(const char* text, unsigned char* out);

    // The decoded bytes as a String (which may hold NUL bytes within its
    // length); empty when the text is empty or not valid Base64.
    static String decode(const String& text);
};

#endif
