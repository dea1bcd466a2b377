#include <gtest/gtest.h>

#include <string>

#include "StoreTestSupport.h"
#include "io/FileInputStream.h"
#include "io/StringOutputStream.h"
#include "store/ZRUpdateParser.h"
#include "xml/XMLTree.h"

namespace {

const std::string DECLARATION = xmlDecl();

// A complete package element as the update server sends it.
const char* const FULL_PACKAGE =
    "<PackageInfo path=\"/tmp/dl\" file=\"pkg.zip\">"
    "<ProductInfo id=\"42\" name=\"Scanner\" desc=\"Virus scanner\" installPath=\"/opt/scan\""
    " serialNo=\"SN-1\" parent=\"1,2\" langCode=\"en\" OEM=\"acme\"/>"
    "<ZRVersionInfo major=\"3\" minor=\"1\" patchLevel=\"4\" buildNum=\"159\" status=\"beta\""
    " desc=\"next\"/>"
    "<PlatformInfo arch=\"x86_64\" os=\"Linux\" vendor=\"RedHat\" version=\"5.10\"/>"
    "<DownloadInfo url=\"http://h/p.zip\" md5=\"abcdef\" time=\"yesterday\" size=\"1234\""
    " result=\"1\"/>"
    "<RunInfo format=\"zip\" installScript=\"install-package\" result=\"-1\"/>"
    "</PackageInfo>";

std::string answer(const std::string& body) {
    return DECLARATION + "<ZRUpdateResponse>" + body + "</ZRUpdateResponse>";
}

bool parse(ZRUpdateParser& parser, const std::string& text) {
    return parser.parse(String(text.c_str()));
}

std::string str(const String& s) {
    return std::string(s.c_str());
}

// Every field of a package in one line, to compare a whole record at once.
std::string summary(const ZRPackageInfo& p) {
    const ZRProductInfo& i = p.product;
    const ZRVersionInfo& v = p.version;
    return str(p.path) + "|" + str(p.file) + "|" + std::to_string(i.id) + "|" + str(i.name) + "|" +
           str(i.desc) + "|" + str(i.installPath) + "|" + str(i.serialNo) + "|" + str(i.parent) +
           "|" + str(i.langCode) + "|" + str(i.OEM) + "|" + (v.numeric ? "n " : "t ") +
           std::to_string(v.major) + "." + std::to_string(v.minor) + "." +
           std::to_string(v.patchLevel) + "." + std::to_string(v.buildNum) + " " +
           str(v.toString()) + "|" + str(p.arch) + "|" + str(p.os) + "|" + str(p.vendor) + "|" +
           str(p.platformVersion) + "|" + str(p.url) + "|" + str(p.md5) + "|" + str(p.time) + "|" +
           std::to_string(p.size) + "|" + std::to_string(p.downloadResult) + "|" + str(p.format) +
           "|" + str(p.installScript) + "|" + std::to_string(p.runResult);
}

const std::string FULL_SUMMARY =
    "/tmp/dl|pkg.zip|42|Scanner|Virus scanner|/opt/scan|SN-1|1,2|en|acme|"
    "n 3.1.4.159 3.1.4.159,beta,next|x86_64|Linux|RedHat|5.10|http://h/p.zip|abcdef|yesterday|"
    "1234|1|zip|install-package|-1";

}  // namespace

TEST(UpdateParserResult, CodeAndStatusComeFromTheResultElement) {
    ZRUpdateParser parser;
    EXPECT_EQ(parser.getResultCode(), -1) << "nothing parsed yet";
    EXPECT_EQ(parser.getTree(), nullptr);
    EXPECT_EQ(str(parser.getRootName()), "");

    ASSERT_TRUE(parse(parser, answer("<Result code=\"201\" status=\"packages\"/>")));
    EXPECT_TRUE(parser.isLoaded());
    EXPECT_EQ(parser.getResultCode(), 201);
    EXPECT_EQ(str(parser.getResultStatus()), "packages");
    EXPECT_EQ(str(parser.getRootName()), "ZRUpdateResponse");
    EXPECT_NE(parser.getTree(), nullptr);

    // Attribute names are matched without regard to case.
    ASSERT_TRUE(
        parse(parser, "<ZRSelfUpdateResponse><Result CODE=\"211\"/></ZRSelfUpdateResponse>"));
    EXPECT_EQ(parser.getResultCode(), 211);
    EXPECT_EQ(str(parser.getRootName()), "ZRSelfUpdateResponse");

    // An empty code, no code or no Result element: -1.
    for (const char* body : {"<Result code=\"\" status=\"s\"/>", "<Result status=\"s\"/>",
                             "<Other code=\"200\" status=\"s\"/>"}) {
        ASSERT_TRUE(parse(parser, answer(body)));
        EXPECT_EQ(parser.getResultCode(), -1) << body;
    }
    EXPECT_EQ(str(parser.getResultStatus()), "");
}

