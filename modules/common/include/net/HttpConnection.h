#ifndef ZR_NET_HTTP_CONNECTION_H
#define ZR_NET_HTTP_CONNECTION_H

#include "String.h"

class ClientSocket;
class HttpRequest;
class HttpResponse;

// One HTTP/1.0 exchange: connects to the server or to a proxy, adds the
// connection headers to the caller's request, writes head and body and reads
// the response head; the caller reads the body from the response's stream.
// A connection serves one send(); a further exchange uses a new object.
//
// Every part of the exchange ends within the time-out as a whole, however
// slowly the server sends or takes the bytes: the connect, the request, the
// response head, and then the body (read by the caller). A long transfer asks
// for a minimum rate instead (setMinimumRate): then the request and the body
// go on as long as each time-out brings that many bytes.
//
// A TLS connection derives from this class: it overrides connect() (hands
// its own socket to dialHost():dialPort() to openSocket(), runs openTunnel()
// through a proxy, then the handshake) and uses the protected fields.
class HttpConnection {
public:
    HttpConnection();
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;
    virtual ~HttpConnection();

    // Makes the socket to host:port, or to the proxy when one is set, and
    // opens it; through a proxy with the tunnel flag it then opens the tunnel
    // (whose result is ignored here). Socket exceptions propagate.
    virtual bool connect();
    // Sends CONNECT host:port through the proxy on the connected socket;
    // true when the proxy answers 200. Credentials go only into this text.
    bool openTunnel();
    // False when the connection could not be made or the body arguments are
    // unusable (nothing written then); true once the request was written and
    // the response head read was attempted (judge it by its status).
    bool send(HttpRequest& request, HttpResponse& response);
    // Closes the socket (the object lives until the destructor).
    void close();

    void setProxy(const String& host, int port);
    void setProxyAuth(const String& user, const String& password);
    // Kept for origin-server authentication; no request carries them.
    void setWebAuth(const String& user, const String& password);
    // Milliseconds; values above 0 are handed to the socket.
    void setTimeout(int ms) { timeout = ms; }
    void setTunnel(bool on) { tunnel = on; }
    void setKeepAlive(bool on) { keepAlive = on; }
    // Bytes that each time-out period must move for the request body and the
    // response body; 0 (the default) bounds each of them by one time-out.
    void setMinimumRate(int bytes) { minimumRate = bytes; }
    bool isConnected() const { return connected; }
    bool isKeepAlive() const { return keepAlive; }
    ClientSocket* getSocket() const { return socket; }

protected:
    // The host and port connect() dials: the proxy's when one is set.
    const String& dialHost() const { return useProxy ? proxyHost : host; }
    int dialPort() const { return useProxy ? proxyPort : port; }
    // Takes `created` as the connection's socket (deleting an earlier one),
    // gives it the time-out when above 0, opens it (plain TCP) and notes
    // whether it connected. Socket exceptions propagate.
    void openSocket(ClientSocket* created);
    // "Basic " and the Base64 of proxy user ":" proxy password.
    String proxyCredentials() const;

    String host;
    int port;
    bool useProxy;
    String proxyHost;
    int proxyPort;
    String proxyUser;
    String proxyPassword;
    String webUser;
    String webPassword;
    ClientSocket* socket;
    int timeout;
    bool connected;
    bool keepAlive;
    bool tunnel;
    int minimumRate;

private:
    // The time-out as a bound of a whole part of the exchange: -1 (none)
    // when the connection has no time-out.
    int wholeLimit() const { return timeout > 0 ? timeout : -1; }
    // Bounds what `socket` moves next: the whole time-out, or the rate.
    void limitTransfer(ClientSocket& on) const;
    // Content-Length from the body arguments; false (logged) when unusable.
    bool addContentLength(HttpRequest& request);
    void writeBody(const HttpRequest& request);
};

#endif
