#include "ZRStoreXml.h"

#include <memory>

#include "ZRDecimal.h"
#include "ZRUpdateStore.h"
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

ZRProduct readProduct(const XMLNode& element) {
    ZRProduct product;
    int count = element.getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> child(element.getChild(i));
        if (!child) continue;
        String name = child->getName();
        if (name.equals("ProductInfo")) {
            ZRProductInfo& info = product.info;
            String id;
            if (child->getAttribute(String("id"), id)) info.id = parseDecimal(id);
            info.name = attribute(*child, "name");
            info.desc = attribute(*child, "desc");
            info.installPath = attribute(*child, "installPath");
            info.serialNo = attribute(*child, "serialNo");
            info.parent = attribute(*child, "parent");
            info.langCode = attribute(*child, "langCode");
            info.OEM = attribute(*child, "OEM");
        } else if (name.equals("ZRVersionInfo")) {
            product.version = ZRVersionInfo(
                numberAttribute(*child, "major", 0), numberAttribute(*child, "minor", 0),
                numberAttribute(*child, "patchLevel", 0), numberAttribute(*child, "buildNum", 0),
                attribute(*child, "status"), attribute(*child, "desc"));
        } else if (name.equals("ExtVersionInfo")) {
            // The text is kept as it stands: not numeric, all numbers 0.
            product.version =
                ZRVersionInfo(VersionInfo(attribute(*child, "version"), attribute(*child, "status"),
                                          attribute(*child, "desc")));
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
    const ZRVersionInfo& version = p.version;
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
    if (version.numeric) {
        ok = ok && t.addNode(String("/"), String("ZRVersionInfo"), -1);
        ok = ok && setAttribute(t, "/ZRVersionInfo", "major", decimal(version.major));
        ok = ok && setAttribute(t, "/ZRVersionInfo", "minor", decimal(version.minor));
        ok = ok && setAttribute(t, "/ZRVersionInfo", "patchLevel", decimal(version.patchLevel));
        ok = ok && setAttribute(t, "/ZRVersionInfo", "buildNum", decimal(version.buildNum));
        ok = ok && setAttribute(t, "/ZRVersionInfo", "status", version.status);
        ok = ok && setAttribute(t, "/ZRVersionInfo", "desc", version.desc);
    } else {
        ok = ok && t.addNode(String("/"), String("ExtVersionInfo"), -1);
        ok = ok && setAttribute(t, "/ExtVersionInfo", "version", version.version);
        ok = ok && setAttribute(t, "/ExtVersionInfo", "status", version.status);
        ok = ok && setAttribute(t, "/ExtVersionInfo", "desc", version.desc);
    }
    return ok;
}

bool setPlatform(XMLTree& tree, const char* path, const PlatformRecord& platform) {
    bool ok = setAttribute(tree, path, "os", platform.os);
    ok = ok && setAttribute(tree, path, "vendor", platform.vendor);
    ok = ok && setAttribute(tree, path, "arch", platform.arch);
    return ok && setAttribute(tree, path, "version", platform.version);
}

}  // namespace ZRStoreXml
