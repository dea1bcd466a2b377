// The package download of the update client: session id, the transfer with
// resumption and progress, and the size and digest checks.
#include <memory>

#include "Exception.h"
#include "MD5.h"
#include "Utils.h"
#include "client/ZRBackgroundCheck.h"
#include "client/ZRClientLog.h"
#include "client/ZRDownloadFolder.h"
#include "client/ZRDownloadProgress.h"
#include "client/ZRPackageCheck.h"
#include "client/ZRPartialDownload.h"
#include "client/ZRResponseBody.h"
#include "client/ZRUpdateClient.h"
#include "io/File.h"
#include "io/FileInputStream.h"
#include "io/FileOutputStream.h"
#include "net/HttpConnection.h"
#include "net/HttpRequest.h"
#include "net/HttpResponse.h"
#include "net/URL.h"
#include "store/ZRDecimal.h"
#include "store/ZRNetConfig.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "store/ZRUpdateParser.h"
#include "store/ZRUpdateStore.h"

namespace {

const int kPiece = 1024;
// A session id is a short token; more than this is not one.
const long kMaxSessionId = 4096;

// Whether the package is listed in "conf/zr-delay-packages" with the same
// URL and digest: it is then held back for installation by hand.
bool isDelayPackage(const ZRPackageInfo& package) {
    ZRUpdateParser doc;
    Vector<ZRPackageInfo> delayed;
    try {
        if (!ZRStoreFile::read(doc, ZRStoreFile::homeFile(ZRStateFiles::DELAY_PACKAGES)))
            return false;
        doc.getPackageList(delayed, false);
    } catch (Exception& e) {
        ZRClientLog::debug(e.getMessage());
        return false;
    }
    for (int i = 0; i < delayed.size(); i++) {
        const ZRPackageInfo& d = delayed.elementAt(i);
        if (d.url.equals(package.url) && d.md5.equals(package.md5)) return true;
    }
    return false;
}

// "bytes FIRST-LAST/TOTAL" naming exactly the bytes from `first` to the end
// of a file of `total` bytes.
bool rangeIsRest(const String& contentRange, long first, long total) {
    String expected("bytes ");
    expected.append(first).append("-").append(total - 1).append("/").append(total);
    return contentRange.trim(" \t").equals(expected);
}

// Copies the body into `out` until `limit` more bytes are held or the
// stream ends; never writes past `limit` (a body that goes on past its
// Content-Length is cut there). Bytes are read straight into large buffers,
// each written in one call and handed to the package check, which digests
// it on its own thread while the next one fills: the file is never read
// back, and the digests ride along with the transfer. Whatever was read
// when a read fails is still written, so the file holds every byte
// received. The bytes held at the end.
long copyBody(InputStream* in, FileOutputStream& out, long held, long limit,
              ZRDownloadProgress& progress, ZRPackageCheck& check) {
    ZRBackgroundCheck background(check.digests());
    const long kRun = static_cast<long>(ZRBackgroundCheck::BUFFER_SIZE);
    char* run = background.buffer();
    long filled = 0;
    auto flush = [&]() {
        if (filled == 0) return;
        background.handOver(run, static_cast<size_t>(filled));
        out.write(run, static_cast<int>(filled));
        run = background.buffer();
        filled = 0;
    };
    long end = held + limit;
    try {
        while (in != nullptr && held < end) {
            long room = kRun - filled;
            long ask = end - held < room ? end - held : room;
            int n = in->read(run + filled, static_cast<int>(ask));
            if (n < 1) break;
            filled += n;
            // Progress moves on in the steps of 1024 bytes it always had,
            // so a small package is reported every 5 % as before.
            for (long step = held + kPiece; step < held + n; step += kPiece) progress.update(step);
            held += n;
            progress.update(held);
            if (filled == kRun) flush();
        }
    } catch (Exception&) {
        flush();
        throw;
    }
    flush();
    background.finish();
    return held;
}

// What an answer to a download request lets the download do.
enum class DownloadAnswer {
    WholeFile,  // 200 with the package's length: written from the first byte
    Rest,       // 206 with exactly the rest of the saved part
    BadRange,   // 206 with anything else: the saved part cannot be completed
    Refused,    // any other answer: the next server is asked
};

DownloadAnswer checkAnswer(HttpResponse& answer, const String& name, long held, long size) {
    int status = answer.getStatus();
    long length = answer.getContentLength();
    if (status == 206 && held > 0) {
        ZRClientLog::info("enter partial download!!!");
        // Only the rest of this very file may be appended: a range that
        // starts or ends elsewhere would corrupt it.
        String contentRange;
        answer.getHeader().get("Content-Range", contentRange);
        if (length + held == size && rangeIsRest(contentRange, held, size)) {
            return DownloadAnswer::Rest;
        }
        ZRClientLog::debug("ZRUpdate: invalid file length in response");
        return DownloadAnswer::BadRange;
    }
    if (status == 200) {
        if (length == size) return DownloadAnswer::WholeFile;
        ZRClientLog::debug("ZRUpdate: invalid file length in response");
        return DownloadAnswer::Refused;
    }
    ZRClientLog::info("Download '" + name + (status == 401 ? "' unauthorized" : "' not found"));
    ZRClientLog::debug(
        String("Download '").append(name).append("' failed with code ").append(status));
    return DownloadAnswer::Refused;
}

// Writes the body into `localFile` from byte `start` on, with the progress
// reports, and feeds every byte of the file to `check`: a resumed file is
// digested from its first byte, the part kept read back (in pieces) before
// the rest is appended. Throws when the body ends before the file is whole.
void receiveFile(HttpResponse& answer, long productId, const String& name, const String& localFile,
                 long start, long size, ZRPackageCheck& check) {
    check.restart();
    if (start > 0) check.addFile(localFile, start);
    ZRDownloadProgress progress(productId, name, size, start);
    FileOutputStream out(localFile.c_str(), start > 0 ? 1 : 0);
    long received = copyBody(answer.getInputStream(), out, start, size - start, progress, check);
    progress.finish();
    out.close();
    if (received != size) ZR_THROW(IOException, "file size is incorrect", "ZRUpdateClientDownload");
}

}  // namespace

