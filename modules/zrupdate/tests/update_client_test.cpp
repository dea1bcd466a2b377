// The parts of the update client that need no server: the socket-code
// table, the serial-number rule of the download headers, the lasting
// redirect's server order, the saved name of a partial download and the
// offers that are never fetched. The digest is the library's (md5_test);
// the exchange and the download themselves are
// tested end to end against real servers (tests/e2e/update_client_test.sh).
#include <gtest/gtest.h>

#include "StoreTestSupport.h"
#include "ZRPaths.h"
#include "client/ZRClientLog.h"
#include "client/ZRPartialDownload.h"
#include "client/ZRUpdateClient.h"
#include "io/File.h"
#include "store/ZRUpdateStore.h"
#include "util/FailureNote.h"
#include "util/Log.h"

TEST(UpdateClientTest, SocketCodesByPrefixAndProxy) {
    const struct {
        const char* text;
        bool proxy;
        const char* code;
    } cases[] = {
        {"EC_INVALID_HOST: unknown host", false, "EC_ZRUPDATE_INVALID_HOST"},
        {"EC_PROXY_FAILED: http tunnel failed", false, "EC_ZRUPDATE_PROXY_FAILED"},
        {"EC_CONNECT_REFUSED: connecting refused failed", false, "EC_ZRUPDATE_CONNECT_REFUSED"},
        {"EC_CONNECT_REFUSED: connecting refused failed", true, "EC_ZRUPDATE_PROXY_FAILED"},
        {"EC_CONNECT_TIMEOUT: connecting timeout", true, "EC_ZRUPDATE_CONNECT_TIMEOUT"},
        {"EC_READ_FAILED: x", false, "EC_ZRUPDATE_READ_FAILED"},
        {"EC_READ_TIMEOUT: x", false, "EC_ZRUPDATE_READ_TIMEOUT"},
        {"EC_WRITE_FAILED: x", false, "EC_ZRUPDATE_WRITE_FAILED"},
        {"EC_WRITE_TIMEOUT: x", false, "EC_ZRUPDATE_WRITE_TIMEOUT"},
        {"EC_CONNECT_FAILED: x", false, "EC_ZRUPDATE_CONNECT_FAILED"},
    };
    for (const auto& c : cases) {
        const char* code = ZRClientLog::socketCode(c.text, c.proxy);
        ASSERT_NE(nullptr, code) << c.text;
        EXPECT_STREQ(c.code, code) << c.text << " proxy " << c.proxy;
    }
    EXPECT_EQ(nullptr, ZRClientLog::socketCode("file size is incorrect", false));
    EXPECT_EQ(nullptr, ZRClientLog::socketCode("x EC_READ_FAILED", false));
}

// The account of a failure a person is shown, and which of several failures
// of one run it is: a later one replaces an earlier, a lost change stays.
TEST(UpdateClientTest, FailureSummariesForThePerson) {
    const char* const connect = "EC_ZRUPDATE_CONNECT_ERROR";
    const struct {
        const char* message;
        const char* code;
        const char* summary;
    } cases[] = {
        {"Connecting to h failed", connect, "no update server answered"},
        {"Connecting to h failed: EC_CONNECT_REFUSED: refused", connect,
         "no update server answered"},
        {"Connecting to h failed: SSL: certificate verify failed: 18", connect,
         "an update server's certificate failed the check"},
        {"Connecting to h failed: EC_PROXY_FAILED: http tunnel failed", connect,
         "the proxy refused the connection"},
        {"ZRUpdate: http response: 403", "EC_ZRUPDATE_UPDATE_ERROR",
         "an update server refused the request (HTTP 403)"},
        {"ZRUpdate: read server settings failed", "EC_ZRUPDATE_BAD_CONFIG",
         "read server settings failed"},
        // Nothing after the part that is cut off: an empty rest, no throw.
        {"ZRUpdate: ", "EC_ZRUPDATE_UPDATE_ERROR", ""},
        {"ZRUpdate: http response: ", "EC_ZRUPDATE_UPDATE_ERROR",
         "an update server refused the request (HTTP )"},
    };
    for (const auto& c : cases) {
        EXPECT_STREQ(c.summary, ZRClientLog::summary(String(c.message), c.code).c_str())
            << c.message;
    }

    FailureNote::clear();
    Log::setEnabled(false);  // the lines would go to standard error
    String shown;
    ZRClientLog::failure(String("Connecting to a failed"), connect);
    EXPECT_FALSE(FailureNote::toShow(false, shown));  // another server may still answer
    ZRClientLog::failure(String("ZRUpdate: http response: 500"), "EC_ZRUPDATE_UPDATE_ERROR");
    ASSERT_TRUE(FailureNote::toShow(true, shown));
    EXPECT_STREQ("an update server refused the request (HTTP 500)", shown.c_str());
    FailureNote::record(String("cannot write conf/zr-network"), FailureNote::ALWAYS);
    ZRClientLog::failure(String("Connecting to b failed"), connect);
    ASSERT_TRUE(FailureNote::toShow(false, shown));
    EXPECT_STREQ("cannot write conf/zr-network", shown.c_str());
    FailureNote::clear();
    Log::setEnabled(true);
}

