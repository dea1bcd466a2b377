#include "util/Base64.h"

#include <climits>
#include <cstring>
#include <new>

#include "Exception.h"

static const char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// 6-bit value of an alphabet character, -1 for any other byte.
static int sextet(unsigned char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

int Base64::encode(const unsigned char* data, int len, char** out) {
    if (out == nullptr) return -1;
    *out = nullptr;
    if (data == nullptr || len < 0) return -1;
    size_t count = len == 0 ? std::strlen(reinterpret_cast<const char*>(data)) : size_t(len);
    // The text is 4 characters per started group of 3 bytes, plus the NUL;
    // count * 4 / 3 + 4 covers it. Refuse inputs whose text length would
    // not fit the int result.
    if (count > size_t(INT_MAX - 4) / 4 * 3) return -1;
    char* text = new (std::nothrow) char[count * 4 / 3 + 4];
    if (text == nullptr) return -1;

    char* p = text;
    size_t i = 0;
    for (; i + 3 <= count; i += 3) {
        unsigned long group =
            (unsigned long)data[i] << 16 | (unsigned long)data[i + 1] << 8 | data[i + 2];
        *p++ = ALPHABET[(group >> 18) & 63];
        *p++ = ALPHABET[(group >> 12) & 63];
        *p++ = ALPHABET[(group >> 6) & 63];
        *p++ = ALPHABET[group & 63];
    }
    size_t rest = count - i;
    if (rest > 0) {
        unsigned long group = (unsigned long)data[i] << 16;
        if (rest == 2) group |= (unsigned long)data[i + 1] << 8;
        *p++ = ALPHABET[(group >> 18) & 63];
        *p++ = ALPHABET[(group >> 12) & 63];
        *p++ = rest == 2 ? ALPHABET[(group >> 6) & 63] : '=';
        *p++ = '=';
    }
    *p = '\0';
    *out = text;
    return int(p - text);
}

String Base64::encode(const String& text) {
    String result;
    if (text.isEmpty()) return result;
    char* encoded = nullptr;
    int n = encode(reinterpret_cast<const unsigned char*>(text.c_str()), text.length(), &encoded);
    if (n > 0) result.append(encoded, 0, n);
    delete[] encoded;
    return result;
}

int Base64::decodedLength(const char* text) {
    if (text == nullptr) return -1;
    size_t total = std::strlen(text);
    if (total == 0) return 0;
    if (total % 4 != 0 || total > size_t(INT_MAX)) return -1;

    size_t pad = 0;
    if (text[total - 1] == '=') pad = text[total - 2] == '=' ? 2 : 1;
    size_t n = total - pad;
    for (size_t i = 0; i < n; ++i) {
        if (sextet((unsigned char)text[i]) < 0) return -1;
    }
    // The bits below the last whole byte must be zero: otherwise the text is
    // not what any encoder writes, and two texts would decode alike.
    if (pad == 1 && (sextet((unsigned char)text[n - 1]) & 3) != 0) return -1;
    if (pad == 2 && (sextet((unsigned char)text[n - 1]) & 15) != 0) return -1;
    return int(total / 4 * 3 - pad);
}

int Base64::decode(const char* text, unsigned char* out) {
    int length = decodedLength(text);
    if (length < 0 || out == nullptr) return -1;

    // decodedLength has checked every character, so each group decodes
    // cleanly; the padding counts as zero bits.
    size_t total = std::strlen(text);
    int written = 0;
    for (size_t i = 0; i < total; i += 4) {
        unsigned long group = 0;
        for (size_t k = 0; k < 4; ++k) {
            int v = text[i + k] == '=' ? 0 : sextet((unsigned char)text[i + k]);
            group = group << 6 | (unsigned long)v;
        }
        unsigned char bytes[3] = {(unsigned char)(group >> 16), (unsigned char)(group >> 8),
                                  (unsigned char)group};
        for (int k = 0; k < 3 && written < length; ++k) out[written++] = bytes[k];
    }
    return written;
}

String Base64::decode(const String& text) {
    String result;
    if (text.isEmpty()) return result;
    int length = decodedLength(text.c_str());
    if (length <= 0) return result;
    unsigned char* bytes = new (std::nothrow) unsigned char[length];
    if (bytes == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", "util/Base64");
    int n = decode(text.c_str(), bytes);
    // insert with a count copies the bytes as they are, NULs included.
    if (n > 0) result.insert(0, reinterpret_cast<const char*>(bytes), 0, n);
    delete[] bytes;
    return result;
}
