// Platform detection and the default documents that installers and the
// start-up lay down.

#include "store/ZRStoreDefaults.h"

#include <sys/utsname.h>

#include <memory>

#include "ZRPaths.h"
#include "io/File.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "store/ZRStoreXml.h"
#include "store/ZRUpdateStore.h"
#include "xml/XMLTree.h"

using ZRStoreXml::ProductForm;
using ZRStoreXml::setPlatform;
using ZRStoreXml::writeProduct;

bool detectPlatform(PlatformRecord& out) {
    out = PlatformRecord();
    struct utsname system;
    if (::uname(&system) != 0) return false;
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

namespace {

ZRProduct updaterProduct() {
    ZRProduct updater;
    ZRProductInfo& info = updater.info;
    info.id = ZRUpdateStore::UPDATER_PRODUCT_ID;
    info.name = "Updater";
    info.desc = "Orvanta Updater";
    info.installPath = ZRPaths::HOME;
    updater.version =
        ZRVersionInfo(String("1.0.0.0"), String("beta"), String("beta released on 2003/12/31"));
    return updater;
}

}  // namespace

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
    return ZRStoreFile::createDocument(path, defaultInventoryText, nullptr);
}

int createDefaultInventory() {
    return createDefaultInventory(ZRStoreFile::homeFile(ZRStateFiles::INVENTORY).c_str());
}

int createDefaultDelayPackages(const char* path) {
    return ZRStoreFile::createDocument(
        path, [] { return ZRStoreFile::emptyDocumentText("PackageInfoList"); }, nullptr);
}

int createDefaultDelayPackages() {
    return createDefaultDelayPackages(ZRStoreFile::homeFile(ZRStateFiles::DELAY_PACKAGES).c_str());
}

int createDefaultPartialFiles(const char* path) {
    return ZRStoreFile::createDocument(
        path, [] { return ZRStoreFile::emptyDocumentText("PartialFiles"); }, nullptr);
}

int createDefaultPartialFiles() {
    return createDefaultPartialFiles(ZRStoreFile::homeFile(ZRStateFiles::PARTIAL_FILES).c_str());
}
