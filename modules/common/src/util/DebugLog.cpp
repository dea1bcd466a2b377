#include "util/Log.h"

namespace {
const int DEBUG_MAX_SIZE_KB = 1024;
const int DEBUG_MAX_COUNT = 100;
}  // namespace

DebugLog::DebugLog(OutputStream* out)
    : RotationFileLog(out),
      enabled(false),
      maxSizeKB(DEBUG_MAX_SIZE_KB),
      maxCount(DEBUG_MAX_COUNT) {}

DebugLog::DebugLog(const char* path)
    : RotationFileLog(path),
      enabled(false),
      maxSizeKB(DEBUG_MAX_SIZE_KB),
      maxCount(DEBUG_MAX_COUNT) {}

void DebugLog::beginWrite() {
    beginWriteWithin(maxSizeKB);
}

void DebugLog::endWrite() {
    endWriteWithin(maxSizeKB);
}

String DebugLog::nextName(const String& name) {
    return nextNameWithin(name, maxCount);
}

// The debug log's copies are counted in its own size, not the main log's.
void DebugLog::trim(int keep) {
    trimWithin(keep, maxSizeKB);
}

void DebugLog::setLimits(int sizeKB, int count) {
    maxSizeKB = sizeKB > 0 ? sizeKB : 0;
    if (count > 0) maxCount = count;
}
