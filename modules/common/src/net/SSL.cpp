#include "net/SSL.h"

#include <arpa/inet.h>
#include <errno.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <poll.h>

#include "SSLSettings.h"
#include "net/ClientSocket.h"
#include "net/Deadline.h"
#include "net/SSLClientSocket.h"
#include "util/Log.h"

namespace {
const char* const kUnit = "net/SSL";
bool libraryReady = false;

[[noreturn]] void fail(const String& message, int line) {
    zrThrow<SSLException>(message, kUnit, line);
}
#define SSL_FAIL(message) fail((message), __LINE__)

void debug(const String& line) {
    Log::getLog()->log(line, Log::LEVEL_DEBUG);
}

// The text of the oldest error in OpenSSL's queue.
String errorText() {
    char text[256];
    ERR_error_string_n(ERR_get_error(), text, sizeof text);
    return String(text);
}

// Verification runs to the end of the handshake whatever it finds, so that
// a refused certificate is reported below with its verification code
// instead of as a bare handshake failure; nothing is sent before that check.
int keepHandshaking(int, X509_STORE_CTX*) {
    return 1;
}

// Frees the peer certificate on every way out of the checks.
struct PeerCertificate {
    X509*& cert;
    ~PeerCertificate() {
        X509_free(cert);
        cert = nullptr;
    }
};
}  // namespace

SSLSettings& sslSettings() {
    static SSLSettings settings;
    return settings;
}

SSLClient::SSLClient()
    : ctx(nullptr), ssl(nullptr), peerCert(nullptr), verifyResult(0), fd(-1), want(0) {}

SSLClient::~SSLClient() {
    shutdown();
}

// OpenSSL 3 loads its error strings and algorithms through one call, and
// the separate calls of older releases no longer exist.
void SSLClient::initLibrary() {
    if (libraryReady) return;
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
    libraryReady = true;
}

// OPENSSL_cleanup stands for the freeing of error strings and algorithm
// tables that OpenSSL 3 no longer offers one by one. The library cannot be
// set up again in the same process afterwards.
void SSLClient::cleanupLibrary() {
    if (!libraryReady) return;
    OPENSSL_cleanup();
    libraryReady = false;
}

// OpenSSL 3 packs its version number differently from older releases
// (major, minor, patch as 0xMNN00PP0), so the parts are asked for by name.
String SSLClient::getVersionString() {
    String text(" OpenSSL/");
    text.append(OPENSSL_version_major()).append(".").append(OPENSSL_version_minor());
    text.append(".").append(OPENSSL_version_patch());
    return text;
}

void SSLClient::setVersion(int version) {
    sslSettings().version = version;
}
void SSLClient::setVerifyServer(bool on) {
    sslSettings().verifyServer = on;
}
void SSLClient::setHostCheck(int level) {
    sslSettings().hostCheck = level;
}
void SSLClient::setCipherList(const String& list) {
    sslSettings().cipherList = list;
}
void SSLClient::setKeyPassword(const String& password) {
    sslSettings().keyPassword = password;
}
void SSLClient::setTimeoutHandler(TimeoutHandler handler) {
    sslSettings().onTimeout = handler;
}

void SSLClient::setCertificate(const String& file, const String& type) {
    sslSettings().certFile = file;
    sslSettings().certType = type;
}

void SSLClient::setPrivateKey(const String& file, const String& type) {
    sslSettings().keyFile = file;
    sslSettings().keyType = type;
}

void SSLClient::setVerifyLocations(const String& caPath, const String& caFile) {
    sslSettings().caPath = caPath;
    sslSettings().caFile = caFile;
    sslSettings().verifyServer = true;
}

void SSLClient::timedOut() {
    if (sslSettings().onTimeout != nullptr) sslSettings().onTimeout();
}

bool SSLClient::isAddressLiteral(const String& host) {
    unsigned char address[sizeof(struct in6_addr)];
    return inet_pton(AF_INET, host.c_str(), address) == 1 ||
           inet_pton(AF_INET6, host.c_str(), address) == 1;
}

// OpenSSL's own name matching: an address against the certificate's IP
// names, a host name against its DNS names, "*" standing for one whole
// label. With `alternativeNamesOnly` a certificate without DNS names does
// not fall back to its common name.
bool SSLClient::certificateNames(X509* cert, const String& host, bool alternativeNamesOnly) {
    if (cert == nullptr || host.isEmpty()) return false;
    if (isAddressLiteral(host)) return X509_check_ip_asc(cert, host.c_str(), 0) == 1;
    unsigned int flags = X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS;
    if (alternativeNamesOnly) flags |= X509_CHECK_FLAG_NEVER_CHECK_SUBJECT;
    return X509_check_host(cert, host.c_str(), host.length(), flags, nullptr) == 1;
}

