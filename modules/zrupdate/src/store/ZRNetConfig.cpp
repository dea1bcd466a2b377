#include "store/ZRNetConfig.h"

#include <memory>

#include "Exception.h"
#include "io/File.h"
#include "store/ZRDecimal.h"
#include "store/ZRStateFiles.h"
#include "store/ZRStoreFile.h"
#include "store/ZRStoreXml.h"
#include "util/Base64.h"
#include "xml/XMLNode.h"
#include "xml/XMLTree.h"

using ZRStoreXml::appendChild;
using ZRStoreXml::attribute;
using ZRStoreXml::decimal;
using ZRStoreXml::readServers;
using ZRStoreXml::removeChildAt;
using ZRStoreXml::setAttribute;

namespace {

const char* const SAVE_FAILED = "ZRUpdate: store network settings failed: ";
const char* const CERT_PARAM = "ssl.server.cert";

// A decimal number, or false when the text is not one.
bool tryDecimal(const String& text, long& out) {
    try {
        out = parseDecimal(text);
        return true;
    } catch (Exception&) {
        return false;
    }
}

String orDefault(const String& value, const char* fallback) {
    return value.isEmpty() ? String(fallback) : value;
}

// "user:password" encoded, or empty when there is no user.
String encodeCredentials(const String& user, const String& password) {
    if (user.isEmpty()) return String();
    String plain(user);
    plain.append(":").append(password);
    return Base64::encode(plain);
}

// Splits an encoded "user:password" at its first ':'. A text without ':' or
// with ':' in front sets neither.
void decodeCredentials(const String& encoded, String& user, String& password) {
    if (encoded.isEmpty()) return;
    String plain = Base64::decode(encoded);
    int colon = plain.indexOf(':');
    if (colon <= 0) return;
    user = plain.substring(0, colon);
    if (colon + 1 < plain.length()) password = plain.substring(colon + 1);
}

void removeAllChildren(XMLTree& tree, const char* path, const char* name) {
    while (tree.removeNode(String(path), String(name), -1)) {
    }
}

// Removes every child of the element at `path`, whatever its name.
void removeAllChildren(XMLTree& tree, const char* path) {
    while (removeChildAt(tree, String(path), 0)) {
    }
}

// Appends one Server child per server to the element at `listPath`.
bool appendServers(XMLTree& tree, const char* listPath, const Vector<ZRServer>& servers) {
    String serverPath(listPath);
    serverPath.append("/Server");
    for (int i = 0; i < servers.size(); i++) {
        int position = appendChild(tree, String(listPath), "Server");
        if (position < 0) return false;
        if (!tree.setAttribute(serverPath, String("host"), servers.elementAt(i).host, position)) {
            return false;
        }
    }
    return true;
}

bool hasNode(XMLTree& tree, const char* path) {
    std::unique_ptr<XMLNode> node(tree.getNode(String(path), -1));
    return node != nullptr;
}

}  // namespace

// The proxy and web credentials are only Base64-encoded: the file is kept
// readable by its owner alone.
ZRNetConfig::ZRNetConfig() : ZRStoreDocument("network settings", AtomicFile::PRIVATE_MODE) {}

ZRNetConfig::~ZRNetConfig() {}

ZRNetConfig& ZRNetConfig::instance() {
    static ZRNetConfig config;
    return config;
}

bool ZRNetConfig::getSettings(NetSettings& out) {
    out.servers.clear();
    out.savedServers.clear();
    out.user = "";
    out.password = "";
    out.proxyserver = "";
    out.proxyuser = "";
    out.proxypass = "";
    XMLTree* t = tree();
    if (t == nullptr) return false;
    std::unique_ptr<XMLNode> list(t->getNode(String("/ServerList"), -1));
    if (!list) return false;

    String mac = attribute(*list, "mac");
    if (!mac.isEmpty()) out.mac = mac;
    out.type = orDefault(attribute(*list, "type"), "https");
    out.isUsingProxy = orDefault(attribute(*list, "isUsingProxy"), "0");

    out.proxyport = 0;
    String proxy = attribute(*list, "proxy");
    if (!proxy.isEmpty()) {
        int colon = proxy.indexOf(':');
        long port = 0;
        if (colon < 0) {
            out.proxyserver = proxy;
        } else if (tryDecimal(colon + 1 < proxy.length() ? proxy.substring(colon + 1) : String(),
                              port)) {
            out.proxyserver = proxy.substring(0, colon);
            out.proxyport = (int)port;
        } else {
            out.proxyserver = proxy;
        }
    }

    decodeCredentials(attribute(*list, "proxyuser"), out.proxyuser, out.proxypass);
    decodeCredentials(attribute(*list, "user"), out.user, out.password);

    out.timeout = 0;
    String timeout = attribute(*list, "timeout");
    long seconds = 0;
    if (!timeout.isEmpty() && tryDecimal(timeout, seconds)) out.timeout = (int)seconds;

    readServers(*list, out.servers);
    std::unique_ptr<XMLNode> saved(t->getNode(String("/OriginalServerList"), -1));
    if (saved) readServers(*saved, out.savedServers);
    return true;
}

