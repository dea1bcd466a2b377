#ifndef ZR_UPDATE_INSTALLER_H
#define ZR_UPDATE_INSTALLER_H

#include "String.h"
#include "Vector.h"
#include "ZRObject.h"
#include "store/ZRPackageInfo.h"

class InputStream;

// Installs downloaded and verified packages: unpacks each zip archive with
// the system's unzip, runs the install script inside it and records the
// outcome in the package's runResult: 1 installed, -1 held back (its script
// exited 1; the unpacked files were moved under the home directory and the
// package path now names them), 0 failed or skipped. External programs run
// as child processes by absolute path, never through a shell.
class ZRUpdateInstaller : public ZRObject {
public:
    ZRUpdateInstaller();
    // The packages of a package list document (root PackageInfoList), as the
    // update run writes it to "conf/zr-newpkgs"; none when it does not parse.
    explicit ZRUpdateInstaller(InputStream& in);
    explicit ZRUpdateInstaller(const String& text);

    // Installs every package in order; returns how many ended installed or
    // held back. A failed package never stops the others.
    int install();

    int getPackageCount() const { return packages.size(); }
    const ZRPackageInfo& getPackage(int i) const { return packages.elementAt(i); }
    const Vector<ZRPackageInfo>& getPackages() const { return packages; }

private:
    enum class Outcome { Installed, HeldBack, Failed };

    // True when the package ended installed or held back.
    bool installPackage(ZRPackageInfo& package);
    Outcome unpackAndRun(ZRPackageInfo& package);
    void removeProductFolder(const ZRPackageInfo& package);
    void clearLeftovers(const ZRPackageInfo& package);
    // Unpacks the archive; false (logged) when unzip failed.
    bool unpack(const ZRPackageInfo& package, const String& archive);
    // Moves the unpacked package under the home directory for a later
    // install; true when it is there.
    bool holdBack(ZRPackageInfo& package);

    Vector<ZRPackageInfo> packages;
};

#endif
