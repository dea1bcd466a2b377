// The package and download state documents: default documents, the
// partial-download list and the partial-download size limits.

#include <gtest/gtest.h>

#include <string>

#include "StoreTestSupport.h"
#include "store/ZRPackageFile.h"
#include "store/ZRStoreDefaults.h"
#include "store/ZRUpdateParser.h"
#include "store/ZRUpdateStore.h"

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

// "id url path size actualSize" of every entry, one per line.
std::string listed(ZRUpdateStore& store) {
    Vector<ZRPartialFileInfo> entries;
    entries.add(partial(1, "stale", "", 0, 0));
    std::string out = std::to_string(store.getPartialFiles(entries));
    out += ":";
    for (int i = 0; i < entries.size(); ++i) {
        const ZRPartialFileInfo& e = entries[i];
        out += std::string(" ") + std::to_string(e.productID) + " " + e.url.c_str() + " " +
               e.path.c_str() + " " + std::to_string(e.size) + " " + std::to_string(e.actualSize) +
               ";";
    }
    return out;
}

std::string limits(ZRUpdateStore& store) {
    SizeLimit limit;
    limit.minSize = 77;
    limit.ids.add(3);
    std::string out = std::to_string(store.getSizeLimit(limit));
    out += " " + std::to_string(limit.minSize) + ":";
    for (int i = 0; i < limit.ids.size(); ++i) out += " " + std::to_string(limit.ids[i]);
    return out;
}

class StateFilesTest : public ::testing::Test {
protected:
    ScratchDir dir;
    std::string partialFiles = dir.file("zr-partial-files");
    std::string delay = dir.file("zr-delay-packages");
};

TEST_F(StateFilesTest, DefaultDocumentsHoldOnlyTheirEmptyRoot) {
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
    EXPECT_EQ("2: 6 /pkg/b.zip /tmp/w/b.zip 2000 20; 5 /pkg/c.zip /tmp/w/c.zip 3000 300;",
              listed(store));

    ZRPartialFileInfo found;
    ASSERT_TRUE(store.findPartialFile(5, found));
    EXPECT_STREQ("/pkg/c.zip", found.url.c_str());
    EXPECT_EQ(300, found.actualSize);
    EXPECT_FALSE(store.findPartialFile(7, found));

    // Removing an absent entry changes nothing; a present one goes.
    const std::string before = readFile(partialFiles);
    EXPECT_FALSE(store.removePartialFile(7));
    EXPECT_EQ(before, readFile(partialFiles));
    ASSERT_TRUE(store.removePartialFile(6));
    ASSERT_TRUE(store.removePartialFile(5));
    EXPECT_EQ(xmlDecl() + "<PartialFiles/>\n", readFile(partialFiles));
    EXPECT_EQ("0:", listed(store));
}

TEST_F(StateFilesTest, MissingOrBrokenNumbersReadAsMinusOne) {
    writeFile(partialFiles, xmlDecl() +
                                "<PartialFiles>\n"
                                "<PartialFile productID=\"5\" url=\"u\" actualSize=\"7\"/>\n"
                                "<Download PRODUCTID=\"6\" SIZE=\"12a\" Path=\"p\"/>\n"
                                "<PartialFile/>\n"
                                "</PartialFiles>\n");
    ZRUpdateStore store;
    ASSERT_TRUE(store.load(partialFiles.c_str()));
    EXPECT_EQ("3: 5 u  -1 7; 6  p -1 -1; -1   -1 -1;", listed(store));
    // Every child is an entry, and the one found is removed whatever its name.
    ASSERT_TRUE(store.removePartialFile(6));
    EXPECT_EQ("2: 5 u  -1 7; -1   -1 -1;", listed(store));
}

TEST_F(StateFilesTest, NothingLoadedOrABrokenDocumentMeansNoPartialFiles) {
    ZRUpdateStore store;
    EXPECT_EQ("-1:", listed(store));
    ZRPartialFileInfo found;
    EXPECT_FALSE(store.findPartialFile(1, found));
    EXPECT_FALSE(store.removePartialFile(1));
    EXPECT_FALSE(store.putPartialFile(1, partial(1, "u", "p", 1, 1)));
    EXPECT_EQ("0 0:", limits(store));

    writeFile(partialFiles, "<PartialFiles>");
    EXPECT_FALSE(store.load(partialFiles.c_str()));
    EXPECT_FALSE(store.putPartialFile(1, partial(1, "u", "p", 1, 1)));
    EXPECT_EQ("<PartialFiles>", readFile(partialFiles));
}

TEST_F(StateFilesTest, SizeLimits) {
    const std::pair<const char*, const char*> cases[] = {
        {"<SizeLimit>\n<Product id=\"5\"/>\n<Note/>\n<Other ID=\"9\"/>\n</SizeLimit>\n",
         "1 0: 5 9"},
        {"<SizeLimit MinSize=\"1048576\">\n<P id=\"x\"/>\n<P id=\"12\"/>\n</SizeLimit>\n",
         "1 1048576: 12"},
        // Another document: no limits, but a loaded one.
        {"<Settings MinSize=\"5\"/>\n", "1 0:"},
    };
    std::string config = dir.file("zr-partial-config");
    ZRUpdateStore store;
    for (const auto& c : cases) {
        writeFile(config, xmlDecl() + c.first);
        ASSERT_TRUE(store.load(config.c_str()));
        EXPECT_EQ(c.second, limits(store)) << c.first;
    }
}

ZRPackageInfo package(long id) {
    ZRPackageInfo p;
    p.product.id = id;
    p.version = ZRVersionInfo(String("7.2"));
    p.runResult = -1;
    return p;
}

TEST_F(StateFilesTest, PackageListDocumentsLeaveOutDroppedEntries) {
    Vector<ZRPackageInfo> list;
    list.add(package(-1));
    list.add(package(7));
    ASSERT_EQ(0, writePackageDocument(list, String(delay.c_str())));
    // Read back as the delay-package command does: the dropped entry is gone.
    ZRUpdateParser doc;
    ASSERT_TRUE(doc.parse(String(readFile(delay).c_str())));
    Vector<ZRPackageInfo> read;
    ASSERT_EQ(1, doc.getPackageList(read, true));
    EXPECT_EQ(7, read[0].product.id);
    EXPECT_EQ(-1, read[0].runResult);

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
