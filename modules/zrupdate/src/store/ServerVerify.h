#ifndef ZR_SERVER_VERIFY_H
#define ZR_SERVER_VERIFY_H

#include "String.h"

// The server certificate used to verify TLS peers: the file `certFile`,
// optionally relative to `certDir`.
class ServerVerify {
public:
    String certDir;
    String certFile;

    ServerVerify();
};

#endif
