#ifndef ZR_DELAY_PACKAGES_H
#define ZR_DELAY_PACKAGES_H

#include "String.h"
#include "Vector.h"
#include "store/ZRPackageInfo.h"

class ZRUpdateParser;

// The delay-package list "conf/zr-delay-packages": packages an update run
// downloaded and unpacked but whose install script asked to be run later.
// The `-P` command lists them, installs one or removes them; the update run
// saves new ones. Entries whose product id is -1 are dropped ones.

// The `-P` command. `action` is "status" (prints the list, or the entries of
// product `id`, and leaves the printed text in `action`), "install" (runs
// the script of product `id`'s entry, removes the entry and records the
// product in the inventory for results 0 and 1) or "remove" (drops the
// entries of `id`, all for 0, deleting their files when `removeFiles`),
// compared without regard to case; anything else does nothing. Returns 0,
// the script's 1 or 2, -1 on failure, -2 when the inventory could not be
// changed after an install.
int delayPackages(long id, String& action, bool removeFiles);

// Runs "install-package" of a held-back package: its exit code 0, 1 or 2,
// else -1.
int installDelayPackage(const ZRPackageInfo& pkg);

// Lists `pkg` in place of any earlier entry of its product. 0, or -1 when
// the list could not be written (the previous list then stays).
int saveDelayPackage(const ZRPackageInfo& pkg, bool removeFiles);

// Parses the list into `doc` and its entries into `out`: 0, or -1 when the
// file cannot be read or parsed.
int loadDelayPackages(ZRUpdateParser& doc, Vector<ZRPackageInfo>& out);

// Writes the entries not dropped as a package list document to `path`,
// replacing the file whole: 0, or -1 on failure.
int writePackages(Vector<ZRPackageInfo>& list, const String& path);

#endif
