#ifndef ZR_NET_HTTP_RESPONSE_H
#define ZR_NET_HTTP_RESPONSE_H

#include "String.h"
#include "io/InputStream.h"
#include "net/HttpHeader.h"
#include "net/SocketInputStream.h"

class ClientSocket;

// An HTTP response: status line, header lines and a stream over the rest of
// the connection (the body, read by the caller). No chunked or content
// decoding.
class HttpResponse {
public:
    // Longest head line accepted.
    static const int kLineLimit = 8192;
    // Most bytes (line ends included) and most lines of a whole head: a
    // server that sends header lines without end gives a failed answer
    // instead of filling the memory.
    static const int kHeadLimit = 64 * 1024;
    static const int kHeadLines = 100;

    HttpResponse();
    HttpResponse(const HttpResponse&) = delete;
    HttpResponse& operator=(const HttpResponse&) = delete;
    virtual ~HttpResponse();

    // Reads the status line and the header lines and attaches the body
    // stream. False for a null socket, a malformed status line, a refused
    // header line or a line of kLineLimit bytes; a head beyond kHeadLimit
    // or kHeadLines gives false with the status -1 and no header, as if
    // nothing had been answered. Socket exceptions pass
    // through; so does the ArrayIndexException of a header line without ":"
    // or a status line ending right after its code.
    bool read(ClientSocket* socket);

    const String& getVersion() const { return version; }
    int getStatus() const { return status; }
    const String& getReason() const { return reason; }
    HttpHeader& getHeader() { return header; }
    const HttpHeader& getHeader() const { return header; }
    // The body stream, owned by the response; null until read() succeeds.
    InputStream* getInputStream() const { return body; }
    // Content-Length (64-bit), or -1 when absent or not numeric.
    long getContentLength() const;
    // "HTTP/<version> <status> <reason>\r\n" and the header lines.
    String toString() const;

private:
    // Counts the lines of a head against kHeadLines and kHeadLimit.
    struct HeadBudget {
        int lines = 0;
        long bytes = 0;
        // False once the line of `lineLength` bytes goes past a limit.
        bool take(int lineLength);
    };

    bool parseStatusLine(const String& line);
    // Forgets the head read so far; false.
    bool refuseHead();

    String version;
    int status;
    String reason;
    HttpHeader header;
    InputStream* body;
};

#endif
