#ifndef ZR_NET_SOCKET_INPUT_STREAM_H
#define ZR_NET_SOCKET_INPUT_STREAM_H

#include "io/InputStream.h"

class ClientSocket;

// The rest of a connection as a byte stream: the body of a response.
//
// It keeps a buffer between the socket and its reader: one socket read (one
// wait and one recv, or one TLS read) brings in up to kBufferSize bytes, and
// small reads are served from it. The response head is read through the same
// buffer, so whatever arrived with the head stays here for the body; a
// download read in 1024-byte pieces costs about one system call pair per
// 64 KiB instead of per 1 KiB.
//
// read(buf, n) returns what is buffered, or else the result of one socket
// read: bytes read, or 0 at the end of the stream and on a failed read.
// Socket time-outs throw SocketException as the socket does. The socket is
// not owned; close() only marks the stream closed.
class SocketInputStream : public InputStream {
public:
    static const int kBufferSize = 64 * 1024;

    explicit SocketInputStream(ClientSocket* socket);
    ~SocketInputStream() override;

    // Buffered bytes plus those queued on the descriptor (FIONREAD); throws
    // IOException with the system's text when that cannot be asked.
    int available() override;
    void close() override;
    // One byte as 0..255, or -1.
    int read() override;
    int read(char* buf, int n) override;
    // Discards up to n bytes in pieces of at most 1024; stops at a short
    // piece. -1 without a socket.
    int skip(int n) override;

    // One head line into `line` (cleared first), without its "\n" and a final
    // "\r". At most `limit` bytes are stored; the byte that would exceed it is
    // dropped and the line ends there. Returns the length, -1 at the end of
    // the stream before any byte, or a negative socket read result.
    int readLine(String& line, int limit);

private:
    // Refills an empty buffer with one socket read; its result.
    int fill();

    ClientSocket* socket;
    char* buffer;
    int start;
    int end;
};

#endif
