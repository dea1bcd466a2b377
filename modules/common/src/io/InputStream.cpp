#include "io/InputStream.h"

#include "Exception.h"

namespace {
const char* const kUnit = "../../../modules/common/include/io/InputStream";
const int kSkipChunk = 512;
}  // namespace

int InputStream::available() {
    ZR_THROW(IOException, "Unimplemented", kUnit);
}

void InputStream::close() {
    ZR_THROW(IOException, "Unimplemented", kUnit);
}

int InputStream::read() {
    ZR_THROW(IOException, "Unimplemented", kUnit);
}

int InputStream::read(char* buf, int n) {
    int stored = 0;
    while (stored < n) {
        int c = read();
        if (c == -1) break;
        buf[stored++] = static_cast<char>(c);
    }
    return stored;
}

int InputStream::skip(int n) {
    if (n < 1) return 0;
    char scratch[kSkipChunk];
    int skipped = 0;
    while (skipped < n) {
        int wanted = n - skipped < kSkipChunk ? n - skipped : kSkipChunk;
        int got = read(scratch, wanted);
        if (got <= 0) break;
        skipped += got;
        if (got < wanted) break;
    }
    return skipped;
}

bool InputStream::markSupported() {
    return false;
}

void InputStream::mark(int) {}

void InputStream::reset() {}

void InputStream::checkClosed() const {
    if (closed) ZR_THROW(IOException, "Stream is already closed", kUnit);
}
