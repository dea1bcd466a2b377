// Every number the program reads (ids, version parts, answer attributes,
// proxy port, time-out, partial-file sizes, size limits, options) follows the
// library's rule: blanks skipped, the number ends at a byte after a digit
// that is not a hexadecimal digit, a hexadecimal letter is an error.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "Exception.h"
#include "StoreTestSupport.h"
#include "cli/CmdLine.h"
#include "store/ZRUpdateParser.h"
#include "store/ZRUpdateStore.h"

namespace {

const std::string BAD = "bad";

std::string inventoryField(const std::string& file, bool version) {
    ZRUpdateStore store;
    Vector<ZRProduct> products;
    if (!store.load(file.c_str()) || store.getProducts(products) != 1) return BAD;
    return std::to_string(version ? products[0].version.buildNum : products[0].info.id);
}

std::string packageField(const std::string& file, long (*field)(const ZRPackageInfo&)) {
    ZRUpdateParser parser;
    Vector<ZRPackageInfo> list;
    try {
        if (!parser.parse(String(readFile(file).c_str())) || parser.getPackageList(list, true) != 1)
            return "unreadable";
    } catch (const Exception& e) {
        return e.getMessage().equals("invalid dec number") ? BAD : e.getMessage().c_str();
    }
    return std::to_string(field(list[0]));
}

std::string networkField(const std::string& file, bool port) {
    ZRNetConfig config;
    NetSettings s;
    if (!config.load(file.c_str()) || !config.getSettings(s)) return "unreadable";
    if (!port) return std::to_string(s.timeout);
    // A port that does not parse leaves the whole value as the host.
    return s.proxyserver.equals("p") ? std::to_string(s.proxyport) : BAD;
}

std::string partialField(const std::string& file, long ZRPartialFileInfo::*field) {
    ZRUpdateStore store;
    Vector<ZRPartialFileInfo> entries;
    if (!store.load(file.c_str()) || store.getPartialFiles(entries) != 1) return "unreadable";
    return std::to_string(entries[0].*field);
}

std::string sizeLimitField(const std::string& file, bool id) {
    ZRUpdateStore store;
    SizeLimit limit;
    if (!store.load(file.c_str()) || !store.getSizeLimit(limit)) return "unreadable";
    if (!id) return std::to_string(limit.minSize);
    return limit.ids.size() == 1 ? std::to_string(limit.ids[0]) : BAD;
}

const char PACKAGE[] =
    "<PackageInfoList><PackageInfo><ProductInfo id=\"#1\"/><PlatformInfo/>"
    "<ZRVersionInfo major=\"#2\"/><DownloadInfo size=\"#3\" result=\"#4\"/>"
    "<RunInfo result=\"#5\"/></PackageInfo></PackageInfoList>";

struct Field {
    const char* name;
    // The document, with "#" where the number goes; null: `read` gets the text.
    std::string document;
    std::function<std::string(const std::string&)> read;
    std::string fallback;  // what a text that breaks the rule gives
    bool wide;             // 64 bits; the others keep 32, as the library's int parse
};

}  // namespace

