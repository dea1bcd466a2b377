// One HTTP exchange through HttpConnection, for the end-to-end client tests
// and the download benchmark.
//
//   http_fetch [options] URL
//     --proxy HOST:PORT   --proxy-auth USER:PASS   --tunnel
//     --timeout MS        --method NAME            --no-keep-alive
//     --header NAME:VALUE (repeatable)             --range FIRST (bytes=FIRST-)
//     --post-data TEXT    --post-file PATH         --out FILE
//
// Prints what happened, one "key=value" line each: tunnel (with --tunnel:
// 1 when the proxy opened it; a refused tunnel ends the exchange, as a TLS
// connection would), sent (the result of send), status, length (the
// Content-Length), bytes (body bytes read, in 1024-byte reads as the
// download does, written to --out when given) or body=none, and
// exception=<message> when one was thrown. Exit status 0, or 2 on usage
// errors.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Exception.h"
#include "io/BufferedOutputStream.h"
#include "io/FileOutputStream.h"
#include "net/ClientSocket.h"
#include "net/HttpConnection.h"
#include "net/HttpRequest.h"
#include "net/HttpResponse.h"
#include "net/URL.h"

namespace {

// A plain connection that reports the tunnel's answer and refuses to go on
// without a tunnel, the way the TLS connection does.
class ProbeConnection : public HttpConnection {
public:
    int tunnelResult = -1;

    bool connect() override {
        openSocket(new ClientSocket(dialHost().c_str(), dialPort()));
        if (useProxy && tunnel) {
            tunnelResult = openTunnel() ? 1 : 0;
            if (tunnelResult == 0)
                ZR_THROW(IOException, "EC_PROXY_FAILED: http tunnel failed", "http_fetch");
        }
        return connected;
    }
};

int usage() {
    std::fprintf(stderr, "usage: http_fetch [options] URL (see the source for the options)\n");
    return 2;
}

// "a:b" into a and b at the first colon.
bool splitAtColon(const char* text, std::string& a, std::string& b) {
    const char* colon = std::strchr(text, ':');
    if (colon == nullptr) return false;
    a.assign(text, colon);
    b.assign(colon + 1);
    return true;
}

long copyBody(InputStream& in, OutputStream* out) {
    char piece[1024];
    long total = 0;
    int got;
    while ((got = in.read(piece, sizeof piece)) > 0) {
        if (out) out->write(piece, got);
        total += got;
    }
    return total;
}

}  // namespace

int main(int argc, char** argv) {
    ProbeConnection connection;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string method, postData, postFile, outPath, range, url;
    bool tunnel = false;
    for (int i = 1; i < argc; i++) {
        std::string option = argv[i];
        bool hasValue = i + 1 < argc;
        std::string a, b;
        if (option == "--tunnel") {
            tunnel = true;
            connection.setTunnel(true);
        } else if (option == "--no-keep-alive") {
            connection.setKeepAlive(false);
        } else if (option[0] != '-' && url.empty()) {
            url = option;
        } else if (!hasValue) {
            return usage();
        } else if (option == "--proxy" && splitAtColon(argv[++i], a, b)) {
            connection.setProxy(a.c_str(), std::atoi(b.c_str()));
        } else if (option == "--proxy-auth" && splitAtColon(argv[++i], a, b)) {
            connection.setProxyAuth(a.c_str(), b.c_str());
        } else if (option == "--header" && splitAtColon(argv[++i], a, b)) {
            headers.emplace_back(a, b);
        } else if (option == "--timeout") {
            connection.setTimeout(std::atoi(argv[++i]));
        } else if (option == "--method") {
            method = argv[++i];
        } else if (option == "--range") {
            range = argv[++i];
        } else if (option == "--post-data") {
            postData = argv[++i];
        } else if (option == "--post-file") {
            postFile = argv[++i];
        } else if (option == "--out") {
            outPath = argv[++i];
        } else {
            return usage();
        }
    }
    if (url.empty()) return usage();

    try {
        HttpRequest request{URL(String(url.c_str()))};
        if (!method.empty() && !request.setMethod(method.c_str())) return usage();
        for (auto& h : headers) request.getHeader().add(h.first.c_str(), h.second.c_str());
        if (!range.empty())
            request.getHeader().add("Range", (std::string("bytes=") + range + "-").c_str());
        request.setPostData(postData.c_str());
        request.setPostFile(postFile.c_str());
        HttpResponse response;
        bool sent = connection.send(request, response);
        if (tunnel) std::printf("tunnel=%d\n", connection.tunnelResult);
        std::printf("sent=%d\nstatus=%d\nlength=%ld\n", sent ? 1 : 0, response.getStatus(),
                    response.getContentLength());
        InputStream* body = response.getInputStream();
        if (body == nullptr) {
            std::printf("body=none\n");
        } else if (outPath.empty()) {
            std::printf("bytes=%ld\n", copyBody(*body, nullptr));
        } else {
            FileOutputStream file(outPath.c_str(), 0);
            BufferedOutputStream out(&file, 64 * 1024);
            std::printf("bytes=%ld\n", copyBody(*body, &out));
            out.close();
        }
        connection.close();
    } catch (const Exception& e) {
        if (tunnel && connection.tunnelResult >= 0)
            std::printf("tunnel=%d\n", connection.tunnelResult);
        std::printf("exception=%s\n", e.getMessage().c_str());
    }
    return 0;
}
