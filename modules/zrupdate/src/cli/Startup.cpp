#include "cli/Startup.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "cli/CmdLine.h"
#include "cli/Dispatch.h"
#include "cli/NetworkTimeout.h"
#include "Exception.h"
#include "store/ZRNetConfig.h"
#include "ZRPaths.h"
#include "store/ZRStoreFile.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreDefaults.h"
#include "store/ZRUpdateStore.h"
#include "io/File.h"
#include "net/SSL.h"
#include "util/Log.h"

namespace {

const int kBadStateFiles = -2;
const int kInvalidCommandLine = -1;

// Set-up and release of the TLS library around the whole run, so that every
// return from the program releases it.
class TlsLibrary {
public:
    TlsLibrary() { SSLClient::initLibrary(); }
    ~TlsLibrary() { SSLClient::cleanupLibrary(); }
    TlsLibrary(const TlsLibrary&) = delete;
    TlsLibrary& operator=(const TlsLibrary&) = delete;
};

// A state file counts as present when it can be read and is not empty.
bool hasContent(const char* name) {
    return File(ZRStoreFile::homeFile(name)).length() > 0;
}

// Loads one document; an IOException (a file that cannot be opened) is
// logged and leaves the document unloaded. So does a path that is there but
// is no regular file: reading a FIFO nobody writes to would never end.
template <typename Store>
void loadDocument(Store& store, const char* name) {
    String path = ZRStoreFile::homeFile(name);
    File file(path);
    if (file.exists() && !file.isFile()) {
        ZRStoreFile::logDebug(path.append(": not a regular file"));
        return;
    }
    try {
        store.load(path.c_str());
    } catch (Exception& e) {
        ZRStoreFile::logDebug(e.getMessage());
    }
}

// Creates a missing or empty default document with its three messages.
// False when it could not be made.
bool ensureDefaultDocument(const char* name, int (*create)(), const char* creating,
                           const char* failed, const char* created) {
    if (hasContent(name)) return true;
    printText(creating);
    if (create() != 0) {
        printText(failed);
        return false;
    }
    printText(created);
    return true;
}

int run(int argc, char** argv) {
    String logPath = ZRStoreFile::homeFile(ZRStateFiles::LOG);
    std::signal(SIGPIPE, SIG_IGN);
    // A timed-out TLS operation ends the run (status 247). No SIGALRM
    // handler is installed: every network wait has its own end, so nothing
    // arms an alarm (see NetworkTimeout.h).
    installNetworkTimeout();

    File(String(ZRPaths::HOME)).mkdirs();
    // The log directory is made too: a home without it would otherwise send
    // every log line to standard error.
    File(File(logPath).getParent()).mkdirs();
    Log::setLockFolder(ZRPaths::TMP_DIR);
    Log::openLog(logPath.c_str());
    Log::setMode(0);

    // Both standard files must exist and hold something, even in module
    // mode; without them nothing is printed, not even the usage text.
    if (!hasContent(ZRStateFiles::INVENTORY) || !hasContent(ZRStateFiles::NETWORK))
        return kBadStateFiles;

    CmdLine cmdLine(argc, argv);
    if (!checkOptions(cmdLine)) {
        printText("try 'ZRUpdate --help' for more information\n");
        return kInvalidCommandLine;
    }

    bool moduleMode = cmdLine.hasEither("M", "moduleverify");
    ZRUpdateStore& store = ZRUpdateStore::instance();
    ZRNetConfig& network = ZRNetConfig::instance();
    loadDocument(store, moduleMode ? ZRStateFiles::MODULE_INVENTORY : ZRStateFiles::INVENTORY);
    loadDocument(network, moduleMode ? ZRStateFiles::MODULE_NETWORK : ZRStateFiles::NETWORK);
    if (!store.isValid() || !network.isValid()) {
        printText("Bad update inventory or network config file\n");
        return kBadStateFiles;
    }

    bool update = cmdLine.hasEither("u", "update");
    if (update || cmdLine.hasEither("P", "package")) {
        if (!ensureDefaultDocument(ZRStateFiles::DELAY_PACKAGES, createDefaultDelayPackages,
                                   "ZRUpdate: Create default delay package config file\n",
                                   "ZRUpdate: Create default delay package config file failed\n",
                                   "ZRUpdate: Create default delay package config file OK\n")) {
            return kBadStateFiles;
        }
    }
    if (update) {
        if (!ensureDefaultDocument(
                ZRStateFiles::PARTIAL_FILES, createDefaultPartialFiles,
                "ZRUpdate: Create default partial downloaded file info  config file\n",
                "ZRUpdate: Create default partial downloaded file info config file failed\n",
                "ZRUpdate: Create default partial downloaded file info config file OK\n")) {
            return kBadStateFiles;
        }
    }

    // The main log keeps every level; debug mode also lets the library's
    // diagnostics (parse errors, requests and answers) into the same file.
    if (cmdLine.hasOption("debug")) {
        Log::openDebugLog(logPath.c_str());
        Log::setDebug(true);
    }

    return dispatchCommand(cmdLine);
}

}  // namespace

int runZRUpdate(int argc, char** argv) {
    TlsLibrary tls;
    int status = kInvalidCommandLine;
    try {
        status = run(argc, argv);
    } catch (Exception& e) {
        // Nothing the commands throw is expected here; end with a failure
        // status rather than an abort, and leave the reason in the log.
        try {
            String message("ZRUpdate: unexpected error: ");
            message.append(e.getMessage()).append(" (").append(e.getLocation()).append(")");
            Log::getFileLog()->log(message, 2);
        } catch (Exception&) {
        }
    }
    std::fflush(stdout);
    return status;
}
