#include "store/ZRUpdateStore.h"

#include <memory>

#include "Exception.h"
#include "store/ZRDecimal.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "store/ZRStoreXml.h"
#include "xml/XMLNode.h"
#include "xml/XMLTree.h"

using ZRStoreXml::appendChild;
using ZRStoreXml::attribute;
using ZRStoreXml::decimal;
using ZRStoreXml::numberAttribute;
using ZRStoreXml::ProductForm;
using ZRStoreXml::readProduct;
using ZRStoreXml::setAttribute;
using ZRStoreXml::setPlatform;
using ZRStoreXml::writeProduct;

ZRUpdateStore::ZRUpdateStore()
    : standardInventory(ZRStoreFile::homeFile(ZRStateFiles::INVENTORY)) {}

ZRUpdateStore::ZRUpdateStore(const String& standardInventory)
    : standardInventory(standardInventory) {}

ZRUpdateStore::~ZRUpdateStore() {}

ZRUpdateStore& ZRUpdateStore::instance() {
    static ZRUpdateStore store;
    return store;
}

// The inventory element is either the top element of the document or the
// child of the top element (ZRUpdateClientSettings in the default document).
// Paths are relative to the top element, so the prefix differs.
String ZRUpdateStore::inventoryPath(const char* child) {
    XMLTree* t = tree();
    String result(t != nullptr && t->getRootName().equals("Inventory") ? "/" : "/Inventory/");
    result.append(child);
    return result;
}

bool ZRUpdateStore::readProducts(Vector<ZRProduct>& out, Vector<int>* positions) {
    XMLTree* t = tree();
    if (t == nullptr) return false;
    std::unique_ptr<XMLNode> products(t->getNode(inventoryPath("Products"), -1));
    if (!products) return false;
    // Appended straight to `out` (no copies of a large list); a record that
    // does not parse takes back what was appended, leaving `out` untouched.
    const int before = out.size();
    Vector<int> where;
    try {
        int count = products->getChildCount();
        for (int i = 0; i < count; i++) {
            std::unique_ptr<XMLNode> child(products->getChild(i));
            if (!child || !child->getName().equals("InstalledProduct")) continue;
            out.add(readProduct(*child));
            where.add(i);
        }
    } catch (Exception& e) {
        while (out.size() > before) out.removeAt(out.size() - 1);
        // A hand-edited number that does not parse makes the list unreadable
        // rather than ending the process.
        String message("ZRUpdate: bad product record in ");
        message.append(getPath()).append(": ").append(e.getMessage());
        ZRStoreFile::logDebug(message);
        return false;
    }
    if (positions != nullptr) *positions = where;
    return true;
}

int ZRUpdateStore::getProducts(Vector<ZRProduct>& out) {
    const int before = out.size();
    if (!readProducts(out, nullptr)) return -1;
    return out.size() - before;
}

bool ZRUpdateStore::findProduct(long id, ZRProduct& out) {
    Vector<ZRProduct> products;
    if (!readProducts(products, nullptr)) return false;
    for (int i = 0; i < products.size(); i++) {
        if (products.elementAt(i).info.id == id) {
            out = products.elementAt(i);
            return true;
        }
    }
    return false;
}

bool ZRUpdateStore::appendProduct(const ZRProduct& p) {
    Vector<ZRProduct> products;
    if (!readProducts(products, nullptr)) return false;
    for (int i = 0; i < products.size(); i++) {
        if (products.elementAt(i).info.id == p.info.id) return false;
    }
    XMLTree* t = tree();
    String productsPath = inventoryPath("Products");
    int position = appendChild(*t, productsPath, "InstalledProduct");
    if (position < 0) return false;
    String elementPath(productsPath);
    elementPath.append("/InstalledProduct");
    if (!writeProduct(*t, elementPath, position, p, ProductForm::INVENTORY, false)) {
        reload();
        return false;
    }
    return true;
}