TEST(UpdateParserResult, ABrokenDocumentYieldsNothingEvenWhatWasReadBeforeTheError) {
    ZRUpdateParser parser;
    ASSERT_TRUE(parse(parser, answer("<Result code=\"200\"/>")));
    // Truncated: the Result and ServerList before the break must not count.
    EXPECT_FALSE(parse(parser,
                       "<ZRUpdateResponse><Result code=\"210\"/><ServerList>"
                       "<Server host=\"a\"/>"));
    EXPECT_FALSE(parser.isLoaded());
    EXPECT_EQ(parser.getResultCode(), -1);
    Vector<ZRServer> servers;
    EXPECT_EQ(parser.getServerList(servers), -1);
    Vector<ZRPackageInfo> packages;
    EXPECT_EQ(parser.getPackageList(packages, false), -1);
    EXPECT_EQ(str(parser.getRootName()), "");

    EXPECT_FALSE(parse(parser, ""));
    EXPECT_FALSE(parser.isLoaded());
}

TEST(UpdateParserServers, ChildrenWithAHostBecomeServersInOrder) {
    ZRUpdateParser parser;
    Vector<ZRServer> servers;
    servers.add(ZRServer("stale"));
    EXPECT_EQ(parser.getServerList(servers), -1);
    EXPECT_EQ(servers.size(), 0) << "cleared even when nothing is parsed";

    ASSERT_TRUE(parse(parser, answer("<Result code=\"210\"/><ServerList>"
                                     "<Server host=\"one.example\"/>"
                                     "<Server name=\"no host\"/>"
                                     "<Mirror HOST=\"two.example:8443\"/>"
                                     "</ServerList>")));
    ASSERT_EQ(parser.getServerList(servers), 2);
    EXPECT_EQ(str(servers[0].host) + " " + str(servers[1].host), "one.example two.example:8443");

    ASSERT_TRUE(parse(parser, answer("<Result code=\"210\"/><ServerList/>")));
    EXPECT_EQ(parser.getServerList(servers), 0);
    EXPECT_EQ(servers.size(), 0);

    ASSERT_TRUE(parse(parser, answer("<Result code=\"210\"/>")));
    EXPECT_EQ(parser.getServerList(servers), -1);
}

// Read from a file longer than one read chunk, and from a state file whose
// root is the list itself.
TEST(UpdateParserPackages, ReadsEveryFieldOfAnAnswerPackage) {
    ScratchDir dir;
    std::string body = "<Result code=\"201\"/><PackageInfoList>";
    for (int i = 0; i < 12; ++i) body += FULL_PACKAGE;  // about 5 KB
    writeFile(dir.file("answer.xml"), answer(body + "</PackageInfoList>"));
    ZRUpdateParser parser;
    FileInputStream in(dir.file("answer.xml").c_str());
    EXPECT_TRUE(parser.parse(in));
    in.close();
    Vector<ZRPackageInfo> packages;
    ASSERT_EQ(parser.getPackageList(packages, false), 12);
    EXPECT_EQ(summary(packages[0]), FULL_SUMMARY);
    EXPECT_EQ(summary(packages[11]), FULL_SUMMARY);
    EXPECT_EQ(parser.getResultCode(), 201);

    ASSERT_TRUE(
        parse(parser, DECLARATION + "<PackageInfoList>" + FULL_PACKAGE + "</PackageInfoList>"));
    ASSERT_EQ(parser.getPackageList(packages, true), 1);
    EXPECT_EQ(summary(packages[0]), FULL_SUMMARY);
    // "/PackageInfoList" names the root itself here.
    ASSERT_EQ(parser.getPackageList(packages, false), 1);

    // Without the list element there is no list at all; an empty one is 0.
    ASSERT_TRUE(parse(parser, answer("<Result code=\"201\"/>")));
    EXPECT_EQ(parser.getPackageList(packages, false), -1);
    EXPECT_EQ(packages.size(), 0);
    ASSERT_TRUE(parse(parser, DECLARATION + "<PackageInfoList/>"));
    EXPECT_EQ(parser.getPackageList(packages, true), 0);
    ASSERT_TRUE(parse(parser, answer("<PackageInfoList/>")));
    EXPECT_EQ(parser.getPackageList(packages, false), 0);
}

