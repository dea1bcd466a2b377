#include "install/ZRUpdateInstaller.h"

#include <sys/wait.h>

#include "Exception.h"
#include "ZRPaths.h"
#include "client/ZRPackageCheck.h"
#include "install/ZRInstallScript.h"
#include "install/ZRPackageFolders.h"
#include "io/File.h"
#include "io/SafeOpen.h"
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

// A plain name of an entry in a folder: not empty, no "/" (nor a backslash,
// which the script's path turns into one), not "." or "..".
bool isEntryName(const String& name) {
    return !name.isEmpty() && name.indexOf('/') < 0 && name.indexOf('\\') < 0 &&
           !name.equals(".") && !name.equals("..");
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
    Outcome outcome = unpackAndRun(package);
    // A held-back package's files now live under the home. Anything else
    // leaves nothing behind for the next package of the same product to be
    // unpacked over.
    if (outcome != Outcome::HeldBack) removeProductFolder(package);
    return outcome != Outcome::Failed;
}

ZRUpdateInstaller::Outcome ZRUpdateInstaller::unpackAndRun(ZRPackageInfo& package) {
    if (package.downloadResult != 1) {
        String message("ZRUpdate: package file of '");
        message.append(package.product.name)
            .append(" (")
            .append(package.version.toString())
            .append(") is invalid");
        logDebug(message);
        return Outcome::Failed;
    }
    if (!package.format.equalsIgnoreCase("zip")) {
        String message("ZRUpdate: unsupported package format: ");
        logDebug(message.append(package.format));
        return Outcome::Failed;
    }
    String starting("Install ");
    logInfo(starting.append(package.product.desc).append(" ..."));

    String folder;
    if (!packageFolderIn(package, String(ZRPaths::WORK_DIR), folder)) return Outcome::Failed;
    package.path = folder;
    // The archive (deleted once unpacked) and the script (run as root) are
    // entries of the package folder, never paths leading elsewhere.
    if (!isEntryName(package.file) || !isEntryName(package.installScript)) {
        String message(
            "ZRUpdate: refusing a package file or script that is no name in its folder: ");
        logInfo(message.append(package.file).append(", ").append(package.installScript));
        return Outcome::Failed;
    }
    String archive(package.path);
    archive.append("/").append(package.file);
    if (!unpack(package, archive)) return Outcome::Failed;

    String script(package.path);
    script.append("/").append(package.installScript);
    int status = runInstallScript(script, package);
    if (ChildProcess::exitedWith(status, 0)) {
        package.runResult = kInstalled;
        return Outcome::Installed;
    }
    if (ChildProcess::exitedWith(status, kScriptInstallLater)) {
        return holdBack(package) ? Outcome::HeldBack : Outcome::Failed;
    }
    bool signalled = status >= 0 && WIFSIGNALED(status);
    logInfo(packageFailureLine(signalled ? "Install7 " : "Install6 ", package));
    return Outcome::Failed;
}

// The product folder (the parent of the package folder) goes; only ever
// inside the work directory, whatever path the package list names.
void ZRUpdateInstaller::removeProductFolder(const ZRPackageInfo& package) {
    if (package.path.isEmpty()) return;
    String parent = File(package.path).getParent();
    String productDir(parent.isEmpty() ? package.path : parent);
    if (!removeInside(productDir, String(ZRPaths::WORK_DIR))) {
        String message("removing temporary directory: ");
        logDebug(message.append(productDir).append(" failed"));
    }
}

// Whatever an earlier package of the same product and version left in the
// folder goes before unpacking: only the archive itself is kept.
void ZRUpdateInstaller::clearLeftovers(const ZRPackageInfo& package) {
    Vector<String> names;
    File(package.path).list(names);
    for (int i = 0; i < names.size(); i++) {
        if (names.elementAt(i).equals(package.file)) continue;
        SafeOpen::removeTree(File(package.path, names.elementAt(i)).getPath().c_str());
    }
}

bool ZRUpdateInstaller::unpack(const ZRPackageInfo& package, const String& archive) {
    clearLeftovers(package);
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
        if (runProgram(
                unzip,
                {"unzip", "-q", "-o", archive, "install", "readme", "install-package", "-d", dir},
                packageFailureLine("Install 2", package), quiet)) {
            return true;
        }
        logInfo(packageFailureLine("Install 3", package));
        return false;
    }
    if (!runProgram(unzip, {"unzip", "-q", "-o", archive, "-d", dir},
                    packageFailureLine("Install4 ", package), quiet)) {
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

    ZRPackageInfo held(package);
    held.path = target;
    String checked;
    if (!packageFolderIn(held, heldBackRoot(), checked)) return false;

    // An earlier copy of the same package goes first. When it cannot, the
    // move would put the package inside it, among its old files: the
    // package is not held back then.
    String removal("rm path ");
    removal.append(target);
    if (!SafeOpen::removeTree(checked.c_str())) {
        logInfo(removal.append(") failed"));
        return false;
    }
    logInfo(removal.append(") success"));

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
    if (!runProgram(ZRPaths::MV, {"mv", "-f", package.path, target},
                    String(moveResult).append(") failed"))) {
        logInfo(moveResult.append(") failed"));
        return false;
    }
    logInfo(moveResult.append(") success"));
    package.runResult = kHeldBack;
    package.path = target;
    return true;
}