bool ZRUpdateStore::removeProductElement(long id) {
    Vector<ZRProduct> products;
    Vector<int> positions;
    if (!readProducts(products, &positions)) return false;
    for (int i = 0; i < products.size(); i++) {
        if (products.elementAt(i).info.id == id) {
            return tree()->removeNode(inventoryPath("Products"), String("InstalledProduct"),
                                      positions.elementAt(i));
        }
    }
    return false;
}

bool ZRUpdateStore::addProduct(const ZRProduct& p) {
    return appendProduct(p) && save();
}

bool ZRUpdateStore::removeProduct(long id) {
    return removeProductElement(id) && save();
}

bool ZRUpdateStore::putProduct(const ZRProduct& p) {
    bool removed = removeProductElement(p.info.id);
    if (appendProduct(p)) return save();
    if (removed) reload();
    return false;
}

bool ZRUpdateStore::replaceProduct(long id, const ZRProduct& p) {
    try {
        if (!load(standardInventory.c_str())) return false;
    } catch (IOException& e) {
        String message("ZRUpdate: load inventory failed: ");
        message.append(e.getMessage());
        ZRStoreFile::logDebug(message);
        return false;
    }
    ZRProduct copy(p);
    ZRProduct old;
    bool removed = false;
    if (findProduct(id, old)) {
        // Registration data survive an update of the product.
        copy.info.parent = old.info.parent;
        copy.info.serialNo = old.info.serialNo;
        copy.info.langCode = old.info.langCode;
        copy.info.OEM = old.info.OEM;
        removed = removeProductElement(id);
    }
    // Removal and addition are written in one save, so that a failed write
    // cannot lose the product between the two.
    if (appendProduct(copy)) return save();
    if (removed) save();
    return false;
}

bool ZRUpdateStore::getPlatformInfo(PlatformRecord& out) {
    XMLTree* t = tree();
    if (t == nullptr) return false;
    std::unique_ptr<XMLNode> platform(t->getNode(inventoryPath("PlatformInfo"), -1));
    if (!platform) return false;
    out.arch = attribute(*platform, "arch");
    out.os = attribute(*platform, "os");
    out.vendor = attribute(*platform, "vendor");
    out.version = attribute(*platform, "version");
    return true;
}

bool ZRUpdateStore::buildRequest(long id, String& out) {
    PlatformRecord platform;
    if (!getPlatformInfo(platform)) return false;
    Vector<ZRProduct> products;
    if (!readProducts(products, nullptr)) return false;
    bool self = id == UPDATER_PRODUCT_ID;
    Vector<ZRProduct> sent;
    for (int i = 0; i < products.size(); i++) {
        if (!self) {
            sent.add(products.elementAt(i));
        } else if (products.elementAt(i).info.id == UPDATER_PRODUCT_ID) {
            sent.add(products.elementAt(i));
            break;
        }
    }
    if (sent.size() == 0) return false;

    std::unique_ptr<XMLTree> request(XMLTree::create());
    if (!request) return false;
    XMLTree& t = *request;
    bool ok = t.addNode(String(""), String(self ? "ZRSelfUpdateRequest" : "ZRUpdateRequest"), -1);
    ok = ok && t.addNode(String("/"), String("Inventory"), -1);
    ok = ok && t.addNode(String("/Inventory"), String("Platform"), -1);
    if (!ok) return false;
    setPlatform(t, "/Inventory/Platform", platform);
    if (!t.addNode(String("/Inventory"), String("Products"), -1)) return false;
    for (int i = 0; i < sent.size(); i++) {
        const ZRProduct& p = sent.elementAt(i);
        bool dependency = !self && id != 0 && p.info.id == id;
        int position = appendChild(t, String("/Inventory/Products"), "InstalledProduct");
        if (position < 0) return false;
        if (!writeProduct(t, String("/Inventory/Products/InstalledProduct"), position, p,
                          ProductForm::REQUEST, dependency)) {
            return false;
        }
    }
    out.clear();
    t.toString(out);
    return true;
}

// The partial-download documents, read and written by stores opened on
// "conf/zr-partial-files" and "conf/zr-partial-config".

