#include "store/ZRPackageInfo.h"

ZRPackageInfo::ZRPackageInfo() : size(0), downloadResult(0), runResult(0) {}
