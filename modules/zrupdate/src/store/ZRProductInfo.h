#ifndef ZR_PRODUCT_INFO_H
#define ZR_PRODUCT_INFO_H

#include "String.h"

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

#endif
