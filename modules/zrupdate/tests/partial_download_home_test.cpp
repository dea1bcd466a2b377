// Interrupted downloads in the home of the build: a part is kept unless the
// size limits exclude it, and it is resumed only when its entry names this
// very package (URL, size, local file) and the saved file still has the
// recorded length; any other entry goes with its file.
#include <gtest/gtest.h>

#include "StoreTestSupport.h"
#include "ZRPaths.h"
#include "client/ZRPartialDownload.h"
#include "io/File.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreDefaults.h"
#include "store/ZRStoreFile.h"

namespace {

const char* const kUrl = "http://h/p.zip";
const long kSize = 1000;
const std::string kPart(400, 'x');

class PartialDownloadTest : public ::testing::Test {
protected:
    ScratchDir scratch;
    std::string local = scratch.file("p.zip");
    std::string saved = ZRPartialDownload::savedPath(local.c_str()).c_str();

    void SetUp() override {
        File(ZRStoreFile::homeFile("conf")).mkdirs();
        ASSERT_EQ(0, createDefaultPartialFiles());
        File(ZRStoreFile::homeFile(ZRStateFiles::PARTIAL_CONFIG)).deleteFile();
    }
    void TearDown() override {
        File(saved.c_str()).deleteFile();
        createDefaultPartialFiles();
        File(ZRStoreFile::homeFile(ZRStateFiles::PARTIAL_CONFIG)).deleteFile();
    }
    // Keeps a part of 400 bytes of the package as an interrupted download.
    void keepPart() {
        writeFile(local, kPart);
        ZRPartialDownload(7, kUrl, local.c_str(), kSize).keep();
    }
    std::string entries() {
        return readFile(ZRStoreFile::homeFile(ZRStateFiles::PARTIAL_FILES).c_str());
    }
};

}  // namespace

TEST_F(PartialDownloadTest, ResumedOnlyForTheSamePackageWithThePartIntact) {
    const struct {
        const char* what;
        const char* url;
        long size;
        std::string local;
        const char* savedTail;  // appended to the saved part
    } others[] = {
        {"another URL", "http://h/q.zip", kSize, local, ""},
        {"another size", kUrl, kSize + 1, local, ""},
        {"another local file", kUrl, kSize, scratch.file("q.zip"), ""},
        {"a saved part of another length", kUrl, kSize, local, "y"},
    };
    for (const auto& other : others) {
        keepPart();
        ASSERT_EQ(kPart, readFile(saved)) << other.what;
        std::ofstream(saved, std::ios::app) << other.savedTail;
        EXPECT_EQ(0, ZRPartialDownload(7, other.url, other.local.c_str(), other.size).resume())
            << other.what;
        EXPECT_FALSE(fileExists(saved)) << other.what;
        EXPECT_EQ(std::string::npos, entries().find("PartialFile ")) << other.what;
    }
    keepPart();
    EXPECT_FALSE(fileExists(local));
    EXPECT_EQ(400, ZRPartialDownload(7, kUrl, local.c_str(), kSize).resume());
    EXPECT_EQ(kPart, readFile(local));
    EXPECT_EQ(std::string::npos, entries().find("PartialFile "))
        << "the entry goes with the resumption";
}

TEST_F(PartialDownloadTest, SizeLimitsDecideWhatIsKept) {
    const struct {
        const char* config;
        bool kept;
    } cases[] = {
        {"<SizeLimit MinSize=\"1000\"/>", true},
        {"<SizeLimit MinSize=\"1001\"/>", false},
        {"<SizeLimit MinSize=\"0\"><P id=\"8\"/></SizeLimit>", true},
        {"<SizeLimit MinSize=\"0\"><P id=\"8\"/><P id=\"7\"/></SizeLimit>", false},
    };
    for (const auto& c : cases) {
        writeFile(ZRStoreFile::homeFile(ZRStateFiles::PARTIAL_CONFIG).c_str(), c.config);
        keepPart();
        EXPECT_EQ(c.kept, fileExists(saved)) << c.config;
        EXPECT_EQ(c.kept, entries().find("actualSize=\"400\"") != std::string::npos) << c.config;
        EXPECT_EQ(!c.kept, fileExists(local)) << c.config;
        File(saved.c_str()).deleteFile();
        File(local.c_str()).deleteFile();
        ASSERT_EQ(0, createDefaultPartialFiles());
    }
}
