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

// The one record each kind of document holds.
ZRProduct product(const std::string& file) {
    ZRUpdateStore store;
    Vector<ZRProduct> list;
    ZRProduct none;
    none.info.id = none.version.buildNum = -1;
    return store.load(file.c_str()) && store.getProducts(list) == 1 ? list[0] : none;
}

ZRPackageInfo package(const std::string& file) {
    ZRUpdateParser parser;
    Vector<ZRPackageInfo> list;
    parser.parse(String(readFile(file).c_str()));
    return parser.getPackageList(list, true) == 1 ? list[0] : ZRPackageInfo();
}

NetSettings settings(const std::string& file) {
    ZRNetConfig config;
    NetSettings s;
    if (config.load(file.c_str())) config.getSettings(s);
    return s;
}

ZRPartialFileInfo partial(const std::string& file) {
    ZRUpdateStore store;
    Vector<ZRPartialFileInfo> list;
    return store.load(file.c_str()) && store.getPartialFiles(list) == 1 ? list[0]
                                                                        : ZRPartialFileInfo();
}

SizeLimit limit(const std::string& file) {
    ZRUpdateStore store;
    SizeLimit limit;
    if (store.load(file.c_str())) store.getSizeLimit(limit);
    return limit;
}

const std::string INVENTORY =
    "<Inventory><Products><InstalledProduct><ProductInfo id=\"#\"/><ZRVersionInfo/>"
    "</InstalledProduct></Products></Inventory>";
const std::string PACKAGE =
    "<PackageInfoList><PackageInfo><ProductInfo id=\"#\"/><PlatformInfo/><ZRVersionInfo/>"
    "<DownloadInfo size=\"#\" result=\"#\"/><RunInfo result=\"#\"/></PackageInfo>"
    "</PackageInfoList>";

// The template with the number under test at its `which`-th "#", 0 elsewhere.
std::string only(std::string doc, int which) {
    for (int i = 0; doc.find('#') != std::string::npos; ++i) {
        doc.replace(doc.find('#'), 1, i == which ? "@" : "0");
    }
    return doc;
}

struct Field {
    const char* name;
    std::string document;  // "@" marks the number; "": `read` gets the text itself
    std::function<long(const std::string&)> read;
    const char* fallback;  // for a text that breaks the rule; "bad" when it throws
    bool wide;             // 64 bits; the others keep 32, as the library's int parse
};

}  // namespace

TEST(NumberRule, EveryNumberFieldReadsByTheLibraryRule) {
    using F = const std::string&;
    const Field fields[] = {
        {"inventory id", only(INVENTORY, 0), [](F f) { return product(f).info.id; }, "-1", true},
        {"inventory version",
         "<Inventory><Products><InstalledProduct><ProductInfo/><ZRVersionInfo buildNum=\"@\"/>"
         "</InstalledProduct></Products></Inventory>",
         [](F f) { return product(f).version.buildNum; }, "-1", true},
        {"version text", "", [](F t) { return ZRVersionInfo(String(("1." + t).c_str())).minor; },
         "bad", true},
        {"result code", "<R><Result code=\"@\"/></R>",
         [](F f) {
             ZRUpdateParser parser;
             parser.parse(String(readFile(f).c_str()));
             return long(parser.getResultCode());
         },
         "bad", false},
        {"package id", only(PACKAGE, 0), [](F f) { return package(f).product.id; }, "bad", true},
        {"package size", only(PACKAGE, 1), [](F f) { return package(f).size; }, "bad", true},
        {"download result", only(PACKAGE, 2), [](F f) { return long(package(f).downloadResult); },
         "bad", false},
        {"run result", only(PACKAGE, 3), [](F f) { return long(package(f).runResult); }, "bad",
         false},
        // A port that does not parse leaves the whole value as the host.
        {"proxy port", "<N><ServerList proxy=\"p:@\"><Server host=\"h\"/></ServerList></N>",
         [](F f) {
             NetSettings s = settings(f);
             return s.proxyserver.equals("p") ? long(s.proxyport) : -1L;
         },
         "-1", false},
        {"time-out", "<N><ServerList timeout=\"@\"><Server host=\"h\"/></ServerList></N>",
         [](F f) { return long(settings(f).timeout); }, "0", false},
        {"partial id", "<PartialFiles><PartialFile productID=\"@\"/></PartialFiles>",
         [](F f) { return partial(f).productID; }, "-1", true},
        {"partial size", "<PartialFiles><PartialFile size=\"@\"/></PartialFiles>",
         [](F f) { return partial(f).size; }, "-1", true},
        {"partial actual size", "<PartialFiles><PartialFile actualSize=\"@\"/></PartialFiles>",
         [](F f) { return partial(f).actualSize; }, "-1", true},
        {"minimum size", "<SizeLimit MinSize=\"@\"/>", [](F f) { return limit(f).minSize; }, "0",
         true},
        {"size limit id", "<SizeLimit><P id=\"@\"/></SizeLimit>",
         [](F f) {
             SizeLimit l = limit(f);
             return l.ids.size() == 1 ? l.ids[0] : -1L;
         },
         "-1", true},
        {"option", "",
         [](F t) {
             long value = 0;
             return parseNumberOption(String(t.c_str()), value) ? value : -1L;
         },
         "-1", false},
    };
    // The value each text gives, or null for a text that breaks the rule.
    const std::pair<const char*, const char*> texts[] = {
        {"7", "7"},   {" 7 ", "7"},     {"7x", "7"},  // x is no hexadecimal digit: the number ends
        {"3GA", "3"}, {"12a", nullptr}, {"x7", nullptr}, {"5000000000", "5000000000"},
    };
    ScratchDir dir;
    const std::string file = dir.file("doc.xml");
    for (const Field& f : fields) {
        for (const auto& t : texts) {
            std::string doc = f.document;
            if (!doc.empty()) writeFile(file, xmlDecl() + doc.replace(doc.find('@'), 1, t.first));
            std::string expected = t.second == nullptr ? f.fallback : t.second;
            if (!f.wide && expected == "5000000000") expected = "705032704";  // cut to 32 bits
            std::string got;
            try {
                got = std::to_string(f.read(doc.empty() ? std::string(t.first) : file));
            } catch (const Exception& e) {
                got = e.getMessage().equals("invalid dec number") ? "bad" : e.getMessage().c_str();
            }
            EXPECT_EQ(expected, got) << f.name << " of '" << t.first << "'";
        }
    }
}
