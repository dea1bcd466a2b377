#include "io/BufferedInputStream.h"

#include <string.h>

#include <new>

#include "Exception.h"
#include "String.h"

namespace {
const char* const kUnit = "io/InputStream";

char* allocateBuffer(int size) {
    char* bytes = new (std::nothrow) char[size];
    if (bytes == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", kUnit);
    return bytes;
}
}  // namespace

// A buffer needs at least one byte, or every refill would look like the end.
BufferedInputStream::BufferedInputStream(InputStream* in, int size)
    : FilterInputStream(in),
      buffer(allocateBuffer(size > 0 ? size : 1)),
      bufferSize(size > 0 ? size : 1),
      initialSize(bufferSize) {}

BufferedInputStream::~BufferedInputStream() {
    close();
}

void BufferedInputStream::close() {
    if (closed) return;
    delete[] buffer;
    buffer = nullptr;
    bufferSize = 0;
    position = count = 0;
    closed = true;
}

int BufferedInputStream::fill() {
    if (markPosition < 0) {
        position = 0;
    } else if (position - markPosition >= markLimit) {
        // The next byte would pass the mark's limit: give up the mark and
        // return to the original buffer size.
        markPosition = -1;
        position = 0;
        if (bufferSize > initialSize) {
            char* smaller = allocateBuffer(initialSize);
            delete[] buffer;
            buffer = smaller;
            bufferSize = initialSize;
        }
    } else if (position >= bufferSize) {
        if (markPosition > 0) {
            memmove(buffer, buffer + markPosition, bufferSize - markPosition);
            position -= markPosition;
            markPosition = 0;
        } else {
            // The marked bytes fill the whole buffer: grow it, at most to the
            // limit (which is larger than the buffer, or the mark was dropped).
            int grown = bufferSize <= markLimit / 2 ? bufferSize * 2 : markLimit;
            char* larger = allocateBuffer(grown);
            memcpy(larger, buffer, position);
            delete[] buffer;
            buffer = larger;
            bufferSize = grown;
        }
    }
    count = position;
    int got = in->read(buffer + position, bufferSize - position);
    if (got > 0) count += got;
    return got;
}

bool BufferedInputStream::nextByte(unsigned char& byte) {
    if (position >= count && fill() <= 0) return false;
    byte = static_cast<unsigned char>(buffer[position++]);
    return true;
}

// Also guarded: the buffer is gone once the stream is closed.
int BufferedInputStream::read() {
    checkClosed();
    unsigned char byte;
    return nextByte(byte) ? byte : -1;
}

int BufferedInputStream::read(char* buf, int n) {
    checkClosed();
    int delivered = 0;
    while (delivered < n) {
        if (position >= count && fill() <= 0) break;
        int chunk = count - position;
        if (chunk > n - delivered) chunk = n - delivered;
        memcpy(buf + delivered, buffer + position, chunk);
        position += chunk;
        delivered += chunk;
    }
    return delivered;
}

bool BufferedInputStream::readLine(String& line) {
    checkClosed();
    line.clear();
    bool collected = false;
    unsigned char byte;
    while (nextByte(byte)) {
        if (byte == '\n') return true;
        if (byte == '\r') {
            if ((position < count || fill() > 0) && buffer[position] == '\n') position++;
            return true;
        }
        line.append(static_cast<char>(byte));
        collected = true;
    }
    return collected;
}

int BufferedInputStream::available() {
    checkClosed();
    return (count - position) + in->available();
}

int BufferedInputStream::skip(int n) {
    checkClosed();
    if (n <= 0) return 0;
    int skipped = count - position < n ? count - position : n;
    position += skipped;
    int remaining = n - skipped;
    if (remaining == 0) return skipped;
    if (markPosition < 0) return skipped + in->skip(remaining);
    // With a mark the skipped bytes must stay in the buffer for reset(), so
    // they are read through this stream, as the generic skip does.
    return skipped + InputStream::skip(remaining);
}

void BufferedInputStream::mark(int readLimit) {
    checkClosed();
    markPosition = position;
    markLimit = readLimit;
}

void BufferedInputStream::reset() {
    checkClosed();
    if (markPosition < 0) ZR_THROW(IOException, "No mark was set", kUnit);
    position = markPosition;
    markPosition = -1;
}