int ZRUpdateStore::getPartialFiles(Vector<ZRPartialFileInfo>& out) {
    out.clear();
    XMLTree* t = tree();
    if (t == nullptr) return -1;
    std::unique_ptr<XMLNode> root(t->getNode(String("/"), -1));
    if (!root) return 0;
    int count = root->getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> child(root->getChild(i));
        if (!child) continue;
        ZRPartialFileInfo info;
        info.url = attribute(*child, "url");
        info.path = attribute(*child, "path");
        // A number that does not parse counts as missing (-1): the entry then
        // matches no download and the package is fetched again from the start.
        const char* names[] = {"productID", "size", "actualSize"};
        long* fields[] = {&info.productID, &info.size, &info.actualSize};
        for (int f = 0; f < 3; f++) {
            try {
                *fields[f] = numberAttribute(*child, names[f], -1);
            } catch (Exception& e) {
                *fields[f] = -1;
                String message("ZRUpdate: bad partial file entry in ");
                message.append(getPath()).append(": ").append(e.getMessage());
                ZRStoreFile::logDebug(message);
            }
        }
        out.add(info);
    }
    return out.size();
}

bool ZRUpdateStore::findPartialFile(long productID, ZRPartialFileInfo& out) {
    Vector<ZRPartialFileInfo> entries;
    getPartialFiles(entries);
    for (int i = 0; i < entries.size(); i++) {
        if (entries.elementAt(i).productID == productID) {
            out = entries.elementAt(i);
            return true;
        }
    }
    return false;
}

bool ZRUpdateStore::removePartialElement(long productID) {
    Vector<ZRPartialFileInfo> entries;
    getPartialFiles(entries);
    for (int i = 0; i < entries.size(); i++) {
        if (entries.elementAt(i).productID == productID) {
            return tree()->removeNode(String("/"), String("PartialFile"), i);
        }
    }
    return false;
}

bool ZRUpdateStore::removePartialFile(long productID) {
    return removePartialElement(productID) && save();
}

bool ZRUpdateStore::putPartialFile(long productID, const ZRPartialFileInfo& info) {
    XMLTree* t = tree();
    if (t == nullptr) return false;
    // One entry per product: the old one goes and the new one is appended,
    // both in a single save.
    removePartialElement(productID);
    int position = appendChild(*t, String("/"), "PartialFile");
    if (position < 0) {
        reload();
        return false;
    }
    setAttribute(*t, "/PartialFile", "productID", decimal(info.productID), position);
    setAttribute(*t, "/PartialFile", "url", info.url, position);
    setAttribute(*t, "/PartialFile", "path", info.path, position);
    setAttribute(*t, "/PartialFile", "size", decimal(info.size), position);
    setAttribute(*t, "/PartialFile", "actualSize", decimal(info.actualSize), position);
    return save();
}

bool ZRUpdateStore::getSizeLimit(SizeLimit& out) {
    out.ids.clear();
    out.minSize = 0;
    XMLTree* t = tree();
    if (t == nullptr) return false;
    std::unique_ptr<XMLNode> limit(t->getNode(String("/SizeLimit"), -1));
    if (!limit) return true;
    // The file is kept by hand: a value that does not parse is skipped (and
    // logged) and the defaults stand in for it.
    try {
        out.minSize = numberAttribute(*limit, "MinSize", 0);
    } catch (Exception& e) {
        String message("ZRUpdate: bad MinSize in ");
        message.append(getPath()).append(": ").append(e.getMessage());
        ZRStoreFile::logDebug(message);
    }
    int count = limit->getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> child(limit->getChild(i));
        String id;
        if (!child || !child->getAttribute(String("id"), id)) continue;
        try {
            out.ids.add(parseDecimal(id));
        } catch (Exception& e) {
            String message("ZRUpdate: bad product id in ");
            message.append(getPath()).append(": ").append(e.getMessage());
            ZRStoreFile::logDebug(message);
        }
    }
    return true;
}
