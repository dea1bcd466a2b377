#ifndef ZR_STORE_TEST_SUPPORT_H
#define ZR_STORE_TEST_SUPPORT_H

// Scratch folders, whole-file helpers and record summaries for the store tests.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "ZRNetConfig.h"

// A fresh folder under /tmp, removed with everything in it at the end.
class ScratchDir {
public:
    ScratchDir() {
        char name[] = "/tmp/zr-store-test.XXXXXX";
        if (mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp failed");
        path_ = name;
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

inline bool fileExists(const std::string& path) {
    return std::filesystem::exists(path);
}

// The declaration line every document written by the stores begins with.
inline std::string xmlDecl() {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
}

inline std::string hosts(const Vector<ZRServer>& servers) {
    std::string out;
    for (int i = 0; i < servers.size(); ++i) out += std::string(" ") + servers[i].host.c_str();
    return out;
}

// Every field of the network settings in one line, to compare a whole record at once.
inline std::string summary(const NetSettings& s) {
    return std::string(s.type.c_str()) + " proxy " + s.isUsingProxy.c_str() + " " +
           s.proxyserver.c_str() + ":" + std::to_string(s.proxyport) + " " + s.proxyuser.c_str() +
           "/" + s.proxypass.c_str() + " user " + s.user.c_str() + "/" + s.password.c_str() +
           " timeout " + std::to_string(s.timeout) + " mac " + s.mac.c_str() + " servers" +
           hosts(s.servers) + " saved" + hosts(s.savedServers);
}

#endif
