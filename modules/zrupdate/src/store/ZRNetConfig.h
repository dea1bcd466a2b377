#ifndef ZR_NET_CONFIG_H
#define ZR_NET_CONFIG_H

#include "String.h"
#include "ZRObject.h"
#include "store/NetSettings.h"
#include "store/ServerVerify.h"
#include "store/ZRStoreDocument.h"

// The network settings of the updater, kept as an XML document
// ("conf/zr-network", or "conf/zr-module-network" in module mode): the
// current and saved server lists, http or https, the proxy with its
// credentials, the web-authentication user, the timeout, the MAC address to
// announce and the server certificate.
//
// Credentials are stored Base64-encoded, not encrypted: anyone who can read
// the file can recover them.
//
// Every change rewrites the whole file atomically (temporary file and
// rename) and parses it again. A failed write leaves the previous file,
// reads it back into memory, logs "ZRUpdate: store network settings failed: "
// with the reason and reports false.
class ZRNetConfig : public ZRStoreDocument {
public:
    // The update server named by the default document.
    static constexpr const char* DEFAULT_SERVER_HOST = "update.orvanta.com";
    // The connection timeout of the default document, in seconds.
    static constexpr int DEFAULT_TIMEOUT = 180;

    ZRNetConfig();
    virtual ~ZRNetConfig();

    // The process-wide network settings.
    static ZRNetConfig& instance();

    // load, isValid, getPath and save: see ZRStoreDocument.

    // False when nothing is loaded or there is no ServerList element.
    bool getSettings(NetSettings& out);
    // False, writing nothing, when `in.servers` is empty, nothing is loaded
    // or there is no ServerList element; otherwise the result of the save.
    bool setSettings(const NetSettings& in);

    // The certificate file named by the "ssl.server.cert" parameter, when
    // that file exists.
    bool getServerVerify(ServerVerify& out);
    // Records certDir (or ".") + "/" + certFile when that file exists.
    bool setServerVerify(const ServerVerify& in);

private:
    ZRNetConfig(const ZRNetConfig&) = delete;
    ZRNetConfig& operator=(const ZRNetConfig&) = delete;
};

// The default network document in text form: root ZRNetClientSettings, a
// ServerList with type "https", empty mac, proxy, proxyuser and user,
// timeout "180", and one Server with the default update server host.
String defaultNetworkText();
// The same with a ServerVerify parameter "ssl.server.cert" naming `caBundle`
// when that is not empty, so that the servers are verified against it.
String defaultNetworkText(const String& caBundle);

// Writes the default network document to `path` (atomically). 0 on success,
// -1 when it cannot be written (the reason is logged). The form without a
// path writes the standard file under the home directory.
int createDefaultNetwork(const char* path);
int createDefaultNetwork();
// The default document verifying servers against `caBundle` (see above).
int createDefaultNetwork(const char* path, const String& caBundle);

#endif
