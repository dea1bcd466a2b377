#include "MD5.h"

#include <fcntl.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

#include "Exception.h"
#include "Utils.h"

struct MD5::Context {
    uint32_t state[4];
    uint64_t bitCount;         // message length in bits, modulo 2^64
    unsigned char buffer[64];  // the incomplete block, (bitCount / 8) % 64 bytes
};

namespace {

const unsigned char PADDING[64] = {0x80};

inline uint32_t rotateLeft(uint32_t x, int s) {
    return (x << s) | (x >> (32 - s));
}

inline uint32_t loadLittleEndian(const unsigned char* p) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    uint32_t word;
    std::memcpy(&word, p, sizeof word);  // one unaligned load on this byte order
    return word;
#else
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
#endif
}

inline void storeLittleEndian(unsigned char* p, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) p[i] = static_cast<unsigned char>(value >> (8 * i));
}

// The four auxiliary functions in forms that need fewer dependent operations:
// F(b,c,d) = (b & c) | (~b & d) and G(b,c,d) = (b & d) | (c & ~d); the two
// halves of G never overlap, so G is added as two independent terms.
#define MD5_F(b, c, d) ((((c) ^ (d)) & (b)) ^ (d))
#define MD5_G(b, c, d) (((b) & (d)) + ((c) & ~(d)))
#define MD5_H(b, c, d) ((b) ^ (c) ^ (d))
#define MD5_I(b, c, d) ((c) ^ ((b) | ~(d)))

#define MD5_STEP(f, a, b, c, d, x, t, s)     \
    do {                                     \
        (a) += f((b), (c), (d)) + (x) + (t); \
        (a) = rotateLeft((a), (s)) + (b);    \
    } while (0)

