#include "install/ZRUpdateRun.h"

#include <unistd.h>

#include <memory>

#include "Exception.h"
#include "ZRPaths.h"
#include "client/ZRClientLog.h"
#include "client/ZRStatusScript.h"
#include "client/ZRUpdateClient.h"
#include "install/ZRDelayPackages.h"
#include "install/ZRRunLock.h"
#include "install/ZRUpdateInstaller.h"
#include "io/FileInputStream.h"
#include "io/SafeOpen.h"
#include "io/StringOutputStream.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "store/ZRUpdateParser.h"
#include "store/ZRUpdateStore.h"

namespace {

const int kProductUpdated = 2;
const int kSelfUpdated = 1;
const int kNothingToDo = 0;
const int kNotRecorded = -2;
const int kExchangeFailed = -5;
const int kNothingInstalled = -6;
const int kUnauthorized = -8;
const int kNoLock = -12;
const int kHttpUnauthorized = 401;
const int kLockTimeout = 600;
const long kUpdaterId = 1000;

// The work directory lies in a folder every user can write to, and packages
// are unpacked and run from it as root: it must be a real folder of this
// user that nobody else can write to. Whatever another user put at its name
// is cleared away rather than refused, so that nobody can stop the updates.
// Others may read it: install scripts that switch to a service account read
// their package from it.
bool workDirIsSafe() {
    String why;
    int fd = SafeOpen::claimFolder(ZRPaths::WORK_DIR, 0755, why);
    if (fd < 0) {
        ZRClientLog::info(String("ZRUpdate: refusing the work directory: ").append(why));
        return false;
    }
    close(fd);
    return true;
}

// Replaces "conf/zr-newpkgs" whole with the package list.
bool writeNewPackages(const Vector<ZRPackageInfo>& packages) {
    StringOutputStream text;
    if (writePackageList(text, packages) < 0) return false;
    return ZRStoreFile::writeText(text.getString(),
                                  ZRStoreFile::homeFile(ZRStateFiles::NEW_PACKAGES),
                                  ZRStoreFile::failurePrefix(String(ZRStateFiles::NEW_PACKAGES)));
}

std::unique_ptr<ZRUpdateInstaller> readNewPackages() {
    try {
        FileInputStream in(ZRStoreFile::homeFile(ZRStateFiles::NEW_PACKAGES).c_str());
        std::unique_ptr<ZRUpdateInstaller> installer(new ZRUpdateInstaller(in));
        in.close();
        return installer;
    } catch (Exception& e) {
        ZRClientLog::debug(e.getMessage());
        return std::unique_ptr<ZRUpdateInstaller>(new ZRUpdateInstaller());
    }
}

// Records the outcome of every package: the new version of an installed
// one in the inventory, a held-back one in the delay list. False when one
// of them could not be recorded (the rest are not tried).
bool recordResults(const Vector<ZRPackageInfo>& packages) {
    for (int i = 0; i < packages.size(); i++) {
        const ZRPackageInfo& package = packages.elementAt(i);
        if (package.runResult == 1) {
            ZRProduct product(package.version, package.product);
            if (!ZRUpdateStore::instance().replaceProduct(package.product.id, product))
                return false;
        } else if (package.runResult == -1) {
            // A held-back package that is not listed would be lost: its
            // files sit under the home with nothing naming them. So a failed
            // save fails the run, as a failed inventory change does.
            if (saveDelayPackage(package, false) != 0) return false;
        }
    }
    return true;
}

// The part of the run that holds the lock: install, write the results back,
// record them.
int installUnderLock(long id, int offered) {
    std::unique_ptr<ZRUpdateInstaller> installer = readNewPackages();
    if (installer->install() < 1) return kNothingInstalled;
    writeNewPackages(installer->getPackages());
    if (!recordResults(installer->getPackages())) return kNotRecorded;
    String message("Orvanta ZRUpdater sucessfully downloaded and installed ");
    ZRClientLog::info(message.append(offered).append(" update(s)"));
    return id == kUpdaterId ? kSelfUpdated : kProductUpdated;
}

}  // namespace

int runUpdate(long id, bool httpDownload) {
    if (!workDirIsSafe()) return kExchangeFailed;
    ZRUpdateClient client;
    if (client.update(id, httpDownload ? 1 : 0) < 0) {
        return client.getLastStatus() == kHttpUnauthorized ? kUnauthorized : kExchangeFailed;
    }
    const Vector<ZRPackageInfo>& packages = client.getPackages();
    if (packages.isEmpty()) return kNothingToDo;
    // The installation reads the list back from the file: a list that could
    // not be written must not leave the previous run's list to be installed.
    if (!writeNewPackages(packages)) return kNothingInstalled;
    ZRStatusScript::install(id);

    int pid = static_cast<int>(getpid());
    if (lock(pid, kLockTimeout) != 0) return kNoLock;
    int result = installUnderLock(id, packages.size());
    unlock(pid);
    return result;
}
