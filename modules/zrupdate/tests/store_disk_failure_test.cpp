// The stores on a file system that fails: a full disk and a read-only
// mount. A save that cannot be completed must leave the previous document
// byte for byte, keep the store usable and report the failure.
//
// The tests mount a small tmpfs of their own; where mounting is not
// permitted they are skipped.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>

#include "StoreTestSupport.h"
#include "store/ZRNetConfig.h"
#include "store/ZRStoreDefaults.h"
#include "store/ZRUpdateStore.h"
#include "util/Log.h"

namespace {

const std::string INVENTORY =
    xmlDecl() +
    "<ZRUpdateClientSettings>\n<Inventory>\n"
    "<PlatformInfo os=\"Linux\" vendor=\"\" arch=\"x86_64\" version=\"6.1\"/>\n"
    "<Products>\n<InstalledProduct>\n"
    "<ProductInfo id=\"1000\" name=\"Updater\" desc=\"Orvanta Updater\" "
    "installPath=\"/opt/Orvanta/ZRUpdate\" serialNo=\"\" parent=\"\" langCode=\"\" OEM=\"\"/>\n"
    "<ZRVersionInfo major=\"1\" minor=\"0\" patchLevel=\"0\" buildNum=\"0\" status=\"beta\" "
    "desc=\"beta released on 2003/12/31\"/>\n"
    "</InstalledProduct>\n</Products>\n</Inventory>\n</ZRUpdateClientSettings>\n";

ZRProduct bigProduct(long id) {
    ZRProduct p;
    p.info.id = id;
    p.info.name = "Filler";
    // Larger than what is left on the full disk, smaller than the disk.
    p.info.desc = String(std::string(6000, 'd').c_str());
    p.info.installPath = "/opt/Orvanta/Filler";
    p.version = ZRVersionInfo(String("2.0"));
    return p;
}

class FailingDiskTest : public ::testing::Test {
protected:
    ScratchDir scratch;
    std::string mountPoint = scratch.file("disk");
    // A log name of its own, so that the log's lock files in the temporary
    // folder belong to this test alone and can be removed afterwards.
    std::string logName = "store-" + scratch.path().substr(scratch.path().rfind('.') + 1) + ".log";
    std::string logFile = scratch.file(logName);
    bool mounted = false;

    void SetUp() override {
        ASSERT_EQ(0, ::mkdir(mountPoint.c_str(), 0700));
        if (::mount("tmpfs", mountPoint.c_str(), "tmpfs", 0, "size=64k") != 0) {
            GTEST_SKIP() << "cannot mount a tmpfs here (" << std::strerror(errno)
                         << "); the full-disk and read-only tests need it";
        }
        mounted = true;
        Log::openLog(logFile.c_str());
    }

    void TearDown() override {
        Log::openLog("");
        for (const char* suffix : {".lock", ".rlock"})
            std::remove(RotationFileLog::lockFilePath(String(logFile.c_str()), suffix).c_str());
        if (mounted && ::umount(mountPoint.c_str()) != 0) {
            ::umount2(mountPoint.c_str(), MNT_DETACH);
        }
    }

    std::string onDisk(const char* name) const { return mountPoint + "/" + name; }

    // Writes filler files until the file system refuses another byte.
    void fillDisk() {
        std::string filler = onDisk("filler");
        FILE* out = std::fopen(filler.c_str(), "wb");
        ASSERT_NE(nullptr, out);
        std::string block(512, 'x');
        for (int i = 0; i < 1000; i++) {
            if (std::fwrite(block.data(), 1, block.size(), out) != block.size()) break;
            if (std::fflush(out) != 0) break;
        }
        std::fclose(out);
        // Whatever a 512-byte write could not take, single bytes may.
        out = std::fopen(onDisk("filler2").c_str(), "wb");
        if (out != nullptr) {
            std::setvbuf(out, nullptr, _IONBF, 0);
            for (int i = 0; i < 8192 && std::fputc('x', out) != EOF; i++) {
            }
            std::fclose(out);
        }
    }

    void freeDisk() {
        std::remove(onDisk("filler").c_str());
        std::remove(onDisk("filler2").c_str());
    }

