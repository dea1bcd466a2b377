#include "net/HttpConnection.h"

#include "io/File.h"
#include "io/FileInputStream.h"
#include "net/ClientSocket.h"
#include "net/HttpRequest.h"
#include "net/HttpResponse.h"
#include "util/Base64.h"
#include "util/Log.h"

namespace {
// Size of the pieces a posted file is read and written in.
const int kFilePiece = 1024;

void debug(const String& line) {
    Log::getLog()->log(line, Log::LEVEL_DEBUG);
}

// Writes all `len` bytes, looping over short writes (a single write may take
// only part of a large head or body); stops at a failed send.
void writeAll(ClientSocket& socket, const char* buf, long len) {
    while (len > 0) {
        int piece = len > 0x40000000 ? 0x40000000 : static_cast<int>(len);
        int sent = socket.write(buf, piece);
        if (sent <= 0) return;
        buf += sent;
        len -= sent;
    }
}
}  // namespace

HttpConnection::HttpConnection()
    : port(-1),
      useProxy(false),
      proxyPort(-1),
      socket(nullptr),
      timeout(-1),
      connected(false),
      keepAlive(true),
      tunnel(false),
      minimumRate(0) {}

HttpConnection::~HttpConnection() {
    delete socket;
}

void HttpConnection::setProxy(const String& proxyHostName, int proxyPortNumber) {
    proxyHost = proxyHostName;
    proxyPort = proxyPortNumber;
    useProxy = true;
}

void HttpConnection::setProxyAuth(const String& user, const String& password) {
    proxyUser = user;
    proxyPassword = password;
}

void HttpConnection::setWebAuth(const String& user, const String& password) {
    webUser = user;
    webPassword = password;
}

String HttpConnection::proxyCredentials() const {
    return String("Basic ") + Base64::encode(proxyUser + ":" + proxyPassword);
}

void HttpConnection::openSocket(ClientSocket* created) {
    delete socket;
    socket = created;
    connected = false;
    if (timeout > 0) socket->setTimeout(timeout);
    socket->open();
    connected = socket->isConnected();
}

bool HttpConnection::connect() {
    openSocket(new ClientSocket(dialHost().c_str(), dialPort()));
    if (useProxy && tunnel) openTunnel();
    return connected;
}

bool HttpConnection::openTunnel() {
    if (socket == nullptr || !socket->isConnected()) return false;
    ClientSocket wrapper(socket->getFd());
    // The socket's own time-out: the connection's value when it is above 0,
    // and no limit otherwise (a raw 0 would make every wait return at once).
    wrapper.setTimeout(socket->getTimeout());

    String text("CONNECT ");
    text.append(host).append(":").append(port).append(" HTTP/1.0\r\n");
    text.append("User-Agent: Mozilla/4.0\r\n");
    if (!proxyUser.isEmpty())
        text.append("Proxy-authorization: ").append(proxyCredentials()).append("\r\n");
    text.append("\r\n");
    wrapper.limitWaits(wholeLimit());
    writeAll(wrapper, text.c_str(), text.length());
    debug(text);
    wrapper.limitWaits(wholeLimit());

    // The proxy says nothing after its answer until the client speaks, so
    // the response's read-ahead cannot take bytes of the tunnelled stream.
    HttpResponse answer;
    answer.read(&wrapper);
    debug(answer.toString());
    return answer.getStatus() == 200;
}

bool HttpConnection::send(HttpRequest& request, HttpResponse& response) {
    host = request.getURL().getHost();
    port = request.getURL().getPort();
    HttpHeader& header = request.getHeader();
    if (keepAlive) header.add(useProxy ? "Proxy-Connection" : "Connection", "Keep-Alive");
    if (useProxy && !tunnel && !proxyUser.isEmpty())
        header.add("Proxy-authorization", proxyCredentials());

    connect();
    if (!connected) return false;
    if (!addContentLength(request)) return false;
    if (header.indexOf("Keep-Alive") < 0) header.add("Connection", "close");

    String head = request.toString();
    limitTransfer(*socket);
    writeAll(*socket, head.c_str(), head.length());
    writeBody(request);
    socket->limitWaits(wholeLimit());
    response.read(socket);
    limitTransfer(*socket);
    return true;
}

void HttpConnection::limitTransfer(ClientSocket& on) const {
    if (minimumRate > 0) {
        on.requireRate(minimumRate, wholeLimit());
    } else {
        on.limitWaits(wholeLimit());
    }
}

bool HttpConnection::addContentLength(HttpRequest& request) {
    const String& data = request.getPostData();
    const String& path = request.getPostFile();
    if (!data.isEmpty() && !path.isEmpty()) {
        debug("Post both data buffer and file");
        return false;
    }
    if (!path.isEmpty()) {
        File file(path);
        if (!file.exists()) {
            debug("invalid post file path");
            return false;
        }
        request.getHeader().add("Content-Length", file.length());
    } else if (!data.isEmpty()) {
        request.getHeader().add("Content-Length", static_cast<long>(data.length()));
    }
    return true;
}

void HttpConnection::writeBody(const HttpRequest& request) {
    const String& data = request.getPostData();
    if (!data.isEmpty()) {
        writeAll(*socket, data.c_str(), data.length());
        return;
    }
    if (request.getPostFile().isEmpty()) return;
    FileInputStream in(request.getPostFile().c_str());
    char piece[kFilePiece];
    int got;
    while ((got = in.read(piece, kFilePiece)) > 0) writeAll(*socket, piece, got);
    in.close();
}

void HttpConnection::close() {
    if (connected && socket != nullptr) {
        socket->close();
        connected = false;
    }
}
