#ifndef ZR_UPDATE_PARSER_H
#define ZR_UPDATE_PARSER_H

#include "String.h"
#include "Vector.h"
#include "store/ZRPackageInfo.h"
#include "store/ZRServer.h"
#include "store/ZRXmlDocument.h"

class OutputStream;

// Reads the update protocol's structures out of a parsed document: result
// code, server list and package list of an update answer, and the package
// lists kept in the state files.
//
// The readers look only at a document whose last parse succeeded: a
// truncated or broken answer yields -1 or an empty result, never a part of a
// package list.
class ZRUpdateParser : public ZRXmlDocument {
public:
    // Attribute `code` of /Result, read by the number rule of parseDecimal;
    // -1 when it is missing or empty or nothing is loaded. A code that breaks
    // the rule throws Exception "invalid dec number".
    int getResultCode() const;

    // Attribute `status` of /Result; "" when missing.
    String getResultStatus() const;

    // Clears `out`, then appends one server per child of /ServerList that has
    // a `host` attribute, in order. The number of servers, or -1 when nothing
    // is loaded or there is no /ServerList.
    int getServerList(Vector<ZRServer>& out) const;

    // Clears `out`, then appends one record per readable PackageInfo child of
    // /PackageInfoList (or of the root element when `rootIsList`), in
    // document order. A PackageInfo with fewer than 5 child elements is
    // skipped. The number of packages, or -1 when nothing is loaded or the
    // list element is missing. A number attribute that breaks the number
    // rule of parseDecimal throws Exception "invalid dec number".
    int getPackageList(Vector<ZRPackageInfo>& out, bool rootIsList) const;

    // The packages an update answer offers: as getPackageList reads
    // /PackageInfoList, but without the local folder, file name and results
    // a server may have written into them (the download and the installer
    // set those).
    int getOfferedPackages(Vector<ZRPackageInfo>& out) const;
};

// Writes `packages` as a package list document (root PackageInfoList, one
// PackageInfo per package, in order) to `out`. Returns the number of
// packages; with none nothing is written and the result is 0; -1 when the
// document cannot be made.
int writePackageList(OutputStream& out, const Vector<ZRPackageInfo>& packages);

#endif
