#ifndef ZR_PRODUCT_H
#define ZR_PRODUCT_H

#include "String.h"
#include "store/ZRVersionInfo.h"

// What identifies a registered product. `id` is unique in the inventory;
// `parent` holds a list of parent product ids as free text.
class ZRProductInfo {
  public:
    long id;
    String name;
    String installPath;
    String langCode;
    String OEM;
    String desc;
    String serialNo;
    String parent;

    // id 0, every text empty.
    ZRProductInfo();
};

// One product of the inventory: its installed version and its description.
class ZRProduct {
  public:
    ZRVersionInfo version;
    ZRProductInfo info;

    ZRProduct();
    ZRProduct(const ZRVersionInfo& version, const ZRProductInfo& info);
};

#endif
