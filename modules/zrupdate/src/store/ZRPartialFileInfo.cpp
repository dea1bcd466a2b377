#include "store/ZRPartialFileInfo.h"

ZRPartialFileInfo::ZRPartialFileInfo() : productID(0), size(0), actualSize(0) {}