// An offer keeps everything but what only the download and the installer
// may say: folder, file name and both results.
TEST(UpdateParserPackages, AnOfferNamesNoFolderFileOrResult) {
    ZRUpdateParser parser;
    ASSERT_TRUE(parse(parser, answer(std::string("<Result code=\"201\"/><PackageInfoList>") +
                                     FULL_PACKAGE + "</PackageInfoList>")));
    Vector<ZRPackageInfo> packages;
    ASSERT_EQ(parser.getOfferedPackages(packages), 1);
    std::string expected = FULL_SUMMARY.substr(FULL_SUMMARY.find("|42|"));
    expected.replace(expected.find("|1234|1|"), 8, "|1234|0|");
    expected.replace(expected.rfind("|-1"), 3, "|0");
    EXPECT_EQ(summary(packages[0]), "|" + expected);
}

TEST(UpdateParserPackages, WhatMakesAPackageAndHowItsChildrenAreRead) {
    const std::string four =
        "<ProductInfo id=\"7\"/><ZRVersionInfo major=\"1\" minor=\"2\"/>"
        "<DownloadInfo url=\"u\" size=\"5\"/><RunInfo format=\"zip\"/>";
    const std::pair<std::string, std::string> cases[] = {
        // Four children are not a package; a fifth of any kind makes one.
        {"<PackageInfo path=\"p\">" + four + "</PackageInfo>", ""},
        {"<PackageInfo path=\"p\">" + four + "<PlatformInfo os=\"Linux\"/></PackageInfo>",
         "p||7||||||||n 1.2.0.0 1.2.0.0||Linux|||u|||5|0|zip||0"},
        {"<PackageInfo>" + four + "<Signature os=\"ignored\"/></PackageInfo>",
         "||7||||||||n 1.2.0.0 1.2.0.0|||||u|||5|0|zip||0"},
        // Child names ignore case; no id reads as -1, absent numbers as 0.
        {"<PackageInfo><productinfo name=\"n\"/><EXTVERSIONINFO version=\"2006 R2\"/>"
         "<platforminfo/><downloadinfo/><runinfo installScript=\"go\"/></PackageInfo>",
         "||-1|n|||||||t 0.0.0.0 2006 R2||||||||0|0||go|0"},
        {"<Note/>", ""},  // not a package: passed over
        // A later child of the same name wins.
        {"<PackageInfo><ExtVersionInfo version=\"old\"/><DownloadInfo url=\"first\" size=\"1\"/>"
         "<ProductInfo id=\"1\"/><RunInfo/><ZRVersionInfo major=\"5\" minor=\"6\" buildNum=\"7\"/>"
         "<DownloadInfo url=\"second\"/></PackageInfo>",
         "||1||||||||n 5.6.0.7 5.6.0.7|||||second|||0|0|||0"},
    };
    ZRUpdateParser parser;
    Vector<ZRPackageInfo> packages;
    for (const auto& c : cases) {
        ASSERT_TRUE(parse(parser, answer("<PackageInfoList>" + c.first + "</PackageInfoList>")));
        int count = parser.getPackageList(packages, false);
        EXPECT_EQ(count == 1 ? summary(packages[0]) : std::to_string(count),
                  c.second.empty() ? "0" : c.second)
            << c.first;
    }
}

