#ifndef ZR_PRODUCT_H
#define ZR_PRODUCT_H

#include "store/ZRProductInfo.h"
#include "store/ZRVersionInfo.h"

// One product of the inventory: its installed version and its description.
class ZRProduct {
public:
    ZRVersionInfo version;
    ZRProductInfo info;

    ZRProduct();
    ZRProduct(const ZRVersionInfo& version, const ZRProductInfo& info);
};

#endif
