#include "client/ZRResponseBody.h"

#include "io/InputStream.h"
#include "net/HttpResponse.h"

String readResponseBody(HttpResponse& response, long limit) {
    String body;
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
        body.append(piece, 0, n);
        got += n;
    }
    return body;
}
