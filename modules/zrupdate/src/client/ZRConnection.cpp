#include "client/ZRConnection.h"

#include <climits>

#include "net/HttpConnection.h"
#include "net/HttpsConnection.h"
#include "store/ZRNetConfig.h"

HttpConnection* createConnection(const NetSettings& settings, bool secure, bool verify,
                                 int defaultTimeoutMs) {
    HttpsConnection* tls = secure ? new HttpsConnection() : nullptr;
    HttpConnection* connection = secure ? tls : new HttpConnection();
    if (settings.isUsingProxy.equalsIgnoreCase("1")) {
        if (!settings.proxyserver.isEmpty())
            connection->setProxy(settings.proxyserver, settings.proxyport);
        if (!settings.proxyuser.isEmpty())
            connection->setProxyAuth(settings.proxyuser, settings.proxypass);
    }
    if (!settings.user.isEmpty()) connection->setWebAuth(settings.user, settings.password);
    int timeout = defaultTimeoutMs;
    if (settings.timeout >= 1)
        timeout = settings.timeout > INT_MAX / 1000 ? INT_MAX : settings.timeout * 1000;
    connection->setTimeout(timeout);
    ServerVerify certificate;
    if (tls != nullptr && verify && ZRNetConfig::instance().getServerVerify(certificate)) {
        tls->setVerifyLocations(certificate.certDir, certificate.certFile);
    }
    return connection;
}
