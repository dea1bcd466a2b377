#include "store/ZRPackageInfo.h"

ZRPackageInfo::ZRPackageInfo() : size(0), downloadResult(0), runResult(0) {}

void ZRPackageInfo::clearLocalState() {
    path.clear();
    file.clear();
    downloadResult = 0;
    runResult = 0;
}
