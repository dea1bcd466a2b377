#include "install/ZRPackageFolders.h"

#include "ZRPaths.h"
#include "io/ContainedPath.h"
#include "io/SafeOpen.h"
#include "store/ZRPackageInfo.h"
#include "util/Log.h"

String heldBackRoot() {
    String root(ZRPaths::HOME);
    return root.append(ZRPaths::WORK_DIR);
}

bool packageFolderIn(const ZRPackageInfo& package, const String& root, String& folder) {
    String productFolder(root);
    productFolder.append("/").append(package.product.id);
    String rest;
    // The folder itself is resolved too: a link there would send unzip and
    // the script elsewhere.
    if (!ContainedPath::isInside(package.path, productFolder, true, rest)) {
        String message("ZRUpdate: refusing a package folder outside ");
        message.append(productFolder).append(": ").append(package.path);
        Log::getFileLog()->log(message, Log::LEVEL_INFO);
        return false;
    }
    folder = productFolder.append("/").append(rest);
    return true;
}

bool removeInside(const String& dir, const String& root) {
    String rest;
    // A link at the last entry is removed itself, so it is not followed.
    if (dir.isEmpty() || !ContainedPath::isInside(dir, root, false, rest)) return false;
    String inside(root);
    return SafeOpen::removeTree(inside.append("/").append(rest).c_str());
}
