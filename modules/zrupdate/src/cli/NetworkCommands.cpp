#include "cli/NetworkCommands.h"

#include "cli/CmdLine.h"
#include "client/ZRPackageCheck.h"

namespace {

// Timeout written when neither the command line nor the file gives one.
const int kDefaultTimeout = 180;

// Prints `prefix` + `text` + "'\n"; the user's text is never a format.
void printQuoted(const char* prefix, const String& text) {
    String line(prefix);
    line.append(text).append("'\n");
    printText(line);
}

// Reads option `name` into `target` when it is given. It must be one of two
// words (`ignoreCase`: in any case); otherwise prints why, naming it `label`,
// and returns false.
bool readChoice(CmdLine& cmdLine, const char* name, const char* label, const char* first,
                const char* second, bool ignoreCase, String& target) {
    String value;
    if (!cmdLine.getOption(name, value)) return true;
    String message("ZRUpdate: ");
    if (value.isEmpty()) {
        message.append("no ").append(label).append(" is specified!\n");
        printText(message);
        return false;
    }
    bool known = ignoreCase ? value.equalsIgnoreCase(first) || value.equalsIgnoreCase(second)
                            : value.equals(first) || value.equals(second);
    if (!known) {
        message.append("unsupported ").append(label).append(": '");
        printQuoted(message.c_str(), value);
        return false;
    }
    target = value;
    return true;
}

String joinHosts(const Vector<ZRServer>& servers) {
    String out;
    for (int i = 0; i < servers.size(); ++i) {
        if (i > 0) out.append(",");
        out.append(servers.elementAt(i).host);
    }
    return out;
}

}  // namespace

NetSettings& PendingNetSettings() {
    static NetSettings pending;
    return pending;
}

bool checkNetworkOptions(CmdLine& cmdLine) {
    NetSettings& pending = PendingNetSettings();
    String value;

    pending.servers.clear();
    if (cmdLine.getOption("server", value)) {
        if (value.isEmpty()) {
            printText("ZRUpdate: no server host is specified!\n");
            return false;
        }
        Vector<String> hosts;
        value.split(hosts, ",");
        for (int i = 0; i < hosts.size(); ++i) {
            ZRServer server;
            server.host = hosts.elementAt(i);
            pending.servers.add(server);
        }
    }

    if (!readChoice(cmdLine, "type", "protocol type", "http", "https", true, pending.type) ||
        !readChoice(cmdLine, "isUsingProxy", "isUsingProxy", "1", "0", false,
                    pending.isUsingProxy)) {
        return false;
    }

    if (cmdLine.getOption("proxyserver", value) && !value.isEmpty()) pending.proxyserver = value;

    if (cmdLine.getOption("proxyport", value) && !value.isEmpty()) {
        long port = 0;
        if (!parseNumberOption(value, port) || port == -1) {
            printText("ZRUpdate: invalid proxyport is specified!\n");
            return false;
        }
        pending.proxyport = static_cast<int>(port);
    }

    if (cmdLine.getOption("proxyuser", value) && !value.isEmpty()) pending.proxyuser = value;
    if (cmdLine.getOption("proxypass", value) && !value.isEmpty()) pending.proxypass = value;

    if (cmdLine.getOption("timeout", value)) {
        long seconds = 0;
        if (value.isEmpty()) {
            printText("ZRUpdate: no connection timeout is specified!\n");
            return false;
        }
        if (!parseNumberOption(value, seconds) || seconds < 0) {
            printText("ZRUpdate: invalid connection timeout is specified!\n");
            return false;
        }
        pending.timeout = static_cast<int>(seconds);
    }

    if (cmdLine.getOption("mac", value) && !value.isEmpty()) pending.mac = value;

    // The saved list follows the new current list unless --keeporiginal 1
    // asks to keep the one in the file.
    long keepOriginal = 0;
    if (cmdLine.getOption("keeporiginal", value) && !value.isEmpty()) {
        if (!parseNumberOption(value, keepOriginal)) keepOriginal = 0;
    }
    if (keepOriginal != 1) pending.savedServers = pending.servers;
    return true;
}

int showNetworkSettings() {
    NetSettings stored;
    ZRNetConfig::instance().getSettings(stored);

    String text;
    text.append("server:     ").append(joinHosts(stored.savedServers)).append("\n");
    text.append("currentlist:     ").append(joinHosts(stored.servers)).append("\n");
    text.append("mac:        ").append(stored.mac).append("\n");
    text.append("type:       ").append(stored.type.isEmpty() ? String("https") : stored.type);
    text.append("\n");
    text.append("isUsingProxy:      ");
    text.append(stored.isUsingProxy.isEmpty() ? String("0") : stored.isUsingProxy).append("\n");
    text.append("proxyserver:      ").append(stored.proxyserver).append("\n");
    text.append("proxyport:      ");
    if (stored.proxyport > 0) text.append("      ").append(stored.proxyport);
    text.append("\n");
    text.append("proxyuser:  ").append(stored.proxyuser).append("\n");
    text.append("proxypass:  ").append(stored.proxypass).append("\n");
    text.append("user:       ");
    // The web password is never shown.
    if (!stored.user.isEmpty()) text.append(stored.user).append(":******");
    text.append("\n");
    text.append("timeout:    ");
    if (stored.timeout < 1) {
        text.append(kDefaultTimeout);
    } else {
        text.append(stored.timeout);
    }
    text.append("\n");
    ServerVerify verify;
    if (ZRNetConfig::instance().getServerVerify(verify)) {
        text.append("ssl.server.cert: ").append(verify.certFile).append("\n");
    }
    if (ZRPackageCheck::keyConfigured()) {
        text.append("package.key: ").append(ZRPackageCheck::keyPath()).append("\n");
    }
    printText(text);
    return 0;
}

int applyNetworkSettings(bool toDefault) {
    ZRNetConfig& config = ZRNetConfig::instance();
    if (toDefault) {
        // Default mode keeps the server lists and the proxy password of the
        // file and resets the connection settings. The server certificate is
        // not one of them: it stays as recorded, since going back to default
        // connection settings must not quietly stop verifying the servers.
        NetSettings settings;
        config.getSettings(settings);
        settings.type = "https";
        settings.isUsingProxy = "0";
        settings.timeout = kDefaultTimeout;
        settings.mac = "";
        settings.proxyserver = "";
        settings.proxyuser = "";
        settings.user = "";
        settings.password = "";
        config.setSettings(settings);
        printText("ZRUpdate: network settings are changed to default settings\n");
        return 0;
    }

    NetSettings& pending = PendingNetSettings();
    NetSettings stored;
    if (config.getSettings(stored)) {
        if (pending.servers.size() == 0) pending.servers = stored.servers;
        if (pending.savedServers.size() == 0) pending.savedServers = stored.savedServers;
        if (pending.timeout < 1) {
            pending.timeout = stored.timeout >= 1 ? stored.timeout : kDefaultTimeout;
        }
    }
    // Settings not given on this command line are written empty, which the
    // file turns into their defaults. An empty server list is refused by the
    // store and leaves the file unchanged.
    config.setSettings(pending);
    printText("ZRUpdate: network settings are changed\n");
    return 0;
}
