#include "client/ZRClientLog.h"

#include "Exception.h"
#include "util/Log.h"

namespace ZRClientLog {

void info(const String& message) { Log::getFileLog()->log(message, Log::LEVEL_INFO); }

void debug(const String& message) { Log::getFileLog()->log(message, Log::LEVEL_DEBUG); }

void failure(const String& message, const char* code) {
    info(message);
    info(String(code));
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
}

}  // namespace ZRClientLog
