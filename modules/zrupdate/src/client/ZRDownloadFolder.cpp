#include "client/ZRDownloadFolder.h"

#include <sys/stat.h>

#include "Vector.h"
#include "io/File.h"
#include "io/SafeOpen.h"

namespace {

// The text after the last "/" of `url` (all of it when there is none); ""
// when the URL ends in "/".
String lastPart(const String& url) {
    int start = url.lastIndexOf('/') + 1;
    return start < url.length() ? url.substring(start) : String();
}

bool isPlainName(const String& name) {
    return !name.isEmpty() && !name.equals(".") && !name.equals("..");
}

// Whether `path` names a folder itself (not a link to one), or anything
// else. The work directory lies in /tmp, and a link there is never followed.
bool isRealFolder(const String& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isOtherThanFolder(const String& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

}  // namespace

ZRDownloadFolder::ZRDownloadFolder(const String& workDir, long productId, const String& version,
                                   const String& url)
    : productPath(workDir + "/" + String().append(productId)), fileName(lastPart(url)) {
    String name(version);
    name.replace('.', '_');
    path = productPath + "/" + name;
    usableVersion = !name.isEmpty() && name.indexOf('/') < 0;
}

bool ZRDownloadFolder::isUsable() const {
    return usableVersion && isPlainName(fileName);
}

bool ZRDownloadFolder::prepare() const {
    File folder(path);
    if (isOtherThanFolder(productPath) || isOtherThanFolder(path)) return false;
    if (!folder.mkdirs() || !isRealFolder(path)) return false;
    Vector<String> names;
    folder.list(names);
    for (int i = 0; i < names.size(); i++) {
        if (!SafeOpen::removeTree(File(path, names.elementAt(i)).getPath().c_str())) return false;
    }
    return true;
}

void ZRDownloadFolder::remove() const {
    if (!isRealFolder(productPath)) return;
    SafeOpen::removeTree(path.c_str());
    // Only an empty product folder goes: another package of the same
    // product may already wait in it for installation.
    File(productPath).deleteFile();
}
