#ifndef ZR_IO_STRING_OUTPUT_STREAM_H
#define ZR_IO_STRING_OUTPUT_STREAM_H

#include "String.h"
#include "io/OutputStream.h"

// Collects everything written into a String (documents built in memory).
class StringOutputStream : public OutputStream {
public:
    StringOutputStream() = default;

    // Discards the collected text.
    void close() override;
    void flush() override {}
    void write(char c) override;
    using OutputStream::write;
    void write(const char* buf, int n) override;

    const String& getString() const { return text; }

private:
    String text;
};

#endif
