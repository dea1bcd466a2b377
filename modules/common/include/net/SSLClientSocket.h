#ifndef ZR_NET_SSL_CLIENT_SOCKET_H
#define ZR_NET_SSL_CLIENT_SOCKET_H

#include "net/ClientSocket.h"

class Deadline;
class SSLClient;

// A client socket whose reads and writes go through TLS. open() is the
// plain TCP connect; startHandshake() then starts TLS on the connection.
//
// From the handshake on the descriptor is non-blocking and every wait is a
// poll() on it. With a time-out of a second or more each TLS operation
// (handshake, read, write) must end within the time-out's whole seconds;
// passing that runs the program's time-out handler (SSLClient), which ends
// the program, or without one throws the operation's time-out code. A
// shorter or no time-out sets no limit on reads and writes. The bound on the
// waits as a whole (limitWaits, requireRate) holds for TLS reads and writes
// as for plain ones.
class SSLClientSocket : public ClientSocket {
public:
    SSLClientSocket(const InetAddress& address, int port);
    explicit SSLClientSocket(const InetSocketAddress& address);
    SSLClientSocket(const char* host, int port);
    explicit SSLClientSocket(int fd);
    ~SSLClientSocket() override;

    // -1 for a null buffer or len < 1. First checks within the time-out
    // that the socket can take data ("EC_WRITE_TIMEOUT: SSLClintSocket:
    // ..." / "EC_WRITE_FAILED: SSLClintSocket: ..."), then one TLS write.
    int write(const char* buf, int len) override;
    // The same check (for writability too: a TLS read may have to send),
    // with the EC_READ_ codes, then one TLS read: bytes read, 0 at the end
    // of the stream. Bytes TLS has already decrypted come without a wait.
    int read(char* buf, int len) override;
    // When connected: the TLS close notice, then the plain close.
    void close() override;

    // -1 when not connected, else the handshake and peer checks (0, or
    // throws as SSLClient::connect does).
    int startHandshake();
    // -1 when caFile is null; otherwise sets the process-wide verification
    // locations (which turns verification on) and returns 0.
    int setVerifyLocations(const char* caPath, const char* caFile);
    // The host the server's certificate must name and that is sent to it as
    // the server name, when it differs from the host connected to (a proxy).
    void setPeerName(const String& name);

    // Milliseconds one TLS operation may take: the whole seconds of the
    // time-out, or -1 (no limit) when the time-out is below one second.
    int operationLimit() const;

private:
    friend class SSLClient;  // waits on the descriptor during the handshake

    // Throws `timeoutCode` / `failedCode` when the socket cannot take data
    // within the time-out; runs the time-out handler first when the bound
    // of the waits has passed.
    void checkWritable(const char* timeoutCode, const char* failedCode);
    // Waits for what the last TLS call needs from the peer, until `deadline`;
    // at the deadline runs the time-out handler, then throws `timeoutCode`.
    void awaitPeer(const Deadline& deadline, const char* timeoutCode, const char* failedCode);
    // One TLS read or write (`call`) after checkWritable, repeated after
    // each awaitPeer until it no longer needs the peer; its result.
    template <class Call>
    int transfer(Call call, const char* timeoutCode, const char* failedCode);

    SSLClient* client;
};

#endif
