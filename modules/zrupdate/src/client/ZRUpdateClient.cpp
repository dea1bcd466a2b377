#include "client/ZRUpdateClient.h"

#include <memory>

#include "Exception.h"
#include "ZRPaths.h"
#include "client/ZRClientLog.h"
#include "client/ZRConnection.h"
#include "client/ZRResponseBody.h"
#include "client/ZRStatusScript.h"
#include "io/File.h"
#include "net/HttpConnection.h"
#include "net/HttpRequest.h"
#include "net/HttpResponse.h"
#include "net/URL.h"
#include "store/ZRNetConfig.h"
#include "store/ZRUpdateParser.h"
#include "store/ZRUpdateStore.h"

namespace {

// The longest update answer read: far above any real package list, it keeps
// a server that sends without end from filling the memory.
const long kMaxAnswer = 16L * 1024 * 1024;
const int kDefaultTimeoutMs = 120000;

bool isHttp(const NetSettings& settings) {
    return settings.type.equalsIgnoreCase("http");
}

bool usesProxy(const NetSettings& settings) {
    return settings.isUsingProxy.equalsIgnoreCase("1");
}

}  // namespace

ZRUpdateClient::ZRUpdateClient()
    : workDir(ZRPaths::WORK_DIR),
      servers(0, 20),
      packages(0, 20),
      lastStatus(200),
      httpDownload(0) {}

ZRUpdateClient::~ZRUpdateClient() {}

int ZRUpdateClient::setWorkDir(const String& path) {
    if (path.isEmpty() || !File(path).isDirectory()) return -1;
    workDir = path;
    return 0;
}

const Vector<ZRServer>& ZRUpdateClient::serverList(const NetSettings& settings) const {
    return servers.size() > 0 ? servers : settings.servers;
}

String ZRUpdateClient::serverBase(const NetSettings& settings, const String& host) const {
    if (isHttp(settings)) {
        ZRClientLog::info("Connecting to " + host + "...");
        return "http://" + host;
    }
    ZRClientLog::info("Connecting to " + host + " via secure connection...");
    return "https://" + host;
}

int ZRUpdateClient::update(long id, int download) {
    servers.clear();
    packages.clear();
    httpDownload = download;
    for (int redirects = 0;; redirects++) {
        String response;
        if (!sendUpdateRequest(id, response)) return -1;
        int code = processResponse(response);
        if (code == RESULT_PACKAGES) break;
        if (code != RESULT_REDIRECT_SAVE && code != RESULT_REDIRECT) {
            ZRClientLog::info(id == ZRUpdateStore::UPDATER_PRODUCT_ID
                                  ? "Orvanta ZRUpdate is up-to-date"
                                  : "Orvanta products and components are up-to-date");
            return 0;
        }
        // Each redirect is followed, but a chain of them is cut off: servers
        // redirecting to each other (or to themselves) would otherwise keep
        // the run going for ever.
        if (redirects >= MAX_REDIRECTS) {
            ZRClientLog::failure(String("ZRUpdate: stopped after ")
                                     .append(MAX_REDIRECTS)
                                     .append(" redirects: the update servers keep redirecting"),
                                 "EC_ZRUPDATE_UPDATE_ERROR");
            return -1;
        }
        ZRClientLog::info("Redirect to new update server");
    }
    int n = downloadPackages();
    return n > 0 ? n : -1;
}

bool ZRUpdateClient::sendUpdateRequest(long id, String& response) {
    ZRStatusScript::request(id);
    NetSettings settings;
    if (!ZRNetConfig::instance().getSettings(settings)) {
        ZRClientLog::failure("ZRUpdate: read server settings failed", "EC_ZRUPDATE_BAD_CONFIG");
        return false;
    }
    const Vector<ZRServer> list(serverList(settings));
    if (list.size() == 0) {
        ZRClientLog::failure("ZRUpdate: No update server is available in update store",
                             "EC_ZRUPDATE_BAD_CONFIG");
        return false;
    }
    bool selfUpdate = id == ZRUpdateStore::UPDATER_PRODUCT_ID;
    for (int i = 0; i < list.size(); i++) {
        const String& host = list.elementAt(i).host;
        std::unique_ptr<HttpConnection> connection(createConnection(0));
        if (!connection) {
            ZRClientLog::failure("ZRUpdate: read server settings failed", "EC_ZRUPDATE_BAD_CONFIG");
            return false;
        }
        String target =
            serverBase(settings, host) + (selfUpdate ? "/zr-self-update" : "/zr-update");
        HttpRequest request;
        HttpHeader& header = request.getHeader();
        header.add(
            selfUpdate ? "X-ZR-Self-Update-Protocol-Version" : "X-ZR-Update-Protocol-Version",
            "1.0");
        header.add("X-ZR-Update-MAC", settings.mac);
        try {
            request.setURL(URL(target));
            String document;
            if (!ZRUpdateStore::instance().buildRequest(id, document)) {
                ZRClientLog::failure("Cannot obtain product data for request",
                                     "EC_ZRUPDATE_BAD_CONFIG");
                return false;
            }
            request.setMethod("POST");
            header.add("X-ZR-Content-Compression", "deflate");
            request.setPostData(document);
            ZRClientLog::debug("Update Request: ");
            ZRClientLog::debug(document);
            HttpResponse answer;
            if (!connection->send(request, answer)) {
                ZRClientLog::failure("Connecting to " + host + " failed",
                                     "EC_ZRUPDATE_CONNECT_ERROR");
                continue;
            }
            ZRClientLog::debug(request.toString());
            ZRClientLog::debug(answer.toString());
            ZRClientLog::info("Processing update list");
            lastStatus = answer.getStatus();
            if (lastStatus != 200) {
                ZRClientLog::failure(String("ZRUpdate: http response: ").append(lastStatus),
                                     "EC_ZRUPDATE_UPDATE_ERROR");
                continue;
            }
            response = readResponseBody(answer, kMaxAnswer);
            if (response.isEmpty()) {
                ZRClientLog::failure("ZRUpdate: no data is available in response",
                                     "EC_ZRUPDATE_CONNECT_ERROR");
                continue;
            }
            ZRClientLog::debug("Update response:");
            ZRClientLog::debug(response);
            connection->close();
            return true;
        } catch (Exception& e) {
            connection->close();
            ZRClientLog::failure("Connecting to " + host + " failed: " + e.getMessage(),
                                 "EC_ZRUPDATE_CONNECT_ERROR");
        }
    }
    return false;
}

