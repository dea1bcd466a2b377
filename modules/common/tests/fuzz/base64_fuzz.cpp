// Feeds arbitrary text to the Base64 decoder. The decoder must never write
// past the length it promises (the buffer is exactly that long, so the
// address sanitizer sees any overrun), must refuse or accept consistently,
// and whatever it accepts must encode back to the very same text.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "String.h"
#include "util/Base64.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    const char* input = text.c_str();  // stops at the first NUL, as C text does

    int length = Base64::decodedLength(input);
    if (length > int(std::strlen(input))) __builtin_trap();
    unsigned char* buffer = new unsigned char[length > 0 ? size_t(length) : 1];
    int n = Base64::decode(input, buffer);
    if (n != length) __builtin_trap();

    // (Length 0 would make the encoder read its input as text: skip it.)
    if (n > 0) {
        char* encoded = nullptr;
        int m = Base64::encode(buffer, n, &encoded);
        if (m < 0 || std::strcmp(encoded, input) != 0) __builtin_trap();
        delete[] encoded;
    }
    delete[] buffer;

    // The String forms agree with the raw ones.
    String decoded = Base64::decode(String(input));
    if (n > 0 && decoded.length() != n) __builtin_trap();
    if (n <= 0 && !decoded.isEmpty()) __builtin_trap();

    // Encoding any bytes and decoding them gives the bytes back.
    if (size > 0) {
        char* encoded = nullptr;
        int m = Base64::encode(data, int(size), &encoded);
        if (m < 0 || Base64::decodedLength(encoded) != int(size)) __builtin_trap();
        unsigned char* back = new unsigned char[size];
        if (Base64::decode(encoded, back) != int(size) || std::memcmp(back, data, size) != 0) {
            __builtin_trap();
        }
        delete[] back;
        delete[] encoded;
    }
    return 0;
}
