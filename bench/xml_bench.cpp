// Parses and writes back an inventory document of 10,000 products with the
// XML layer, and compares the parse with xmllint --noout and xmlwf on the
// same file. Reported: in-process times of our parser and writer, and the
// whole-process times of all three tools (our side is this program run again
// in "--parse FILE" mode), each the best of several runs.
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Exception.h"
#include "String.h"
#include "io/FileInputStream.h"
#include "xml/XMLParser.h"
#include "xml/XMLTree.h"

extern char** environ;

namespace {

const int PRODUCTS = 10000;
const int RUNS = 7;

double bestOf(int runs, const std::function<bool()>& work) {
    double best = 1e30;
    for (int i = 0; i < runs; ++i) {
        auto start = std::chrono::steady_clock::now();
        if (!work()) return -1;
        double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (s < best) best = s;
    }
    return best;
}

// Runs a program with its output discarded; true when it exits with 0.
bool runQuietly(const std::vector<std::string>& argv) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid;
    int rc = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) return false;
    int status = 0;
    if (waitpid(pid, &status, 0) < 0) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool parseFile(const char* path, std::unique_ptr<XMLParser>& parser) {
    parser.reset(XMLParser::create());
    FileInputStream in(path);
    return parser->parse(in);
}

std::string number(int n) {
    return std::to_string(n);
}

// The inventory: ZRUpdateClientSettings / Inventory / Products with one
// InstalledProduct (ProductInfo and ZRVersionInfo, 14 attributes) per product.
std::unique_ptr<XMLTree> buildInventory() {
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    tree->addNode("ZRUpdateClientSettings", -1);
    tree->addNode("Inventory", -1);
    tree->addNode("Inventory/PlatformInfo", -1);
    tree->setAttribute("Inventory/PlatformInfo", "os", "Linux", -1);
    tree->setAttribute("Inventory/PlatformInfo", "vendor", "", -1);
    tree->setAttribute("Inventory/PlatformInfo", "arch", "x86_64", -1);
    tree->setAttribute("Inventory/PlatformInfo", "version", "6.1.0-18-amd64", -1);
    tree->addNode("Inventory/Products", -1);
    const String product("Inventory/Products/InstalledProduct");
    for (int i = 0; i < PRODUCTS; ++i) {
        tree->addNode("Inventory/Products", "InstalledProduct", -1);
        tree->addNode(product, "ProductInfo", i);
        tree->addNode(product, "ZRVersionInfo", i);
        const char* info[][2] = {
            {"ProductInfo/id", nullptr},
            {"ProductInfo/name", "Product & Co <Enterprise>"},
            {"ProductInfo/desc", "Orvanta \"server\" agent, release notes:\tsee site"},
            {"ProductInfo/installPath", nullptr},
            {"ProductInfo/serialNo", "SN-0000-0000-0000"},
            {"ProductInfo/parent", "1000"},
            {"ProductInfo/langCode", "en"},
            {"ProductInfo/OEM", ""},
            {"ZRVersionInfo/major", "4"},
            {"ZRVersionInfo/minor", "1"},
            {"ZRVersionInfo/patchLevel", "0"},
            {"ZRVersionInfo/buildNum", nullptr},
            {"ZRVersionInfo/status", "release"},
            {"ZRVersionInfo/desc", "released on 2006/03/14"},
        };
        std::string id = number(2000 + i);
        std::string path = "/opt/Orvanta/Product" + number(i);
        std::string build = number(i % 997);
        for (auto& pair : info) {
            const char* value = pair[1];
            if (value == nullptr) {
                value = std::strstr(pair[0], "/id")       ? id.c_str()
                        : std::strstr(pair[0], "install") ? path.c_str()
                                                          : build.c_str();
            }
            tree->setAttribute(product, pair[0], value, i);
        }
    }
    return tree;
}

int parseOnly(const char* path) {
    std::unique_ptr<XMLParser> parser;
    try {
        return parseFile(path, parser) ? 0 : 1;
    } catch (const IOException& e) {
        std::fprintf(stderr, "%s\n", e.getMessage().c_str());
        return 1;
    }
}

}  // namespace

int main(int argc, char** argv) {
    // "--parse FILE": parse only (the whole-process measurement);
    // "--generate FILE": write the inventory document and stop.
    if (argc == 3 && std::strcmp(argv[1], "--parse") == 0) return parseOnly(argv[2]);
    if (argc == 3 && std::strcmp(argv[1], "--generate") == 0) {
        return buildInventory()->writeFile(argv[2]) ? 0 : 1;
    }

    char folder[] = "/tmp/zr-xml-bench-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    std::string file = std::string(folder) + "/zr-inventory";
    std::string copy = std::string(folder) + "/zr-inventory.copy";

    auto start = std::chrono::steady_clock::now();
    std::unique_ptr<XMLTree> built = buildInventory();
    double buildTime =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!built->writeFile(file.c_str())) return 1;
    String text;
    built->toString(text);

    std::unique_ptr<XMLParser> parser;
    double parseTime = bestOf(RUNS, [&] { return parseFile(file.c_str(), parser); });
    String written;
    double toStringTime = bestOf(RUNS, [&] {
        parser->toString(written);
        return true;
    });
    double writeFileTime = bestOf(RUNS, [&] { return parser->writeFile(copy.c_str()); });
    bool same = written == text;

    std::string self = "/proc/self/exe";
    char selfPath[4096];
    ssize_t n = readlink(self.c_str(), selfPath, sizeof selfPath - 1);
    if (n <= 0) return 1;
    selfPath[n] = '\0';
    double oursProcess = bestOf(RUNS, [&] { return runQuietly({selfPath, "--parse", file}); });
    double xmllint = bestOf(RUNS, [&] {
        return runQuietly({"/usr/bin/xmllint", "--noout", file});
    });
    double xmlwf = bestOf(RUNS, [&] { return runQuietly({"/usr/bin/xmlwf", file}); });

    std::printf("inventory document: %d products, %d bytes (%s)\n", PRODUCTS, text.length(),
                same ? "written back byte for byte" : "WRITTEN TEXT DIFFERS");
    std::printf("best of %d runs\n", RUNS);
    std::printf("  build with XMLTree paths      %8.1f ms (once)\n", buildTime * 1e3);
    std::printf("  XMLTree parse (in process)    %8.1f ms\n", parseTime * 1e3);
    std::printf("  XMLTree toString              %8.1f ms\n", toStringTime * 1e3);
    std::printf("  XMLTree writeFile (fsync)     %8.1f ms\n", writeFileTime * 1e3);
    std::printf("whole process, parse of the file:\n");
    std::printf("  ours (xml_bench --parse)      %8.1f ms\n", oursProcess * 1e3);
    if (xmllint > 0) {
        std::printf("  xmllint --noout               %8.1f ms   ours/xmllint = %.2f\n",
                    xmllint * 1e3, oursProcess / xmllint);
    } else {
        std::printf("  xmllint --noout               failed or missing\n");
    }
    if (xmlwf > 0) {
        std::printf("  xmlwf                         %8.1f ms   ours/xmlwf   = %.2f\n", xmlwf * 1e3,
                    oursProcess / xmlwf);
    } else {
        std::printf("  xmlwf                         failed or missing\n");
    }
    if (xmllint > 0) {
        std::printf("  in-process parse / xmllint process = %.2f\n", parseTime / xmllint);
    }

    unlink(file.c_str());
    unlink(copy.c_str());
    rmdir(folder);
    return same && parseTime > 0 && oursProcess > 0 ? 0 : 1;
}
