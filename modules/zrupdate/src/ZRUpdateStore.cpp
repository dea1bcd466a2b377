#include "ZRUpdateStore.h"

#include <sys/utsname.h>

#include <memory>

#include "Exception.h"
#include "ZRDecimal.h"
#include "ZRPaths.h"
#include "ZRStoreFile.h"
#include "io/File.h"
#include "xml/XMLNode.h"
#include "xml/XMLTree.h"

namespace {

const long UPDATER_PRODUCT_ID = 1000;

String decimal(long n) {
    String text;
    text.append(n);
    return text;
}

String attribute(XMLNode& node, const char* name) {
    String value;
    node.getAttribute(String(name), value);
    return value;
}

// A numeric attribute, or `missing` when the element does not carry it.
long numberAttribute(XMLNode& node, const char* name, long missing) {
    String value;
    if (!node.getAttribute(String(name), value)) return missing;
    return parseDecimal(value);
}

bool setAttribute(XMLTree& tree, const char* path, const char* name, const String& value,
                  int index = -1) {
    return tree.setAttribute(String(path), String(name), value, index);
}

ZRVersionInfo& versionOf(ZRProduct& p) {
    return p.version;
}
const ZRVersionInfo& versionOf(const ZRProduct& p) {
    return p.version;
}
ZRProductInfo& infoOf(ZRProduct& p) {
    return p.info;
}
const ZRProductInfo& infoOf(const ZRProduct& p) {
    return p.info;
}

// Reads one InstalledProduct element. Child elements are recognised by their
// exact name, wherever they stand.
ZRProduct readProduct(XMLNode& installed) {
    ZRProduct product;
    int count = installed.getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> child(installed.getChild(i));
        if (!child) continue;
        String name = child->getName();
        if (name.equals("ProductInfo")) {
            ZRProductInfo& info = infoOf(product);
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
            versionOf(product) = ZRVersionInfo(
                numberAttribute(*child, "major", 0), numberAttribute(*child, "minor", 0),
                numberAttribute(*child, "patchLevel", 0), numberAttribute(*child, "buildNum", 0),
                attribute(*child, "status"), attribute(*child, "desc"));
        } else if (name.equals("ExtVersionInfo")) {
            // The text is kept as it stands: not numeric, all numbers 0.
            versionOf(product) =
                ZRVersionInfo(VersionInfo(attribute(*child, "version"), attribute(*child, "status"),
                                          attribute(*child, "desc")));
        }
    }
    return product;
}

// Fills the InstalledProduct element at (path, index) of `tree` with the
// ProductInfo and version elements of `p`. The inventory form carries the
// install path; the request form leaves it out and may mark the requested
// product as the dependency.
enum class ProductForm { INVENTORY, REQUEST };

bool writeProduct(XMLTree& tree, const String& path, int index, const ZRProduct& p,
                  ProductForm form, bool dependency) {
    // The new element is reached through a view rooted at it, so that its
    // children are addressed without ambiguity among the other products.
    std::unique_ptr<XMLTree> element(tree.getSubtree(path, index));
    if (!element) return false;
    XMLTree& t = *element;
    const ZRProductInfo& info = infoOf(p);
    const ZRVersionInfo& version = versionOf(p);
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

// Appends a new child `name` to the element at `parentPath` and returns its
// position among the parent's children, or -1.
int appendChild(XMLTree& tree, const String& parentPath, const char* name) {
    std::unique_ptr<XMLNode> parent(tree.getNode(parentPath, -1));
    if (!parent) return -1;
    int position = parent->getChildCount();
    if (!tree.addNode(parentPath, String(name), -1)) return -1;
    return position;
}

void setPlatform(XMLTree& tree, const char* path, const PlatformRecord& platform) {
    setAttribute(tree, path, "os", platform.os);
    setAttribute(tree, path, "vendor", platform.vendor);
    setAttribute(tree, path, "arch", platform.arch);
    setAttribute(tree, path, "version", platform.version);
}

String failurePrefix(const String& path) {
    String prefix("ZRUpdate: store ");
    int slash = path.lastIndexOf('/');
    prefix.append(slash >= 0 && slash + 1 < path.length() ? path.substring(slash + 1) : path);
    prefix.append(" failed: ");
    return prefix;
}

// Writes a document holding only an empty root element.
int createEmptyDocument(const char* path, const char* rootName) {
    if (path == nullptr || *path == '\0') return -1;
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    if (!tree) return -1;
    if (!tree->addNode(String(""), String(rootName), -1)) return -1;
    return ZRStoreFile::write(*tree, String(path), failurePrefix(String(path))) ? 0 : -1;
}

}  // namespace

ZRUpdateStore::ZRUpdateStore()
    : loaded(false), standardInventory(ZRStoreFile::homeFile(ZRStateFiles::INVENTORY)) {}

ZRUpdateStore::ZRUpdateStore(const String& standardInventory)
    : loaded(false), standardInventory(standardInventory) {}

ZRUpdateStore::~ZRUpdateStore() {}

ZRUpdateStore& ZRUpdateStore::instance() {
    static ZRUpdateStore store;
    return store;
}

bool ZRUpdateStore::load(const char* file) {
    if (file == nullptr || *file == '\0') return false;
    path = file;
    // Unloaded first: a file that cannot be opened must not leave the
    // previous document in place under the new name.
    loaded = false;
    loaded = ZRStoreFile::read(doc, path);
    return loaded;
}

bool ZRUpdateStore::isValid() const {
    return loaded;
}

const String& ZRUpdateStore::getPath() const {
    return path;
}

XMLTree* ZRUpdateStore::tree() {
    return loaded ? doc.getTree() : nullptr;
}

