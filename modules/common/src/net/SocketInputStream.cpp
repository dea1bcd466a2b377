#include "net/SocketInputStream.h"

#include <errno.h>
#include <string.h>
#include <sys/ioctl.h>

#include <algorithm>

#include "Exception.h"
#include "net/ClientSocket.h"

namespace {
const char* const kUnit = "net/HttpResponse";
const int kSkipPiece = 1024;
}  // namespace

SocketInputStream::SocketInputStream(ClientSocket* socket)
    : socket(socket), buffer(new char[kBufferSize]), start(0), end(0) {}

SocketInputStream::~SocketInputStream() {
    delete[] buffer;
}

int SocketInputStream::fill() {
    start = end = 0;
    int got = socket->read(buffer, kBufferSize);
    if (got > 0) end = got;
    return got;
}

int SocketInputStream::available() {
    int queued = 0;
    if (socket == nullptr) zrThrow<IOException>(strerror(EBADF), kUnit, __LINE__);
    if (ioctl(socket->getFd(), FIONREAD, &queued) != 0)
        zrThrow<IOException>(strerror(errno), kUnit, __LINE__);
    return queued + (end - start);
}

void SocketInputStream::close() {
    closed = true;
}

int SocketInputStream::read() {
    char c;
    return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
}

int SocketInputStream::read(char* buf, int n) {
    if (socket == nullptr || buf == nullptr || n <= 0) return 0;
    if (start == end) {
        // A large read goes straight to the caller's buffer.
        if (n >= kBufferSize) return std::max(0, socket->read(buf, n));
        if (fill() <= 0) return 0;
    }
    int count = std::min(n, end - start);
    memcpy(buf, buffer + start, static_cast<size_t>(count));
    start += count;
    return count;
}

int SocketInputStream::skip(int n) {
    if (socket == nullptr) return -1;
    char scratch[kSkipPiece];
    int total = 0;
    while (total < n) {
        int want = std::min(kSkipPiece, n - total);
        int got = read(scratch, want);
        if (got > 0) total += got;
        if (got < want) break;
    }
    return total;
}

int SocketInputStream::readLine(String& line, int limit) {
    line.clear();
    bool gotAny = false;
    for (;;) {
        if (start == end) {
            int got = socket == nullptr ? -1 : fill();
            if (got < 0) return got;
            if (got == 0) {
                if (!gotAny) return -1;
                break;
            }
        }
        gotAny = true;
        int room = limit - line.length();
        if (room == 0) {
            start++;  // the byte past the limit is dropped and ends the line
            break;
        }
        int scan = std::min(end - start, room);
        const char* from = buffer + start;
        const char* newline =
            static_cast<const char*>(memchr(from, '\n', static_cast<size_t>(scan)));
        int take = newline ? static_cast<int>(newline - from) : scan;
        // Room in doubling steps: a long line that arrives in small pieces
        // must not be copied again for every piece.
        if (line.capacity() < line.length() + take) {
            line.ensureCapacity(
                std::min(limit, std::max(2 * line.capacity(), line.length() + take)));
        }
        // insert() keeps NUL bytes, as the byte-by-byte reading always did.
        line.insert(line.length(), from, 0, take);
        start += take;
        if (newline) {
            start++;
            break;
        }
    }
    if (line.length() > 0 && line.charAt(line.length() - 1) == '\r')
        line.setLength(line.length() - 1);
    return line.length();
}
