#ifndef ZR_PACKAGE_INFO_H
#define ZR_PACKAGE_INFO_H

#include "String.h"
#include "store/ZRProduct.h"
#include "store/ZRVersionInfo.h"

// One package of an update answer or of a package state file. After
// construction every text is empty and every number 0.
class ZRPackageInfo {
public:
    String path;            // local directory the package is downloaded into
    String file;            // local file name of the package
    ZRVersionInfo version;  // the version the package brings
    ZRProductInfo product;  // the product the package belongs to
    String arch;            // platform the package is meant for
    String os;
    String vendor;
    String platformVersion;
    String url;            // full URL, or a server path for the download request
    String md5;            // expected MD5 digest in hexadecimal (any case)
    String signature;      // Base64 signature of the package file; may be empty
    long size;             // package file size in bytes
    String time;           // free text from the server
    int downloadResult;    // 1 once downloaded and verified, else 0
    String format;         // package format ("zip")
    String installScript;  // install script inside the package
    int runResult;         // 1 installed, -1 held back as delay package, 0 otherwise

    ZRPackageInfo();

    // Empties what only this machine may say about the package: where it
    // lies (`path`, `file`) and how far it got (`downloadResult`,
    // `runResult`). An offer from a server passes through here, so that
    // nothing it names is installed without being downloaded and checked.
    void clearLocalState();
};

#endif