TEST(NumberRule, EveryNumberFieldReadsByTheLibraryRule) {
    ScratchDir dir;
    const std::string file = dir.file("doc.xml");
    // Only the marked number of a template is the one under test; the others
    // are 0.
    auto pick = [](const char* mark) {
        std::string doc = PACKAGE;
        for (char n = '1'; n <= '5'; ++n) {
            std::string m = std::string("#") + n;
            doc.replace(doc.find(m), 2, m == mark ? "#" : "0");
        }
        return doc;
    };
    const std::string inventory =
        "<Inventory><Products><InstalledProduct><ProductInfo id=\"%\"/>"
        "<ZRVersionInfo buildNum=\"%\"/></InstalledProduct></Products></Inventory>";
    auto only = [](std::string doc, int which) {
        for (int i = 0; i < 2; ++i) doc.replace(doc.find('%'), 1, i == which ? "#" : "0");
        return doc;
    };
    auto pkg = [&](long (*f)(const ZRPackageInfo&)) {
        return [&file, f](const std::string&) { return packageField(file, f); };
    };
    const Field fields[] = {
        {"inventory product id", only(inventory, 0),
         [&](const std::string&) { return inventoryField(file, false); }, BAD, true},
        {"inventory version number", only(inventory, 1),
         [&](const std::string&) { return inventoryField(file, true); }, BAD, true},
        {"version text part", "",
         [](const std::string& text) {
             try {
                 return std::to_string(ZRVersionInfo(String(("1." + text).c_str())).minor);
             } catch (const Exception&) {
                 return BAD;
             }
         },
         BAD, true},
        {"answer result code", "<R><Result code=\"#\"/></R>",
         [&](const std::string&) {
             ZRUpdateParser parser;
             parser.parse(String(readFile(file).c_str()));
             try {
                 return std::to_string(parser.getResultCode());
             } catch (const Exception&) {
                 return BAD;
             }
         },
         BAD, false},
        {"package product id", pick("#1"), pkg([](const ZRPackageInfo& p) { return p.product.id; }),
         BAD, true},
        {"package version number", pick("#2"),
         pkg([](const ZRPackageInfo& p) { return p.version.major; }), BAD, true},
        {"package size", pick("#3"), pkg([](const ZRPackageInfo& p) { return p.size; }), BAD, true},
        {"download result", pick("#4"),
         pkg([](const ZRPackageInfo& p) { return long(p.downloadResult); }), BAD, false},
        {"run result", pick("#5"), pkg([](const ZRPackageInfo& p) { return long(p.runResult); }),
         BAD, false},
        {"proxy port", "<N><ServerList proxy=\"p:#\"><Server host=\"h\"/></ServerList></N>",
         [&](const std::string&) { return networkField(file, true); }, BAD, false},
        {"time-out", "<N><ServerList timeout=\"#\"><Server host=\"h\"/></ServerList></N>",
         [&](const std::string&) { return networkField(file, false); }, "0", false},
        {"partial product id", "<PartialFiles><PartialFile productID=\"#\"/></PartialFiles>",
         [&](const std::string&) { return partialField(file, &ZRPartialFileInfo::productID); },
         "-1", true},
        {"partial size", "<PartialFiles><PartialFile size=\"#\"/></PartialFiles>",
         [&](const std::string&) { return partialField(file, &ZRPartialFileInfo::size); }, "-1",
         true},
        {"partial actual size", "<PartialFiles><PartialFile actualSize=\"#\"/></PartialFiles>",
         [&](const std::string&) { return partialField(file, &ZRPartialFileInfo::actualSize); },
         "-1", true},
        {"minimum size", "<SizeLimit MinSize=\"#\"/>",
         [&](const std::string&) { return sizeLimitField(file, false); }, "0", true},
        {"size limit id", "<SizeLimit><P id=\"#\"/></SizeLimit>",
         [&](const std::string&) { return sizeLimitField(file, true); }, BAD, true},
        {"command-line number", "",
         [](const std::string& text) {
             long value = 0;
             return parseNumberOption(String(text.c_str()), value) ? std::to_string(value) : BAD;
         },
         BAD, false},
    };
    // The expected value, or "" for a text that breaks the rule.
    const std::pair<const char*, const char*> texts[] = {
        {"7", "7"},   {" 7 ", "7"}, {"7x", "7"},  // x is no hexadecimal digit: the number ends
        {"3GA", "3"}, {"12a", ""},  {"x7", ""},  {"5000000000", "5000000000"},  // beyond 32 bits
    };
    for (const Field& f : fields) {
        for (const auto& t : texts) {
            std::string doc = f.document;
            if (!doc.empty()) writeFile(file, xmlDecl() + doc.replace(doc.find('#'), 1, t.first));
            std::string expected = *t.second == '\0' ? f.fallback : t.second;
            if (!f.wide && expected == "5000000000") expected = "705032704";
            EXPECT_EQ(expected, f.read(t.first)) << f.name << " of '" << t.first << "'";
        }
    }
}

// The state files write -1 for unknown ids and the run result of a held-back
// package; those read back, although the library's rule has no sign.
TEST(NumberRule, AMinusSignIsReadWhereTheProgramWritesOne) {
    ZRUpdateParser parser;
    ASSERT_TRUE(parser.parse(String(
        "<PackageInfoList><PackageInfo><ProductInfo id=\" -1\"/><PlatformInfo/><ExtVersionInfo/>"
        "<DownloadInfo/><RunInfo result=\"-1\"/></PackageInfo></PackageInfoList>")));
    Vector<ZRPackageInfo> list;
    ASSERT_EQ(1, parser.getPackageList(list, true));
    EXPECT_EQ(-1, list[0].product.id);
    EXPECT_EQ(-1, list[0].runResult);
}