void SSLClient::setPeerName(const String& name) {
    peerName = name;
}

int SSLClient::connect(SSLClientSocket& socket) {
    shutdown();
    makeContext();
    ssl = SSL_new(ctx);
    if (ssl == nullptr) SSL_FAIL(String("SSL: ") + errorText());
    SSL_set_connect_state(ssl);
    fd = socket.getFd();
    SSL_set_fd(ssl, fd);
    String host = targetHost(socket);
    nameTarget(host);
    handshake(socket);
    checkPeer(host);
    return 0;
}

// The name the certificate must carry: the one the connection was made for
// (through a proxy the socket's peer is the proxy), else the host connected
// to.
String SSLClient::targetHost(SSLClientSocket& socket) {
    if (!peerName.isEmpty()) return peerName;
    InetAddress* address = socket.getInetAddress();
    return address != nullptr ? address->getHostName() : String();
}

// Sends the host name to the server (which may serve several names on one
// address; an address is never sent as a name), and with verification has
// the chain check require it too.
void SSLClient::nameTarget(const String& host) {
    bool address = isAddressLiteral(host);
    if (!host.isEmpty() && !address && SSL_set_tlsext_host_name(ssl, host.c_str()) != 1) {
        SSL_FAIL(String("SSL: ") + errorText());
    }
    if (!sslSettings().verifyServer || host.isEmpty()) return;
    X509_VERIFY_PARAM* param = SSL_get0_param(ssl);
    X509_VERIFY_PARAM_set_hostflags(
        param, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    int named = address ? X509_VERIFY_PARAM_set1_ip_asc(param, host.c_str())
                        : X509_VERIFY_PARAM_set1_host(param, host.c_str(), 0);
    if (named != 1) SSL_FAIL(String("SSL: ") + errorText());
}

// The protocol methods of older releases are all one flexible method in
// OpenSSL 3: version 1 pins it to TLS 1.0; SSL 2 and SSL 3 no longer exist,
// so those settings get the flexible method like any other value.
void SSLClient::makeContext() {
    const SSLSettings& s = sslSettings();
    ctx = SSL_CTX_new(TLS_client_method());
    if (ctx == nullptr) SSL_FAIL("SSL: couldn't create a SSL context!");
    if (s.version == 1) {
        SSL_CTX_set_min_proto_version(ctx, TLS1_VERSION);
        SSL_CTX_set_max_proto_version(ctx, TLS1_VERSION);
    }
    if (!s.certFile.isEmpty() && !loadClientCertificate(ctx, s))
        SSL_FAIL("SSL: load client certificate failed");
    if (!s.cipherList.isEmpty() && SSL_CTX_set_cipher_list(ctx, s.cipherList.c_str()) != 1) {
        SSL_FAIL("SSL: failed setting cipher list");
    }
    if (!s.verifyServer) {
        SSL_CTX_set_verify(ctx, SSL_VERIFY_NONE, nullptr);
        return;
    }
    debug("Enable Server Verify");
    SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER, keepHandshaking);
    if (s.caFile.isEmpty() && s.caPath.isEmpty()) return;
    if (SSL_CTX_load_verify_locations(ctx, s.caFile.isEmpty() ? nullptr : s.caFile.c_str(),
                                      s.caPath.isEmpty() ? nullptr : s.caPath.c_str()) != 1) {
        SSL_FAIL(String("SSL: invalid certificate verify locations: ") + s.caPath + ", " +
                 s.caFile);
    }
}

// The handshake on the non-blocking socket: each step that needs the peer
// waits with poll() for what OpenSSL asked for. With a time-out of a second
// or more the whole handshake must end within its whole seconds, and passing
// that ends the program through the time-out handler; a shorter time-out
// bounds the handshake by that many milliseconds (180 s when below 1).
void SSLClient::handshake(SSLClientSocket& socket) {
    int guard = socket.operationLimit();
    int limit = guard >= 0 ? guard : (socket.getTimeout() < 1 ? 180000 : socket.getTimeout());
    Deadline deadline(limit);
    while (true) {
        ERR_clear_error();
        int result = SSL_connect(ssl);
        if (result == 1) return;
        if (!noteWant(SSL_get_error(ssl, result))) SSL_FAIL(String("SSL: ") + errorText());
        int ready = socket.waitFor(want, deadline.remaining());
        if (ready > 0 || (ready < 0 && errno == EINTR)) continue;
        if (ready == 0) {
            if (guard >= 0) timedOut();
            SSL_FAIL("EC_CONNECT_TIMEOUT: SSL: connection timeout");
        }
        // A failed wait ends the handshake where it is; the checks that
        // follow then fail on what it reached.
        want = 0;
        return;
    }
}

