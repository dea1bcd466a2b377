#ifndef ZR_IO_FILE_INPUT_STREAM_H
#define ZR_IO_FILE_INPUT_STREAM_H

#include "io/InputStream.h"

// Unbuffered input straight from a descriptor: one system call per
// operation. Failures throw IOException with the system's error text.
class FileInputStream : public InputStream {
public:
    // Opens path read-only; on failure throws IOException "path: error text"
    // and the stream is born closed.
    explicit FileInputStream(const char* path);
    // Adopts an open descriptor; close() and the destructor close it.
    explicit FileInputStream(int fd);
    ~FileInputStream() override;

    int available() override;
    void close() override;
    int read() override;
    int read(char* buf, int n) override;
    // Moves the file offset n bytes forward; returns the new offset.
    int skip(int n) override;
    // False for character devices, FIFOs and sockets.
    bool markSupported() override;
    // Remembers the current offset (the limit does not matter for a file).
    void mark(int readLimit) override;
    // Seeks back to the mark, which stays valid; "No mark set" without one.
    void reset() override;

    int getFD() const { return fd; }

private:
    int fd;
    long markPosition = -1;
};

#endif
