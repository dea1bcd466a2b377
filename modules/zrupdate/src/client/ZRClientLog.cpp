#include "client/ZRClientLog.h"

#include "Exception.h"
#include "util/FailureNote.h"
#include "util/Log.h"

namespace {

bool isCertificateFailure(const String& text) {
    return text.indexOfIgnoreCase("certificate") >= 0;
}

// The text from `from` on; empty when nothing follows (the library's
// substring refuses a start at the very end).
String textAfter(const String& text, int from) {
    return from < text.length() ? text.substring(from) : String();
}

}  // namespace

namespace ZRClientLog {

void info(const String& message) {
    Log::getFileLog()->log(message, Log::LEVEL_INFO);
}

void debug(const String& message) {
    Log::getFileLog()->log(message, Log::LEVEL_DEBUG);
}

void failure(const String& message, const char* code) {
    info(message);
    info(String(code));
    FailureNote::record(summary(message, code));
}

String summary(const String& message, const char* code) {
    if (String(code) == "EC_ZRUPDATE_CONNECT_ERROR") {
        if (message.indexOf("EC_PROXY_FAILED") >= 0) {
            return String("the proxy refused the connection");
        }
        if (isCertificateFailure(message)) {
            return String("an update server's certificate failed the check");
        }
        return String("no update server answered");
    }
    int status = message.indexOf("http response: ");
    if (status >= 0) {
        String text("an update server refused the request (HTTP ");
        return text.append(textAfter(message, status + 15)).append(")");
    }
    return message.startsWith("ZRUpdate: ") ? textAfter(message, 10) : message;
}

const char* socketCode(const String& text, bool usingProxy) {
    static const struct {
        const char* prefix;
        const char* code;
    } table[] = {
        {"EC_INVALID_HOST", "EC_ZRUPDATE_INVALID_HOST"},
        {"EC_PROXY_FAILED", "EC_ZRUPDATE_PROXY_FAILED"},
        {"EC_CONNECT_REFUSED", "EC_ZRUPDATE_CONNECT_REFUSED"},
        {"EC_CONNECT_TIMEOUT", "EC_ZRUPDATE_CONNECT_TIMEOUT"},
        {"EC_READ_FAILED", "EC_ZRUPDATE_READ_FAILED"},
        {"EC_READ_TIMEOUT", "EC_ZRUPDATE_READ_TIMEOUT"},
        {"EC_WRITE_FAILED", "EC_ZRUPDATE_WRITE_FAILED"},
        {"EC_WRITE_TIMEOUT", "EC_ZRUPDATE_WRITE_TIMEOUT"},
        {"EC_CONNECT_FAILED", "EC_ZRUPDATE_CONNECT_FAILED"},
    };
    for (const auto& entry : table) {
        if (!text.startsWith(entry.prefix)) continue;
        // A refused connection through a proxy is the proxy's refusal.
        if (usingProxy && text.startsWith("EC_CONNECT_REFUSED")) return "EC_ZRUPDATE_PROXY_FAILED";
        return entry.code;
    }
    return nullptr;
}

void socketFailure(const Exception& e, bool usingProxy) {
    debug(e.getMessage());
    const char* code = socketCode(e.getMessage(), usingProxy);
    if (code != nullptr) info(String(code));
    if (isCertificateFailure(e.getMessage())) {
        FailureNote::record(String("an update server's certificate failed the check"));
    } else if (code != nullptr && String(code) == "EC_ZRUPDATE_PROXY_FAILED") {
        FailureNote::record(String("the proxy refused the connection"));
    } else {
        FailureNote::record(String("no update server answered"));
    }
}

}  // namespace ZRClientLog
