#ifndef ZR_STORE_TEST_SUPPORT_H
#define ZR_STORE_TEST_SUPPORT_H

// Scratch folders, whole-file helpers and record summaries for the store tests.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "../../common/tests/TestScratch.h"
#include "store/ZRNetConfig.h"

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
