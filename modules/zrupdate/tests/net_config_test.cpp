// The network settings store on real files: reading every field with its
// defaults and odd values, the exact text written, the server certificate
// parameter and the default document.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "Exception.h"
#include "StoreTestSupport.h"
#include "store/ZRNetConfig.h"
#include "util/Base64.h"

namespace {

std::string encoded(const char* text) {
    return Base64::encode(String(text)).c_str();
}

std::string network(const std::string& attributes, const std::string& rest = "") {
    return xmlDecl() + "<ZRNetClientSettings>\n<ServerList" + attributes +
           ">\n<Server host=\"a.example\"/>\n</ServerList>\n" + rest + "</ZRNetClientSettings>\n";
}

class NetConfigTest : public ::testing::Test {
protected:
    ScratchDir dir;
    std::string file = dir.file("zr-network");

    std::string read(const std::string& text) {
        writeFile(file, text);
        ZRNetConfig config;
        NetSettings settings;
        EXPECT_TRUE(config.load(file.c_str()));
        EXPECT_TRUE(config.getSettings(settings));
        return summary(settings);
    }
};

TEST_F(NetConfigTest, LoadContractAndUnloadedObject) {
    ZRNetConfig config;
    EXPECT_FALSE(config.load(""));
    EXPECT_THROW(config.load(dir.file("missing").c_str()), IOException);

    // A broken document, or one without ServerList, reads and accepts nothing.
    NetSettings settings;
    for (const std::string& text : {std::string("<ZRNetClientSettings><ServerList>"),
                                    xmlDecl() + "<ZRNetClientSettings/>\n"}) {
        writeFile(file, text);
        config.load(file.c_str());
        settings.user = "stale";
        settings.servers.add(ZRServer(String("h")));
        EXPECT_FALSE(config.getSettings(settings));
        EXPECT_STREQ("", settings.user.c_str());
        EXPECT_EQ(0, settings.servers.size());
        settings.servers.add(ZRServer(String("h")));
        EXPECT_FALSE(config.setSettings(settings));
        EXPECT_EQ(text, readFile(file));
    }
    ServerVerify verify;
    EXPECT_FALSE(config.getServerVerify(verify));
}

TEST_F(NetConfigTest, ReadsEveryFieldWithItsDefaultsAndOddValues) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "https proxy 0 :0 / user / timeout 0 mac  servers a.example saved"},
        {" TYPE=\"http\" isusingproxy=\"1\" timeout=\"abc\" Mac=\"00:11:22\"",
         "http proxy 1 :0 / user / timeout 0 mac 00:11:22 servers a.example saved"},
        {" timeout=\"45\" proxy=\"10.0.0.1\"",
         "https proxy 0 10.0.0.1:0 / user / timeout 45 mac  servers a.example saved"},
        {" proxy=\"10.0.0.1:8080\"",
         "https proxy 0 10.0.0.1:8080 / user / timeout 0 mac  servers a.example saved"},
        {" proxy=\"10.0.0.1:x\"",
         "https proxy 0 10.0.0.1:x:0 / user / timeout 0 mac  servers a.example saved"},
        // Credentials are "user:password" in Base64; without a colon nothing is set.
        {" proxyuser=\"" + encoded("alice") + "\" user=\"" + encoded(":pw") + "\"",
         "https proxy 0 :0 / user / timeout 0 mac  servers a.example saved"},
        {" proxyuser=\"" + encoded("bob:se:cret") + "\" user=\"" + encoded("carol:") + "\"",
         "https proxy 0 :0 bob/se:cret user carol/ timeout 0 mac  servers a.example saved"},
        {" proxyuser=\"%%%\" user=\"abc\"",
         "https proxy 0 :0 / user / timeout 0 mac  servers a.example saved"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.second, read(network(c.first))) << c.first;

    // Hosts come from any child with a host attribute, in order.
    EXPECT_EQ("https proxy 0 :0 / user / timeout 0 mac  servers one two saved old",
              read(xmlDecl() +
                   "<ZRNetClientSettings>\n<ServerList>\n<Server host=\"one\"/>\n<Server/>\n"
                   "<Mirror HOST=\"two\"/>\n</ServerList>\n<OriginalServerList>\n"
                   "<Server host=\"old\"/>\n</OriginalServerList>\n</ZRNetClientSettings>\n"));

    // An empty mac attribute leaves the caller's value alone.
    writeFile(file, network(" mac=\"\""));
    ZRNetConfig config;
    ASSERT_TRUE(config.load(file.c_str()));
    NetSettings kept;
    kept.mac = "keep";
    ASSERT_TRUE(config.getSettings(kept));
    EXPECT_STREQ("keep", kept.mac.c_str());
}

