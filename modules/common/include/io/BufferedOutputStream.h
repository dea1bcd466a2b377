#ifndef ZR_IO_BUFFERED_OUTPUT_STREAM_H
#define ZR_IO_BUFFERED_OUTPUT_STREAM_H

#include "io/FilterOutputStream.h"

// Collects small writes in a buffer and hands them to a borrowed stream in
// one write when the buffer is full or flushed; large writes go straight
// through.
class BufferedOutputStream : public FilterOutputStream {
public:
    BufferedOutputStream(OutputStream* out, int size);
    // Flushes what is left (a failure there is lost: close() first to see it).
    ~BufferedOutputStream() override;

    // Flushes, frees the buffer; the wrapped stream stays open.
    void close() override;
    // Writes the buffered bytes to the wrapped stream, without flushing it.
    void flush() override;
    void write(char c) override;
    using OutputStream::write;
    void write(const char* buf, int n) override;

private:
    char* buffer;
    int count = 0;
    int bufferSize;
};

#endif
