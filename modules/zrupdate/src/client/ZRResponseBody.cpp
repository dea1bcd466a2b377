#include "client/ZRResponseBody.h"

#include "io/InputStream.h"
#include "net/HttpResponse.h"

std::vector<char> readResponseBytes(HttpResponse& response, long limit) {
    std::vector<char> body;
    InputStream* in = response.getInputStream();
    if (in == nullptr) return body;
    long wanted = response.getContentLength();
    if (wanted <= 0 || wanted > limit) wanted = limit;
    const int kPiece = 1024;
    char piece[kPiece];
    long got = 0;
    while (got < wanted) {
        long ask = wanted - got < kPiece ? wanted - got : kPiece;
        int n = in->read(piece, static_cast<int>(ask));
        if (n < 1) break;
        body.insert(body.end(), piece, piece + n);
        got += n;
    }
    return body;
}

String readResponseBody(HttpResponse& response, long limit) {
    std::vector<char> bytes = readResponseBytes(response, limit);
    return String(bytes.data(), 0, static_cast<int>(bytes.size()));
}
