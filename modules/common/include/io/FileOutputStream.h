#ifndef ZR_IO_FILE_OUTPUT_STREAM_H
#define ZR_IO_FILE_OUTPUT_STREAM_H

#include "io/OutputStream.h"

// Unbuffered output straight to a descriptor: every write is one system
// call, so the data reach the file at once. Failures throw IOException with
// the system's error text.
class FileOutputStream : public OutputStream {
public:
    // How the path constructor opens its file.
    enum Mode {
        REPLACE = 0,          // create or truncate
        APPEND = 1,           // append to an existing file
        APPEND_OR_CREATE = 2  // append, creating the file when missing
        // any other value: write from the start without truncating
    };
    // Permission bits of a file this stream creates (before the umask).
    static const int CREATE_PERMISSIONS = 0666;

    // Opens path for writing as `mode` says; on failure throws IOException
    // "path: error text" and the stream is born closed.
    FileOutputStream(const char* path, int mode);
    // Writes to a borrowed descriptor (standard output or error). Descriptors
    // 1 and 2 are never closed; any other is closed by close().
    explicit FileOutputStream(int fd);
    ~FileOutputStream() override;

    void close() override;
    void flush() override {}
    void write(char c) override;
    using OutputStream::write;
    // One write of n bytes; an error or a short write throws.
    void write(const char* buf, int n) override;

    int getFD() const { return fd; }

private:
    void closeDescriptor(bool reportFailure);

    int fd;
};

#endif
