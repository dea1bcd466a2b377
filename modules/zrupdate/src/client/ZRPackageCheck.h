#ifndef ZR_PACKAGE_CHECK_H
#define ZR_PACKAGE_CHECK_H

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "MD5.h"
#include "String.h"
#include "store/ZRPackageInfo.h"

class Ed25519Verifier;

// What a package file must pass before it is installed, held back or kept:
// its MD5 digest must be the offered one and, when the administrator has
// placed a package key in the home (ZRStateFiles::PACKAGE_KEY), the
// signature that came with the offer must verify with that key. Without a
// key only the digest counts, as it always has.
//
// The bytes are fed in pieces as they arrive (or read from a file in
// pieces): a package is never held in memory whole.
class ZRPackageCheck {
public:
    enum Outcome { PASSED, WRONG_DIGEST, WRONG_SIGNATURE };

    // Loads the key when one is configured; an unusable key is logged and
    // refuses every package.
    ZRPackageCheck();
    ~ZRPackageCheck();
    ZRPackageCheck(const ZRPackageCheck&) = delete;
    ZRPackageCheck& operator=(const ZRPackageCheck&) = delete;

    // Whether a package key is configured (anything at its name counts, so
    // a key that cannot be read refuses packages instead of dropping the
    // check).
    static bool keyConfigured();
    static String keyPath();

    // Discards everything fed so far.
    void restart();
    void update(const char* data, size_t length);
    // The digests update() feeds, one by one: each must be fed every byte
    // in order, and they may be fed at the same time from different threads.
    std::vector<std::function<void(const char* data, size_t length)>> digests();
    // Feeds the first `length` bytes of the file at `path`; false when the
    // file holds fewer or cannot be read.
    bool addFile(const String& path, long length);
    // The outcome for everything fed since the last finish(); the digests
    // then start afresh.
    Outcome finish(const ZRPackageInfo& package);
    // The whole file at `path`, checked against `package`.
    Outcome checkFile(const String& path, const ZRPackageInfo& package);

    // Logs a refusal as the download does: the message for the outcome with
    // the package's URL, then "EC_ZRUPDATE_PACKAGE_ERROR".
    static void logRefusal(Outcome outcome, const ZRPackageInfo& package);

private:
    MD5 md5;
    std::unique_ptr<Ed25519Verifier> verifier;  // null without a key
    bool readFailed;
};

#endif
