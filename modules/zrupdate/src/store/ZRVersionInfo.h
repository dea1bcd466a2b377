#ifndef ZR_VERSION_INFO_H
#define ZR_VERSION_INFO_H

#include "String.h"
#include "store/VersionInfo.h"

// A version with the four numbers major.minor.patchLevel.buildNum.
class ZRVersionInfo : public VersionInfo {
public:
    long major;
    long minor;
    long patchLevel;
    long buildNum;

    // Empty text, not numeric, all numbers 0.
    ZRVersionInfo();

    // From text: keeps the three strings. A non-empty text is split at every
    // '.', '-' or '_'; with two or more parts the first two are major and
    // minor and the record is numeric; exactly four parts give patchLevel and
    // buildNum, three or five and more give buildNum = the third. One part
    // leaves the record non-numeric with numbers 0.
    // Parts are read by the number rule of parseDecimal, so "5.0GA" is
    // 5.0.0.0 and "1.2.3x" is 1.2.0.3; a part that breaks that rule ("1.2a")
    // throws Exception "invalid dec number".
    explicit ZRVersionInfo(const String& version, const String& status = String(),
                           const String& desc = String());

    // From numbers: the text becomes "major.minor.patchLevel.buildNum";
    // numeric.
    ZRVersionInfo(long major, long minor, long patchLevel, long buildNum,
                  const String& status = String(), const String& desc = String());

    // From a plain version: copies the strings and the flag, numbers 0.
    explicit ZRVersionInfo(const VersionInfo& other);
};

#endif
