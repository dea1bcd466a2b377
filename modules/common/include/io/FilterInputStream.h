#ifndef ZR_IO_FILTER_INPUT_STREAM_H
#define ZR_IO_FILTER_INPUT_STREAM_H

#include "io/InputStream.h"

// Forwards reading to a wrapped stream that it borrows: the wrapped stream
// is never closed or deleted here, its owner does that.
class FilterInputStream : public InputStream {
public:
    explicit FilterInputStream(InputStream* in) : in(in) {}

    int available() override;
    // Marks only the filter closed.
    void close() override;
    int read() override;
    int read(char* buf, int n) override;
    int skip(int n) override;

protected:
    InputStream* in;
};

#endif
