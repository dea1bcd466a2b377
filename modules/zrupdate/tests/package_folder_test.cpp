// The download folder of an offered package: names taken from the offer
// only when they stay one plain entry of their folder, the folder emptied
// before a download and removed after a failure without touching another
// package of the same product.
#include <gtest/gtest.h>

#include "StoreTestSupport.h"
#include "client/ZRPackageFolder.h"

TEST(PackageFolderTest, NamesFromTheOffer) {
    ZRPackageFolder folder("/w", 7, "2.5.0.0", "http://h/dir/p.zip");
    EXPECT_TRUE(folder.isUsable());
    EXPECT_STREQ("/w/7/2_5_0_0", folder.getPath().c_str());
    EXPECT_STREQ("/w/7/2_5_0_0/p.zip", folder.getLocalFile().c_str());
    EXPECT_STREQ("p.zip", ZRPackageFolder("/w", 7, "1", "p.zip").getFileName().c_str());
    // No file name, or one that leaves the folder; a version that is no
    // single folder name.
    const char* urls[] = {"", "/", "http://h/dir/", ".", "..", "http://h/..", "a/."};
    for (const char* url : urls) EXPECT_FALSE(ZRPackageFolder("/w", 7, "1", url).isUsable()) << url;
    for (const char* version : {"", "1/2", "/"}) {
        EXPECT_FALSE(ZRPackageFolder("/w", 7, version, "p.zip").isUsable()) << version;
    }
}

TEST(PackageFolderTest, EmptiedBeforeAndRemovedAfterWithoutTheOtherPackage) {
    ScratchDir work;
    ZRPackageFolder folder(work.path().c_str(), 7, "2.5", "p.zip");
    ZRPackageFolder other(work.path().c_str(), 7, "2.6", "q.zip");
    ASSERT_TRUE(other.prepare());
    writeFile(other.getLocalFile().c_str(), "ready");
    ASSERT_TRUE(folder.prepare());
    std::filesystem::create_directories(work / "7/2_5/old/deeper");
    writeFile(work / "7/2_5/install-package", "stale");
    ASSERT_TRUE(folder.prepare());
    EXPECT_TRUE(std::filesystem::is_empty(work / "7/2_5"));

    folder.remove();
    EXPECT_FALSE(fileExists(work / "7/2_5"));
    EXPECT_EQ("ready", readFile(other.getLocalFile().c_str()));
    other.remove();
    EXPECT_FALSE(fileExists(work / "7"));
    // A folder that cannot be made: a file stands at its parent's name.
    writeFile(work / "8", "");
    EXPECT_FALSE(ZRPackageFolder(work.path().c_str(), 8, "1", "p.zip").prepare());
}