int ZRUpdateClient::downloadPackages() {
    ZRClientLog::info("Start to download and install your updates");
    int count = 0;
    ZRPackageCheck check;
    for (int i = 0; i < packages.size(); i++) {
        ZRPackageInfo& package = packages.elementAt(i);
        // Where a package lies and whether it is ready are set here alone,
        // once it is downloaded and checked; whatever an offer said about
        // them is dropped.
        package.clearLocalState();
        if (isDelayPackage(package)) {
            ZRClientLog::info("EC_ZRUPDATE_DELAY_PACKAGE");
            continue;
        }
        ZRDownloadFolder folder(workDir, package.product.id, package.version.version, package.url);
        if (!folder.isUsable()) {
            ZRClientLog::failure("ZRUpdate: downloading file failed: " + package.url,
                                 "EC_ZRUPDATE_UPDATE_ERROR");
            continue;
        }
        if (holdsReadyPackage(folder.getPath(), i)) {
            // Emptying the folder would take the earlier package's file away.
            ZRClientLog::debug("ZRUpdate: cannot create download path: " + folder.getPath());
            continue;
        }
        bool ready = false;
        try {
            ready = fetchPackage(package, folder, check);
        } catch (Exception& e) {
            // Whatever one offer breaks fails that package only.
            ZRClientLog::failure(
                "ZRUpdate: downloading file failed: " + package.url + ": " + e.getMessage(),
                "EC_ZRUPDATE_UPDATE_ERROR");
        }
        if (!ready) {
            folder.remove();
            continue;
        }
        package.path = folder.getPath();
        package.file = folder.getFileName();
        package.downloadResult = 1;
        count++;
    }
    return count;
}