bool ZRUpdateStore::reload() {
    loaded = false;
    try {
        loaded = ZRStoreFile::read(doc, path);
    } catch (IOException& e) {
        String message("ZRUpdate: reload ");
        message.append(path).append(" failed: ").append(e.getMessage());
        ZRStoreFile::logDebug(message);
    }
    return loaded;
}

bool ZRUpdateStore::save() {
    XMLTree* t = tree();
    if (t == nullptr) return false;
    bool written = ZRStoreFile::write(*t, path, failurePrefix(path));
    // Read the file back in both cases: after a failed write this drops the
    // change from memory again, so memory keeps mirroring the file.
    bool reloaded = reload();
    return written && reloaded;
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
    // Collected aside so that a record that does not parse leaves `out`
    // untouched.
    Vector<ZRProduct> found;
    Vector<int> where;
    try {
        int count = products->getChildCount();
        for (int i = 0; i < count; i++) {
            std::unique_ptr<XMLNode> child(products->getChild(i));
            if (!child || !child->getName().equals("InstalledProduct")) continue;
            found.add(readProduct(*child));
            where.add(i);
        }
    } catch (Exception& e) {
        // A hand-edited number that does not parse makes the list unreadable
        // rather than ending the process.
        String message("ZRUpdate: bad product record in ");
        message.append(path).append(": ").append(e.getMessage());
        ZRStoreFile::logDebug(message);
        return false;
    }
    for (int i = 0; i < found.size(); i++) out.add(found.elementAt(i));
    if (positions != nullptr) *positions = where;
    return true;
}

int ZRUpdateStore::getProducts(Vector<ZRProduct>& out) {
    Vector<ZRProduct> found;
    if (!readProducts(found, nullptr)) return -1;
    for (int i = 0; i < found.size(); i++) out.add(found.elementAt(i));
    return found.size();
}

bool ZRUpdateStore::findProduct(long id, ZRProduct& out) {
    Vector<ZRProduct> products;
    if (!readProducts(products, nullptr)) return false;
    for (int i = 0; i < products.size(); i++) {
        if (infoOf(products.elementAt(i)).id == id) {
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
        if (infoOf(products.elementAt(i)).id == infoOf(p).id) return false;
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
        if (infoOf(products.elementAt(i)).id == id) {
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
        infoOf(copy).parent = infoOf(old).parent;
        infoOf(copy).serialNo = infoOf(old).serialNo;
        infoOf(copy).langCode = infoOf(old).langCode;
        infoOf(copy).OEM = infoOf(old).OEM;
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
        } else if (infoOf(products.elementAt(i)).id == UPDATER_PRODUCT_ID) {
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
        bool dependency = !self && id != 0 && infoOf(p).id == id;
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
                message.append(path).append(": ").append(e.getMessage());
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
        message.append(path).append(": ").append(e.getMessage());
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
            message.append(path).append(": ").append(e.getMessage());
            ZRStoreFile::logDebug(message);
        }
    }
    return true;
}

bool detectPlatform(PlatformRecord& out) {
    out = PlatformRecord();
    struct utsname system;
    if (uname(&system) != 0) return false;
    out.os = system.sysname;
    out.arch = system.machine;
    out.version = system.release;
    if (out.os.equalsIgnoreCase("Linux")) {
        if (File(String("/etc/mvl-release")).exists()) {
            out.vendor = "MontaVista";
        } else if (File(String("/etc/redhat-release")).exists()) {
            out.vendor = "RedHat";
        }
    }
    return true;
}

static ZRProduct updaterProduct() {
    ZRProduct updater;
    ZRProductInfo& info = infoOf(updater);
    info.id = UPDATER_PRODUCT_ID;
    info.name = "Updater";
    info.desc = "Orvanta Updater";
    info.installPath = ZRPaths::HOME;
    versionOf(updater) =
        ZRVersionInfo(String("1.0.0.0"), String("beta"), String("beta released on 2003/12/31"));
    return updater;
}

String defaultInventoryText() {
    String text;
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    if (!tree) return text;
    XMLTree& t = *tree;
    PlatformRecord platform;
    detectPlatform(platform);
    bool ok = t.addNode(String(""), String("ZRUpdateClientSettings"), -1);
    ok = ok && t.addNode(String("/"), String("Inventory"), -1);
    ok = ok && t.addNode(String("/Inventory"), String("PlatformInfo"), -1);
    if (ok) setPlatform(t, "/Inventory/PlatformInfo", platform);
    ok = ok && t.addNode(String("/Inventory"), String("Products"), -1);
    ok = ok && t.addNode(String("/Inventory/Products"), String("InstalledProduct"), -1);
    ok = ok && writeProduct(t, String("/Inventory/Products/InstalledProduct"), 0, updaterProduct(),
                            ProductForm::INVENTORY, false);
    if (ok) t.toString(text);
    return text;
}

int createDefaultInventory(const char* path) {
    if (path == nullptr || *path == '\0') return -1;
    String text = defaultInventoryText();
    if (text.isEmpty()) return -1;
    return ZRStoreFile::writeText(text, String(path), failurePrefix(String(path))) ? 0 : -1;
}

int createDefaultInventory() {
    return createDefaultInventory(ZRStoreFile::homeFile(ZRStateFiles::INVENTORY).c_str());
}

int createDefaultDelayPackages(const char* path) {
    return createEmptyDocument(path, "PackageInfoList");
}

int createDefaultDelayPackages() {
    return createDefaultDelayPackages(ZRStoreFile::homeFile(ZRStateFiles::DELAY_PACKAGES).c_str());
}

int createDefaultPartialFiles(const char* path) {
    return createEmptyDocument(path, "PartialFiles");
}

int createDefaultPartialFiles() {
    return createDefaultPartialFiles(ZRStoreFile::homeFile(ZRStateFiles::PARTIAL_FILES).c_str());
}