int ZRUpdateClient::processResponse(const String& response) {
    try {
        ZRUpdateParser parser;
        if (!parser.parse(response)) {
            ZRClientLog::debug("ZRUpdate: invalid update response format: " + response);
            return -1;
        }
        String root = parser.getRootName();
        if (!root.equalsIgnoreCase("ZRSelfUpdateResponse") &&
            !root.equalsIgnoreCase("ZRUpdateResponse")) {
            ZRClientLog::debug("ZRUpdate: Unknown update response type: " + root);
            return -1;
        }
        int code = parser.getResultCode();
        if (code < 0) {
            ZRClientLog::debug("ZRUpdate: no result code available in response");
            return -1;
        }
        switch (code) {
            case RESULT_UP_TO_DATE:
            case RESULT_SERVER_ERROR:
                return code;
            case RESULT_PACKAGES:
                parser.getOfferedPackages(packages);
                return code;
            case RESULT_REDIRECT_SAVE:
                parser.getServerList(servers);
                saveRedirectServers();
                return code;
            case RESULT_REDIRECT:
                parser.getServerList(servers);
                return code;
            default:
                return -1;
        }
    } catch (Exception& e) {
        // A number in the answer that does not parse.
        ZRClientLog::debug("ZRUpdate: invalid update response format: " + e.getMessage());
        packages.clear();
        servers.clear();
        return -1;
    }
}

// The servers of a lasting redirect go in front of the configured ones (the
// last new one foremost); hosts already configured, in any letter case, are
// not added twice.
bool ZRUpdateClient::saveRedirectServers() {
    ZRNetConfig& config = ZRNetConfig::instance();
    NetSettings settings;
    if (!config.getSettings(settings)) return false;
    for (int i = 0; i < servers.size(); i++) {
        const String& host = servers.elementAt(i).host;
        bool known = false;
        for (int k = 0; k < settings.servers.size() && !known; k++) {
            known = settings.servers.elementAt(k).host.equalsIgnoreCase(host);
        }
        if (!known) settings.servers.insertAt(servers.elementAt(i), 0);
    }
    return config.setSettings(settings);
}

HttpConnection* ZRUpdateClient::createConnection(int mode) {
    NetSettings settings;
    if (!ZRNetConfig::instance().getSettings(settings)) return nullptr;
    bool plain = isHttp(settings) || mode == 1 || (mode == 2 && httpDownload == 1);
    bool verify =
        (settings.type.equalsIgnoreCase("https") && mode == 0) || (mode == 2 && httpDownload == 0);
    return ::createConnection(settings, !plain, verify, kDefaultTimeoutMs);
}

void ZRUpdateClient::writePackages(OutputStream& out) {
    writePackageList(out, packages);
}

int ZRUpdateClient::ping() {
    NetSettings settings;
    if (!ZRNetConfig::instance().getSettings(settings)) {
        ZRClientLog::debug("ZRUpdate: read server settings failed");
        return -2;
    }
    const Vector<ZRServer> list(serverList(settings));
    if (list.size() == 0) {
        ZRClientLog::debug("ZRUpdate: No update server is available in update store");
        return -2;
    }
    for (int i = 0; i < list.size(); i++) {
        const String& host = list.elementAt(i).host;
        std::unique_ptr<HttpConnection> connection(createConnection(0));
        if (!connection) return -2;
        try {
            HttpRequest request;
            request.setURL(URL(serverBase(settings, host) + "/control?act=ping"));
            request.getHeader().add("X-ZR-Content-Compression", "deflate");
            request.getHeader().add("X-ZR-Update-MAC", settings.mac);
            HttpResponse answer;
            if (!connection->send(request, answer)) {
                ZRClientLog::info("Connecting to " + host + " failed");
                continue;
            }
            ZRClientLog::debug(request.toString());
            ZRClientLog::debug(answer.toString());
            readResponseBody(answer, kMaxAnswer);
            connection->close();
            return 0;
        } catch (Exception& e) {
            connection->close();
            ZRClientLog::socketFailure(e, usesProxy(settings));
            return -28;
        }
    }
    return -28;
}
