#include "net/HttpsConnection.h"

#include "Exception.h"
#include "net/SSLClientSocket.h"

HttpsConnection::HttpsConnection() {
    tunnel = true;
}

HttpsConnection::~HttpsConnection() = default;

bool HttpsConnection::setVerifyLocations(const String& path, const String& file) {
    caPath = path;
    caFile = file;
    return true;
}

bool HttpsConnection::connect() {
    SSLClientSocket* tls = new SSLClientSocket(dialHost().c_str(), dialPort());
    // A certificate file alone is enough to verify the server: the network
    // settings name only a file, and a certificate the administrator
    // configured must be checked, not silently ignored.
    if (!caFile.isEmpty()) tls->setVerifyLocations(caPath.c_str(), caFile.c_str());
    // The certificate must name the host of the URL, also when the socket's
    // peer is a proxy.
    tls->setPeerName(host);
    openSocket(tls);
    if (useProxy && !openTunnel())
        ZR_THROW(IOException, "EC_PROXY_FAILED: http tunnel failed", "net/HttpsConnection");
    tls->startHandshake();
    connected = tls->isConnected();
    return connected;
}
