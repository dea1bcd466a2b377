#include "store/ZRProduct.h"

ZRProductInfo::ZRProductInfo() : id(0) {}

ZRProduct::ZRProduct() {}

ZRProduct::ZRProduct(const ZRVersionInfo& version, const ZRProductInfo& info)
    : version(version), info(info) {}
