#ifndef ZR_NET_SSL_H
#define ZR_NET_SSL_H

#include <openssl/types.h>

#include "Exception.h"
#include "String.h"

class SSLClientSocket;

// TLS failures: context, certificates, handshake, peer checks and writes.
class SSLException : public IOException {
public:
    SSLException() = default;
    using IOException::IOException;
};

// One TLS client connection over an already connected socket: makes the
// OpenSSL context and connection, runs the handshake and checks the peer's
// certificate, then reads and writes through it.
//
// The settings (protocol, verification, host check, client certificate) are
// process-wide and set through the static setters before connecting.
//
// OpenSSL works on the socket in non-blocking mode: read() and write() never
// block; when they need the peer they return with wanted() saying POLLIN or
// POLLOUT, and the socket waits for that within its deadline.
class SSLClient {
public:
    // What ends the program when a TLS operation passes its deadline. The
    // library knows no program: the application installs this at start-up.
    // When none is installed (or it returns) the operation throws instead.
    using TimeoutHandler = void (*)();

    SSLClient();
    SSLClient(const SSLClient&) = delete;
    SSLClient& operator=(const SSLClient&) = delete;
    virtual ~SSLClient();

    // --- library, once per process ---
    static void initLibrary();
    static void cleanupLibrary();
    // " OpenSSL/" and the library's version, e.g. " OpenSSL/3.0.19".
    static String getVersionString();

    // --- process-wide settings ---
    // 1 TLS 1.0 only; anything else the newest protocol both sides speak.
    static void setVersion(int version);
    static void setVerifyServer(bool on);
    // 0 none, 1 compare the names but accept a mismatch, 2 a mismatch is
    // fatal. With server verification on a mismatch is always fatal.
    static void setHostCheck(int level);
    static void setCipherList(const String& list);
    // Types "PEM", "DER" or "ENG".
    static void setCertificate(const String& file, const String& type);
    static void setPrivateKey(const String& file, const String& type);
    static void setKeyPassword(const String& password);
    // Stores both and turns server verification on.
    static void setVerifyLocations(const String& caPath, const String& caFile);
    static void setTimeoutHandler(TimeoutHandler handler);
    // Runs the installed handler, if any. Callers throw their time-out
    // exception when it returns.
    static void timedOut();

    // Whether `cert` names `host`: an IPv4 or IPv6 address among its IP
    // names, a host name among its DNS names ("*" standing for exactly the
    // first label, letters in any case), or, unless `alternativeNamesOnly`,
    // in its common name when it has no DNS names.
    static bool certificateNames(X509* cert, const String& host, bool alternativeNamesOnly);
    // Whether `host` is an IPv4 or IPv6 address rather than a name.
    static bool isAddressLiteral(const String& host);

    // The host the peer's certificate must name (the host of the URL); when
    // none is set, the host name of the socket's remote address.
    void setPeerName(const String& name);

    // Handshake on the socket's descriptor and the peer checks; 0, or
    // throws SSLException (the text says which step failed).
    int connect(SSLClientSocket& socket);
    // One TLS read: bytes read; 0 at the end of the stream (clean or not,
    // logged); -1 when the peer is needed first (see wanted()) or there is
    // no connection. Other failures throw IOException "EC_READ_FAILED: ...".
    int read(char* buf, int len);
    // One TLS write: bytes written; 0 when the peer is needed first (see
    // wanted()); -1 without a connection. Failures throw SSLException
    // "EC_WRITE_FAILED: ...".
    int write(const char* buf, int len);
    // Sends the close notice (without waiting for the peer's) and frees the
    // connection and the context.
    void shutdown();

    // POLLIN or POLLOUT after a read, write or handshake step that needs the
    // peer; 0 otherwise.
    short wanted() const { return want; }

private:
    void makeContext();
    void handshake(SSLClientSocket& socket);
    String targetHost(SSLClientSocket& socket);
    void nameTarget(const String& host);
    void checkPeer(const String& host);
    void checkHostName(const String& host);
    // Records what SSL_get_error says the last call needs; true when it
    // needs the peer.
    bool noteWant(int error);

    SSL_CTX* ctx;
    SSL* ssl;
    X509* peerCert;
    long verifyResult;
    int fd;
    short want;
    String peerName;
};

#endif
