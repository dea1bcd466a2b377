#include "install/ZRDelayPackages.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "Exception.h"
#include "ZRPaths.h"
#include "client/ZRPackageCheck.h"
#include "install/ZRInstallScript.h"
#include "install/ZRPackageFolders.h"
#include "io/SafeOpen.h"
#include "store/ZRPackageFile.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "store/ZRUpdateParser.h"
#include "store/ZRUpdateStore.h"
#include "util/Log.h"
#include "util/PrintText.h"
#include "xml/XMLTree.h"

namespace {

const long kDropped = -1;

void logDebug(const char* text, long id) {
    String message(text);
    ZRStoreFile::logDebug(message.append(id));
}

String delayListPath() {
    return ZRStoreFile::homeFile(ZRStateFiles::DELAY_PACKAGES);
}

bool writeAll(int fd, const String& text) {
    const char* data = text.c_str();
    long left = text.length();
    while (left > 0) {
        ssize_t n = write(fd, data, left);
        if (n <= 0) return false;
        data += n;
        left -= n;
    }
    return true;
}

// The delay-status file lies in a folder every user can write to, and the
// program runs as root: it is created anew as a plain file of this user,
// whatever somebody put at its name (removed, never followed), so that
// nobody else can either redirect or block the status. The document is
// written to it and read back through the same descriptor, then the name is
// removed. Returns the text read back, or false (with `why`).
bool passThroughStatusFile(const String& text, String& readBack, String& why) {
    const char* path = ZRPaths::DELAY_STATUS_FILE;
    int fd = SafeOpen::claimFile(path, 0600, why);
    if (fd < 0) return false;
    bool ok = ftruncate(fd, 0) == 0 && writeAll(fd, text) && lseek(fd, 0, SEEK_SET) == 0;
    std::string bytes;
    char buffer[4096];
    ssize_t n = 0;
    while (ok && (n = read(fd, buffer, sizeof buffer)) > 0) bytes.append(buffer, n);
    ok = ok && n == 0;
    if (!ok) why = String(path).append(": cannot be written");
    close(fd);
    unlink(path);
    readBack = String(bytes.c_str());
    return ok;
}

int statusAction(long id, String& action, ZRUpdateParser& doc, Vector<ZRPackageInfo>& list) {
    logDebug("ZRUpdate: status delay package id: ", id);
    if (id != 0) {
        for (int i = 0; i < list.size(); i++) {
            ZRPackageInfo& entry = list.elementAt(i);
            if (entry.product.id == kDropped) continue;
            logDebug("ZRUpdate:checking id:", entry.product.id);
            if (entry.product.id != id) entry.product.id = kDropped;
        }
        String text = packageDocumentText(list);
        String readBack;
        String why;
        if (text.isEmpty() || !passThroughStatusFile(text, readBack, why) || !doc.parse(readBack)) {
            String message("ZRUpdate: status delay package, failed to write packages to ");
            message.append(ZRPaths::DELAY_STATUS_FILE);
            if (!why.isEmpty()) message.append(" (").append(why).append(")");
            ZRStoreFile::logDebug(message);
            return -1;
        }
    }
    action = String();
    doc.getTree()->toString(action);
    printText(action);
    return 0;
}

// The folder that holds a held-back package's directory: its path up to the
// last "/".
String packageHolder(const String& path) {
    int slash = path.lastIndexOf('/');
    return slash < 0 ? path : path.substring(0, slash);
}

int removeAction(long id, Vector<ZRPackageInfo>& list, bool removeFiles) {
    logDebug("ZRUpdate: remove delay package id: ", id);
    if (list.isEmpty()) {
        ZRStoreFile::logDebug(String("ZRUpdate: NO delay package "));
        return 0;
    }
    Vector<String> holders;
    for (int i = 0; i < list.size(); i++) {
        ZRPackageInfo& entry = list.elementAt(i);
        if (entry.product.id == kDropped || (id != 0 && entry.product.id != id)) continue;
        entry.product.id = kDropped;
        if (removeFiles) holders.add(packageHolder(entry.path));
    }
    // The list is written first, so that it never names files already gone.
    if (writePackages(list, delayListPath()) != 0) return -1;
    // Only ever inside the folder of held-back packages, whatever the
    // entries' paths say.
    for (int i = 0; i < holders.size(); i++) {
        const String& holder = holders.elementAt(i);
        if (!removeInside(holder, heldBackRoot())) {
            String message("removing temporary directory: ");
            ZRStoreFile::logDebug(message.append(holder).append(" failed"));
        }
    }
    return 0;
}

// With a package key, a held-back package runs only while its archive still
// passes the checks it passed when it was downloaded. Only an archive in the
// held-back packages' own folder is read.
bool heldPackageIsIntact(const ZRPackageInfo& entry) {
    if (!ZRPackageCheck::keyConfigured()) return true;
    String folder;
    if (!packageFolderIn(entry, heldBackRoot(), folder)) return false;
    ZRPackageCheck check;
    ZRPackageCheck::Outcome outcome = check.checkFile(folder + "/" + entry.file, entry);
    if (outcome == ZRPackageCheck::PASSED) return true;
    ZRPackageCheck::logRefusal(outcome, entry);
    return false;
}

int installAction(long id) {
    if (id == 0) return -1;
    logDebug("ZRUpdate: install delay package id: ", id);
    String status("status");
    if (delayPackages(id, status, true) != 0) return -1;

    ZRUpdateParser doc;
    Vector<ZRPackageInfo> entries;
    try {
        if (doc.parse(status)) doc.getPackageList(entries, false);
    } catch (Exception&) {
        entries.clear();
    }
    if (entries.size() != 1) {
        logDebug("ZRUpdate: failed to install delay package, NO such id: ", id);
        return -1;
    }
    const ZRPackageInfo& entry = entries.elementAt(0);
    // A refused package goes like one whose script failed: its entry and
    // files are removed and the inventory stays.
    int result = heldPackageIsIntact(entry) ? installDelayPackage(entry) : -1;
    String remove("remove");
    delayPackages(id, remove, true);
    if (result != 0 && result != 1) return result;
    ZRProduct product(entry.version, entry.product);
    return ZRUpdateStore::instance().replaceProduct(id, product) ? result : -2;
}

}  // namespace

