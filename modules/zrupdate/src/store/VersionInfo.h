#ifndef ZR_PLAIN_VERSION_INFO_H
#define ZR_PLAIN_VERSION_INFO_H

#include "String.h"

// A version as a product or package states it: the version text, a status
// word ("beta", ...) and free text. `numeric` tells whether the record also
// carries the four numbers of ZRVersionInfo.
class VersionInfo {
public:
    String version;
    String status;
    String desc;
    bool numeric;

    VersionInfo();
    VersionInfo(const String& version, const String& status, const String& desc);

    // A version is usable when its text is not empty.
    virtual bool isValid() const;

    // The form used in messages: version, then ",status" and ",desc" when
    // they are not empty, e.g. "1.0.0.0,beta,beta released on 2003/12/31".
    String toString() const;

    // Records are plain values, copied into and out of vectors; they are
    // never deleted through a base pointer, so isValid() stays the only
    // virtual operation.
};

#endif
