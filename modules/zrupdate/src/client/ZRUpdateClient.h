#ifndef ZR_UPDATE_CLIENT_H
#define ZR_UPDATE_CLIENT_H

#include "String.h"
#include "Vector.h"
#include "ZRObject.h"
#include "store/NetSettings.h"
#include "store/ZRPackageInfo.h"
#include "store/ZRServer.h"

class HttpConnection;
class HttpRequest;
class ZRPackageCheck;
class NetSettings;
class OutputStream;
class ZRDownloadFolder;

// The client side of the update protocol. One object serves one update run
// or one ping: it posts the inventory to the update servers in turn,
// interprets the answer (nothing to do, packages offered, or a redirect to
// other servers) and downloads and checks the offered packages into the work
// directory, resuming an interrupted download where it can.
//
// Failures are reported through the log (a message line, then a line with an
// "EC_ZRUPDATE_..." code) and through the results; nothing is thrown.
class ZRUpdateClient : public ZRObject {
public:
    // Answer codes of the update protocol.
    static const int RESULT_UP_TO_DATE = 200;
    static const int RESULT_PACKAGES = 201;
    static const int RESULT_REDIRECT_SAVE = 210;
    static const int RESULT_REDIRECT = 211;
    static const int RESULT_SERVER_ERROR = 500;
    // Redirect answers followed in one update before giving up: a server
    // that keeps redirecting must not keep the run in a loop.
    static const int MAX_REDIRECTS = 10;

    // Work directory from the build's paths, status 200, no servers.
    ZRUpdateClient();
    ~ZRUpdateClient() override;
    ZRUpdateClient(const ZRUpdateClient&) = delete;
    ZRUpdateClient& operator=(const ZRUpdateClient&) = delete;

    // 0 when `path` names an existing directory (then the work directory),
    // else -1 and the work directory is kept.
    int setWorkDir(const String& path);
    const String& getWorkDir() const { return workDir; }

    // The whole exchange for product `id` (0: all products, 1000: the
    // updater itself); `httpDownload` 1 downloads over plain HTTP with a
    // session id. -1 on failure, 0 when there is nothing to download, else
    // the number of packages downloaded and verified.
    int update(long id, int httpDownload);
    // One update request, tried server by server; true with the answer body
    // in `response`.
    bool sendUpdateRequest(long id, String& response);
    // Interprets an answer: the protocol result code, or -1.
    int processResponse(const String& response);
    // A new connection configured from the network settings, owned by the
    // caller; null when the settings cannot be read. Mode 0 follows the
    // settings, 1 forces plain HTTP, 2 follows the download protocol flag.
    HttpConnection* createConnection(int mode);

    // Downloads every offered package; the number downloaded and verified.
    int downloadPackages();
    // One package file into `localFile`; `name` is used in messages.
    bool downloadFile(long productId, const String& name, const String& url,
                      const String& localFile, long size);
    // The same, feeding every byte of the file (a part kept from an earlier
    // run included) to `check`, which is restarted first.
    bool downloadFile(long productId, const String& name, const String& url,
                      const String& localFile, long size, ZRPackageCheck& check);
    // Product id, version text and serial number sent with a download; a
    // product without a serial number borrows those of its first parent
    // that has one.
    bool getProductHeaders(long& productId, String& version, String& serialNo);
    // Appends the MD5 digest of the file (32 upper-case hexadecimal digits)
    // to `digest`; false when the file cannot be read.
    bool md5File(const char* path, String& digest);

    // The ping command: 0 when a server answered, -2 without usable
    // settings or servers, -28 when no server could be reached.
    int ping();

    int getLastStatus() const { return lastStatus; }
    const Vector<ZRPackageInfo>& getPackages() const { return packages; }
    Vector<ZRPackageInfo>& getPackages() { return packages; }
    // The packages as a package list document.
    void writePackages(OutputStream& out);

private:
    // The servers to try: those of the last redirect, else the configured.
    const Vector<ZRServer>& serverList(const NetSettings& settings) const;
    // "http://host" or "https://host" by the settings' type, with the
    // connecting line in the log.
    String serverBase(const NetSettings& settings, const String& host) const;
    // Reads the session id for `url` from one server; 1 with the id, 0 to
    // try the next server, -1 after an exception (give up the package).
    int fetchSessionId(const NetSettings& settings, const String& host, const String& url,
                       String& sessionId);
    bool saveRedirectServers();
    // Makes the package's folder, downloads the package into it and checks
    // its digest; true when it is ready for installation.
    bool fetchPackage(ZRPackageInfo& package, const ZRDownloadFolder& folder,
                      ZRPackageCheck& check);
    // The download request of `url` from `host`: its URL and the session,
    // MAC and product headers (no Range).
    void buildDownloadRequest(HttpRequest& request, const NetSettings& settings, const String& host,
                              long productId, const String& url, const String& sessionId);
    // Whether one of the first `before` packages was made ready in `path`.
    bool holdsReadyPackage(const String& path, int before) const;

    String workDir;
    Vector<ZRServer> servers;
    Vector<ZRPackageInfo> packages;
    int lastStatus;
    int httpDownload;
};

#endif
