#include "store/ZRPackageFile.h"

#include "Exception.h"
#include "io/StringOutputStream.h"
#include "store/ZRStoreFile.h"
#include "store/ZRUpdateParser.h"

String packageDocumentText(const Vector<ZRPackageInfo>& list) {
    Vector<ZRPackageInfo> kept;
    for (int i = 0; i < list.size(); i++) {
        const ZRPackageInfo& package = list.elementAt(i);
        if (package.product.id == -1) continue;
        String message("ZRUpdate: save package id: ");
        message.append(package.product.id);
        ZRStoreFile::logDebug(message);
        kept.add(package);
    }

    String text;
    if (kept.size() == 0) {
        // The list writer writes nothing for no packages; the state file
        // keeps its root element all the same.
        text = ZRStoreFile::emptyDocumentText("PackageInfoList");
        if (text.isEmpty()) {
            ZRStoreFile::logDebug(String("ZRUpdate: Cannot create default XML tree"));
        }
    } else {
        StringOutputStream out;
        if (writePackageList(out, kept) >= 0) text = out.getString();
    }
    return text;
}

int writePackageDocument(const Vector<ZRPackageInfo>& list, const String& path) {
    String text = packageDocumentText(list);
    if (text.isEmpty()) return -1;
    return ZRStoreFile::writeText(text, path, String("ZRUpdate: save package file failed: ")) ? 0
                                                                                              : -1;
}
