#include "store/ZRStoreXml.h"

#include <memory>

#include "store/PlatformRecord.h"
#include "store/ZRDecimal.h"
#include "xml/XMLNode.h"
#include "xml/XMLTree.h"

namespace ZRStoreXml {

String decimal(long n) {
    String text;
    text.append(n);
    return text;
}

String attribute(const XMLNode& node, const char* name) {
    String value;
    node.getAttribute(String(name), value);
    return value;
}

long numberAttribute(const XMLNode& node, const char* name, long missing) {
    String value;
    if (!node.getAttribute(String(name), value)) return missing;
    return parseDecimal(value);
}

bool setAttribute(XMLTree& tree, const char* path, const char* name, const String& value,
                  int index) {
    return tree.setAttribute(String(path), String(name), value, index);
}

int appendChild(XMLTree& tree, const String& parentPath, const char* name) {
    std::unique_ptr<XMLNode> parent(tree.getNode(parentPath, -1));
    if (!parent) return -1;
    int position = parent->getChildCount();
    if (!tree.addNode(parentPath, String(name), -1)) return -1;
    return position;
}

bool removeChildAt(XMLTree& tree, const String& parentPath, int position) {
    std::unique_ptr<XMLNode> parent(tree.getNode(parentPath, -1));
    std::unique_ptr<XMLNode> child(parent ? parent->getChild(position) : nullptr);
    // The tree removes by position only together with the child's own name.
    return child && tree.removeNode(parentPath, child->getName(), position);
}

void readProductInfo(const XMLNode& node, ZRProductInfo& info, long missingId) {
    info.id = numberAttribute(node, "id", missingId);
    info.name = attribute(node, "name");
    info.desc = attribute(node, "desc");
    info.installPath = attribute(node, "installPath");
    info.serialNo = attribute(node, "serialNo");
    info.parent = attribute(node, "parent");
    info.langCode = attribute(node, "langCode");
    info.OEM = attribute(node, "OEM");
}

ZRVersionInfo readVersion(const XMLNode& node, bool numeric) {
    if (!numeric) {
        // The text is kept as it stands: not numeric, all numbers 0.
        return ZRVersionInfo(VersionInfo(attribute(node, "version"), attribute(node, "status"),
                                         attribute(node, "desc")));
    }
    long major = numberAttribute(node, "major", 0);
    long minor = numberAttribute(node, "minor", 0);
    long patchLevel = numberAttribute(node, "patchLevel", 0);
    long buildNum = numberAttribute(node, "buildNum", 0);
    return ZRVersionInfo(major, minor, patchLevel, buildNum, attribute(node, "status"),
                         attribute(node, "desc"));
}

ZRProduct readProduct(const XMLNode& element) {
    ZRProduct product;
    int count = element.getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> child(element.getChild(i));
        if (!child) continue;
        String name = child->getName();
        if (name.equals("ProductInfo")) {
            readProductInfo(*child, product.info, product.info.id);
        } else if (name.equals("ZRVersionInfo")) {
            product.version = readVersion(*child, true);
        } else if (name.equals("ExtVersionInfo")) {
            product.version = readVersion(*child, false);
        }
    }
    return product;
}

bool writeProduct(XMLTree& tree, const String& path, int index, const ZRProduct& p,
                  ProductForm form, bool dependency) {
    // The element is reached through a view rooted at it, so that its
    // children are addressed without ambiguity among those of its siblings.
    std::unique_ptr<XMLTree> element(tree.getSubtree(path, index));
    if (!element) return false;
    XMLTree& t = *element;
    const ZRProductInfo& info = p.info;
    bool ok = t.addNode(String("/"), String("ProductInfo"), -1);
    ok = ok && setAttribute(t, "/ProductInfo", "id", decimal(info.id));
    ok = ok && setAttribute(t, "/ProductInfo", "name", info.name);
    ok = ok && setAttribute(t, "/ProductInfo", "desc", info.desc);
    if (form == ProductForm::INVENTORY) {
        ok = ok && setAttribute(t, "/ProductInfo", "installPath", info.installPath);
    }
    ok = ok && setAttribute(t, "/ProductInfo", "serialNo", info.serialNo);
    ok = ok && setAttribute(t, "/ProductInfo", "parent", info.parent);
    ok = ok && setAttribute(t, "/ProductInfo", "langCode", info.langCode);
    ok = ok && setAttribute(t, "/ProductInfo", "OEM", info.OEM);
    if (dependency) ok = ok && setAttribute(t, "/ProductInfo", "dependency", String("true"));
    return ok && writeVersion(t, p.version);
}

bool writeVersion(XMLTree& t, const ZRVersionInfo& version) {
    if (version.numeric) {
        bool ok = t.addNode(String("/"), String("ZRVersionInfo"), -1);
        ok = ok && setAttribute(t, "/ZRVersionInfo", "major", decimal(version.major));
        ok = ok && setAttribute(t, "/ZRVersionInfo", "minor", decimal(version.minor));
        ok = ok && setAttribute(t, "/ZRVersionInfo", "patchLevel", decimal(version.patchLevel));
        ok = ok && setAttribute(t, "/ZRVersionInfo", "buildNum", decimal(version.buildNum));
        ok = ok && setAttribute(t, "/ZRVersionInfo", "status", version.status);
        return ok && setAttribute(t, "/ZRVersionInfo", "desc", version.desc);
    }
    bool ok = t.addNode(String("/"), String("ExtVersionInfo"), -1);
    ok = ok && setAttribute(t, "/ExtVersionInfo", "version", version.version);
    ok = ok && setAttribute(t, "/ExtVersionInfo", "status", version.status);
    return ok && setAttribute(t, "/ExtVersionInfo", "desc", version.desc);
}

void readServers(const XMLNode& list, Vector<ZRServer>& out) {
    int count = list.getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> child(list.getChild(i));
        String host;
        if (child && child->getAttribute(String("host"), host)) out.add(ZRServer(host));
    }
}

bool setPlatform(XMLTree& tree, const char* path, const PlatformRecord& platform) {
    bool ok = setAttribute(tree, path, "os", platform.os);
    ok = ok && setAttribute(tree, path, "vendor", platform.vendor);
    ok = ok && setAttribute(tree, path, "arch", platform.arch);
    return ok && setAttribute(tree, path, "version", platform.version);
}

}  // namespace ZRStoreXml
