// Feeds arbitrary text to the URL parser. Whatever it accepts must be in its
// normal form (lower-case protocol and host, no "//" in the file, a port in
// 0..65535 or the protocol's default) and, when valid, must parse back from
// its own text to an equal URL; anything else must be refused with "Malformed URL".
#include <cstddef>
#include <cstdint>
#include <string>

#include "Exception.h"
#include "net/URL.h"

namespace {
bool lowerCase(const String& s) {
    for (int i = 0; i < s.length(); i++) {
        if (s.charAt(i) >= 'A' && s.charAt(i) <= 'Z') return false;
    }
    return true;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    URL url;
    try {
        url = URL(String(text.c_str()));
    } catch (const Exception& e) {
        if (!e.getMessage().equals("Malformed URL")) __builtin_trap();
        return 0;
    }
    if (!lowerCase(url.getProtocol()) || !lowerCase(url.getHost())) __builtin_trap();
    if (url.getFile().indexOf("//") >= 0) __builtin_trap();
    if (url.getPort() > 65535 ||
        (url.getPort() < 0 && url.getPort() != URL::getDefaultPort(url.getProtocol()))) {
        __builtin_trap();
    }
    // Only a valid URL (with a host) renders to text that parses again: one
    // with nothing after "://" is malformed by definition. A host holding
    // "@" (from a second "@") reads back as user information when no user
    // name is written before it.
    if (!url.isValid()) return 0;
    if (url.getUserName().isEmpty() && url.getHost().indexOf('@') >= 0) return 0;
    try {
        URL again(url.toString());
        if (!again.equals(url) || !again.toString().equals(url.toString())) __builtin_trap();
    } catch (const Exception&) {
        __builtin_trap();
    }
    return 0;
}
