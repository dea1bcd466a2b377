#include "io/BufferedOutputStream.h"

#include <string.h>

#include <new>

#include "Exception.h"

namespace {
const char* const kUnit = "io/OutputStream";
}

// A buffer needs at least one byte to make progress.
BufferedOutputStream::BufferedOutputStream(OutputStream* out, int size)
    : FilterOutputStream(out),
      buffer(new (std::nothrow) char[size > 0 ? size : 1]),
      bufferSize(size > 0 ? size : 1) {
    if (buffer == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", kUnit);
}

BufferedOutputStream::~BufferedOutputStream() {
    try {
        close();
    } catch (const Exception&) {
        // A destructor must not throw; the bytes are lost either way.
        delete[] buffer;
        buffer = nullptr;
        closed = true;
    }
}

void BufferedOutputStream::close() {
    if (closed) return;
    flush();
    delete[] buffer;
    buffer = nullptr;
    closed = true;
}

void BufferedOutputStream::flush() {
    checkClosed();
    if (count == 0) return;
    int pending = count;
    // Emptied first: after a failed write the bytes are not sent twice.
    count = 0;
    out->write(buffer, pending);
}

void BufferedOutputStream::write(char c) {
    checkClosed();
    buffer[count++] = c;
    if (count == bufferSize) flush();
}

void BufferedOutputStream::write(const char* buf, int n) {
    checkClosed();
    if (n <= 0) return;
    if (count == 0 && n >= bufferSize) {
        out->write(buf, n);
        return;
    }
    int room = bufferSize - count;
    int first = n < room ? n : room;
    memcpy(buffer + count, buf, first);
    count += first;
    if (count == bufferSize) flush();
    int remaining = n - first;
    if (remaining >= bufferSize) {
        out->write(buf + first, remaining);
    } else if (remaining > 0) {
        memcpy(buffer, buf + first, remaining);
        count = remaining;
    }
}
