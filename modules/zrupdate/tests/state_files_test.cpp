// The package and download state documents: default documents, the
// partial-download list and the partial-download size limits.

#include <gtest/gtest.h>

#include <string>

#include "StoreTestSupport.h"
#include "ZRPackageFile.h"
#include "ZRUpdateParser.h"
#include "ZRUpdateStore.h"

namespace {

ZRPartialFileInfo partial(long id, const char* url, const char* path, long size, long actual) {
    ZRPartialFileInfo info;
    info.productID = id;
    info.url = url;
    info.path = path;
    info.size = size;
    info.actualSize = actual;
    return info;
}

class StateFilesTest : public ::testing::Test {
  protected:
    ScratchDir dir;
    std::string partialFiles = dir.file("zr-partial-files");
};

TEST_F(StateFilesTest, DefaultDocumentsHoldOnlyTheirEmptyRoot) {
    std::string delay = dir.file("zr-delay-packages");
    ASSERT_EQ(0, createDefaultDelayPackages(delay.c_str()));
    EXPECT_EQ(xmlDecl() + "<PackageInfoList/>\n", readFile(delay));
    ASSERT_EQ(0, createDefaultPartialFiles(partialFiles.c_str()));
    EXPECT_EQ(xmlDecl() + "<PartialFiles/>\n", readFile(partialFiles));

    // An existing (broken) document is replaced whole.
    writeFile(delay, "<PackageInfoList><PackageInfo path=\"x\"");
    ASSERT_EQ(0, createDefaultDelayPackages(delay.c_str()));
    EXPECT_EQ(xmlDecl() + "<PackageInfoList/>\n", readFile(delay));

    EXPECT_EQ(-1, createDefaultDelayPackages(nullptr));
    EXPECT_EQ(-1, createDefaultPartialFiles(""));
    std::string nowhere = dir.file("missing/zr-partial-files");
    EXPECT_EQ(-1, createDefaultPartialFiles(nowhere.c_str()));
    EXPECT_EQ(-1, createDefaultDelayPackages(nowhere.c_str()));
    EXPECT_FALSE(fileExists(nowhere));
}

TEST_F(StateFilesTest, StoringTwiceKeepsOneEntryAtTheEnd) {
    ASSERT_EQ(0, createDefaultPartialFiles(partialFiles.c_str()));
    ZRUpdateStore store;
    ASSERT_TRUE(store.load(partialFiles.c_str()));
    ASSERT_TRUE(store.putPartialFile(5, partial(5, "/pkg/a.zip", "/tmp/w/a.zip", 1000, 10)));
    ASSERT_TRUE(store.putPartialFile(6, partial(6, "/pkg/b.zip", "/tmp/w/b.zip", 2000, 20)));
    ASSERT_TRUE(store.putPartialFile(5, partial(5, "/pkg/c.zip", "/tmp/w/c.zip", 3000, 300)));
    EXPECT_EQ(xmlDecl() +
                  "<PartialFiles>\n"
                  "<PartialFile productID=\"6\" url=\"/pkg/b.zip\" path=\"/tmp/w/b.zip\" "
                  "size=\"2000\" actualSize=\"20\"/>\n"
                  "<PartialFile productID=\"5\" url=\"/pkg/c.zip\" path=\"/tmp/w/c.zip\" "
                  "size=\"3000\" actualSize=\"300\"/>\n"
                  "</PartialFiles>\n",
              readFile(partialFiles));

    Vector<ZRPartialFileInfo> entries;
    entries.add(partial(1, "", "", 0, 0));
    ASSERT_EQ(2, store.getPartialFiles(entries));
    ASSERT_EQ(2, entries.size());  // cleared first
    EXPECT_EQ(6, entries.elementAt(0).productID);
    EXPECT_EQ(5, entries.elementAt(1).productID);

    ZRPartialFileInfo found;
    ASSERT_TRUE(store.findPartialFile(5, found));
    EXPECT_STREQ("/pkg/c.zip", found.url.c_str());
    EXPECT_STREQ("/tmp/w/c.zip", found.path.c_str());
    EXPECT_EQ(3000, found.size);
    EXPECT_EQ(300, found.actualSize);
    EXPECT_FALSE(store.findPartialFile(7, found));

    // Removing an absent entry changes nothing; a present one goes.
    const std::string before = readFile(partialFiles);
    EXPECT_FALSE(store.removePartialFile(7));
    EXPECT_EQ(before, readFile(partialFiles));
    ASSERT_TRUE(store.removePartialFile(6));
    ASSERT_TRUE(store.removePartialFile(5));
    EXPECT_EQ(xmlDecl() + "<PartialFiles/>\n", readFile(partialFiles));
    EXPECT_EQ(0, store.getPartialFiles(entries));
}

TEST_F(StateFilesTest, MissingOrBrokenNumbersReadAsMinusOne) {
    writeFile(partialFiles, xmlDecl() +
                                "<PartialFiles>\n"
                                "<PartialFile productID=\"5\" url=\"u\" actualSize=\"7\"/>\n"
                                "<partialfile PRODUCTID=\"6\" SIZE=\"12a\" Path=\"p\"/>\n"
                                "<PartialFile/>\n"
                                "</PartialFiles>\n");
    ZRUpdateStore store;
    ASSERT_TRUE(store.load(partialFiles.c_str()));
    Vector<ZRPartialFileInfo> entries;
    ASSERT_EQ(3, store.getPartialFiles(entries));
    EXPECT_EQ(5, entries.elementAt(0).productID);
    EXPECT_EQ(-1, entries.elementAt(0).size);
    EXPECT_EQ(7, entries.elementAt(0).actualSize);
    EXPECT_STREQ("", entries.elementAt(0).path.c_str());
    EXPECT_EQ(6, entries.elementAt(1).productID);
    EXPECT_EQ(-1, entries.elementAt(1).size);
    EXPECT_STREQ("p", entries.elementAt(1).path.c_str());
    EXPECT_EQ(-1, entries.elementAt(2).productID);
    EXPECT_STREQ("", entries.elementAt(2).url.c_str());

    // The entry whose name differs in case is still the one removed by id.
    ASSERT_TRUE(store.removePartialFile(6));
    ASSERT_EQ(2, store.getPartialFiles(entries));
    EXPECT_EQ(-1, entries.elementAt(1).productID);
}

TEST_F(StateFilesTest, NothingLoadedMeansNoPartialFiles) {
    ZRUpdateStore store;
    Vector<ZRPartialFileInfo> entries;
    entries.add(partial(1, "", "", 0, 0));
    EXPECT_EQ(-1, store.getPartialFiles(entries));
    EXPECT_EQ(0, entries.size());
    ZRPartialFileInfo found;
    EXPECT_FALSE(store.findPartialFile(1, found));
    EXPECT_FALSE(store.removePartialFile(1));
    EXPECT_FALSE(store.putPartialFile(1, partial(1, "u", "p", 1, 1)));

    writeFile(partialFiles, "<PartialFiles>");
    EXPECT_FALSE(store.load(partialFiles.c_str()));
    EXPECT_FALSE(store.putPartialFile(1, partial(1, "u", "p", 1, 1)));
    EXPECT_EQ("<PartialFiles>", readFile(partialFiles));
}

TEST_F(StateFilesTest, SizeLimits) {
    std::string config = dir.file("zr-partial-config");
    ZRUpdateStore store;
    SizeLimit limit;
    limit.minSize = 77;
    limit.ids.add(3);
    EXPECT_FALSE(store.getSizeLimit(limit));
    EXPECT_EQ(0, limit.minSize);
    EXPECT_EQ(0, limit.ids.size());

    writeFile(config, xmlDecl() +
                          "<SizeLimit>\n<Product id=\"5\"/>\n<Note/>\n<Other ID=\"9\"/>\n"
                          "</SizeLimit>\n");
    ASSERT_TRUE(store.load(config.c_str()));
    ASSERT_TRUE(store.getSizeLimit(limit));
    EXPECT_EQ(0, limit.minSize);
    ASSERT_EQ(2, limit.ids.size());
    EXPECT_EQ(5, limit.ids.elementAt(0));
    EXPECT_EQ(9, limit.ids.elementAt(1));

    writeFile(config, xmlDecl() +
                          "<SizeLimit MinSize=\"1048576\">\n<P id=\"x\"/>\n"
                          "<P id=\"12\"/>\n</SizeLimit>\n");
    ASSERT_TRUE(store.load(config.c_str()));
    ASSERT_TRUE(store.getSizeLimit(limit));
    EXPECT_EQ(1048576, limit.minSize);
    ASSERT_EQ(1, limit.ids.size());
    EXPECT_EQ(12, limit.ids.elementAt(0));

    // Another document: no limits, but a loaded one.
    writeFile(config, xmlDecl() + "<Settings MinSize=\"5\"/>\n");
    ASSERT_TRUE(store.load(config.c_str()));
    limit.ids.add(1);
    EXPECT_TRUE(store.getSizeLimit(limit));
    EXPECT_EQ(0, limit.minSize);
    EXPECT_EQ(0, limit.ids.size());
}

ZRPackageInfo package(long id, const char* version) {
    ZRPackageInfo p;
    p.path = "/tmp/zrupdate/p1";
    p.file = "pkg.zip";
    p.product.id = id;
    p.product.name = "Scanner";
    p.product.desc = "Orvanta Scanner";
    p.product.installPath = "/opt/Orvanta/Scanner";
    p.product.serialNo = "not written";
    p.arch = "x86_64";
    p.os = "Linux";
    p.version = ZRVersionInfo(String(version), String("final"), String("d"));
    p.url = "/pkg/scanner.zip";
    p.md5 = "0123456789ABCDEF0123456789ABCDEF";
    p.size = 4096;
    p.time = "now";
    p.downloadResult = 1;
    p.format = "zip";
    p.installScript = "install-package";
    p.runResult = -1;
    return p;
}

TEST_F(StateFilesTest, PackageListDocumentsLeaveOutDroppedEntries) {
    std::string delay = dir.file("zr-delay-packages");
    Vector<ZRPackageInfo> list;
    list.add(package(-1, "1.0"));
    list.add(package(7, "7.2"));
    ASSERT_EQ(0, writePackageDocument(list, String(delay.c_str())));
    EXPECT_EQ(xmlDecl() +
                  "<PackageInfoList>\n"
                  "<PackageInfo path=\"/tmp/zrupdate/p1\" file=\"pkg.zip\">\n"
                  "<ProductInfo id=\"7\" name=\"Scanner\" desc=\"Orvanta Scanner\" "
                  "installPath=\"/opt/Orvanta/Scanner\"/>\n"
                  "<PlatformInfo arch=\"x86_64\" os=\"Linux\" vendor=\"\" version=\"\"/>\n"
                  "<ZRVersionInfo major=\"7\" minor=\"2\" patchLevel=\"0\" buildNum=\"0\" "
                  "status=\"final\" desc=\"d\"/>\n"
                  "<DownloadInfo url=\"/pkg/scanner.zip\" md5=\"0123456789ABCDEF0123456789ABCDEF\" "
                  "size=\"4096\" time=\"now\" result=\"1\"/>\n"
                  "<RunInfo format=\"zip\" installScript=\"install-package\" result=\"-1\"/>\n"
                  "</PackageInfo>\n"
                  "</PackageInfoList>\n",
              readFile(delay));

    // Read back as the delay-package command does.
    ZRUpdateParser doc;
    ASSERT_TRUE(doc.parse(String(readFile(delay).c_str())));
    Vector<ZRPackageInfo> read;
    ASSERT_EQ(1, doc.getPackageList(read, true));
    EXPECT_EQ(7, read.elementAt(0).product.id);
    EXPECT_EQ(-1, read.elementAt(0).runResult);

    // Nothing left: the empty list element, not an empty file.
    list.removeAt(1);
    ASSERT_EQ(0, writePackageDocument(list, String(delay.c_str())));
    EXPECT_EQ(xmlDecl() + "<PackageInfoList/>\n", readFile(delay));

    // A list that cannot be written keeps nothing half-done.
    std::string nowhere = dir.file("missing/zr-newpkgs");
    EXPECT_EQ(-1, writePackageDocument(list, String(nowhere.c_str())));
    EXPECT_FALSE(fileExists(nowhere));
}

}  // namespace
