#ifndef ZR_SIZE_LIMIT_H
#define ZR_SIZE_LIMIT_H

#include "Vector.h"

// When an interrupted download may be resumed: packages of at least
// `minSize` bytes, for the products listed in `ids`.
class SizeLimit {
public:
    long minSize;
    Vector<long> ids;

    // minSize 0, no ids.
    SizeLimit();
};

#endif
