// One HTTPS exchange through HttpsConnection, for the end-to-end TLS tests.
//
//   tls_fetch [options] URL
//     --timeout MS  --ca FILE  --host-check N  --range FIRST (bytes=FIRST-)
//     --proxy HOST:PORT  --proxy-auth USER:PASS
//     --cert FILE  --key FILE  --key-password TEXT
//     --fds N     holds N descriptors open first, so that the connection's
//                 descriptor lies above them
//     --log FILE  log file (debug level) and the program's ending of a
//                 network time-out, as ZRUpdate installs it
//
// Prints "fd=", "status=", "body=" (the body as it came), "end=" (the
// result of one more TLS read after the body ended) or "exception=".
#include <fcntl.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Exception.h"
#include "cli/NetworkTimeout.h"
#include "io/InputStream.h"
#include "net/ClientSocket.h"
#include "net/HttpRequest.h"
#include "net/HttpResponse.h"
#include "net/HttpsConnection.h"
#include "net/SSL.h"
#include "net/URL.h"
#include "util/Log.h"

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    SSLClient::initLibrary();
    HttpsConnection connection;
    std::string url, range;
    char first[256] = "", second[256] = "";  // the two halves of "a:b"
    for (int i = 1; i < argc; i++) {
        std::string option = argv[i];
        if (option[0] != '-') {
            url = option;
            continue;
        }
        if (i + 1 >= argc) return 2;
        std::string value = argv[++i];
        if (option == "--timeout") {
            connection.setTimeout(std::atoi(value.c_str()));
        } else if (option == "--ca") {
            connection.setVerifyLocations("", value.c_str());
        } else if (option == "--host-check") {
            SSLClient::setHostCheck(std::atoi(value.c_str()));
        } else if (option == "--range") {
            range = value;
        } else if (option == "--proxy" &&
                   sscanf(value.c_str(), "%255[^:]:%255s", first, second) == 2) {
            connection.setProxy(first, std::atoi(second));
        } else if (option == "--proxy-auth" &&
                   sscanf(value.c_str(), "%255[^:]:%255s", first, second) == 2) {
            connection.setProxyAuth(first, second);
        } else if (option == "--cert") {
            SSLClient::setCertificate(value.c_str(), "PEM");
        } else if (option == "--key") {
            SSLClient::setPrivateKey(value.c_str(), "PEM");
        } else if (option == "--key-password") {
            SSLClient::setKeyPassword(value.c_str());
        } else if (option == "--fds") {
            for (int n = std::atoi(value.c_str()); n > 0; n--) open("/dev/null", O_RDONLY);
        } else if (option == "--log") {
            Log::openLog(value.c_str());
            Log::openDebugLog(value.c_str());
            Log::setDebug(true);
            installNetworkTimeout();
        } else {
            return 2;
        }
    }
    try {
        HttpRequest request{URL(String(url.c_str()))};
        if (!range.empty()) request.getHeader().add("Range", ("bytes=" + range + "-").c_str());
        HttpResponse response;
        connection.send(request, response);
        std::printf("fd=%d\nstatus=%d\nbody=", connection.getSocket()->getFd(),
                    response.getStatus());
        std::fflush(stdout);
        char piece[1024];
        int got;
        while (response.getInputStream() &&
               (got = response.getInputStream()->read(piece, sizeof piece)) > 0) {
            std::fwrite(piece, 1, static_cast<size_t>(got), stdout);
            std::fflush(stdout);
        }
        std::printf("\nend=%d\n", connection.getSocket()->read(piece, sizeof piece));
        connection.close();
    } catch (const Exception& e) {
        std::printf("exception=%s\n", e.getMessage().c_str());
    }
    return 0;
}
