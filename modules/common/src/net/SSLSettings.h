#ifndef ZR_NET_SSL_SETTINGS_H
#define ZR_NET_SSL_SETTINGS_H

#include <openssl/types.h>

#include "String.h"
#include "net/SSL.h"

// The process-wide TLS settings that every SSLClient connects with; set
// through the static setters of SSLClient before connections are made.
struct SSLSettings {
    int version = 0;
    bool verifyServer = false;
    int hostCheck = 0;
    String caPath;
    String caFile;
    String cipherList;
    String certFile;
    String certType = "PEM";
    String keyFile;
    String keyType = "PEM";
    String keyPassword;
    SSLClient::TimeoutHandler onTimeout = nullptr;
};

SSLSettings& sslSettings();

// Loads the client certificate and key named in `settings` into `ctx`.
// False (the reason logged at the debug level) when they cannot be used.
bool loadClientCertificate(SSL_CTX* ctx, const SSLSettings& settings);

#endif
