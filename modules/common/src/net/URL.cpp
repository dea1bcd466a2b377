#include "net/URL.h"

#include <stdlib.h>

#include "Exception.h"

namespace {
const char* const kUnit = "net/URL";

[[noreturn]] void malformed(int line) {
    zrThrow<Exception>("Malformed URL", kUnit, line);
}

// Every run of "/" becomes one "/".
String collapseSlashes(const String& text) {
    String out(text.length());
    for (int i = 0; i < text.length(); i++) {
        char c = text.charAt(i);
        if (c == '/' && out.length() > 0 && out.charAt(out.length() - 1) == '/') continue;
        out.append(c);
    }
    return out;
}

bool allDigits(const String& text) {
    for (int i = 0; i < text.length(); i++) {
        if (text.charAt(i) < '0' || text.charAt(i) > '9') return false;
    }
    return true;
}
}  // namespace

URL::URL() : port(-1) {}

URL::URL(const String& spec) : port(-1) {
    parse(spec);
}

URL::URL(const String& protocol, const String& host, int port, const String& file)
    : protocol(protocol), host(host), port(port), file(file) {}

URL::URL(const String& protocol, const String& host, const String& file)
    : protocol(protocol), host(host), port(getDefaultPort(protocol)), file(file) {}

URL::~URL() = default;

int URL::getDefaultPort(const String& protocol) {
    if (protocol.equalsIgnoreCase("http")) return 80;
    if (protocol.equalsIgnoreCase("https")) return 443;
    if (protocol.equalsIgnoreCase("ftp")) return 21;
    return -1;
}

void URL::parse(const String& spec) {
    int i = spec.indexOf("://");
    if (i < 0) malformed(__LINE__);
    protocol = spec.substring(0, i);
    i += 3;
    if (i >= spec.length()) malformed(__LINE__);

    String authority;
    int slash = spec.indexOf('/', i);
    if (slash < 0) {
        authority = spec.substring(i);
    } else {
        authority = spec.substring(i, slash);
        file = collapseSlashes(spec.substring(slash));
    }

    int at = authority.indexOf('@');
    if (at >= 0) {
        String userInfo = authority.substring(0, at);
        int colon = userInfo.indexOf(':');
        if (colon < 0) malformed(__LINE__);
        userName = userInfo.substring(0, colon);
        password = colon + 1 < userInfo.length() ? userInfo.substring(colon + 1) : String();
        authority = at + 1 < authority.length() ? authority.substring(at + 1) : String();
    }

    int colon = authority.indexOf(':');
    if (colon < 0) {
        host = authority;
        port = getDefaultPort(protocol);
    } else {
        host = authority.substring(0, colon);
        if (colon + 1 < authority.length()) {
            String digits = authority.substring(colon + 1);
            if (!allDigits(digits)) malformed(__LINE__);
            // A port past 65535 is refused rather than silently cut to its
            // low 16 bits, which would dial a different port.
            unsigned long number = strtoul(digits.c_str(), nullptr, 10);
            if (digits.length() > 5 || number > 65535) malformed(__LINE__);
            port = static_cast<int>(number);
        } else {
            port = getDefaultPort(protocol);
        }
    }
    protocol.toLowerCase();
    host.toLowerCase();
}

bool URL::isValid() const {
    return !protocol.isEmpty() && !host.isEmpty();
}

bool URL::equals(const URL& other) const {
    return protocol.equalsIgnoreCase(other.protocol) && host.equalsIgnoreCase(other.host) &&
           port == other.port && file.equals(other.file);
}

String URL::toString() const {
    String text(protocol);
    text.append("://");
    if (!userName.isEmpty()) text.append(userName).append(":").append(password).append("@");
    text.append(host);
    if (port != -1) text.append(":").append(port);
    text.append(file);
    return text;
}
