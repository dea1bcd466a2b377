#include "cli/Dispatch.h"

#include "cli/CmdLine.h"
#include "cli/NetworkCommands.h"
#include "cli/ProductCommands.h"
#include "install/ZRDelayPackages.h"
#include "install/ZRRunLock.h"
#include "install/ZRUpdateRun.h"
#include "client/ZRUpdateClient.h"

#include <unistd.h>

namespace {

const int kInvalidCommandLine = -1;
const int kLockNotObtained = 3;
const int kRunLockTimeout = 600;

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
    bool httpDownload = !(cmdLine.getOption("protocol", protocol) && protocol.equalsIgnoreCase("https"));
    return ::runUpdate(id, httpDownload);
}

int runPing(CmdLine&) {
    ZRUpdateClient client;
    return client.ping();
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
    return applyNetworkSettings(cmdLine.hasOption("default"));
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
};

// In order of precedence: the first command present wins.
const Command kCommands[] = {
    {"r", "register", runRegister}, {"d", "deregister", runDeregister},
    {"s", "status", runStatus},     {"u", "update", runUpdate},
    {"p", "ping", runPing},         {"P", "package", runPackage},
    {"S", "set", runSet},           {"v", "version", runVersion},
};

}  // namespace

int dispatchCommand(CmdLine& cmdLine) {
    for (const Command& command : kCommands) {
        if (cmdLine.hasEither(command.shortName, command.longName)) return command.run(cmdLine);
    }
    return 0;
}
