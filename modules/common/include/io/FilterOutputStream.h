#ifndef ZR_IO_FILTER_OUTPUT_STREAM_H
#define ZR_IO_FILTER_OUTPUT_STREAM_H

#include "io/OutputStream.h"

// Forwards writing to a borrowed stream, which is never closed or deleted
// here: its owner does that.
class FilterOutputStream : public OutputStream {
public:
    explicit FilterOutputStream(OutputStream* out) : out(out) {}

    // Marks only the filter closed.
    void close() override { closed = true; }
    void flush() override;
    void write(char c) override;
    using OutputStream::write;
    void write(const char* buf, int n) override;

protected:
    OutputStream* out;
};

#endif
