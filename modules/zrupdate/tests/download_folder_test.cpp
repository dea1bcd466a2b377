// The download folder of an offered package: names taken from the offer
// only when they stay one plain entry of their folder, links at a folder's
// name never followed. Emptying and removal are checked end to end
// (tests/e2e/update_client_test.sh).
#include <gtest/gtest.h>

#include "../../common/tests/TestScratch.h"
#include "client/ZRDownloadFolder.h"

TEST(DownloadFolderTest, NamesFromTheOffer) {
    ZRDownloadFolder folder("/w", 7, "2.5.0.0", "http://h/dir/p.zip");
    EXPECT_TRUE(folder.isUsable());
    EXPECT_STREQ("/w/7/2_5_0_0", folder.getPath().c_str());
    EXPECT_STREQ("/w/7/2_5_0_0/p.zip", folder.getLocalFile().c_str());
    EXPECT_STREQ("p.zip", ZRDownloadFolder("/w", 7, "1", "p.zip").getFileName().c_str());
    // No file name, or one that leaves the folder; a version that is no
    // single folder name.
    const char* urls[] = {"", "/", "http://h/dir/", ".", "..", "http://h/..", "a/."};
    for (const char* url : urls)
        EXPECT_FALSE(ZRDownloadFolder("/w", 7, "1", url).isUsable()) << url;
    for (const char* version : {"", "1/2", "/"}) {
        EXPECT_FALSE(ZRDownloadFolder("/w", 7, version, "p.zip").isUsable()) << version;
    }
}

TEST(DownloadFolderTest, ALinkAtAFolderNameIsNeverFollowed) {
    ScratchDir scratch;
    std::filesystem::create_directories(scratch / "work");
    std::filesystem::create_directories(scratch / "victim/2_5");
    writeFile(scratch / "victim/2_5/keep", "x");
    std::filesystem::create_directory_symlink(scratch / "victim", scratch / "work/7");
    std::filesystem::create_directories(scratch / "work/8");
    std::filesystem::create_directory_symlink(scratch / "victim/2_5", scratch / "work/8/2_5");
    for (long id : {7, 8}) {
        ZRDownloadFolder folder((scratch / "work").c_str(), id, "2.5", "p.zip");
        EXPECT_FALSE(folder.prepare()) << id;
        folder.remove();
        EXPECT_EQ("x", readFile(scratch / "victim/2_5/keep")) << id;
    }
}
