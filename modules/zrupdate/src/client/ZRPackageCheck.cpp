#include "client/ZRPackageCheck.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "client/ZRClientLog.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "util/Ed25519Verifier.h"

namespace {

// Files are read back in pieces of this size.
const size_t kFilePiece = 256 * 1024;

}  // namespace

ZRPackageCheck::ZRPackageCheck() : readFailed(false) {
    if (!keyConfigured()) return;
    verifier.reset(new Ed25519Verifier(keyPath()));
    if (!verifier->hasKey()) {
        ZRClientLog::info("ZRUpdate: the package key cannot be used: " + verifier->getError());
    }
}

ZRPackageCheck::~ZRPackageCheck() = default;

String ZRPackageCheck::keyPath() {
    return ZRStoreFile::homeFile(ZRStateFiles::PACKAGE_KEY);
}

bool ZRPackageCheck::keyConfigured() {
    struct stat st;
    return lstat(keyPath().c_str(), &st) == 0;
}

void ZRPackageCheck::restart() {
    md5.reset();
    if (verifier) verifier->reset();
    readFailed = false;
}

void ZRPackageCheck::update(const char* data, size_t length) {
    md5.update(data, static_cast<unsigned>(length));
    if (verifier) verifier->update(data, length);
}

std::vector<std::function<void(const char*, size_t)>> ZRPackageCheck::digests() {
    std::vector<std::function<void(const char*, size_t)>> all;
    all.push_back([this](const char* data, size_t length) {
        md5.update(data, static_cast<unsigned>(length));
    });
    if (verifier) {
        Ed25519Verifier* signature = verifier.get();
        all.push_back(
            [signature](const char* data, size_t length) { signature->update(data, length); });
    }
    return all;
}

bool ZRPackageCheck::addFile(const String& path, long length) {
    int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        readFailed = true;
        return false;
    }
    std::vector<char> piece(kFilePiece);
    long left = length;
    while (left > 0) {
        size_t ask = left < static_cast<long>(kFilePiece) ? static_cast<size_t>(left) : kFilePiece;
        ssize_t n = read(fd, piece.data(), ask);
        if (n <= 0) break;
        update(piece.data(), static_cast<size_t>(n));
        left -= n;
    }
    close(fd);
    if (left > 0) readFailed = true;
    return left == 0;
}

ZRPackageCheck::Outcome ZRPackageCheck::finish(const ZRPackageInfo& package) {
    String digest;
    md5.finalHex(digest);
    bool signatureGood = !verifier || verifier->verifyBase64(package.signature);
    bool complete = !readFailed;
    readFailed = false;
    if (!complete || !digest.equalsIgnoreCase(package.md5)) return WRONG_DIGEST;
    return signatureGood ? PASSED : WRONG_SIGNATURE;
}

ZRPackageCheck::Outcome ZRPackageCheck::checkFile(const String& path,
                                                  const ZRPackageInfo& package) {
    struct stat st;
    // Only a plain file is read: a FIFO at the name would never end.
    if (lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        readFailed = true;
    } else {
        addFile(path, static_cast<long>(st.st_size));
    }
    return finish(package);
}

void ZRPackageCheck::logRefusal(Outcome outcome, const ZRPackageInfo& package) {
    const char* what = outcome == WRONG_SIGNATURE
                           ? "ZRUpdate: invalid signature in downloading file: "
                           : "ZRUpdate: invalid md5 in downloading file: ";
    ZRClientLog::failure(what + package.url, "EC_ZRUPDATE_PACKAGE_ERROR");
}
