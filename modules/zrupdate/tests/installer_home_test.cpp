// The installer against real archives and scripts, in the work directory of
// the build: the outcomes the end-to-end update tests do not reach (a script
// ended by a signal, packages skipped, the large-package form, arguments
// without an install path, package folders outside the work directory,
// leftovers of an earlier package).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "../../common/tests/TestScratch.h"
#include "ZRPaths.h"
#include "install/ZRUpdateInstaller.h"
#include "io/File.h"
#include "io/StringOutputStream.h"
#include "store/ZRUpdateParser.h"
#include "util/Log.h"

namespace {

struct Case {
    long id;
    const char* format;
    int downloadResult;
    const char* scriptTail;  // the script's last line
    bool large;              // the archive carries large_package_flag
    int runResult;
    const char* logLine;  // expected in the log
};

const Case kCases[] = {
    {1, "ZIP", 1, "exit 0", false, 1, "Install P1 ..."},
    {4, "zip", 1, "kill -9 $$", false, 0, "Install7 P4 (1.0.0.0) failed"},
    {5, "tar", 1, "exit 0", false, 0, "ZRUpdate: unsupported package format: tar"},
    {6, "zip", 0, "exit 0", false, 0, "ZRUpdate: package file of 'N6 (1.0.0.0) is invalid"},
    {8, "zip", 1, "exit 0", true, 1, "Install P8 ..."},
};

class InstallerTest : public ::testing::Test {
protected:
    void SetUp() override {
        work = ZRPaths::WORK_DIR;
        Log::openLog(scratch.file("log").c_str());
        Log::openDebugLog(scratch.file("log").c_str());
        Log::setDebug(true);
    }
    void TearDown() override {
        Log::setDebug(false);
        Log::openLog("");
        Log::openDebugLog("");
        for (const Case& c : kCases) {
            std::string product = "/" + std::to_string(c.id);
            File(String((work + product).c_str())).deleteRecursive();
            File(String((ZRPaths::HOME + work + product).c_str())).deleteRecursive();
        }
    }

    // A downloaded package of product c.id in work/<id>/1_0: an archive
    // with the install script (which records its arguments and what it
    // finds beside it) and a payload file.
    ZRPackageInfo makePackage(const Case& c, std::string dir = "") {
        if (dir.empty()) dir = work + "/" + std::to_string(c.id) + "/1_0";
        std::string build = scratch.file("build" + std::to_string(c.id));
        std::filesystem::create_directories(dir);
        std::filesystem::create_directories(build);
        std::string record = scratch.file("record" + std::to_string(c.id));
        writeFile(build + "/install-package", "#!/bin/sh\necho \"$*\" >" + record +
                                                  "\nls \"$2\" >>" + record + "\n" + c.scriptTail +
                                                  "\n");
        writeFile(build + "/payload", "data");
        if (c.large) {
            for (const char* member : {"large_package_flag", "install", "readme"})
                writeFile(build + "/" + member, "");
        }
        std::string zip =
            "cd " + build + " && chmod +x install-package && zip -q " + dir + "/p.zip *";
        EXPECT_EQ(0, std::system(zip.c_str()));

        ZRPackageInfo p;
        p.path = dir.c_str();
        p.file = "p.zip";
        p.product.id = c.id;
        p.product.name = ("N" + std::to_string(c.id)).c_str();
        p.product.desc = ("P" + std::to_string(c.id)).c_str();
        p.version = ZRVersionInfo(String("1.0"));
        p.downloadResult = c.downloadResult;
        p.format = c.format;
        p.installScript = "install-package";
        return p;
    }

    std::string log() { return readFile(scratch.file("log")); }

    // The installer of a one-package list, as the update run hands it over.
    static std::unique_ptr<ZRUpdateInstaller> installerOf(const ZRPackageInfo& p) {
        Vector<ZRPackageInfo> list;
        list.add(p);
        StringOutputStream text;
        writePackageList(text, list);
        return std::make_unique<ZRUpdateInstaller>(text.getString());
    }

