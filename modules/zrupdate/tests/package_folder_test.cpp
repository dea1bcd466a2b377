// The download folder of an offered package: names taken from the offer
// only when they stay one plain entry of their folder. Emptying and removal
// are checked end to end (tests/e2e/update_client_test.sh).
#include <gtest/gtest.h>

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
