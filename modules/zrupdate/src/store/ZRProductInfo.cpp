#include "store/ZRProductInfo.h"

ZRProductInfo::ZRProductInfo() : id(0) {}
