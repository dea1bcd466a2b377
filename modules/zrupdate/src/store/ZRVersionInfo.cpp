#include "store/ZRVersionInfo.h"

#include "Vector.h"
#include "store/ZRDecimal.h"

ZRVersionInfo::ZRVersionInfo() : major(0), minor(0), patchLevel(0), buildNum(0) {}

ZRVersionInfo::ZRVersionInfo(const String& version, const String& status, const String& desc)
    : VersionInfo(version, status, desc), major(0), minor(0), patchLevel(0), buildNum(0) {
    if (version.isEmpty()) return;
    Vector<String> parts;
    version.split(parts, ".-_");
    int count = parts.size();
    if (count < 2) return;

    // Parse everything first so that a bad part leaves no half-set numbers
    // behind in an object the caller might still look at.
    long first = parseDecimal(parts[0]);
    long second = parseDecimal(parts[1]);
    long patch = 0;
    long build = 0;
    if (count == 4) {
        patch = parseDecimal(parts[2]);
        build = parseDecimal(parts[3]);
    } else if (count >= 3) {
        build = parseDecimal(parts[2]);
    }
    major = first;
    minor = second;
    patchLevel = patch;
    buildNum = build;
    numeric = true;
}

ZRVersionInfo::ZRVersionInfo(long major, long minor, long patchLevel, long buildNum,
                             const String& status, const String& desc)
    : VersionInfo(String(), status, desc),
      major(major),
      minor(minor),
      patchLevel(patchLevel),
      buildNum(buildNum) {
    version.append(major)
        .append('.')
        .append(minor)
        .append('.')
        .append(patchLevel)
        .append('.')
        .append(buildNum);
    numeric = true;
}

ZRVersionInfo::ZRVersionInfo(const VersionInfo& other)
    : VersionInfo(other), major(0), minor(0), patchLevel(0), buildNum(0) {}
