#include "cli/NetworkTimeout.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "ZRPaths.h"
#include "io/SafeOpen.h"
#include "net/SSL.h"
#include "util/Log.h"

namespace {

const int kTimedOut = -9;
const char kTimeoutMessage[] = "socket connect or read or write timeout!!!";

// Runs from ordinary code (never a signal handler), so it may log, walk
// the directory tree and exit normally. The tree is removed without
// following symbolic links: a link planted in it is removed, not its target.
void endTimedOutRun() {
    RotationFileLog* log = Log::getFileLog();
    log->log(String(kTimeoutMessage), Log::LEVEL_INFO);
    // Only the program's own folder is cleared: in the shared temporary
    // folder the name may be another user's link or folder.
    struct stat info;
    bool ownFolder =
        lstat(ZRPaths::WORK_DIR, &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid();
    if (ownFolder && !SafeOpen::removeTree(ZRPaths::WORK_DIR)) {
        log->log(String("failed to clear tmp files"), Log::LEVEL_INFO);
    }
    std::exit(kTimedOut);
}

}  // namespace

void installNetworkTimeout() {
    SSLClient::setTimeoutHandler(endTimedOutRun);
}
