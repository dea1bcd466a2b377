#ifndef ZR_NET_URL_H
#define ZR_NET_URL_H

#include "String.h"
#include "ZRObject.h"

// An absolute URL split into protocol, optional user information, host, port
// and file (path with any query). Parsing lower-cases protocol and host,
// fills in the protocol's default port and collapses runs of "/" in the file;
// nothing is decoded.
class URL : public ZRObject {
public:
    // Empty, port -1 (not valid).
    URL();
    // Throws Exception "Malformed URL" on a syntax error (a port above
    // 65535 included).
    explicit URL(const String& spec);
    // The parts as given (no case change), no user information.
    URL(const String& protocol, const String& host, int port, const String& file);
    URL(const String& protocol, const String& host, const String& file);
    URL(const URL& other) = default;
    URL& operator=(const URL& other) = default;
    ~URL() override;

    // 80 for http, 443 for https, 21 for ftp (any case); -1 otherwise.
    static int getDefaultPort(const String& protocol);

    const String& getProtocol() const { return protocol; }
    const String& getHost() const { return host; }
    int getPort() const { return port; }
    String getFile() const { return file; }
    const String& getUserName() const { return userName; }
    const String& getPassword() const { return password; }
    // Protocol and host are both non-empty.
    bool isValid() const;
    // Protocol and host ignoring case, port and file exactly; user
    // information ignored.
    bool equals(const URL& other) const;
    // protocol://[user:password@]host[:port]file; the port is written
    // whenever it is known, so a parsed http URL always shows ":80".
    String toString() const override;

private:
    void parse(const String& spec);

    String protocol;
    String host;
    int port;
    String file;
    String userName;
    String password;
};

#endif
