#ifndef ZR_IO_INPUT_STREAM_H
#define ZR_IO_INPUT_STREAM_H

#include "ZRObject.h"

// Root of the byte input streams. It keeps the closed flag and supplies
// defaults: read(buf, n) and skip(n) work through read(), the rest either
// does nothing or throws IOException "Unimplemented".
class InputStream : public ZRObject {
public:
    InputStream() = default;
    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;
    virtual ~InputStream() = default;

    // Bytes that can be read without blocking.
    virtual int available();
    virtual void close();
    // One byte as 0..255, or -1 at the end of data.
    virtual int read();
    // Up to n bytes into buf; the number stored, 0 at the end of data.
    virtual int read(char* buf, int n);
    // Reads and discards up to n bytes; the number discarded.
    virtual int skip(int n);
    virtual bool markSupported();
    virtual void mark(int readLimit);
    virtual void reset();

    // Throws IOException "Stream is already closed" once the stream is closed.
    void checkClosed() const;
    bool isClosed() const { return closed; }

protected:
    bool closed = false;
};

#endif
