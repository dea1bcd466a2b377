#ifndef ZR_NET_SETTINGS_H
#define ZR_NET_SETTINGS_H

#include "String.h"
#include "Vector.h"
#include "store/ZRServer.h"

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

#endif
