#ifndef ZR_STATE_FILES_H
#define ZR_STATE_FILES_H

// Names of the state files, relative to the home directory; the full path
// is ZRPaths::HOME + "/" + name (ZRStoreFile::homeFile).
namespace ZRStateFiles {
constexpr const char* INVENTORY = "conf/zr-inventory";
constexpr const char* MODULE_INVENTORY = "conf/zr-module-inventory";
constexpr const char* NETWORK = "conf/zr-network";
constexpr const char* MODULE_NETWORK = "conf/zr-module-network";
constexpr const char* DELAY_PACKAGES = "conf/zr-delay-packages";
constexpr const char* PARTIAL_FILES = "conf/zr-partial-files";
constexpr const char* PARTIAL_CONFIG = "conf/zr-partial-config";
constexpr const char* LAST_UPDATE = "conf/zr-lastupdate";
constexpr const char* NEW_PACKAGES = "conf/zr-newpkgs";
// The administrator's public key for package signatures; packages are
// checked against it only when it is there.
constexpr const char* PACKAGE_KEY = "conf/zr-package-key.pem";
constexpr const char* LOG = "logs/zrupdate.log";
}  // namespace ZRStateFiles

#endif
