#ifndef ZR_IO_OUTPUT_STREAM_H
#define ZR_IO_OUTPUT_STREAM_H

#include "ZRObject.h"

// Root of the byte output streams. It keeps the closed flag; close() and
// the two byte writes throw IOException "Unimplemented" unless a subclass
// provides them, flush() does nothing.
class OutputStream : public ZRObject {
public:
    OutputStream() = default;
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;
    virtual ~OutputStream() = default;

    virtual void close();
    virtual void flush();
    virtual void write(char c);
    // The bytes of the NUL-terminated s, through write(buf, n).
    virtual void write(const char* s);
    virtual void write(const char* buf, int n);

    // Throws IOException "Stream is already closed" once the stream is closed.
    void checkClosed() const;
    bool isClosed() const { return closed; }

protected:
    bool closed = false;
};

#endif