    ScratchDir scratch;
    std::string work;
};

TEST_F(InstallerTest, EveryOutcomeOfUnzipAndScript) {
    Vector<ZRPackageInfo> packages;
    for (const Case& c : kCases) packages.add(makePackage(c));
    // Through the package list document, as the update run hands it over.
    StringOutputStream text;
    ASSERT_EQ(5, writePackageList(text, packages));
    ZRUpdateInstaller installer(text.getString());
    ASSERT_EQ(5, installer.getPackageCount());

    EXPECT_EQ(2, installer.install());
    std::string log = this->log();
    for (int i = 0; i < installer.getPackageCount(); i++) {
        const Case& c = kCases[i];
        const ZRPackageInfo& p = installer.getPackage(i);
        SCOPED_TRACE(c.id);
        EXPECT_EQ(c.runResult, p.runResult);
        EXPECT_NE(std::string::npos, log.find(c.logLine)) << log;
        std::string productDir = work + "/" + std::to_string(c.id);
        bool scriptRan = fileExists(scratch.file("record" + std::to_string(c.id)));
        EXPECT_EQ(c.format[0] != 't' && c.downloadResult == 1, scriptRan);
        // Whatever the outcome, nothing is left for the next package.
        EXPECT_FALSE(fileExists(productDir));
    }

    // Arguments: the install path only when there is one; a large package
    // is unpacked only as far as its script and the archive stays for it.
    std::string dir8 = work + "/8/1_0";
    EXPECT_EQ("-s " + dir8 + "\ninstall\ninstall-package\nlarge_package_flag\np.zip\nreadme\n",
              readFile(scratch.file("record8")));
    EXPECT_EQ("-s " + work + "/1/1_0\ninstall-package\npayload\n",
              readFile(scratch.file("record1")));
}

// A package list may name any folder: only <work dir>/<product id>/... is
// unpacked, run or removed; anything else is refused and left as it is.
TEST_F(InstallerTest, RefusesPackageFoldersOutsideTheWorkDirectory) {
    std::string outside = scratch.file("outside");
    std::string inWork = work + "/1";
    std::filesystem::create_directories(inWork);
    ASSERT_EQ(0, symlink(outside.c_str(), (inWork + "/link").c_str()));
    for (const std::string& dir :
         {outside + "/1/1_0", inWork + "/../9/1_0", inWork + "/link/1_0", inWork, work + "/1_0"}) {
        SCOPED_TRACE(dir);
        std::filesystem::remove_all(outside);
        std::filesystem::create_directories(outside);
        ZRPackageInfo p = makePackage(kCases[0], dir);
        std::string madeAt = std::filesystem::canonical(dir).string();
        EXPECT_EQ(0, installerOf(p)->install());
        EXPECT_FALSE(fileExists(scratch.file("record1")));
        EXPECT_NE(std::string::npos,
                  log().find("ZRUpdate: refusing a package folder outside " + inWork + ": " + dir));
        // Nothing outside the work directory is removed.
        EXPECT_TRUE(madeAt.rfind(outside, 0) != 0 || fileExists(madeAt + "/p.zip"));
    }
    std::filesystem::remove_all(work + "/9");
    std::filesystem::remove_all(work + "/1_0");

    // The archive and the script are names in the package folder.
    for (auto names :
         {std::make_pair("../p.zip", "install-package"), std::make_pair("p.zip", "..\\x")}) {
        ZRPackageInfo p = makePackage(kCases[0]);
        std::filesystem::rename(work + "/1/1_0/p.zip", work + "/1/p.zip");
        p.file = names.first;
        p.installScript = names.second;
        EXPECT_EQ(0, installerOf(p)->install());
        std::string refusal = "no name in its folder: " + std::string(names.first);
        EXPECT_NE(std::string::npos, log().find(refusal));
    }
    EXPECT_FALSE(fileExists(scratch.file("record1")));
}

// Whatever an earlier package of the same product and version left in the
// folder never reaches the next one, nor the home when that one is held
// back; an archive that does not unpack leaves nothing behind.
TEST_F(InstallerTest, NoLeftoversBetweenPackages) {
    Case later = kCases[0];
    later.scriptTail = "exit 1";
    std::string dir = work + "/1/1_0";
    ZRPackageInfo broken = makePackage(later);
    writeFile(dir + "/p.zip", "not an archive");
    EXPECT_EQ(0, installerOf(broken)->install());
    EXPECT_FALSE(fileExists(work + "/1"));

    ZRPackageInfo next = makePackage(later);
    writeFile(dir + "/leftover", "old");
    std::unique_ptr<ZRUpdateInstaller> installer = installerOf(next);
    EXPECT_EQ(1, installer->install());
    std::string held = ZRPaths::HOME + dir;
    EXPECT_EQ(-1, installer->getPackage(0).runResult);
    EXPECT_EQ(held, installer->getPackage(0).path.c_str());
    EXPECT_EQ("-s " + dir + "\ninstall-package\npayload\n", readFile(scratch.file("record1")));
    EXPECT_TRUE(fileExists(held + "/payload"));
    EXPECT_FALSE(fileExists(held + "/leftover"));
}

}  // namespace
