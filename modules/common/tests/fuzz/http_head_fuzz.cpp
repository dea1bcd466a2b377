// Feeds arbitrary bytes to the response head reader as if a server had sent
// them, delivered in pieces whose sizes the input chooses (so heads and lines
// straddle the read buffer in every way). The first byte picks the piece
// size; the rest is the stream. Checks: the head reader never reads past
// the stream, keeps no header it would refuse to send, and hands every byte
// after the head to the body stream, in order.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "Exception.h"
#include "net/ClientSocket.h"
#include "net/HttpResponse.h"

namespace {

// A socket whose reads come from memory, at most `piece` bytes each.
class MemorySocket : public ClientSocket {
public:
    MemorySocket(const std::string& data, int piece)
        : ClientSocket(InetSocketAddress(0)), data(data), piece(piece) {}
    int read(char* buf, int len) override {
        if (buf == nullptr || len <= 0) return -1;
        int n = static_cast<int>(std::min<size_t>({size_t(len), size_t(piece), data.size() - at}));
        std::memcpy(buf, data.data() + at, size_t(n));
        at += size_t(n);
        return n;
    }
    std::string data;
    int piece;
    size_t at = 0;
};

bool clean(const String& s, const char* refused) {
    for (int i = 0; i < s.length(); i++) {
        if (std::strchr(refused, s.charAt(i)) != nullptr && s.charAt(i) != '\0') return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    int piece = 1 + data[0] % 64;
    if (data[0] >= 192) piece = 65536;  // whole buffer reads too
    MemorySocket socket(std::string(reinterpret_cast<const char*>(data) + 1, size - 1), piece);
    HttpResponse response;
    bool ok;
    try {
        ok = response.read(&socket);
    } catch (const ArrayIndexException&) {
        return 0;  // a line without ":" or a status line without a reason
    }
    if (socket.at > socket.data.size()) __builtin_trap();
    const HttpHeader& header = response.getHeader();
    for (int i = 0; i < header.size(); i++) {
        const NameValuePairs::Pair& p = header.get(i);
        if (p.name.isEmpty() || !clean(p.name, ":\r\n") || !clean(p.value.toString(), "\r\n"))
            __builtin_trap();
    }
    if (!ok) {
        if (response.getInputStream() != nullptr) __builtin_trap();
        return 0;
    }
    if (response.getStatus() < 0 && response.getVersion().isEmpty()) __builtin_trap();

    // The body is exactly the bytes the head did not use.
    std::string body;
    char buf[1024];
    int got;
    while ((got = response.getInputStream()->read(buf, sizeof buf)) > 0)
        body.append(buf, size_t(got));
    const std::string& all = socket.data;
    if (body.size() > all.size() || all.compare(all.size() - body.size(), body.size(), body) != 0) {
        __builtin_trap();
    }
    // A body that is not empty follows the head's empty line or the cut
    // stream's end, so the head part always ends with "\n".
    size_t headLength = all.size() - body.size();
    if (!body.empty() && (headLength == 0 || all[headLength - 1] != '\n')) __builtin_trap();
    return 0;
}
