#include "cli/CmdLine.h"

#include <cstdio>

#include "Exception.h"
#include "Utils.h"
#include "cli/NetworkCommands.h"
#include "cli/ProductCommands.h"
#include "store/ZRProduct.h"

namespace {

// The usage text, in the one place it is written down. The blanks and tabs
// are part of it; scripts that read it rely on every byte.
const char kUsage[] =
    "Usage: ZRUpdate [options...]\n"
    "-r/--register:              Register product with ZRUpdate\n"
    "  --id                      Identifer of product to register\n"
    "  --name                    Name of product to register\n"
    "  --path                    Product install path\n"
    "  --desc                    Description of product to register\n"
    "  --serialno                Serial number related to the product\n"
    "  --parent                  Parent product ID list that use this product\n"
    "  --lang-code               Languge code of the product\n"
    "  --oem                     OEM info\n"
    "  --version                 Version of product\n"
    "  --version-status          Status of product version\n"
    "  --version-desc            Description of product version\n"
    "  --debug                   Run ZRUpdate at debug mode\n"
    "-d/--deregister:            Deregister product with ZRUpdate\n"
    "  --id                      Identifer of product to deregister\n"
    "  --name                    Name of product to deregister\n"
    "-s/--status:                Check update status\n"
    "  --id:                     Product identifier whose status outputs\n"
    "-S/--set:                     Set network settings\n"
    "  --server <host1,host2,...>  Host names of update servers\n"
    "  --type <https/http>         Protocol type <Default type is https>\n"
    "  --isUsingProxy <1 yes/0 no> isUsingProxy <Default type is 0>\n"
    "  --proxyserver <proxyserver> proxy server\n"
    "  --proxyport <proxyport>     proxy port\n"
    "  --proxyuser <user>          Specify proxy user\n"
    "  --proxypass <password>      Specify proxy password\n"
    "  --user <user:password>      Specify web authentication\n"
    "  --timeout <seconds>         Maximum timeout allowed for connection\n"
    "  --mac <address>             Specify host MAC address\n"
    "  --default                   Set network to default settings\n"
    "-u/--update:                Do update\n"
    "  --id:                     Product identifier that is updated\n"
    "-p/--ping:                  test network to server\n"
    "-P/--package:               delay packages\n"
    "  --id:                     Product identifier, default is ALL \n"
    "  --action <install|remove|status>:\t\n"
    "           install:\tinstall delay package, id must be specified\n"
    "           remove:\tremove delay package \n"
    "           status:\tstatus of delay package \n"
    "-v/--version:               Outputs version number then quit\n"
    "  --id:                     Product identifier whose version outputs\n"
    "-h/--help:                  This help text\n";

// Every option name the program reads, commands first.
const char* const kKnownOptions[] = {
    "r",
    "register",
    "d",
    "deregister",
    "s",
    "status",
    "u",
    "update",
    "p",
    "ping",
    "P",
    "package",
    "S",
    "set",
    "v",
    "version",
    "M",
    "moduleverify",
    "h",
    "help",
    "id",
    "name",
    "path",
    "desc",
    "serialno",
    "parent",
    "lang-code",
    "oem",
    "version-status",
    "version-desc",
    "server",
    "type",
    "isUsingProxy",
    "proxyserver",
    "proxyport",
    "proxyuser",
    "proxypass",
    "user",
    "timeout",
    "mac",
    "keeporiginal",
    "default",
    "action",
    "protocol",
    "debug",
};

bool isKnownOption(const String& name) {
    for (const char* known : kKnownOptions) {
        if (name == known) return true;
    }
    return false;
}

}  // namespace

CmdLine::CmdLine(int argc_, char** argv_) : argc(argc_), argv(argv_) {}

CmdLine::~CmdLine() {}

int CmdLine::optionPrefixLength(const String& arg) const {
    if (arg.startsWith("--") && arg.length() > 2) return 2;
    if (arg.startsWith("-") && arg.length() > 1) return 1;
    return 0;
}

void CmdLine::parse() {
    for (int i = 1; i < argc; ++i) {
        String current(argv[i]);
        String candidate(i + 1 < argc ? argv[i + 1] : "");
        int k = optionPrefixLength(current);
        if (k == 0) continue;  // stray words are not an error
        names.add(current.substring(k));
        if (optionPrefixLength(candidate) != 0) {
            values.add(String());
        } else {
            values.add(candidate);
            ++i;
        }
    }
}

bool CmdLine::getOption(const String& name, String& value) const {
    if (name.isEmpty()) return false;
    for (int i = 0; i < names.size(); ++i) {
        if (names.elementAt(i) == name) {
            value = values.elementAt(i);
            return true;
        }
    }
    return false;
}

bool CmdLine::hasOption(const String& name) const {
    String ignored;
    return getOption(name, ignored);
}

bool CmdLine::hasEither(const char* shortName, const char* longName) const {
    return hasOption(String(shortName)) || hasOption(String(longName));
}

// Walks the arguments as parse() does: an argument that is an option never
// serves as a value, so every one with a prefix is an option name.
Vector<String> CmdLine::unknownOptions() const {
    Vector<String> unknown;
    for (int i = 1; i < argc; ++i) {
        String arg(argv[i]);
        int k = optionPrefixLength(arg);
        if (k != 0 && !isKnownOption(arg.substring(k))) unknown.add(arg);
    }
    return unknown;
}

void reportUnknownOptions(const CmdLine& cmdLine) {
    Vector<String> unknown = cmdLine.unknownOptions();
    std::fflush(stdout);
    for (int i = 0; i < unknown.size(); ++i) {
        std::fprintf(stderr, "ZRUpdate: unknown option '%s'\n", unknown.elementAt(i).c_str());
    }
}

bool checkOptions(CmdLine& cmdLine) {
    cmdLine.parse();
    if (cmdLine.hasEither("r", "register")) {
        ZRProduct scratch;
        return checkProductOptions(cmdLine, scratch, true);
    }
    if (cmdLine.hasEither("d", "deregister")) {
        ZRProduct scratch;
        return checkProductOptions(cmdLine, scratch, false);
    }
    if (cmdLine.hasEither("s", "status") || cmdLine.hasEither("u", "update") ||
        cmdLine.hasEither("p", "ping") || cmdLine.hasEither("P", "package")) {
        return true;
    }
    if (cmdLine.hasEither("S", "set")) return checkNetworkOptions(cmdLine);
    if (cmdLine.hasEither("v", "version") || cmdLine.hasEither("M", "moduleverify")) return true;
    if (cmdLine.hasEither("h", "help")) {
        printUsage();
        return true;
    }
    return false;
}

const char* usageText() {
    return kUsage;
}

void printUsage() {
    printText(kUsage);
}

bool parseNumberOption(const String& text, long& out) {
    try {
        out = Utils::parseNumber(text.c_str(), text.length(), 10);
        return true;
    } catch (Exception&) {
        return false;
    }
}