class UpdateClientStoreTest : public ::testing::Test {
protected:
    ScratchDir dir;
    static std::string product(int id, const char* serial, const char* parent,
                               const char* version) {
        return std::string("<InstalledProduct><ProductInfo id=\"") + std::to_string(id) +
               "\" name=\"p\" desc=\"\" installPath=\"/opt/p\" serialNo=\"" + serial +
               "\" parent=\"" + parent + "\" langCode=\"\" OEM=\"\"/><ExtVersionInfo version=\"" +
               version + "\" status=\"\" desc=\"\"/></InstalledProduct>";
    }
    void loadInventory(const std::string& products) {
        writeFile(dir / "inventory",
                  xmlDecl() +
                      "<ZRUpdateClientSettings><Inventory><PlatformInfo os=\"Linux\"/>"
                      "<Products>" +
                      products + "</Products></Inventory></ZRUpdateClientSettings>");
        ASSERT_TRUE(ZRUpdateStore::instance().load((dir / "inventory").c_str()));
    }
};

TEST_F(UpdateClientStoreTest, DownloadHeadersBorrowTheFirstParentWithASerialNumber) {
    loadInventory(product(20, "", "x,-3,12,15", "2.0") + product(12, "", "", "1.2") +
                  product(15, "SN15", "", "1.5") + product(30, "SN30", "15", "3.0"));
    ZRUpdateClient client;
    long id = 20;
    String version, serial;
    ASSERT_TRUE(client.getProductHeaders(id, version, serial));
    EXPECT_EQ(15, id);
    EXPECT_STREQ("1.5", version.c_str());
    EXPECT_STREQ("SN15", serial.c_str());
    // A product with its own serial number keeps its own values.
    id = 30;
    ASSERT_TRUE(client.getProductHeaders(id, version, serial));
    EXPECT_EQ(30, id);
    EXPECT_STREQ("SN30", serial.c_str());
    id = 99;
    EXPECT_FALSE(client.getProductHeaders(id, version, serial));
}

TEST_F(UpdateClientStoreTest, LastingRedirectPutsNewServersInFrontOnce) {
    writeFile(dir / "network",
              xmlDecl() +
                  "<ZRNetClientSettings><ServerList type=\"http\" timeout=\"5\">"
                  "<Server host=\"old.example\"/></ServerList></ZRNetClientSettings>");
    ASSERT_TRUE(ZRNetConfig::instance().load((dir / "network").c_str()));
    ZRUpdateClient client;
    const char* answer =
        "<ZRUpdateResponse><Result code=\"210\"/><ServerList><Server host=\"a.example\"/>"
        "<Server host=\"OLD.EXAMPLE\"/><Server "
        "host=\"b.example\"/></ServerList></ZRUpdateResponse>";
    EXPECT_EQ(210, client.processResponse(answer));
    NetSettings settings;
    ASSERT_TRUE(ZRNetConfig::instance().getSettings(settings));
    EXPECT_EQ(" b.example a.example old.example", hosts(settings.servers));
    // A one-run redirect leaves the settings alone.
    EXPECT_EQ(211,
              client.processResponse("<zrupdateresponse><Result code=\"211\"/><ServerList>"
                                     "<S host=\"c.example\"/></ServerList></zrupdateresponse>"));
    ASSERT_TRUE(ZRNetConfig::instance().getSettings(settings));
    EXPECT_EQ(" b.example a.example old.example", hosts(settings.servers));
    EXPECT_EQ(-1,
              client.processResponse("<ZRUpdateResponse><Result code=\"2x\"/></ZRUpdateResponse>"));
    EXPECT_EQ(-1, client.processResponse("<Other><Result code=\"200\"/></Other>"));
}

TEST(UpdateClientTest, SavedNameOfAPart) {
    EXPECT_EQ(std::string(ZRPaths::HOME) + "/tmp/$tmp$zrupdate$7$2_5_0_0$p.zip",
              ZRPartialDownload::savedPath("/tmp/zrupdate/7/2_5_0_0/p.zip").c_str());
}

// Offers that are never fetched (no file name, no folder name, a folder that
// cannot be made): each fails alone, and none keeps the folder, file name or
// results the server wrote into it.
TEST_F(UpdateClientStoreTest, OffersThatAreNotFetchedClaimNothing) {
    ZRUpdateClient client;
    ASSERT_TRUE(File((dir / "work").c_str()).mkdir());
    ASSERT_EQ(0, client.setWorkDir((dir / "work").c_str()));
    const std::string longVersion(300, '1');
    const struct {
        const char* url;
        const char* version;
    } offers[] = {
        {"http://h/dir/", "1.0"}, {"..", "1.0"}, {"p.zip", "a/b"}, {"p.zip", longVersion.c_str()}};
    for (const auto& offer : offers) {
        ZRPackageInfo package;
        package.product.id = 7;
        package.url = offer.url;
        package.version.version = offer.version;
        package.path = (dir / "outside").c_str();
        package.file = "evil.zip";
        package.downloadResult = 1;
        package.runResult = 1;
        client.getPackages().add(package);
    }
    EXPECT_EQ(0, client.downloadPackages());
    for (int i = 0; i < client.getPackages().size(); i++) {
        const ZRPackageInfo& p = client.getPackages()[i];
        std::string claims = std::string(p.path.c_str()) + "|" + p.file.c_str() + "|" +
                             std::to_string(p.downloadResult) + "|" + std::to_string(p.runResult);
        EXPECT_EQ("||0|0", claims) << i;
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir / "work"));
}
