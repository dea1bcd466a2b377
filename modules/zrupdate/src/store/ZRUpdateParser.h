#ifndef ZR_UPDATE_PARSER_H
#define ZR_UPDATE_PARSER_H

#include "String.h"
#include "Vector.h"
#include "ZRObject.h"
#include "store/ZRPackageInfo.h"
#include "store/ZRServer.h"

class InputStream;
class OutputStream;
class XMLParser;
class XMLTree;

// Holds one parsed XML document and reads the update protocol's structures
// out of it: result code, server list and package list of an update answer,
// and the package lists kept in the state files. The stores keep their
// documents in one too and read them through getTree().
//
// The readers look only at a document whose last parse succeeded: a
// truncated or broken answer yields -1 or an empty result, never a part of a
// package list.
class ZRUpdateParser : public ZRObject {
public:
    ZRUpdateParser();
    ~ZRUpdateParser() override;

    ZRUpdateParser(const ZRUpdateParser&) = delete;
    ZRUpdateParser& operator=(const ZRUpdateParser&) = delete;

    // Drop the previous document, parse a new one; the result of the parse.
    bool parse(const String& text);
    bool parse(InputStream& in);

    // True when the last parse succeeded (a document is loaded).
    bool isLoaded() const;

    // The parsed tree, owned by this object; null before the first parse.
    // After a failed parse it holds what was built before the error.
    XMLTree* getTree() const;

    // The root element's name; "" when nothing is loaded.
    String getRootName() const;

    // Attribute `code` of /Result as a decimal number; -1 when it is missing
    // or empty or nothing is loaded. A code that is not a decimal number
    // throws Exception "invalid dec number".
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
    // list element is missing. A number attribute that is not a decimal
    // number throws Exception "invalid dec number".
    int getPackageList(Vector<ZRPackageInfo>& out, bool rootIsList) const;

private:
    // Drops the previous document and makes a new parser; false when none
    // can be made.
    bool freshParser();

    XMLParser* parser;
    bool loaded;
};

// Writes `packages` as a package list document (root PackageInfoList, one
// PackageInfo per package, in order) to `out`. Returns the number of
// packages; with none nothing is written and the result is 0; -1 when the
// document cannot be made.
int writePackageList(OutputStream& out, const Vector<ZRPackageInfo>& packages);

#endif
