// zrupdate-init: lays down the home of a new installation. Creates the
// directories conf/, logs/, bin/ and tmp/ and writes the first inventory
// (detected platform, the updater's own product 1000) and the first network
// settings (the default update server) where they are missing or empty.
// The new network settings verify servers against the system's CA bundle
// when it is there, so that an installed updater trusts only servers with a
// certificate for their name; an administrator can name another file in the
// ServerVerify element. An existing document is never overwritten, so that
// reinstalling keeps the products registered and the settings changed since.
// The network settings hold credentials: they are made, or narrowed to, mode
// 0600.
//
//   zrupdate-init [HOME]      HOME defaults to the configured home.
#include <sys/stat.h>

#include <cstdio>
#include <initializer_list>

#include "Exception.h"
#include "String.h"
#include "ZRPaths.h"
#include "io/AtomicFile.h"
#include "io/File.h"
#include "store/ZRNetConfig.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreDefaults.h"
#include "store/ZRUpdateStore.h"

namespace {

bool makeDirectory(const String& path) {
    File dir(path);
    if (dir.isDirectory() || dir.mkdirs()) return true;
    std::fprintf(stderr, "zrupdate-init: cannot create %s\n", path.c_str());
    return false;
}

// A kept document is narrowed to `modeLimit` (a network file of an older
// installation was open to every user); a stricter mode stays.
bool narrowMode(const String& path, mode_t modeLimit) {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return true;
    if ((info.st_mode & 07777 & ~modeLimit) == 0) return true;
    if (chmod(path.c_str(), info.st_mode & 07777 & modeLimit) == 0) return true;
    std::fprintf(stderr, "zrupdate-init: cannot restrict the mode of %s\n", path.c_str());
    return false;
}

// Writes the document with `create` unless the file already holds something.
bool writeIfMissing(const String& path, int (*create)(const char*),
                    mode_t modeLimit = AtomicFile::ANY_MODE) {
    if (File(path).exists() && File(path).length() != 0) {
        std::printf("zrupdate-init: kept %s\n", path.c_str());
        return narrowMode(path, modeLimit);
    }
    if (create(path.c_str()) != 0) {
        std::fprintf(stderr, "zrupdate-init: cannot write %s\n", path.c_str());
        return false;
    }
    std::printf("zrupdate-init: wrote %s\n", path.c_str());
    return true;
}

// The default network settings, with the CA bundle as the server
// certificate when the system has one.
int createInstalledNetwork(const char* path) {
    String bundle(ZRPaths::CA_BUNDLE);
    if (!File(bundle).isFile()) {
        std::printf("zrupdate-init: no %s, servers are not verified\n", bundle.c_str());
        bundle = "";
    }
    return createDefaultNetwork(path, bundle);
}

String join(const String& home, const char* name) {
    String path(home);
    path.append("/").append(name);
    return path;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2) {
        std::fprintf(stderr, "usage: zrupdate-init [HOME]\n");
        return 2;
    }
    String home(argc == 2 ? argv[1] : ZRPaths::HOME);
    try {
        bool ok = makeDirectory(home);
        for (const char* dir : {"conf", "logs", "bin", "tmp"}) {
            ok = ok && makeDirectory(join(home, dir));
        }
        ok = ok && writeIfMissing(join(home, ZRStateFiles::INVENTORY), createDefaultInventory);
        ok = ok && writeIfMissing(join(home, ZRStateFiles::NETWORK), createInstalledNetwork,
                                  AtomicFile::PRIVATE_MODE);
        return ok ? 0 : 1;
    } catch (Exception& e) {
        std::fprintf(stderr, "zrupdate-init: %s\n", e.getMessage().c_str());
        return 1;
    }
}
