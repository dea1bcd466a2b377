#ifndef ZR_SERVER_H
#define ZR_SERVER_H

#include "String.h"

// One update server, known by its host name (a host, or host:port, exactly
// as the network settings hold it).
class ZRServer {
public:
    String host;

    ZRServer();
    explicit ZRServer(const String& host);
};

#endif
