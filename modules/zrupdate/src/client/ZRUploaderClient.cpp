#include "client/ZRUploaderClient.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <vector>

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
// Bytes that must move in each time-out while an upload goes on.
const int kMinimumRate = 1024;

void logDebug(const String& message) {
    Log::getLog()->log(message, Log::LEVEL_DEBUG);
}
void logInfo(const String& message) {
    Log::getFileLog()->log(message, Log::LEVEL_INFO);
}

bool isHttp(const NetSettings& settings) {
    return settings.type.equalsIgnoreCase("http");
}

// Why `path` cannot be sent as a body, or "" when it can: it must be a
// regular file this process may read. A FIFO is opened without waiting for a
// writer, and refused like any other file that is not regular.
String unsendableFile(const String& path) {
    String problem = "cannot read the input file " + path + ": ";
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return problem + std::strerror(errno);
    struct stat st;
    int statResult = ::fstat(fd, &st);
    int statError = errno;
    ::close(fd);
    if (statResult != 0) return problem + std::strerror(statError);
    if (S_ISDIR(st.st_mode)) return problem + "it is a folder";
    if (!S_ISREG(st.st_mode)) return problem + "it is not a regular file";
    return String();
}

// The body of a 200 answer, up to the Content-Length when the answer gives
// one, else to the end of the stream, byte for byte. It is read whole into
// memory (the service's answers are small; the file is written in one piece
// of at most INT_MAX bytes) so that the file is replaced at once: a broken
// transfer leaves the previous file, never a truncated one.
void storeBody(HttpResponse& response, const String& outFile) {
    if (response.getInputStream() == nullptr) return;
    std::vector<char> body = readResponseBytes(response, INT_MAX);
    AtomicFile::replace(outFile, body.data(), static_cast<int>(body.size()));
}

}  // namespace

// The request of one exchange, and the first reason its input cannot be
// sent. It starts with the default headers, the protocol version and the
// serial number.
class ZRUploaderClient::Request {
public:
    Request(const char* method, const String& serialNo) {
        request.setMethod(method);
        addHeader(kVersionHeader, "1.0");
        addHeader(kSerialHeader, serialNo);
    }

    // A value with a line break would be dropped from the request (it could
    // end the head early), and the upload would go out without it.
    void addHeader(const char* name, const String& value) {
        if (value.indexOf('\r') >= 0 || value.indexOf('\n') >= 0) {
            refuse(String("the value of ") + name + " holds a line break");
        }
        request.getHeader().add(name, value);
    }

    void setPostFile(const String& path) {
        String problem = unsendableFile(path);
        if (!problem.isEmpty()) refuse(problem);
        request.setPostFile(path);
    }

    const HttpRequest& get() const { return request; }
    const String& problem() const { return firstProblem; }

private:
    void refuse(const String& problem) {
        if (firstProblem.isEmpty()) firstProblem = problem;
    }

    HttpRequest request;
    String firstProblem;
};

ZRUploaderClient::ZRUploaderClient(const String& serialNo) : serialNo(serialNo) {}

ZRUploaderClient::~ZRUploaderClient() {}

int ZRUploaderClient::getConfig(const String& date, const String& outFile) {
    Request upload("GET", serialNo);
    upload.addHeader(kDateHeader, date);
    return send("/zr-upload-config", upload, outFile);
}

int ZRUploaderClient::sendRequest(const String& requestFile, const String& outFile) {
    Request upload("POST", serialNo);
    upload.setPostFile(requestFile);
    return send("/zr-upload-request", upload, outFile);
}

int ZRUploaderClient::sendSample(const SampleInfo& info, const String& sampleFile) {
    Request upload("POST", serialNo);
    upload.addHeader(kDateHeader, info.date);
    upload.addHeader(kVirusNameHeader, info.virusName);
    upload.addHeader(kMD5Header, info.md5);
    upload.setPostFile(sampleFile);
    return send("/zr-upload-send", upload, String());
}

int ZRUploaderClient::sendReport(const String& date, const String& reportFile) {
    Request upload("POST", serialNo);
    upload.addHeader(kDateHeader, date);
    upload.setPostFile(reportFile);
    return send("/zr-upload-report", upload, String());
}

int ZRUploaderClient::send(const String& path, const Request& upload, const String& outFile) {
    why = upload.problem();
    if (!why.isEmpty()) {
        logInfo("ZRUploader: " + why);
        return INPUT_REFUSED;
    }
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
        std::unique_ptr<HttpConnection> connection(
            createConnection(settings, !http, true, kDefaultTimeoutMs));
        // A sample may be large and the link slow: the upload and its answer
        // go on while each time-out moves at least this much, and end below.
        connection->setMinimumRate(kMinimumRate);
        logInfo("Connecting to " + host + (http ? "..." : " via secure connection..."));
        // The connection adds its own headers (Content-Length, Connection,
        // proxy credentials) to the request it sends; each server gets a
        // fresh copy so that the next one sees the same head, not doubled
        // lines.
        HttpRequest request(upload.get());
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
