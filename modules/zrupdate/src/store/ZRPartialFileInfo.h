#ifndef ZR_PARTIAL_FILE_INFO_H
#define ZR_PARTIAL_FILE_INFO_H

#include "String.h"

// An interrupted download that may be resumed.
class ZRPartialFileInfo {
public:
    long productID;   // product the package belongs to
    String url;       // download address of the package
    String path;      // local file holding the part already received
    long size;        // full size of the package in bytes
    long actualSize;  // bytes received so far

    // Numbers 0, texts empty.
    ZRPartialFileInfo();
};

#endif