int delayPackages(long id, String& action, bool removeFiles) {
    ZRUpdateParser doc;
    Vector<ZRPackageInfo> list;
    if (loadDelayPackages(doc, list) != 0) return -1;
    if (action.equalsIgnoreCase("install")) return installAction(id);
    if (action.equalsIgnoreCase("remove")) return removeAction(id, list, removeFiles);
    if (action.equalsIgnoreCase("status")) return statusAction(id, action, doc, list);
    return 0;
}

int installDelayPackage(const ZRPackageInfo& pkg) {
    // Only a package held back by an update run is run, never a script
    // wherever else the list may point.
    ZRPackageInfo held(pkg);
    if (!packageFolderIn(pkg, heldBackRoot(), held.path)) return -1;
    String script(held.path);
    script.append("/install-package");
    int status = runInstallScript(script, held);
    bool exited = status >= 0 && WIFEXITED(status);
    int code = exited ? WEXITSTATUS(status) : -1;
    String message("install script exit status: ");
    ZRStoreFile::logDebug(message.append(status).append("/").append(code));
    if (exited && code >= 0 && code <= 2) return code;
    Log::getFileLog()->log(packageFailureLine("Install ", pkg), Log::LEVEL_INFO);
    return -1;
}

int saveDelayPackage(const ZRPackageInfo& pkg, bool removeFiles) {
    // Product id 0 names no product: removing "its" entries would drop all.
    if (pkg.product.id != 0) {
        String remove("remove");
        delayPackages(pkg.product.id, remove, removeFiles);
    }
    logDebug("ZRUpdate: package id: ", pkg.product.id);
    ZRUpdateParser doc;
    Vector<ZRPackageInfo> list;
    if (loadDelayPackages(doc, list) != 0) return -1;
    list.add(pkg);
    return writePackages(list, delayListPath());
}

int loadDelayPackages(ZRUpdateParser& doc, Vector<ZRPackageInfo>& out) {
    out.clear();
    try {
        if (!ZRStoreFile::read(doc, delayListPath()) || doc.getPackageList(out, false) < 0)
            return -1;
    } catch (Exception& e) {
        ZRStoreFile::logDebug(e.getMessage());
        out.clear();
        return -1;
    }
    return 0;
}

int writePackages(Vector<ZRPackageInfo>& list, const String& path) {
    return writePackageDocument(list, path);
}
