#ifndef ZR_PACKAGE_FOLDERS_H
#define ZR_PACKAGE_FOLDERS_H

#include "String.h"

class ZRPackageInfo;

// Where packages may lie, and the only ways their folders are checked and
// removed. A package is downloaded and unpacked in the work directory's
// folder for its product (<work dir>/<product id>/<version>); a held-back
// one lives in the same place under the home (<home><work dir>/...). A
// package list may name any path: nothing is unpacked, run or deleted
// outside these folders, whatever the path's text, dots or links say.

// The folder of held-back packages under the home: the home followed by the
// work directory.
String heldBackRoot();

// Whether the package's folder leads strictly inside `root`/<product id>,
// links and dots resolved; `folder` then gets that folder written plainly
// from `root`. Otherwise the refusal is logged and false returned.
bool packageFolderIn(const ZRPackageInfo& package, const String& root, String& folder);

// Removes `dir` with everything under it when it leads strictly inside
// `root` (never `root` itself), without following links; true when it is
// gone. Anything else is left alone and false returned.
bool removeInside(const String& dir, const String& root);

#endif
