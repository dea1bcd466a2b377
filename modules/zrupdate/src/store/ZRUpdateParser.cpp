#include "store/ZRUpdateParser.h"

#include <memory>

#include "Exception.h"
#include "store/ZRDecimal.h"
#include "store/ZRStoreXml.h"
#include "util/Log.h"
#include "xml/XMLNode.h"
#include "xml/XMLTree.h"

using ZRStoreXml::attribute;
using ZRStoreXml::decimal;
using ZRStoreXml::numberAttribute;
using ZRStoreXml::readProductInfo;
using ZRStoreXml::readServers;
using ZRStoreXml::readVersion;
using ZRStoreXml::writeVersion;

namespace {

// A PackageInfo needs at least this many child elements to be read at all;
// one with fewer is an incomplete record and is skipped.
const int MIN_PACKAGE_CHILDREN = 5;

// The numbers kept in ints: cut to 32 bits, as the library's number parse
// does for every int it reads.
int smallNumber(const XMLNode& node, const char* name) {
    return static_cast<int>(numberAttribute(node, name, 0));
}

// Fills `package` from one PackageInfo element; false when the element has
// too few children to be a package. Children are recognised by name without
// regard to case, in any order; a later child of the same name wins.
bool readPackage(const XMLNode& element, ZRPackageInfo& package) {
    package = ZRPackageInfo();
    package.product.id = -1;
    package.path = attribute(element, "path");
    package.file = attribute(element, "file");

    int count = element.getChildCount();
    if (count < MIN_PACKAGE_CHILDREN) return false;
    for (int i = 0; i < count; ++i) {
        std::unique_ptr<XMLNode> child(element.getChild(i));
        if (!child) continue;
        String name = child->getName();
        if (name.equalsIgnoreCase("ProductInfo")) {
            readProductInfo(*child, package.product, -1);
        } else if (name.equalsIgnoreCase("ZRVersionInfo")) {
            package.version = readVersion(*child, true);
        } else if (name.equalsIgnoreCase("ExtVersionInfo")) {
            package.version = readVersion(*child, false);
        } else if (name.equalsIgnoreCase("PlatformInfo")) {
            package.arch = attribute(*child, "arch");
            package.os = attribute(*child, "os");
            package.vendor = attribute(*child, "vendor");
            package.platformVersion = attribute(*child, "version");
        } else if (name.equalsIgnoreCase("DownloadInfo")) {
            package.url = attribute(*child, "url");
            package.md5 = attribute(*child, "md5");
            package.signature = attribute(*child, "signature");
            package.time = attribute(*child, "time");
            package.size = numberAttribute(*child, "size", 0);
            package.downloadResult = smallNumber(*child, "result");
        } else if (name.equalsIgnoreCase("RunInfo")) {
            package.format = attribute(*child, "format");
            package.installScript = attribute(*child, "installScript");
            package.runResult = smallNumber(*child, "result");
        }
    }
    return true;
}

// Builds one PackageInfo element (the root of `element`, a view on it) with
// its five children in the order readers and people expect.
bool buildPackage(XMLTree& element, const ZRPackageInfo& p) {
    bool ok = element.setAttribute("/", "path", p.path, -1) &&
              element.setAttribute("/", "file", p.file, -1);

    ok = ok && element.addNode("/", "ProductInfo", -1) &&
         element.setAttribute("/ProductInfo", "id", decimal(p.product.id), -1) &&
         element.setAttribute("/ProductInfo", "name", p.product.name, -1) &&
         element.setAttribute("/ProductInfo", "desc", p.product.desc, -1) &&
         element.setAttribute("/ProductInfo", "installPath", p.product.installPath, -1);

    ok = ok && element.addNode("/", "PlatformInfo", -1) &&
         element.setAttribute("/PlatformInfo", "arch", p.arch, -1) &&
         element.setAttribute("/PlatformInfo", "os", p.os, -1) &&
         element.setAttribute("/PlatformInfo", "vendor", p.vendor, -1) &&
         element.setAttribute("/PlatformInfo", "version", p.platformVersion, -1);

    ok = ok && writeVersion(element, p.version);

    ok = ok && element.addNode("/", "DownloadInfo", -1) &&
         element.setAttribute("/DownloadInfo", "url", p.url, -1) &&
         element.setAttribute("/DownloadInfo", "md5", p.md5, -1) &&
         element.setAttribute("/DownloadInfo", "size", decimal(p.size), -1) &&
         element.setAttribute("/DownloadInfo", "time", p.time, -1) &&
         element.setAttribute("/DownloadInfo", "result", decimal(p.downloadResult), -1);
    // Written only when there is one, so the lists of a home without a
    // package key stay as they always were.
    if (ok && !p.signature.isEmpty()) {
        ok = element.setAttribute("/DownloadInfo", "signature", p.signature, -1);
    }

    ok = ok && element.addNode("/", "RunInfo", -1) &&
         element.setAttribute("/RunInfo", "format", p.format, -1) &&
         element.setAttribute("/RunInfo", "installScript", p.installScript, -1) &&
         element.setAttribute("/RunInfo", "result", decimal(p.runResult), -1);
    return ok;
}

}  // namespace