// The package list file as the installer reads it, byte for byte, and read
// back again.
TEST(WritePackageList, WritesTheElementsAndAttributesInTheirFixedOrder) {
    ZRUpdateParser parser;
    ASSERT_TRUE(
        parse(parser, DECLARATION + "<PackageInfoList>" + FULL_PACKAGE + "</PackageInfoList>"));
    Vector<ZRPackageInfo> packages;
    ASSERT_EQ(parser.getPackageList(packages, true), 1);
    ZRPackageInfo odd;  // text that needs escaping and an unknown id
    odd.product.id = -1;
    odd.product.name = "Tom & \"Jerry\" <x";
    odd.version = ZRVersionInfo(VersionInfo("2006 'R2'", "", "x"));
    packages.add(odd);

    StringOutputStream out;
    EXPECT_EQ(writePackageList(out, packages), 2);
    const char* expected =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<PackageInfoList>\n"
        "<PackageInfo path=\"/tmp/dl\" file=\"pkg.zip\">\n"
        "<ProductInfo id=\"42\" name=\"Scanner\" desc=\"Virus scanner\" "
        "installPath=\"/opt/scan\"/>\n"
        "<PlatformInfo arch=\"x86_64\" os=\"Linux\" vendor=\"RedHat\" version=\"5.10\"/>\n"
        "<ZRVersionInfo major=\"3\" minor=\"1\" patchLevel=\"4\" buildNum=\"159\" status=\"beta\" "
        "desc=\"next\"/>\n"
        "<DownloadInfo url=\"http://h/p.zip\" md5=\"abcdef\" size=\"1234\" time=\"yesterday\" "
        "result=\"1\"/>\n"
        "<RunInfo format=\"zip\" installScript=\"install-package\" result=\"-1\"/>\n"
        "</PackageInfo>\n"
        "<PackageInfo path=\"\" file=\"\">\n"
        "<ProductInfo id=\"-1\" name=\"Tom &amp; &quot;Jerry&quot; &lt;x\" desc=\"\" "
        "installPath=\"\"/>\n"
        "<PlatformInfo arch=\"\" os=\"\" vendor=\"\" version=\"\"/>\n"
        "<ExtVersionInfo version=\"2006 'R2'\" status=\"\" desc=\"x\"/>\n"
        "<DownloadInfo url=\"\" md5=\"\" size=\"0\" time=\"\" result=\"0\"/>\n"
        "<RunInfo format=\"\" installScript=\"\" result=\"0\"/>\n"
        "</PackageInfo>\n"
        "</PackageInfoList>\n";
    EXPECT_EQ(str(out.getString()), expected);

    // Read back, every field but the four product ones left out comes back.
    ZRUpdateParser again;
    ASSERT_TRUE(again.parse(out.getString()));
    Vector<ZRPackageInfo> back;
    ASSERT_EQ(again.getPackageList(back, true), 2);
    std::string withoutFour = FULL_SUMMARY;
    EXPECT_EQ(summary(back[0]),
              withoutFour.replace(withoutFour.find("SN-1|1,2|en|acme"), 16, "|||"));
    EXPECT_EQ(summary(back[1]), summary(odd));

    StringOutputStream none;
    EXPECT_EQ(writePackageList(none, Vector<ZRPackageInfo>()), 0);
    EXPECT_EQ(none.getString().length(), 0) << "nothing is written for no packages";
}

// A package's signature comes with its DownloadInfo, is written after the
// other download attributes only when there is one, and is read back whole.
TEST(WritePackageList, KeepsASignatureAndWritesNoneWhenThereIsNone) {
    std::string signed_ = FULL_PACKAGE;
    signed_.insert(signed_.find(" result=\"1\"/>") + 13 - 2, " signature=\"c2ln+/==\"");
    ZRUpdateParser parser;
    ASSERT_TRUE(parse(parser, answer("<PackageInfoList>" + signed_ + "</PackageInfoList>")));
    Vector<ZRPackageInfo> packages;
    ASSERT_EQ(parser.getPackageList(packages, false), 1);
    EXPECT_EQ(str(packages[0].signature), "c2ln+/==");
    packages.add(ZRPackageInfo());

    StringOutputStream out;
    ASSERT_EQ(writePackageList(out, packages), 2);
    std::string text = str(out.getString());
    EXPECT_NE(text.find("result=\"1\" signature=\"c2ln+/==\"/>"), std::string::npos) << text;
    EXPECT_EQ(text.find("signature", text.find("c2ln") + 4), std::string::npos) << text;
    ZRUpdateParser again;
    ASSERT_TRUE(again.parse(out.getString()));
    ASSERT_EQ(again.getPackageList(packages, true), 2);
    EXPECT_EQ(str(packages[0].signature), "c2ln+/==");
    EXPECT_EQ(str(packages[1].signature), "");
}
