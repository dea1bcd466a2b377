#ifndef ZR_PACKAGE_FILE_H
#define ZR_PACKAGE_FILE_H

#include "String.h"
#include "Vector.h"
#include "store/ZRPackageInfo.h"

// Writes a package list document (root PackageInfoList, one PackageInfo per
// package in the layout of writePackageList) as the new content of `path`:
// the delay-package list "conf/zr-delay-packages" and the new-package list
// "conf/zr-newpkgs". Entries whose product id is -1 are dropped ones and are
// left out; with no entry left the document is the empty PackageInfoList.
//
// The file is replaced atomically, so a failed write keeps the previous list
// whole. Logs "ZRUpdate: save package id: " + id for every entry written;
// returns 0 on success and -1 on failure, logging
// "ZRUpdate: save package file failed: " + the reason.
int writePackageDocument(const Vector<ZRPackageInfo>& list, const String& path);

// The text of that document, with the same log lines; "" when it cannot be
// made. For a file that is not a state document (the delay-status file).
String packageDocumentText(const Vector<ZRPackageInfo>& list);

#endif
