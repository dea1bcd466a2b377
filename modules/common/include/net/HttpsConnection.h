#ifndef ZR_NET_HTTPS_CONNECTION_H
#define ZR_NET_HTTPS_CONNECTION_H

#include "net/HttpConnection.h"

// An HTTP exchange over TLS: connects with a TLS socket, through a proxy
// by a CONNECT tunnel (the proxy credentials travel only in the CONNECT
// text), then runs the handshake before the request is sent. The URL's host
// is the name sent to the server and the one its certificate is checked
// against, whether the socket reaches the server or a proxy.
class HttpsConnection : public HttpConnection {
public:
    HttpsConnection();
    ~HttpsConnection() override;

    // Makes and opens the TLS socket, tunnels through the proxy when one is
    // set (a refused tunnel throws IOException "EC_PROXY_FAILED: http tunnel
    // failed") and runs the handshake. Socket and TLS exceptions propagate.
    bool connect() override;
    // The trusted certificates for this connection: with a certificate file
    // the server is verified against it, and its certificate must name the
    // host of the request's URL. Returns true.
    bool setVerifyLocations(const String& caPath, const String& caFile);

private:
    String caPath;
    String caFile;
};

#endif