bool ZRUpdateClient::holdsReadyPackage(const String& path, int before) const {
    for (int i = 0; i < before; i++) {
        const ZRPackageInfo& earlier = packages.elementAt(i);
        if (earlier.downloadResult == 1 && earlier.path.equals(path)) return true;
    }
    return false;
}

bool ZRUpdateClient::fetchPackage(ZRPackageInfo& package, const ZRDownloadFolder& folder,
                                  ZRPackageCheck& check) {
    if (!folder.prepare()) {
        ZRClientLog::debug("ZRUpdate: cannot create download path: " + folder.getPath());
        return false;
    }
    String localFile = folder.getLocalFile();
    if (!downloadFile(package.product.id, package.product.desc, package.url, localFile,
                      package.size, check)) {
        ZRClientLog::failure("ZRUpdate: downloading file failed: " + package.url,
                             "EC_ZRUPDATE_UPDATE_ERROR");
        return false;
    }
    // The digests were taken while the bytes arrived (the part kept from an
    // earlier run included).
    ZRPackageCheck::Outcome outcome = check.finish(package);
    if (outcome != ZRPackageCheck::PASSED) {
        ZRPackageCheck::logRefusal(outcome, package);
        return false;
    }
    ZRProduct installed;
    if (ZRUpdateStore::instance().findProduct(package.product.id, installed)) {
        package.product.installPath = installed.info.installPath;
    }
    return true;
}

int ZRUpdateClient::fetchSessionId(const NetSettings& settings, const String& host,
                                   const String& url, String& sessionId) {
    std::unique_ptr<HttpConnection> connection(createConnection(0));
    if (!connection) return 0;
    connection->setKeepAlive(false);
    try {
        HttpRequest request;
        request.setURL(URL(serverBase(settings, host) + "/zr-sessionid"));
        request.getHeader().add("X-ZR-Update-Protocol-Version", "1.0");
        request.getHeader().add("X-ZR-Update-URL", url);
        request.getHeader().add("X-ZR-Update-MAC", settings.mac);
        HttpResponse answer;
        if (!connection->send(request, answer) || answer.getStatus() != 200) return 0;
        sessionId = readResponseBody(answer, kMaxSessionId);
        connection->close();
        if (sessionId.isEmpty()) {
            ZRClientLog::info("ZRUpdate: no data is available in response");
            return 0;
        }
        return 1;
    } catch (Exception& e) {
        bool reached = connection->isConnected();
        connection->close();
        ZRClientLog::info("exception in get sessionID " + e.getMessage());
        // A server that cannot be reached is passed over like one whose
        // connection fails; a failure in the middle of the exchange ends
        // the package.
        return reached ? -1 : 0;
    }
}

bool ZRUpdateClient::downloadFile(long productId, const String& name, const String& url,
                                  const String& localFile, long size) {
    ZRPackageCheck check;
    return downloadFile(productId, name, url, localFile, size, check);
}

