#ifndef ZR_PLATFORM_RECORD_H
#define ZR_PLATFORM_RECORD_H

#include "String.h"

// The platform the inventory describes: the attributes of its PlatformInfo
// element (system name, distribution vendor, machine architecture, release).
struct PlatformRecord {
    String os;
    String vendor;
    String arch;
    String version;
};

#endif