void SSLClient::checkPeer(const String& host) {
    peerCert = SSL_get1_peer_certificate(ssl);
    if (peerCert == nullptr) SSL_FAIL("SSL: couldn't get peer certificate!");
    PeerCertificate release{peerCert};

    char name[1024];
    if (X509_NAME_oneline(X509_get_subject_name(peerCert), name, sizeof name) == nullptr) {
        SSL_FAIL("SSL: couldn't get X509-subject!");
    }
    debug("Server certificate!");
    debug(String("\t subject: ") + name);
    checkHostName(host);
    if (X509_NAME_oneline(X509_get_issuer_name(peerCert), name, sizeof name) == nullptr) {
        SSL_FAIL("SSL: couldn't get X509-issuer name!");
    }
    verifyResult = 0;
    if (sslSettings().verifyServer) {
        verifyResult = SSL_get_verify_result(ssl);
        if (verifyResult != X509_V_OK)
            SSL_FAIL(String("SSL: certificate verify failed: ") + String().append(verifyResult));
    }
}

// A verified server must be the one asked for: whenever verification is on
// the certificate has to name the target in its alternative names, and a
// mismatch is fatal whatever the host-check level. Without verification the
// level decides, and a certificate without alternative names may name the
// host in its common name.
void SSLClient::checkHostName(const String& host) {
    const SSLSettings& s = sslSettings();
    if (!s.verifyServer && s.hostCheck == 0) return;
    if (certificateNames(peerCert, host, s.verifyServer)) return;
    char cn[257] = "";
    if (X509_NAME_get_text_by_NID(X509_get_subject_name(peerCert), NID_commonName, cn, sizeof cn) <
        0) {
        if (!s.verifyServer) SSL_FAIL("SSL: unable to obtain common name from peer certificate");
    }
    if (s.verifyServer || s.hostCheck == 2) {
        SSL_FAIL(String("SSL: certificate subject name '") + cn +
                 "' does not match target host name '" + host + "'");
    }
}

bool SSLClient::noteWant(int error) {
    want = error == SSL_ERROR_WANT_READ ? POLLIN : error == SSL_ERROR_WANT_WRITE ? POLLOUT : 0;
    return want != 0;
}

int SSLClient::read(char* buf, int len) {
    want = 0;
    if (ssl == nullptr) return -1;
    ERR_clear_error();
    int got = SSL_read(ssl, buf, len);
    int savedErrno = errno;
    if (got > 0) return got;
    int error = SSL_get_error(ssl, got);
    if (noteWant(error)) return -1;
    if (error == SSL_ERROR_ZERO_RETURN) {
        debug("SSL: read failed: the connection was shut down by peer cleanly");
        return 0;
    }
    // A peer that just closes the connection without the TLS close notice
    // ends the stream too; OpenSSL 3 reports that as a system error without
    // an errno or as an error of its own.
    bool cutOff = error == SSL_ERROR_SYSCALL && savedErrno == 0 && ERR_peek_error() == 0;
    if (got == 0 || cutOff ||
        ERR_GET_REASON(ERR_peek_error()) == SSL_R_UNEXPECTED_EOF_WHILE_READING) {
        debug(String("SSL: read failed: ") + errorText());
        return 0;
    }
    if (error == SSL_ERROR_NONE) return got;
    String message("EC_READ_FAILED: SSL read failed: ");
    message.append(errorText()).append(" errno ").append(savedErrno);
    zrThrow<IOException>(message, kUnit, __LINE__);
}

int SSLClient::write(const char* buf, int len) {
    want = 0;
    if (ssl == nullptr) return -1;
    ERR_clear_error();
    int sent = SSL_write(ssl, buf, len);
    int savedErrno = errno;
    if (sent >= 0) return sent;
    int error = SSL_get_error(ssl, sent);
    if (noteWant(error)) return 0;
    String message;
    if (error == SSL_ERROR_SYSCALL) {
        message.append("EC_WRITE_FAILED: SSL write failed in SYSCALL, errno = ").append(savedErrno);
    } else {
        message.append("EC_WRITE_FAILED: SSL write failed, error = ").append(error);
    }
    SSL_FAIL(message);
}

// ERR_clear_error stands for ERR_remove_state, which OpenSSL 3 no longer
// has (it frees each thread's error state itself): what is left of its job
// is not to leave errors behind for the next connection.
void SSLClient::shutdown() {
    ERR_clear_error();
    if (ssl != nullptr) {
        SSL_shutdown(ssl);
        SSL_free(ssl);
        ssl = nullptr;
    }
    if (ctx != nullptr) {
        SSL_CTX_free(ctx);
        ctx = nullptr;
    }
    ERR_clear_error();
    want = 0;
}