bool ZRUpdateClient::downloadFile(long productId, const String& name, const String& url,
                                  const String& localFile, long size, ZRPackageCheck& check) {
    ZRClientLog::info(
        String("==").append(productId).append(name).append(url).append(localFile).append(size));
    NetSettings settings;
    if (!ZRNetConfig::instance().getSettings(settings)) {
        ZRClientLog::debug("ZRUpdate: read server settings failed");
        return false;
    }
    bool usingProxy = settings.isUsingProxy.equalsIgnoreCase("1");
    const Vector<ZRServer> list(serverList(settings));
    ZRPartialDownload partial(productId, url, localFile, size);
    for (int i = 0; i < list.size(); i++) {
        const String& host = list.elementAt(i).host;
        String sessionId;
        if (httpDownload == 1) {
            int got = fetchSessionId(settings, host, url, sessionId);
            if (got < 0) return false;
            if (got == 0) continue;
        }
        std::unique_ptr<HttpConnection> connection(createConnection(2));
        if (!connection) continue;
        connection->setKeepAlive(false);
        connection->setMinimumRate(1024);  // a slow but live link may take many time-outs
        bool answered = false;
        try {
            HttpRequest request;
            buildDownloadRequest(request, settings, host, productId, url, sessionId);
            long held = partial.resume();
            if (held > 0)
                request.getHeader().add("Range", String("bytes=").append(held).append("-"));
            HttpResponse answer;
            if (!connection->send(request, answer)) {
                if (held > 0) partial.keep();
                continue;
            }
            answered = true;
            ZRClientLog::debug(request.toString());
            ZRClientLog::debug(answer.toString());
            lastStatus = answer.getStatus();
            DownloadAnswer verdict = checkAnswer(answer, name, held, size);
            if (verdict == DownloadAnswer::BadRange) {
                // Kept again, the part would be offered to the same refusal
                // on every later run: the next one starts over.
                partial.discard();
                continue;
            }
            if (verdict == DownloadAnswer::Refused) {
                if (held > 0) partial.keep();
                continue;
            }
            // A server that ignores the range sends the whole file: the part
            // held is dropped (the file is truncated on opening).
            long start = verdict == DownloadAnswer::Rest ? held : 0;
            receiveFile(answer, productId, name, localFile, start, size, check);
            connection->close();
            return true;
        } catch (Exception& e) {
            connection->close();
            // What was received is kept for the next run. A server that
            // cannot be reached is passed over like one whose connection
            // fails; a transfer that breaks off ends this package.
            partial.keep();
            ZRClientLog::socketFailure(e, usingProxy);
            if (!answered) continue;
            return false;
        }
    }
    return false;
}

void ZRUpdateClient::buildDownloadRequest(HttpRequest& request, const NetSettings& settings,
                                          const String& host, long productId, const String& url,
                                          const String& sessionId) {
    bool plain = settings.type.equalsIgnoreCase("http") || httpDownload == 1;
    String target = url.startsWith("http") ? url
                                           : String(plain ? "http" : "https") + "://" + host +
                                                 "/zr-download?path=" + url;
    request.setURL(URL(target));
    HttpHeader& header = request.getHeader();
    header.add("X-ZR-Content-Compression", "deflate");
    header.add("X-ZR-Update-MAC", settings.mac);
    header.add("X-ZR-Update-SessionID", sessionId);
    long headerId = productId;
    String version, serialNo;
    if (getProductHeaders(headerId, version, serialNo)) {
        header.add("X-ZR-Update-ProductId", headerId);
        header.add("X-ZR-Update-ProductVersion", version);
        header.add("X-ZR-Update-SerialNo", serialNo);
    }
}

bool ZRUpdateClient::getProductHeaders(long& productId, String& version, String& serialNo) {
    ZRUpdateStore& store = ZRUpdateStore::instance();
    ZRProduct product;
    if (!store.findProduct(productId, product)) return false;
    version = product.version.version;
    serialNo = product.info.serialNo;
    if (!serialNo.isEmpty() || product.info.parent.isEmpty()) return true;
    Vector<String> parents;
    product.info.parent.split(parents, ",");
    for (int i = 0; i < parents.size(); i++) {
        const String& text = parents.elementAt(i);
        if (!Utils::isNumeric(text.c_str(), nullptr)) continue;
        ZRProduct parent;
        long parentId = 0;
        try {
            parentId = parseDecimal(text);
        } catch (Exception&) {
            continue;
        }
        if (store.findProduct(parentId, parent) && !parent.info.serialNo.isEmpty()) {
            productId = parentId;
            version = parent.version.version;
            serialNo = parent.info.serialNo;
            break;
        }
    }
    return true;
}

bool ZRUpdateClient::md5File(const char* path, String& digest) {
    return MD5::md5File(path, digest);
}
