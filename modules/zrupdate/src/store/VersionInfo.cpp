#include "store/VersionInfo.h"

VersionInfo::VersionInfo() : numeric(false) {}

VersionInfo::VersionInfo(const String& version, const String& status, const String& desc)
    : version(version), status(status), desc(desc), numeric(false) {}

bool VersionInfo::isValid() const {
    return !version.isEmpty();
}

String VersionInfo::toString() const {
    String text(version);
    if (!status.isEmpty()) text.append(',').append(status);
    if (!desc.isEmpty()) text.append(',').append(desc);
    return text;
}
