// The inventory store on real files: loading, listing, adding, removing and
// replacing products, the exact text it writes, the platform record and the
// update request document built from the inventory.

#include <gtest/gtest.h>

#include <string>

#include "Exception.h"
#include "StoreTestSupport.h"
#include "ZRPaths.h"
#include "store/ZRStoreDefaults.h"
#include "store/ZRUpdateStore.h"

namespace {

const std::string UPDATER_ELEMENT =
    "<InstalledProduct>\n"
    "<ProductInfo id=\"1000\" name=\"Updater\" desc=\"Orvanta Updater\" "
    "installPath=\"/opt/Orvanta/ZRUpdate\" serialNo=\"\" parent=\"\" langCode=\"\" OEM=\"\"/>\n"
    "<ZRVersionInfo major=\"1\" minor=\"0\" patchLevel=\"0\" buildNum=\"0\" status=\"beta\" "
    "desc=\"beta released on 2003/12/31\"/>\n"
    "</InstalledProduct>\n";

const std::string SCANNER_ELEMENT =
    "<InstalledProduct>\n"
    "<ProductInfo id=\"7\" name=\"Scanner\" desc=\"Orvanta Scanner\" "
    "installPath=\"/opt/Orvanta/Scanner\" serialNo=\"SN-7\" parent=\"1000\" langCode=\"en\" "
    "OEM=\"acme\"/>\n"
    "<ExtVersionInfo version=\"7.1 build 12\" status=\"\" desc=\"field release\"/>\n"
    "</InstalledProduct>\n";

std::string inventory(const std::string& products) {
    return xmlDecl() +
           "<ZRUpdateClientSettings>\n"
           "<Inventory>\n"
           "<PlatformInfo os=\"Linux\" vendor=\"RedHat\" arch=\"x86_64\" version=\"5.10\"/>\n"
           "<Products>\n" +
           products +
           "</Products>\n"
           "</Inventory>\n"
           "</ZRUpdateClientSettings>\n";
}

const std::string SAMPLE = inventory(UPDATER_ELEMENT + SCANNER_ELEMENT);

ZRProduct product(long id, const char* name, const ZRVersionInfo& version) {
    ZRProduct p;
    p.info.id = id;
    p.info.name = name;
    p.info.desc = String("Orvanta ") + name;
    p.info.installPath = String("/opt/Orvanta/") + name;
    p.version = version;
    return p;
}

// Every field of a product in one line, to compare a whole record at once.
std::string summary(const ZRProduct& p) {
    const ZRProductInfo& i = p.info;
    return std::to_string(i.id) + " " + i.name.c_str() + "|" + i.desc.c_str() + "|" +
           i.installPath.c_str() + "|" + i.serialNo.c_str() + "|" + i.parent.c_str() + "|" +
           i.langCode.c_str() + "|" + i.OEM.c_str() + " " + (p.version.numeric ? "n " : "t ") +
           p.version.toString().c_str();
}

std::string listed(ZRUpdateStore& store) {
    Vector<ZRProduct> products;
    std::string out = std::to_string(store.getProducts(products));
    for (int i = 0; i < products.size(); ++i) out += "; " + summary(products[i]);
    return out;
}

class InventoryStoreTest : public ::testing::Test {
protected:
    ScratchDir dir;
    std::string file = dir.file("zr-inventory");