// Only the two server lists change here: the server certificate
// (ServerVerify) is kept, whatever the settings written.
bool ZRNetConfig::setSettings(const NetSettings& in) {
    if (in.servers.size() == 0) return false;
    XMLTree* t = tree();
    if (t == nullptr || !hasNode(*t, "/ServerList")) return false;

    removeAllChildren(*t, "/ServerList", "Server");
    setAttribute(*t, "/ServerList", "mac", in.mac);
    setAttribute(*t, "/ServerList", "type", orDefault(in.type, "https"));
    setAttribute(*t, "/ServerList", "isUsingProxy", orDefault(in.isUsingProxy, "0"));
    String proxy;
    if (!in.proxyserver.isEmpty()) {
        proxy = in.proxyserver;
        proxy.append(":").append(in.proxyport);
    }
    setAttribute(*t, "/ServerList", "proxy", proxy);
    setAttribute(*t, "/ServerList", "proxyuser", encodeCredentials(in.proxyuser, in.proxypass));
    setAttribute(*t, "/ServerList", "user", encodeCredentials(in.user, in.password));
    setAttribute(*t, "/ServerList", "timeout", decimal(in.timeout));
    bool ok = appendServers(*t, "/ServerList", in.servers);

    if (!hasNode(*t, "/OriginalServerList")) {
        ok = ok && t->addNode(String("/"), String("OriginalServerList"), -1);
    } else {
        removeAllChildren(*t, "/OriginalServerList");
    }
    ok = ok && appendServers(*t, "/OriginalServerList", in.savedServers);
    if (!ok) {
        reload();
        return false;
    }
    return save();
}

bool ZRNetConfig::getServerVerify(ServerVerify& out) {
    out.certDir = "";
    out.certFile = "";
    XMLTree* t = tree();
    if (t == nullptr) return false;
    std::unique_ptr<XMLNode> verify(t->getNode(String("/ServerVerify"), -1));
    if (!verify) return false;
    int count = verify->getChildCount();
    for (int i = 0; i < count; i++) {
        std::unique_ptr<XMLNode> param(verify->getChild(i));
        if (!param) continue;
        String name = attribute(*param, "name");
        String value = attribute(*param, "value");
        if (name.isEmpty() || value.isEmpty()) continue;
        if (name.equalsIgnoreCase(CERT_PARAM) && File(value).isFile()) {
            out.certFile = value;
            return true;
        }
    }
    return false;
}

bool ZRNetConfig::setServerVerify(const ServerVerify& in) {
    if (in.certFile.isEmpty()) return false;
    XMLTree* t = tree();
    if (t == nullptr) return false;
    String file(in.certDir.isEmpty() ? String(".") : in.certDir);
    file.append("/").append(in.certFile);
    if (!File(file).isFile()) return false;

    bool ok = true;
    if (!hasNode(*t, "/ServerVerify")) {
        ok = t->addNode(String("/"), String("ServerVerify"), -1);
    } else {
        removeAllChildren(*t, "/ServerVerify", "Param");
    }
    int position = ok ? appendChild(*t, String("/ServerVerify"), "Param") : -1;
    ok = position >= 0;
    ok = ok && setAttribute(*t, "/ServerVerify/Param", "name", String(CERT_PARAM), position);
    ok = ok && setAttribute(*t, "/ServerVerify/Param", "value", file, position);
    if (!ok) {
        reload();
        return false;
    }
    return save();
}

String defaultNetworkText(const String& caBundle) {
    String text;
    std::unique_ptr<XMLTree> tree(XMLTree::create());
    if (!tree) return text;
    XMLTree& t = *tree;
    bool ok = t.addNode(String(""), String("ZRNetClientSettings"), -1);
    ok = ok && t.addNode(String("/"), String("ServerList"), -1);
    ok = ok && setAttribute(t, "/ServerList", "type", String("https"));
    ok = ok && setAttribute(t, "/ServerList", "mac", String(""));
    ok = ok && setAttribute(t, "/ServerList", "proxy", String(""));
    ok = ok && setAttribute(t, "/ServerList", "proxyuser", String(""));
    ok = ok && setAttribute(t, "/ServerList", "user", String(""));
    ok = ok && setAttribute(t, "/ServerList", "timeout", decimal(ZRNetConfig::DEFAULT_TIMEOUT));
    ok = ok && t.addNode(String("/ServerList"), String("Server"), -1);
    ok = ok &&
         setAttribute(t, "/ServerList/Server", "host", String(ZRNetConfig::DEFAULT_SERVER_HOST), 0);
    if (!caBundle.isEmpty()) {
        ok = ok && t.addNode(String("/"), String("ServerVerify"), -1);
        ok = ok && t.addNode(String("/ServerVerify"), String("Param"), -1);
        ok = ok && setAttribute(t, "/ServerVerify/Param", "name", String(CERT_PARAM), 0);
        ok = ok && setAttribute(t, "/ServerVerify/Param", "value", caBundle, 0);
    }
    if (ok) t.toString(text);
    return text;
}

String defaultNetworkText() {
    return defaultNetworkText(String());
}

int createDefaultNetwork(const char* path) {
    return createDefaultNetwork(path, String());
}

int createDefaultNetwork(const char* path, const String& caBundle) {
    if (path == nullptr || *path == '\0') return -1;
    String text = defaultNetworkText(caBundle);
    if (text.isEmpty()) return -1;
    return ZRStoreFile::writeText(text, String(path), String(SAVE_FAILED), AtomicFile::PRIVATE_MODE)
               ? 0
               : -1;
}

int createDefaultNetwork() {
    return createDefaultNetwork(ZRStoreFile::homeFile(ZRStateFiles::NETWORK).c_str());
}
