#include "cli/Startup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "Exception.h"
#include "ZRPaths.h"
#include "cli/CmdLine.h"
#include "cli/Dispatch.h"
#include "cli/NetworkTimeout.h"
#include "io/File.h"
#include "net/SSL.h"
#include "store/ZRNetConfig.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreDefaults.h"
#include "store/ZRStoreFile.h"
#include "store/ZRUpdateStore.h"
#include "util/FailureNote.h"
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

// A state file counts as present when it is a regular file that is not
// empty. Its size is asked of the folder, not of the opened file, so that a
// network file closed to this user still counts (see unreadableByCaller).
bool hasContent(const char* name) {
    struct stat info;
    String path = ZRStoreFile::homeFile(name);
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0;
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
        // At the error level, so that the log names the file the person is
        // told about, also without --debug.
        Log::getFileLog()->log(e.getMessage(), Log::LEVEL_ERROR);
        FailureNote::record(String("cannot read ").append(path));
    }
}

// A file this process may not read (a network file closed to everyone but
// its owner, read by a user who is not root).
bool unreadableByCaller(const char* name) {
    String path = ZRStoreFile::homeFile(name);
    return File(path).exists() && faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 &&
           errno == EACCES;
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
    Log::setLevel(Log::LEVEL_INFO);

    // Both standard files must exist and hold something, even in module
    // mode; without them nothing is printed, not even the usage text.
    if (!hasContent(ZRStateFiles::INVENTORY) || !hasContent(ZRStateFiles::NETWORK))
        return kBadStateFiles;

    CmdLine cmdLine(argc, argv);
    if (!checkOptions(cmdLine)) {
        printText("try 'ZRUpdate --help' for more information\n");
        reportUnknownOptions(cmdLine);
        return kInvalidCommandLine;
    }

    bool moduleMode = cmdLine.hasEither("M", "moduleverify");
    ZRUpdateStore& store = ZRUpdateStore::instance();
    ZRNetConfig& network = ZRNetConfig::instance();
    loadDocument(store, moduleMode ? ZRStateFiles::MODULE_INVENTORY : ZRStateFiles::INVENTORY);
    const char* networkFile = moduleMode ? ZRStateFiles::MODULE_NETWORK : ZRStateFiles::NETWORK;
    // The network file holds credentials and is readable by its owner only;
    // the commands that never use it work for any user who may read the
    // inventory.
    bool networkOptional = !needsNetworkSettings(cmdLine) && unreadableByCaller(networkFile);
    if (!networkOptional) loadDocument(network, networkFile);
    if (!store.isValid() || (!network.isValid() && !networkOptional)) {
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

    // Without --debug the log keeps info, warning and error lines only;
    // debug mode adds the debug lines (requests, answers, exception texts)
    // and lets the library's diagnostics into the same file.
    if (cmdLine.hasOption("debug")) {
        Log::openDebugLog(logPath.c_str());
        Log::setDebug(true);
    }

    return dispatchCommand(cmdLine);
}

}  // namespace

namespace {

// The one line on standard error that names a failure the log holds in full:
// "ZRUpdate: no update server answered; see <home>/logs/zrupdate.log".
void reportFailure(int status) {
    String what;
    if (!FailureNote::toShow(status < 0, what)) return;
    String line("ZRUpdate: ");
    line.append(what).append("; see ").append(ZRStoreFile::homeFile(ZRStateFiles::LOG));
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", line.c_str());
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
        FailureNote::record(String("unexpected error"));
    }
    reportFailure(status);
    std::fflush(stdout);
    return status;
}