// Runs the compression function over `blocks` consecutive 64-byte blocks.
// The 64 steps are written out so the state stays in registers.
void transform(uint32_t state[4], const unsigned char* data, size_t blocks) {
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    for (; blocks > 0; --blocks, data += 64) {
        uint32_t x[16];
        for (int i = 0; i < 16; ++i) x[i] = loadLittleEndian(data + 4 * i);
        const uint32_t aa = a, bb = b, cc = c, dd = d;

        MD5_STEP(MD5_F, a, b, c, d, x[0], 0xd76aa478, 7);
        MD5_STEP(MD5_F, d, a, b, c, x[1], 0xe8c7b756, 12);
        MD5_STEP(MD5_F, c, d, a, b, x[2], 0x242070db, 17);
        MD5_STEP(MD5_F, b, c, d, a, x[3], 0xc1bdceee, 22);
        MD5_STEP(MD5_F, a, b, c, d, x[4], 0xf57c0faf, 7);
        MD5_STEP(MD5_F, d, a, b, c, x[5], 0x4787c62a, 12);
        MD5_STEP(MD5_F, c, d, a, b, x[6], 0xa8304613, 17);
        MD5_STEP(MD5_F, b, c, d, a, x[7], 0xfd469501, 22);
        MD5_STEP(MD5_F, a, b, c, d, x[8], 0x698098d8, 7);
        MD5_STEP(MD5_F, d, a, b, c, x[9], 0x8b44f7af, 12);
        MD5_STEP(MD5_F, c, d, a, b, x[10], 0xffff5bb1, 17);
        MD5_STEP(MD5_F, b, c, d, a, x[11], 0x895cd7be, 22);
        MD5_STEP(MD5_F, a, b, c, d, x[12], 0x6b901122, 7);
        MD5_STEP(MD5_F, d, a, b, c, x[13], 0xfd987193, 12);
        MD5_STEP(MD5_F, c, d, a, b, x[14], 0xa679438e, 17);
        MD5_STEP(MD5_F, b, c, d, a, x[15], 0x49b40821, 22);

        MD5_STEP(MD5_G, a, b, c, d, x[1], 0xf61e2562, 5);
        MD5_STEP(MD5_G, d, a, b, c, x[6], 0xc040b340, 9);
        MD5_STEP(MD5_G, c, d, a, b, x[11], 0x265e5a51, 14);
        MD5_STEP(MD5_G, b, c, d, a, x[0], 0xe9b6c7aa, 20);
        MD5_STEP(MD5_G, a, b, c, d, x[5], 0xd62f105d, 5);
        MD5_STEP(MD5_G, d, a, b, c, x[10], 0x02441453, 9);
        MD5_STEP(MD5_G, c, d, a, b, x[15], 0xd8a1e681, 14);
        MD5_STEP(MD5_G, b, c, d, a, x[4], 0xe7d3fbc8, 20);
        MD5_STEP(MD5_G, a, b, c, d, x[9], 0x21e1cde6, 5);
        MD5_STEP(MD5_G, d, a, b, c, x[14], 0xc33707d6, 9);
        MD5_STEP(MD5_G, c, d, a, b, x[3], 0xf4d50d87, 14);
        MD5_STEP(MD5_G, b, c, d, a, x[8], 0x455a14ed, 20);
        MD5_STEP(MD5_G, a, b, c, d, x[13], 0xa9e3e905, 5);
        MD5_STEP(MD5_G, d, a, b, c, x[2], 0xfcefa3f8, 9);
        MD5_STEP(MD5_G, c, d, a, b, x[7], 0x676f02d9, 14);
        MD5_STEP(MD5_G, b, c, d, a, x[12], 0x8d2a4c8a, 20);

        MD5_STEP(MD5_H, a, b, c, d, x[5], 0xfffa3942, 4);
        MD5_STEP(MD5_H, d, a, b, c, x[8], 0x8771f681, 11);
        MD5_STEP(MD5_H, c, d, a, b, x[11], 0x6d9d6122, 16);
        MD5_STEP(MD5_H, b, c, d, a, x[14], 0xfde5380c, 23);
        MD5_STEP(MD5_H, a, b, c, d, x[1], 0xa4beea44, 4);
        MD5_STEP(MD5_H, d, a, b, c, x[4], 0x4bdecfa9, 11);
        MD5_STEP(MD5_H, c, d, a, b, x[7], 0xf6bb4b60, 16);
        MD5_STEP(MD5_H, b, c, d, a, x[10], 0xbebfbc70, 23);
        MD5_STEP(MD5_H, a, b, c, d, x[13], 0x289b7ec6, 4);
        MD5_STEP(MD5_H, d, a, b, c, x[0], 0xeaa127fa, 11);
        MD5_STEP(MD5_H, c, d, a, b, x[3], 0xd4ef3085, 16);
        MD5_STEP(MD5_H, b, c, d, a, x[6], 0x04881d05, 23);
        MD5_STEP(MD5_H, a, b, c, d, x[9], 0xd9d4d039, 4);
        MD5_STEP(MD5_H, d, a, b, c, x[12], 0xe6db99e5, 11);
        MD5_STEP(MD5_H, c, d, a, b, x[15], 0x1fa27cf8, 16);
        MD5_STEP(MD5_H, b, c, d, a, x[2], 0xc4ac5665, 23);

        MD5_STEP(MD5_I, a, b, c, d, x[0], 0xf4292244, 6);
        MD5_STEP(MD5_I, d, a, b, c, x[7], 0x432aff97, 10);
        MD5_STEP(MD5_I, c, d, a, b, x[14], 0xab9423a7, 15);
        MD5_STEP(MD5_I, b, c, d, a, x[5], 0xfc93a039, 21);
        MD5_STEP(MD5_I, a, b, c, d, x[12], 0x655b59c3, 6);
        MD5_STEP(MD5_I, d, a, b, c, x[3], 0x8f0ccc92, 10);
        MD5_STEP(MD5_I, c, d, a, b, x[10], 0xffeff47d, 15);
        MD5_STEP(MD5_I, b, c, d, a, x[1], 0x85845dd1, 21);
        MD5_STEP(MD5_I, a, b, c, d, x[8], 0x6fa87e4f, 6);
        MD5_STEP(MD5_I, d, a, b, c, x[15], 0xfe2ce6e0, 10);
        MD5_STEP(MD5_I, c, d, a, b, x[6], 0xa3014314, 15);
        MD5_STEP(MD5_I, b, c, d, a, x[13], 0x4e0811a1, 21);
        MD5_STEP(MD5_I, a, b, c, d, x[4], 0xf7537e82, 6);
        MD5_STEP(MD5_I, d, a, b, c, x[11], 0xbd3af235, 10);
        MD5_STEP(MD5_I, c, d, a, b, x[2], 0x2ad7d2bb, 15);
        MD5_STEP(MD5_I, b, c, d, a, x[9], 0xeb86d391, 21);

        a += aa;
        b += bb;
        c += cc;
        d += dd;
    }
    state[0] = a;
    state[1] = b;
    state[2] = c;
    state[3] = d;
}

