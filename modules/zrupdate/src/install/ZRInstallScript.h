#ifndef ZR_INSTALL_SCRIPT_H
#define ZR_INSTALL_SCRIPT_H

#include "String.h"

class ZRPackageInfo;

// Runs the install script `scriptPath` of an unpacked package in a child
// process and waits for it. Every backslash of the path becomes "/"; the
// script sees as its name the part after the last "/", then "-d" and the
// product's install path (only when that is not empty), "-s" and the
// package's directory. A script that cannot be started logs
// "execl:" + its path and ends the child with 127 for a permission refusal,
// 128 otherwise. Returns the raw wait status, -1 when no child was started.
int runInstallScript(const String& scriptPath, const ZRPackageInfo& package);

// "Install " + the product's description + " (" + the version text + ") "
// style failure line: `prefix` + desc + " (" + version + ") failed".
String packageFailureLine(const char* prefix, const ZRPackageInfo& package);

#endif
