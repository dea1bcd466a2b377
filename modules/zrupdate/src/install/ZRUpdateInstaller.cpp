#include "install/ZRUpdateInstaller.h"

#include <sys/wait.h>

#include "Exception.h"
#include "ZRPaths.h"
#include "client/ZRPackageCheck.h"
#include "install/ZRInstallScript.h"
#include "io/File.h"
#include "store/ZRUpdateParser.h"
#include "util/ChildProcess.h"
#include "util/Log.h"

namespace {

const int kInstalled = 1;
const int kHeldBack = -1;
// Exit code of an install script that asks to be installed later.
const int kScriptInstallLater = 1;

void logInfo(const String& message) {
    Log::getFileLog()->log(message, Log::LEVEL_INFO);
}

void logDebug(const String& message) {
    Log::getLog()->log(message, Log::LEVEL_DEBUG);
}

// Runs an external program with the argument vector `args`; when it cannot
// even be started the child logs `execFailure` and ends. True when the
// program exited with 0.
bool runProgram(const char* program, std::initializer_list<String> args, const String& execFailure,
                bool quiet = false) {
    Vector<String> argv;
    for (const String& arg : args) argv.add(arg);
    int status = ChildProcess::run(
        program, argv,
        [&execFailure](int) {
            logInfo(execFailure);
            return 127;
        },
        quiet);
    return ChildProcess::exitedWith(status, 0);
}

void readPackages(ZRUpdateParser& doc, bool parsed, Vector<ZRPackageInfo>& out) {
    try {
        if (parsed) doc.getPackageList(out, true);
    } catch (Exception& e) {
        // A number that does not parse: the list is unusable as a whole.
        out.clear();
        logDebug(e.getMessage());
    }
}

}  // namespace

ZRUpdateInstaller::ZRUpdateInstaller() : packages(0, 20) {}

ZRUpdateInstaller::ZRUpdateInstaller(InputStream& in) : packages(0, 20) {
    ZRUpdateParser doc;
    readPackages(doc, doc.parse(in), packages);
}

ZRUpdateInstaller::ZRUpdateInstaller(const String& text) : packages(0, 20) {
    ZRUpdateParser doc;
    readPackages(doc, doc.parse(text), packages);
}

int ZRUpdateInstaller::install() {
    int count = 0;
    for (int i = 0; i < packages.size(); i++) {
        if (installPackage(packages.elementAt(i))) count++;
    }
    return count;
}

bool ZRUpdateInstaller::installPackage(ZRPackageInfo& package) {
    if (package.downloadResult != 1) {
        String message("ZRUpdate: package file of '");
        message.append(package.product.name).append(" (").append(package.version.toString()).append(") is invalid");
        logDebug(message);
        return false;
    }
    if (!package.format.equalsIgnoreCase("zip")) {
        String message("ZRUpdate: unsupported package format: ");
        logDebug(message.append(package.format));
        return false;
    }
    String starting("Install ");
    logInfo(starting.append(package.product.desc).append(" ..."));

    String archive(package.path);
    archive.append("/").append(package.file);
    if (!unpack(package, archive)) return false;

    String script(package.path);
    script.append("/").append(package.installScript);
    int status = runInstallScript(script, package);
    bool counted = false;
    if (ChildProcess::exitedWith(status, 0)) {
        package.runResult = kInstalled;
        counted = true;
    } else if (ChildProcess::exitedWith(status, kScriptInstallLater)) {
        // The unpacked files now live under the home: nothing to clean up.
        return holdBack(package);
    } else if (status >= 0 && WIFSIGNALED(status)) {
        logInfo(packageFailureLine("Install7 ", package));
    } else {
        logInfo(packageFailureLine("Install6 ", package));
    }

    // The product directory (the parent of the package directory) goes; only
    // ever inside the work directory, whatever path a package list names.
    String parent = File(package.path).getParent();
    File productDir(parent.isEmpty() ? package.path : parent);
    if (!isInsideFolder(productDir.getPath(), ZRPaths::WORK_DIR) || !productDir.deleteRecursive()) {
        String message("removing temporary directory: ");
        logDebug(message.append(productDir.getPath()).append(" failed"));
    }
    return counted;
}

bool ZRUpdateInstaller::unpack(const ZRPackageInfo& package, const String& archive) {
    const char* unzip = ZRPaths::UNZIP;
    const String& dir = package.path;
    // unzip's own messages (the probe's "filename not matched" for every
    // ordinary package) would only clutter the user's terminal: the outcome
    // is in the log.
    const bool quiet = true;
    // A package that carries "large_package_flag" is unpacked only as far as
    // its script needs; the script takes the rest from the archive itself.
    if (runProgram(unzip, {"unzip", "-q", "-o", archive, "large_package_flag", "-d", dir},
                   packageFailureLine("Install 1", package), quiet)) {
        if (runProgram(unzip, {"unzip", "-q", "-o", archive, "install", "readme", "install-package", "-d", dir},
                       packageFailureLine("Install 2", package), quiet)) {
            return true;
        }
        logInfo(packageFailureLine("Install 3", package));
        return false;
    }
    if (!runProgram(unzip, {"unzip", "-q", "-o", archive, "-d", dir}, packageFailureLine("Install4 ", package), quiet)) {
        // The archive is kept when it cannot be unpacked, for a look at it.
        logInfo(packageFailureLine("Install5 ", package));
        return false;
    }
    // With a package key the archive stays beside the unpacked files, so
    // that a held-back package can be checked again before it runs.
    if (!ZRPackageCheck::keyConfigured()) File(archive).deleteFile();
    return true;
}

bool ZRUpdateInstaller::holdBack(ZRPackageInfo& package) {
    String target(ZRPaths::HOME);
    target.append(package.path);
    int slash = target.lastIndexOf('/');
    String moving("move path ");
    logInfo(moving.append(target).append(" ").append(slash));

    File existing(target);
    String removal("rm path ");
    removal.append(target);
    if (existing.exists() && !existing.deleteRecursive()) {
        logInfo(removal.append(") failed"));
    } else {
        logInfo(removal.append(") success"));
    }

    String parent = target.substring(0, slash);
    String mkdirFailed("mkdir path ");
    mkdirFailed.append(parent).append(") failed");
    if (!runProgram(ZRPaths::MKDIR, {"mkdir", "-p", parent}, mkdirFailed)) {
        String message("mdir path ");
        logInfo(message.append(parent).append(") failed"));
        return false;
    }

    String moveResult("move path ");
    moveResult.append(target);
    if (!runProgram(ZRPaths::MV, {"mv", "-f", package.path, target}, String(moveResult).append(") failed"))) {
        logInfo(moveResult.append(") failed"));
        return false;
    }
    logInfo(moveResult.append(") success"));
    package.runResult = kHeldBack;
    package.path = target;
    return true;
}