    void loadSample(ZRUpdateStore& store, const std::string& text = SAMPLE) {
        writeFile(file, text);
        ASSERT_TRUE(store.load(file.c_str()));
    }
};

TEST_F(InventoryStoreTest, LoadRefusesMissingPathsAndBrokenDocuments) {
    ZRUpdateStore store(String(file.c_str()));
    EXPECT_FALSE(store.load(nullptr));
    EXPECT_FALSE(store.load(""));
    EXPECT_FALSE(store.isValid());

    EXPECT_THROW(store.load(dir.file("missing").c_str()), IOException);
    EXPECT_FALSE(store.isValid());

    // A document cut short (as an interrupted in-place write would leave it)
    // gives no valid document, and nothing operates on it.
    std::string broken = SAMPLE.substr(0, SAMPLE.size() / 2);
    writeFile(file, broken);
    EXPECT_FALSE(store.load(file.c_str()));
    EXPECT_FALSE(store.isValid());
    Vector<ZRProduct> products;
    EXPECT_EQ(-1, store.getProducts(products));
    ZRProduct found;
    EXPECT_FALSE(store.findProduct(1000, found));
    EXPECT_FALSE(store.addProduct(product(42, "Backup", ZRVersionInfo(String("2.5")))));
    EXPECT_FALSE(store.removeProduct(1000));
    EXPECT_FALSE(store.save());
    PlatformRecord platform;
    EXPECT_FALSE(store.getPlatformInfo(platform));
    String request;
    EXPECT_FALSE(store.buildRequest(0, request));
    EXPECT_EQ(broken, readFile(file));

    // A valid document after a broken one loads again.
    writeFile(file, SAMPLE);
    EXPECT_TRUE(store.load(file.c_str()));
    EXPECT_TRUE(store.isValid());
    EXPECT_STREQ(file.c_str(), store.getPath().c_str());
}

TEST_F(InventoryStoreTest, ReadsProductsWithBothVersionForms) {
    ZRUpdateStore store(String(file.c_str()));
    loadSample(store);
    Vector<ZRProduct> products;
    products.add(product(1, "Already", ZRVersionInfo()));
    ASSERT_EQ(2, store.getProducts(products));
    ASSERT_EQ(3, products.size());  // appended after what was there
    EXPECT_EQ(
        "1000 Updater|Orvanta Updater|/opt/Orvanta/ZRUpdate|||| n "
        "1.0.0.0,beta,beta released on 2003/12/31",
        summary(products[1]));
    EXPECT_EQ(
        "7 Scanner|Orvanta Scanner|/opt/Orvanta/Scanner|SN-7|1000|en|acme t "
        "7.1 build 12,field release",
        summary(products[2]));
    EXPECT_EQ(0, products[2].version.major + products[2].version.buildNum);

    ZRProduct found;
    EXPECT_TRUE(store.findProduct(7, found));
    EXPECT_EQ(summary(products[2]), summary(found));
    EXPECT_FALSE(store.findProduct(8, found));
}

TEST_F(InventoryStoreTest, InventoryAsTopElementWithChildrenInAnyOrder) {
    // Children are found by name, attribute names without regard to case,
    // and elements of other names are passed over.
    ZRUpdateStore store(String(file.c_str()));
    loadSample(store, xmlDecl() +
                          "<Inventory>\n"
                          "<PlatformInfo OS=\"SunOS\" arch=\"sparc\"/>\n"
                          "<Products>\n"
                          "<Comment text=\"x\"/>\n"
                          "<InstalledProduct>\n"
                          "<Unknown/>\n"
                          "<ZRVersionInfo MAJOR=\"3\" minor=\"4\" buildNum=\"9\"/>\n"
                          "<ProductInfo ID=\"12\" NAME=\"Mail\"/>\n"
                          "</InstalledProduct>\n"
                          "</Products>\n"
                          "</Inventory>\n");
    EXPECT_EQ("1; 12 Mail|||||| n 3.4.0.9", listed(store));
    PlatformRecord platform;
    ASSERT_TRUE(store.getPlatformInfo(platform));
    EXPECT_EQ("SunOS||sparc|", std::string(platform.os.c_str()) + "|" + platform.vendor.c_str() +
                                   "|" + platform.arch.c_str() + "|" + platform.version.c_str());

    // Adding and removing work on this shape too.
    ASSERT_TRUE(store.addProduct(product(13, "Web", ZRVersionInfo(String("1.1")))));
    ASSERT_TRUE(store.removeProduct(12));
    EXPECT_EQ("1; 13 Web|Orvanta Web|/opt/Orvanta/Web|||| n 1.1.0.0", listed(store));
}

TEST_F(InventoryStoreTest, AMissingListOrABadNumberMakesTheListUnreadable) {
    const std::string cases[] = {
        xmlDecl() +
            "<ZRUpdateClientSettings>\n<Inventory>\n</Inventory>\n"
            "</ZRUpdateClientSettings>\n",
        inventory(UPDATER_ELEMENT + "<InstalledProduct>\n<ProductInfo id=\"7x\" name=\"Bad\"/>\n"
                                    "</InstalledProduct>\n")};
    ZRUpdateStore store(String(file.c_str()));
    for (const std::string& text : cases) {
        loadSample(store, text);
        // What the caller's list held stays, nothing read before the bad record joins it.
        Vector<ZRProduct> kept;
        kept.add(product(1, "Kept", ZRVersionInfo()));
        EXPECT_EQ(-1, store.getProducts(kept));
        EXPECT_EQ(1, kept.size());
        EXPECT_FALSE(store.addProduct(product(5, "Five", ZRVersionInfo(String("1.0")))));
        EXPECT_EQ(text, readFile(file));
    }
    loadSample(store, inventory(""));
    EXPECT_EQ("0", listed(store));
}

TEST_F(InventoryStoreTest, AddWritesTheExactTextAndRefusesDuplicateIds) {
    ZRUpdateStore store(String(file.c_str()));
    loadSample(store);
    ASSERT_TRUE(store.addProduct(product(42, "Backup", ZRVersionInfo(String("2.5")))));
    const std::string added =
        inventory(UPDATER_ELEMENT + SCANNER_ELEMENT +
                  "<InstalledProduct>\n"
                  "<ProductInfo id=\"42\" name=\"Backup\" desc=\"Orvanta Backup\" "
                  "installPath=\"/opt/Orvanta/Backup\" serialNo=\"\" parent=\"\" langCode=\"\" "
                  "OEM=\"\"/>\n"
                  "<ZRVersionInfo major=\"2\" minor=\"5\" patchLevel=\"0\" buildNum=\"0\" "
                  "status=\"\" desc=\"\"/>\n"
                  "</InstalledProduct>\n");
    EXPECT_EQ(added, readFile(file));

    ZRProduct found;
    ASSERT_TRUE(store.findProduct(42, found));
    EXPECT_EQ("42 Backup|Orvanta Backup|/opt/Orvanta/Backup|||| n 2.5.0.0", summary(found));

    // The same id again: refused, file untouched, list unchanged.
    EXPECT_FALSE(store.addProduct(product(42, "Other", ZRVersionInfo(String("9.9")))));
    EXPECT_FALSE(store.addProduct(product(7, "Other", ZRVersionInfo(String("9.9")))));
    EXPECT_EQ(added, readFile(file));
    EXPECT_EQ('3', listed(store)[0]);

    // A text version is written as ExtVersionInfo.
    VersionInfo text(String("R2"), String("rc"), String("x"));
    ASSERT_TRUE(store.addProduct(product(43, "Text", ZRVersionInfo(text))));
    EXPECT_NE(std::string::npos,
              readFile(file).find("<ExtVersionInfo version=\"R2\" status=\"rc\" desc=\"x\"/>\n"
                                  "</InstalledProduct>\n</Products>\n"));

    // Putting an existing id replaces the whole record and moves it to the end.
    ASSERT_TRUE(store.putProduct(product(7, "Again", ZRVersionInfo(String("8.0")))));
    const std::string all = listed(store);
    EXPECT_EQ(all.substr(0, 8), "4; 1000 ");
    EXPECT_EQ(all.substr(all.rfind("; ") + 2),
              "7 Again|Orvanta Again|/opt/Orvanta/Again|||| n 8.0.0.0");
    EXPECT_TRUE(store.putProduct(product(44, "New", ZRVersionInfo(String("1.0")))));
}

TEST_F(InventoryStoreTest, ValuesWithMarkupCharactersSurviveTheRoundTrip) {
    ZRUpdateStore store(String(file.c_str()));
    loadSample(store);
    ZRProduct p = product(50, "R&D", ZRVersionInfo(String("1.0")));
    p.info.desc = "say \"hi\" <now> & 'then'";
    ASSERT_TRUE(store.addProduct(p));
    ZRUpdateStore again(String(file.c_str()));
    ASSERT_TRUE(again.load(file.c_str()));
    ZRProduct found;
    ASSERT_TRUE(again.findProduct(50, found));
    EXPECT_STREQ("R&D", found.info.name.c_str());
    EXPECT_STREQ("say \"hi\" <now> & 'then'", found.info.desc.c_str());

    // Bytes that XML cannot carry must not leave a file that fails to parse.
    ZRProduct odd = product(51, "Odd", ZRVersionInfo(String("1.0")));
    odd.info.desc = "bell\x07 and \xff\xfe";
    ASSERT_TRUE(store.addProduct(odd));
    EXPECT_TRUE(store.isValid());
    ASSERT_TRUE(again.load(file.c_str()));
    EXPECT_TRUE(again.findProduct(51, found));
}

TEST_F(InventoryStoreTest, RemoveTakesTheRightElementAndLeavesAnEmptyList) {
    ZRUpdateStore store(String(file.c_str()));
    // A foreign element in front of the products must not shift the removal.
    loadSample(store, inventory("<Note/>\n" + UPDATER_ELEMENT + SCANNER_ELEMENT));
    const std::string before = readFile(file);
    EXPECT_FALSE(store.removeProduct(99));
    EXPECT_EQ(before, readFile(file));

    ASSERT_TRUE(store.removeProduct(7));
    EXPECT_EQ(inventory("<Note/>\n" + UPDATER_ELEMENT), readFile(file));
    ASSERT_TRUE(store.removeProduct(1000));
    EXPECT_EQ(inventory("<Note/>\n"), readFile(file));

    loadSample(store);
    ASSERT_TRUE(store.removeProduct(1000));
    ASSERT_TRUE(store.removeProduct(7));
    std::string empty = inventory("");
    EXPECT_EQ(empty.replace(empty.find("<Products>\n</Products>"), 22, "<Products/>"),
              readFile(file));
    EXPECT_EQ("0", listed(store));
}

TEST_F(InventoryStoreTest, ReplaceKeepsRegistrationDataAndMovesTheProductToTheEnd) {
    std::string moduleFile = dir.file("zr-module-inventory");
    const std::string moduleText = inventory(SCANNER_ELEMENT);
    writeFile(moduleFile, moduleText);
    writeFile(file, SAMPLE);

    ZRUpdateStore store(String(file.c_str()));
    ASSERT_TRUE(store.load(moduleFile.c_str()));

    ZRProduct update = product(1000, "Updater", ZRVersionInfo(String("1.2.3")));
    update.info.desc = "Orvanta Updater";
    update.info.installPath = "/opt/Orvanta/ZRUpdate";
    update.info.serialNo = update.info.parent = update.info.langCode = update.info.OEM = "new";
    ASSERT_TRUE(store.replaceProduct(1000, update));

    // Always the standard inventory, whatever was loaded before.
    EXPECT_STREQ(file.c_str(), store.getPath().c_str());
    EXPECT_EQ(moduleText, readFile(moduleFile));
    EXPECT_EQ(inventory(SCANNER_ELEMENT +
                        "<InstalledProduct>\n"
                        "<ProductInfo id=\"1000\" name=\"Updater\" desc=\"Orvanta Updater\" "
                        "installPath=\"/opt/Orvanta/ZRUpdate\" serialNo=\"\" parent=\"\" "
                        "langCode=\"\" OEM=\"\"/>\n"
                        "<ZRVersionInfo major=\"1\" minor=\"2\" patchLevel=\"0\" buildNum=\"3\" "
                        "status=\"\" desc=\"\"/>\n"
                        "</InstalledProduct>\n"),
              readFile(file));

    // The kept fields are those of the old record, even when non-empty.
    ZRProduct scanner = product(7, "Scanner", ZRVersionInfo(String("7.2")));
    scanner.info.serialNo = "changed";
    scanner.info.parent = "changed";
    ASSERT_TRUE(store.replaceProduct(7, scanner));
    // A product not yet in the inventory is simply added.
    ASSERT_TRUE(store.replaceProduct(8, product(8, "New", ZRVersionInfo(String("1.0")))));
    EXPECT_EQ(
        "3; 1000 Updater|Orvanta Updater|/opt/Orvanta/ZRUpdate|||| n 1.2.0.3; "
        "7 Scanner|Orvanta Scanner|/opt/Orvanta/Scanner|SN-7|1000|en|acme n 7.2.0.0; "
        "8 New|Orvanta New|/opt/Orvanta/New|||| n 1.0.0.0",
        listed(store));

    // Without a standard inventory nothing can be replaced.
    ZRUpdateStore orphan(String(dir.file("absent").c_str()));
    ASSERT_TRUE(orphan.load(moduleFile.c_str()));
    EXPECT_FALSE(orphan.replaceProduct(7, scanner));
    EXPECT_EQ(moduleText, readFile(moduleFile));
}

TEST_F(InventoryStoreTest, BuildsTheUpdateRequestFromTheInventory) {
    ZRUpdateStore store(String(file.c_str()));
    loadSample(store);
    const std::string updaterRequest =
        "<InstalledProduct>\n"
        "<ProductInfo id=\"1000\" name=\"Updater\" desc=\"Orvanta Updater\" serialNo=\"\" "
        "parent=\"\" langCode=\"\" OEM=\"\"/>\n"
        "<ZRVersionInfo major=\"1\" minor=\"0\" patchLevel=\"0\" buildNum=\"0\" status=\"beta\" "
        "desc=\"beta released on 2003/12/31\"/>\n"
        "</InstalledProduct>\n";
    auto request = [](const char* root, const std::string& products) {
        return xmlDecl() + "<" + root + ">\n<Inventory>\n" +
               "<Platform os=\"Linux\" vendor=\"RedHat\" arch=\"x86_64\" version=\"5.10\"/>\n"
               "<Products>\n" +
               products + "</Products>\n</Inventory>\n</" + root + ">\n";
    };
    auto scanner = [](const char* dependency) {
        return std::string(
                   "<InstalledProduct>\n"
                   "<ProductInfo id=\"7\" name=\"Scanner\" desc=\"Orvanta Scanner\" "
                   "serialNo=\"SN-7\" parent=\"1000\" langCode=\"en\" OEM=\"acme\"") +
               dependency +
               "/>\n<ExtVersionInfo version=\"7.1 build 12\" status=\"\" "
               "desc=\"field release\"/>\n</InstalledProduct>\n";
    };

    String text("stale");
    ASSERT_TRUE(store.buildRequest(7, text));
    EXPECT_EQ(request("ZRUpdateRequest", updaterRequest + scanner(" dependency=\"true\"")),
              text.c_str());
    ASSERT_TRUE(store.buildRequest(0, text));
    EXPECT_EQ(request("ZRUpdateRequest", updaterRequest + scanner("")), text.c_str());
    ASSERT_TRUE(store.buildRequest(1000, text));
    EXPECT_EQ(request("ZRSelfUpdateRequest", updaterRequest), text.c_str());

    // Building the request changes nothing on disk.
    EXPECT_EQ(SAMPLE, readFile(file));

    // No updater record: no self-update request, product updates still go.
    ASSERT_TRUE(store.removeProduct(1000));
    EXPECT_FALSE(store.buildRequest(1000, text));
    EXPECT_TRUE(store.buildRequest(7, text));
    // No products at all: nothing to send.
    ASSERT_TRUE(store.removeProduct(7));
    EXPECT_FALSE(store.buildRequest(0, text));

    // No platform record: no request.
    loadSample(store, xmlDecl() + "<Inventory>\n<Products>\n" + UPDATER_ELEMENT +
                          "</Products>\n</Inventory>\n");
    EXPECT_FALSE(store.buildRequest(1000, text));
}

TEST_F(InventoryStoreTest, DefaultInventoryDescribesThisMachineAndTheUpdater) {
    PlatformRecord detected;
    ASSERT_TRUE(detectPlatform(detected));
    EXPECT_FALSE(detected.os.isEmpty());
    EXPECT_FALSE(detected.arch.isEmpty());

    ASSERT_EQ(0, createDefaultInventory(file.c_str()));
    std::string home = ZRPaths::HOME;
    EXPECT_EQ(xmlDecl() + "<ZRUpdateClientSettings>\n<Inventory>\n<PlatformInfo os=\"" +
                  detected.os.c_str() + "\" vendor=\"" + detected.vendor.c_str() + "\" arch=\"" +
                  detected.arch.c_str() + "\" version=\"" + detected.version.c_str() +
                  "\"/>\n<Products>\n<InstalledProduct>\n"
                  "<ProductInfo id=\"1000\" name=\"Updater\" desc=\"Orvanta Updater\" "
                  "installPath=\"" +
                  home +
                  "\" serialNo=\"\" parent=\"\" langCode=\"\" OEM=\"\"/>\n"
                  "<ZRVersionInfo major=\"1\" minor=\"0\" patchLevel=\"0\" buildNum=\"0\" "
                  "status=\"beta\" desc=\"beta released on 2003/12/31\"/>\n"
                  "</InstalledProduct>\n</Products>\n</Inventory>\n"
                  "</ZRUpdateClientSettings>\n",
              readFile(file));

    ZRUpdateStore store(String(file.c_str()));
    ASSERT_TRUE(store.load(file.c_str()));
    ZRProduct updater;
    ASSERT_TRUE(store.findProduct(1000, updater));
    EXPECT_STREQ("1.0.0.0,beta,beta released on 2003/12/31", updater.version.toString().c_str());

    EXPECT_EQ(-1, createDefaultInventory(""));
    EXPECT_EQ(-1, createDefaultInventory(dir.file("no/such/folder/inv").c_str()));
}

}  // namespace
