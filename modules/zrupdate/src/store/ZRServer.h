#ifndef ZR_SERVER_H
#define ZR_SERVER_H

#include "String.h"
#include "Vector.h"

// One update server, known by its host name (a host, or host:port, exactly
// as the network settings hold it).
class ZRServer {
  public:
    String host;

    ZRServer();
    explicit ZRServer(const String& host);
};

// How the updater reaches its update servers.
class NetSettings {
  public:
    String type;          // "http" or "https"
    String mac;           // host MAC address announced to the server
    String isUsingProxy;  // "1" or "0"
    String proxyserver;   // proxy host
    int proxyport;        // proxy port, 0 when none
    String proxyuser;
    String proxypass;
    String user;                    // web-authentication user
    String password;                // web-authentication password
    int timeout;                    // connection timeout in seconds, -1 when not set
    Vector<ZRServer> servers;       // current server list, in file order
    Vector<ZRServer> savedServers;  // saved server list

    // Empty strings, proxyport 0, timeout -1, empty lists.
    NetSettings();
};

// The server certificate used to verify TLS peers: the file `certFile`,
// optionally relative to `certDir`.
class ServerVerify {
  public:
    String certDir;
    String certFile;

    ServerVerify();
};

#endif
