#include "client/ZRUploaderClient.h"

#include <climits>
#include <memory>

#include "Exception.h"
#include "client/ZRConnection.h"
#include "client/ZRResponseBody.h"
#include "io/AtomicFile.h"
#include "net/HttpConnection.h"
#include "net/HttpRequest.h"
#include "net/HttpResponse.h"
#include "net/URL.h"
#include "store/ZRNetConfig.h"
#include "util/Log.h"

namespace {

const char kVersionHeader[] = "X-ZR-Upload-Protocol-Version";
const char kSerialHeader[] = "X-ZR-Serial-No";
const char kDateHeader[] = "X-ZR-Date";
const char kVirusNameHeader[] = "X-ZR-Virus-Name";
const char kMD5Header[] = "X-ZR-MD5";
const int kDefaultTimeoutMs = 180000;

void logDebug(const String& message) { Log::getLog()->log(message, Log::LEVEL_DEBUG); }
void logInfo(const String& message) { Log::getFileLog()->log(message, Log::LEVEL_INFO); }

bool isHttp(const NetSettings& settings) { return settings.type.equalsIgnoreCase("http"); }

// The request every exchange starts from: the default headers, then the
// protocol version and the serial number.
HttpRequest uploadRequest(const String& method, const String& serialNo) {
    HttpRequest request;
    request.setMethod(method);
    request.getHeader().add(kVersionHeader, "1.0");
    request.getHeader().add(kSerialHeader, serialNo);
    return request;
}

// The body of a 200 answer, up to the Content-Length when the answer gives
// one, else to the end of the stream. It is read whole into memory (the
// service's answers are small documents; a String holds at most INT_MAX
// bytes) so that the file is replaced at once: a broken transfer leaves the
// previous file, never a truncated one.
void storeBody(HttpResponse& response, const String& outFile) {
    if (response.getInputStream() == nullptr) return;
    String body = readResponseBody(response, INT_MAX);
    AtomicFile::replace(outFile, body.c_str(), body.length());
}

}  // namespace

ZRUploaderClient::ZRUploaderClient(const String& serialNo) : serialNo(serialNo) {}

ZRUploaderClient::~ZRUploaderClient() {}

int ZRUploaderClient::getConfig(const String& date, const String& outFile) {
    HttpRequest request = uploadRequest("GET", serialNo);
    request.getHeader().add(kDateHeader, date);
    return send("/zr-upload-config", request, outFile);
}

int ZRUploaderClient::sendRequest(const String& requestFile, const String& outFile) {
    HttpRequest request = uploadRequest("POST", serialNo);
    request.setPostFile(requestFile);
    return send("/zr-upload-request", request, outFile);
}

int ZRUploaderClient::sendSample(const SampleInfo& info, const String& sampleFile) {
    HttpRequest request = uploadRequest("POST", serialNo);
    request.getHeader().add(kDateHeader, info.date);
    request.getHeader().add(kVirusNameHeader, info.virusName);
    request.getHeader().add(kMD5Header, info.md5);
    request.setPostFile(sampleFile);
    return send("/zr-upload-send", request, String());
}

int ZRUploaderClient::sendReport(const String& date, const String& reportFile) {
    HttpRequest request = uploadRequest("POST", serialNo);
    request.getHeader().add(kDateHeader, date);
    request.setPostFile(reportFile);
    return send("/zr-upload-report", request, String());
}

int ZRUploaderClient::send(const String& path, const HttpRequest& prepared, const String& outFile) {
    NetSettings settings;
    if (!ZRNetConfig::instance().getSettings(settings)) {
        logDebug("ZRUploader: read server settings failed");
        return -1;
    }
    if (settings.servers.size() == 0) {
        logDebug("ZRUploader: No server is available in server store");
        return -1;
    }
    bool http = isHttp(settings);
    for (int i = 0; i < settings.servers.size(); i++) {
        const String& host = settings.servers.elementAt(i).host;
        std::unique_ptr<HttpConnection> connection(createConnection(settings, !http, true, kDefaultTimeoutMs));
        logInfo("Connecting to " + host + (http ? "..." : " via secure connection..."));
        // The connection adds its own headers (Content-Length, Connection,
        // proxy credentials) to the request it sends; each server gets a
        // fresh copy so that the next one sees the same head, not doubled
        // lines.
        HttpRequest request(prepared);
        try {
            request.setURL(URL(String(http ? "http:" : "https:") + "//" + host + path));
            logDebug("ZRUploader Request: " + request.getURL().toString());
            HttpResponse response;
            if (!connection->send(request, response)) {
                logInfo("Connecting to " + host + " failed");
                continue;
            }
            logDebug(request.toString());
            logDebug(response.toString());
            if (response.getStatus() == 200 && !outFile.isEmpty()) storeBody(response, outFile);
            connection->close();
            return response.getStatus();
        } catch (Exception& e) {
            connection->close();
            logInfo("Connecting to " + host + " failed: " + e.getMessage());
        }
    }
    return -1;
}
