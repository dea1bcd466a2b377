#include "store/ZRProduct.h"

ZRProduct::ZRProduct() {}

ZRProduct::ZRProduct(const ZRVersionInfo& version, const ZRProductInfo& info)
    : version(version), info(info) {}