TEST_F(NetConfigTest, WritesTheExactTextAndReadsItBack) {
    ASSERT_EQ(0, createDefaultNetwork(file.c_str()));
    ZRNetConfig config;
    ASSERT_TRUE(config.load(file.c_str()));

    NetSettings in;
    in.isUsingProxy = "1";
    in.proxyserver = "proxy.local";
    in.proxyport = 3128;
    in.proxyuser = "bob";
    in.proxypass = "secret";
    in.user = "web";
    in.password = "pw";
    in.timeout = 30;
    in.mac = "00:16:3e:00:00:01";
    in.servers.add(ZRServer(String("s1.example")));
    in.servers.add(ZRServer(String("s2.example:8443")));
    ASSERT_TRUE(config.setSettings(in));
    const std::string written =
        xmlDecl() +
        "<ZRNetClientSettings>\n"
        "<ServerList type=\"https\" mac=\"00:16:3e:00:00:01\" proxy=\"proxy.local:3128\" "
        "proxyuser=\"" +
        encoded("bob:secret") + "\" user=\"" + encoded("web:pw") +
        "\" timeout=\"30\" isUsingProxy=\"1\">\n"
        "<Server host=\"s1.example\"/>\n"
        "<Server host=\"s2.example:8443\"/>\n"
        "</ServerList>\n"
        "<OriginalServerList/>\n"
        "</ZRNetClientSettings>\n";
    EXPECT_EQ(written, readFile(file));

    NetSettings out;
    ASSERT_TRUE(config.getSettings(out));
    EXPECT_EQ(
        "https proxy 1 proxy.local:3128 bob/secret user web/pw timeout 30 "
        "mac 00:16:3e:00:00:01 servers s1.example s2.example:8443 saved",
        summary(out));

    // Writing again replaces both lists rather than adding to them; empty
    // fields take their written defaults.
    NetSettings next;
    next.type = "http";
    next.servers.add(ZRServer(String("s3.example")));
    next.savedServers.add(ZRServer(String("s1.example")));
    next.savedServers.add(ZRServer(String("s2.example:8443")));
    next.timeout = 180;
    ASSERT_TRUE(config.setSettings(next));
    EXPECT_EQ(xmlDecl() +
                  "<ZRNetClientSettings>\n"
                  "<ServerList type=\"http\" mac=\"\" proxy=\"\" proxyuser=\"\" user=\"\" "
                  "timeout=\"180\" isUsingProxy=\"0\">\n"
                  "<Server host=\"s3.example\"/>\n"
                  "</ServerList>\n"
                  "<OriginalServerList>\n"
                  "<Server host=\"s1.example\"/>\n"
                  "<Server host=\"s2.example:8443\"/>\n"
                  "</OriginalServerList>\n"
                  "</ZRNetClientSettings>\n",
              readFile(file));

    // The saved list is replaced, not added to.
    next.savedServers.removeAt(1);
    ASSERT_TRUE(config.setSettings(next));
    ASSERT_TRUE(config.getSettings(out));
    EXPECT_EQ(" s1.example", hosts(out.savedServers));

    // An empty server list is refused and nothing is written.
    const std::string before = readFile(file);
    NetSettings none;
    none.savedServers.add(ZRServer(String("x")));
    EXPECT_FALSE(config.setSettings(none));
    EXPECT_EQ(before, readFile(file));
}

TEST_F(NetConfigTest, ServerCertificate) {
    auto param = [](const char* name, const std::string& value) {
        return std::string("<Param name=\"") + name + "\" value=\"" + value + "\"/>\n";
    };
    auto document = [](const std::string& params) {
        return network("", "<ServerVerify>\n" + params + "</ServerVerify>\n");
    };
    auto verifying = [&](const char* name) {
        ServerVerify v;
        v.certDir = dir.path().c_str();
        v.certFile = name;
        return v;
    };
    std::string cert = dir.file("ca.pem");
    writeFile(cert, "certificate");
    writeFile(file, document(param("other", cert) + param("ssl.server.cert", "") +
                             param("SSL.Server.Cert", dir.file("gone.pem")) +
                             "<Param NAME=\"ssl.server.cert\" VALUE=\"" + cert + "\"/>\n"));
    ZRNetConfig config;
    ASSERT_TRUE(config.load(file.c_str()));
    ServerVerify verify;
    verify.certDir = "stale";
    ASSERT_TRUE(config.getServerVerify(verify));
    EXPECT_STREQ("", verify.certDir.c_str());
    EXPECT_EQ(cert, verify.certFile.c_str());

    // Setting names a file that must exist, joined from folder and name.
    EXPECT_FALSE(config.setServerVerify(verifying("gone.pem")));
    EXPECT_FALSE(config.setServerVerify(ServerVerify()));
    std::string other = dir.file("other.pem");
    writeFile(other, "other");
    ASSERT_TRUE(config.setServerVerify(verifying("other.pem")));
    EXPECT_EQ(document(param("ssl.server.cert", other)), readFile(file));
    ASSERT_TRUE(config.getServerVerify(verify));
    EXPECT_EQ(other, verify.certFile.c_str());

    // Once the file is gone the entry is ignored.
    std::remove(other.c_str());
    EXPECT_FALSE(config.getServerVerify(verify));
    EXPECT_STREQ("", verify.certFile.c_str());

    // Without a ServerVerify element one is created under the root.
    writeFile(file, network(""));
    ASSERT_TRUE(config.load(file.c_str()));
    ASSERT_TRUE(config.setServerVerify(verifying("ca.pem")));
    EXPECT_EQ(document(param("ssl.server.cert", cert)), readFile(file));
}

TEST_F(NetConfigTest, DefaultDocument) {
    ASSERT_EQ(0, createDefaultNetwork(file.c_str()));
    EXPECT_EQ(xmlDecl() +
                  "<ZRNetClientSettings>\n"
                  "<ServerList type=\"https\" mac=\"\" proxy=\"\" proxyuser=\"\" user=\"\" "
                  "timeout=\"180\">\n"
                  "<Server host=\"" +
                  ZRNetConfig::DEFAULT_SERVER_HOST +
                  "\"/>\n"
                  "</ServerList>\n"
                  "</ZRNetClientSettings>\n",
              readFile(file));

    EXPECT_EQ(std::string("https proxy 0 :0 / user / timeout 180 mac  servers ") +
                  ZRNetConfig::DEFAULT_SERVER_HOST + " saved",
              read(readFile(file)));

    EXPECT_EQ(-1, createDefaultNetwork(""));
    EXPECT_EQ(-1, createDefaultNetwork(dir.file("no/folder/zr-network").c_str()));
}

}  // namespace
