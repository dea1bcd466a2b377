#include "cli/Dispatch.h"

#include <unistd.h>

#include <cctype>
#include <cstdio>

#include "cli/CmdLine.h"
#include "cli/NetworkCommands.h"
#include "cli/ProductCommands.h"
#include "client/ZRUpdateClient.h"
#include "install/ZRDelayPackages.h"
#include "install/ZRRunLock.h"
#include "install/ZRUpdateRun.h"
#include "util/FailureNote.h"

namespace {

const int kInvalidCommandLine = -1;
const int kLockNotObtained = 3;
const int kRunLockTimeout = 600;
// Failure statuses of the ping and update handlers.
const int kNoSettings = -2;
const int kNoServerReached = -28;
const int kExchangeFailed = -5;
const int kNothingInstalled = -6;
const int kRunLockBusy = -12;
const long kMaxPort = 65535;

// Warns about server entries that cannot be reached as written; they are
// stored all the same, as given.
void warnAboutServerEntries(const CmdLine& cmdLine) {
    String value;
    if (!cmdLine.getOption("server", value)) return;
    Vector<String> entries;
    value.split(entries, String(","));
    for (int i = 0; i < entries.size(); i++) {
        const String& entry = entries.elementAt(i);
        if (entry.isEmpty() || isServerEntry(entry)) continue;
        std::fflush(stdout);
        std::fprintf(stderr,
                     "ZRUpdate: warning: server '%s' is not \"host\" or \"host:port\" "
                     "with a port from 1 to 65535\n",
                     entry.c_str());
    }
}

// What a failed command's status says when no failure of its own was noted.
void noteStatus(int status, int known, const char* what) {
    if (status == known && !FailureNote::has()) FailureNote::record(String(what));
}

// The numeric id of status, update and package: 0 when absent or empty.
// False (after the message) when the value is not a decimal number.
bool productIdOption(CmdLine& cmdLine, long& id) {
    id = 0;
    String value;
    if (!cmdLine.getOption("id", value) || value.isEmpty()) return true;
    if (parseNumberOption(value, id)) return true;
    printText("ZRUpdate: invalid product id is specified!\n");
    return false;
}

int runRegister(CmdLine& cmdLine) {
    ZRProduct p;
    if (!checkProductOptions(cmdLine, p, true)) return kInvalidCommandLine;
    return registerProduct(p);
}

int runDeregister(CmdLine& cmdLine) {
    ZRProduct p;
    if (!checkProductOptions(cmdLine, p, false)) return kInvalidCommandLine;
    return deregisterProduct(p);
}

int runStatus(CmdLine& cmdLine) {
    long id = 0;
    if (!productIdOption(cmdLine, id)) return kInvalidCommandLine;
    return showStatus(id);
}

int runUpdate(CmdLine& cmdLine) {
    long id = 0;
    if (!productIdOption(cmdLine, id)) return kInvalidCommandLine;
    // Packages come over plain HTTP with a session id unless "https" is
    // asked for.
    String protocol;
    bool httpDownload =
        !(cmdLine.getOption("protocol", protocol) && protocol.equalsIgnoreCase("https"));
    int result = ::runUpdate(id, httpDownload);
    noteStatus(result, kExchangeFailed, "the update exchange failed");
    noteStatus(result, kNothingInstalled, "no package could be installed");
    noteStatus(result, kRunLockBusy, "the run lock could not be obtained");
    return result;
}

int runPing(CmdLine&) {
    ZRUpdateClient client;
    int result = client.ping();
    noteStatus(result, kNoServerReached, "no update server answered");
    noteStatus(result, kNoSettings, "no usable network settings or update server");
    return result;
}

int runPackage(CmdLine& cmdLine) {
    long id = 0;
    if (!productIdOption(cmdLine, id)) return kInvalidCommandLine;
    String action;
    if (!cmdLine.getOption("action", action)) action = "status";
    // Installing and removing change the list and the inventory: they wait
    // for the run lock, so that no update installs at the same time.
    bool changes = action.equalsIgnoreCase("install") || action.equalsIgnoreCase("remove");
    if (!changes) return delayPackages(id, action, true);
    int pid = static_cast<int>(getpid());
    if (lock(pid, kRunLockTimeout) != 0) return kLockNotObtained;
    int result = delayPackages(id, action, true);
    unlock(pid);
    return result;
}

int runSet(CmdLine& cmdLine) {
    if (!checkNetworkOptions(cmdLine)) return kInvalidCommandLine;
    // `-S` alone shows; any other option, even --debug or -M, applies.
    if (cmdLine.optionCount() == 1) return showNetworkSettings();
    bool toDefault = cmdLine.hasOption("default");
    if (!toDefault) warnAboutServerEntries(cmdLine);
    return applyNetworkSettings(toDefault);
}

int runVersion(CmdLine& cmdLine) {
    // The id is compared as text; without --id the updater's own product.
    String idText;
    if (!cmdLine.getOption("id", idText)) idText = "1000";
    return printVersion(idText);
}

struct Command {
    const char* shortName;
    const char* longName;
    int (*run)(CmdLine&);
    bool usesNetwork;
};

// In order of precedence: the first command present wins.
const Command kCommands[] = {
    {"r", "register", runRegister, false},
    {"d", "deregister", runDeregister, false},
    {"s", "status", runStatus, false},
    {"u", "update", runUpdate, true},
    {"p", "ping", runPing, true},
    {"P", "package", runPackage, true},
    {"S", "set", runSet, true},
    {"v", "version", runVersion, false},
};

}  // namespace

bool isServerEntry(const String& entry) {
    int colon = entry.indexOf(':');
    int hostEnd = colon < 0 ? entry.length() : colon;
    if (hostEnd == 0) return false;
    for (int i = 0; i < hostEnd; i++) {
        char c = entry.charAt(i);
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '.' && c != '_') {
            return false;
        }
    }
    if (colon < 0) return true;
    String port = colon + 1 < entry.length() ? entry.substring(colon + 1) : String();
    if (port.isEmpty() || port.length() > 5) return false;
    long number = 0;
    for (int i = 0; i < port.length(); i++) {
        if (!std::isdigit(static_cast<unsigned char>(port.charAt(i)))) return false;
        number = number * 10 + (port.charAt(i) - '0');
    }
    return number >= 1 && number <= kMaxPort;
}

bool needsNetworkSettings(const CmdLine& cmdLine) {
    for (const Command& command : kCommands) {
        if (cmdLine.hasEither(command.shortName, command.longName)) return command.usesNetwork;
    }
    return true;
}

int dispatchCommand(CmdLine& cmdLine) {
    for (const Command& command : kCommands) {
        if (cmdLine.hasEither(command.shortName, command.longName)) return command.run(cmdLine);
    }
    return 0;
}
