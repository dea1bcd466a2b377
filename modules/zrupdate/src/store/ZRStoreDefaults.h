#ifndef ZR_STORE_DEFAULTS_H
#define ZR_STORE_DEFAULTS_H

#include "String.h"
#include "store/PlatformRecord.h"

// Detects the platform of this machine: uname's system name, machine and
// release, and for Linux the distribution vendor. False (all empty) when
// uname fails.
bool detectPlatform(PlatformRecord& out);

// The default inventory: the detected platform and the updater's own product
// 1000 ("Updater", version 1.0.0.0 beta). Text form of the document.
String defaultInventoryText();

// Default documents. Each returns 0 on success and -1 when the document
// cannot be made or written (the reason is logged). The forms without a path
// write the standard file under the home directory.
int createDefaultInventory(const char* path);
int createDefaultInventory();
int createDefaultDelayPackages(const char* path);
int createDefaultDelayPackages();
int createDefaultPartialFiles(const char* path);
int createDefaultPartialFiles();

#endif