int ZRUpdateParser::getResultCode() const {
    if (!isLoaded()) return -1;
    String code;
    if (!getTree()->getAttribute("/Result", "code", code, -1) || code.isEmpty()) return -1;
    return static_cast<int>(parseDecimal(code));
}

String ZRUpdateParser::getResultStatus() const {
    String status;
    if (isLoaded()) getTree()->getAttribute("/Result", "status", status, -1);
    return status;
}

int ZRUpdateParser::getServerList(Vector<ZRServer>& out) const {
    out.clear();
    if (!isLoaded()) return -1;
    std::unique_ptr<XMLNode> list(getTree()->getNode("/ServerList", -1));
    if (!list || !list->isValid()) return -1;
    readServers(*list, out);
    return out.size();
}

int ZRUpdateParser::getPackageList(Vector<ZRPackageInfo>& out, bool rootIsList) const {
    out.clear();
    if (!isLoaded()) return -1;
    std::unique_ptr<XMLNode> list(getTree()->getNode(rootIsList ? "/" : "/PackageInfoList", -1));
    if (!list || !list->isValid()) return -1;
    int count = list->getChildCount();
    for (int i = 0; i < count; ++i) {
        std::unique_ptr<XMLNode> child(list->getChild(i));
        // Only PackageInfo elements are packages; anything else a server or
        // a hand edit put into the list is passed over.
        if (!child || !child->getName().equalsIgnoreCase("PackageInfo")) continue;
        ZRPackageInfo package;
        if (readPackage(*child, package)) out.add(package);
    }
    return out.size();
}

int ZRUpdateParser::getOfferedPackages(Vector<ZRPackageInfo>& out) const {
    int count = getPackageList(out, false);
    for (int i = 0; i < out.size(); ++i) out.elementAt(i).clearLocalState();
    return count;
}

int writePackageList(OutputStream& out, const Vector<ZRPackageInfo>& packages) {
    if (packages.size() == 0) return 0;
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    if (!tree || !tree->addNode("", "PackageInfoList", -1)) {
        Log::getLog()->log(String("ZRUpdate: Cannot create default XML tree"), Log::LEVEL_DEBUG);
        return -1;
    }
    // The whole document is built before anything is written, so a failure
    // leaves `out` untouched.
    for (int i = 0; i < packages.size(); ++i) {
        bool ok = tree->addNode("/", "PackageInfo", -1);
        // A view on the new element keeps the paths of its children from
        // matching those of the packages before it.
        std::unique_ptr<XMLTree> element(ok ? tree->getSubtree("/PackageInfo", i) : nullptr);
        if (!element || !buildPackage(*element, packages[i])) {
            Log::getLog()->log(String("ZRUpdate: Cannot create default XML tree"),
                               Log::LEVEL_DEBUG);
            return -1;
        }
    }
    tree->write(out);
    return packages.size();
}
