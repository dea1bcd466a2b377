#ifndef ZR_IO_BUFFERED_INPUT_STREAM_H
#define ZR_IO_BUFFERED_INPUT_STREAM_H

#include "io/FilterInputStream.h"

class String;

// Reads a borrowed stream through a buffer, with mark/reset inside the
// buffer (which grows up to the mark's limit) and line reading.
class BufferedInputStream : public FilterInputStream {
public:
    BufferedInputStream(InputStream* in, int size);
    ~BufferedInputStream() override;

    int available() override;
    // Frees the buffer; the wrapped stream stays open.
    void close() override;
    int read() override;
    // Delivers n bytes unless the data end first.
    int read(char* buf, int n) override;
    int skip(int n) override;
    bool markSupported() override { return true; }
    void mark(int readLimit) override;
    // Back to the mark, which is then cleared; "No mark was set" without one.
    void reset() override;

    // The next line without its end ("\r", "\n" or "\r\n"); false at the end
    // of data when nothing was collected.
    bool readLine(String& line);

private:
    // Makes room and reads once from `in`; the bytes added, <= 0 at the end.
    int fill();
    bool nextByte(unsigned char& byte);

    char* buffer;
    int bufferSize;
    int position = 0;
    int count = 0;
    int initialSize;
    int markPosition = -1;
    int markLimit = 0;
};

#endif