#undef MD5_STEP
#undef MD5_F
#undef MD5_G
#undef MD5_H
#undef MD5_I

}  // namespace

MD5::MD5() : context(new (std::nothrow) Context) {
    if (context == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", "MD5");
    reset();
}

MD5::MD5(const MD5& other) : context(new (std::nothrow) Context) {
    if (context == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", "MD5");
    *context = *other.context;
}

MD5& MD5::operator=(const MD5& other) {
    *context = *other.context;
    return *this;
}

MD5::~MD5() {
    // Wipe: the state may derive from secret input.
    std::memset(static_cast<void*>(context), 0, sizeof *context);
    delete context;
}

void MD5::reset() {
    context->state[0] = 0x67452301;
    context->state[1] = 0xefcdab89;
    context->state[2] = 0x98badcfe;
    context->state[3] = 0x10325476;
    context->bitCount = 0;
}

void MD5::update(const char* data, unsigned length) {
    if (data == nullptr || length == 0) return;
    const unsigned char* input = reinterpret_cast<const unsigned char*>(data);
    size_t used = static_cast<size_t>((context->bitCount >> 3) & 63);
    context->bitCount += static_cast<uint64_t>(length) << 3;

    size_t remaining = length;
    if (used > 0) {
        size_t room = 64 - used;
        if (remaining < room) {
            std::memcpy(context->buffer + used, input, remaining);
            return;
        }
        std::memcpy(context->buffer + used, input, room);
        transform(context->state, context->buffer, 1);
        input += room;
        remaining -= room;
    }
    // Whole blocks are digested straight from the caller's bytes.
    size_t blocks = remaining / 64;
    if (blocks > 0) {
        transform(context->state, input, blocks);
        input += blocks * 64;
        remaining -= blocks * 64;
    }
    if (remaining > 0) std::memcpy(context->buffer, input, remaining);
}

void MD5::update(const char* text) {
    if (text == nullptr) return;
    update(text, static_cast<unsigned>(std::strlen(text)));
}

void MD5::final(unsigned char digest[16]) {
    unsigned char lengthBytes[8];
    storeLittleEndian(lengthBytes, context->bitCount, 8);

    // Pad with 0x80 and zeros to 56 bytes modulo 64, then add the bit length.
    size_t used = static_cast<size_t>((context->bitCount >> 3) & 63);
    size_t padLength = (used < 56) ? (56 - used) : (120 - used);
    update(reinterpret_cast<const char*>(PADDING), static_cast<unsigned>(padLength));
    update(reinterpret_cast<const char*>(lengthBytes), 8);

    for (int i = 0; i < 4; ++i) storeLittleEndian(digest + 4 * i, context->state[i], 4);

    // Wipe the state, then start afresh so the object can digest again.
    std::memset(static_cast<void*>(context), 0, sizeof *context);
    reset();
}

void MD5::finalHex(String& out) {
    unsigned char digest[16];
    final(digest);
    char text[33];
    for (int i = 0; i < 16; ++i) {
        text[2 * i] = Utils::hexDigit(digest[i] >> 4);
        text[2 * i + 1] = Utils::hexDigit(digest[i]);
    }
    text[32] = '\0';
    out.append(text);
}

bool MD5::md5File(const char* path, String& out) {
    if (path == nullptr) return false;
    MD5 digest;  // before the file is opened: construction may throw
    FILE* file = std::fopen(path, "rb");
    if (file == nullptr) return false;

    // Blocks of 1024 bytes are taken from a larger stream buffer, so the file
    // is read with few system calls.
    static const size_t STREAM_BUFFER = 64 * 1024;
    char* streamBuffer = new (std::nothrow) char[STREAM_BUFFER];
    if (streamBuffer != nullptr) std::setvbuf(file, streamBuffer, _IOFBF, STREAM_BUFFER);
    posix_fadvise(fileno(file), 0, 0, POSIX_FADV_SEQUENTIAL);

    char block[1024];
    size_t got;
    while ((got = std::fread(block, 1, sizeof block, file)) > 0) {
        digest.update(block, static_cast<unsigned>(got));
    }
    std::fclose(file);
    delete[] streamBuffer;
    digest.finalHex(out);
    return true;
}