    void remountReadOnly() {
        ASSERT_EQ(0,
                  ::mount("tmpfs", mountPoint.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=64k"))
            << std::strerror(errno);
    }

    bool logged(const std::string& text) const {
        return readFile(logFile).find(text) != std::string::npos;
    }
};

TEST_F(FailingDiskTest, FullDiskKeepsThePreviousInventory) {
    std::string file = onDisk("zr-inventory");
    writeFile(file, INVENTORY);
    ZRUpdateStore store(String(file.c_str()));
    ASSERT_TRUE(store.load(file.c_str()));
    fillDisk();

    EXPECT_FALSE(store.addProduct(bigProduct(5)));
    EXPECT_EQ(INVENTORY, readFile(file));
    EXPECT_TRUE(logged("ZRUpdate: store zr-inventory failed: " + file + ": "));
    // Memory follows the file: the product that was not stored is not listed.
    EXPECT_TRUE(store.isValid());
    ZRProduct found;
    EXPECT_FALSE(store.findProduct(5, found));
    EXPECT_TRUE(store.findProduct(1000, found));

    // Replacing (remove and add in one document) fails as a whole: the old
    // record is not lost, neither on file nor in memory.
    EXPECT_FALSE(store.replaceProduct(1000, bigProduct(1000)));
    EXPECT_FALSE(store.putProduct(bigProduct(1000)));
    EXPECT_EQ(INVENTORY, readFile(file));
    EXPECT_TRUE(store.findProduct(1000, found));

    // Once there is room again the same change goes through.
    freeDisk();
    EXPECT_TRUE(store.addProduct(bigProduct(5)));
    EXPECT_TRUE(store.findProduct(5, found));
    EXPECT_NE(INVENTORY, readFile(file));
}

TEST_F(FailingDiskTest, FullDiskKeepsThePreviousNetworkSettings) {
    std::string file = onDisk("zr-network");
    ASSERT_EQ(0, createDefaultNetwork(file.c_str()));
    const std::string before = readFile(file);
    ZRNetConfig config;
    ASSERT_TRUE(config.load(file.c_str()));
    fillDisk();

    NetSettings settings;
    ASSERT_TRUE(config.getSettings(settings));
    for (int i = 0; i < 200; i++) {
        String host("mirror-");
        host.append(i).append(".example.org");
        settings.servers.add(ZRServer(host));
    }
    EXPECT_FALSE(config.setSettings(settings));
    EXPECT_EQ(before, readFile(file));
    EXPECT_TRUE(logged("ZRUpdate: store network settings failed: " + file + ": "));
    NetSettings reread;
    ASSERT_TRUE(config.getSettings(reread));
    EXPECT_EQ(1, reread.servers.size());

    freeDisk();
    EXPECT_TRUE(config.setSettings(settings));
    ASSERT_TRUE(config.getSettings(reread));
    EXPECT_EQ(201, reread.servers.size());
}

TEST_F(FailingDiskTest, ReadOnlyFileSystemRefusesEveryChange) {
    std::string inventory = onDisk("zr-inventory");
    std::string network = onDisk("zr-network");
    std::string partial = onDisk("zr-partial-files");
    writeFile(inventory, INVENTORY);
    ASSERT_EQ(0, createDefaultNetwork(network.c_str()));
    ASSERT_EQ(0, createDefaultPartialFiles(partial.c_str()));
    const std::string networkText = readFile(network);
    remountReadOnly();

    ZRUpdateStore store(String(inventory.c_str()));
    ASSERT_TRUE(store.load(inventory.c_str()));
    ZRProduct small = bigProduct(5);
    small.info.desc = "small";
    EXPECT_FALSE(store.addProduct(small));
    EXPECT_FALSE(store.removeProduct(1000));
    EXPECT_EQ(INVENTORY, readFile(inventory));
    ZRProduct found;
    EXPECT_TRUE(store.findProduct(1000, found));

    ZRNetConfig config;
    ASSERT_TRUE(config.load(network.c_str()));
    NetSettings settings;
    ASSERT_TRUE(config.getSettings(settings));
    settings.timeout = 30;
    EXPECT_FALSE(config.setSettings(settings));
    EXPECT_EQ(networkText, readFile(network));

    ZRUpdateStore partials;
    ASSERT_TRUE(partials.load(partial.c_str()));
    ZRPartialFileInfo info;
    info.productID = 5;
    EXPECT_FALSE(partials.putPartialFile(5, info));
    EXPECT_EQ(xmlDecl() + "<PartialFiles/>\n", readFile(partial));

    EXPECT_EQ(-1, createDefaultDelayPackages(onDisk("zr-delay-packages").c_str()));
    EXPECT_FALSE(fileExists(onDisk("zr-delay-packages")));
    EXPECT_TRUE(logged("Read-only file system"));
}

}  // namespace
