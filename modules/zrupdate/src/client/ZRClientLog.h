#ifndef ZR_CLIENT_LOG_H
#define ZR_CLIENT_LOG_H

#include "String.h"

class Exception;

// The log lines of the update protocol client: informational lines and
// failure codes go to the main log at level 0, requests, answers and
// diagnostics at the debug level.
namespace ZRClientLog {

void info(const String& message);
void debug(const String& message);
// A failure: the message, then its "EC_ZRUPDATE_..." code on a line of its
// own; its summary is kept for the person running the command
// (util/FailureNote), shown should the command fail.
void failure(const String& message, const char* code);
// The short account of a failure the user is shown: "no update server
// answered", "an update server refused the request (HTTP 403)", ...
String summary(const String& message, const char* code);
// The "EC_ZRUPDATE_..." code of a socket failure, by the prefix of its text
// ("EC_CONNECT_REFUSED" means the proxy when one is used); null for a text
// that carries no known code.
const char* socketCode(const String& text, bool usingProxy);
// A socket failure that ended an exchange: its text at the debug level,
// then its translated code, when it has one.
void socketFailure(const Exception& e, bool usingProxy);

}  // namespace ZRClientLog

#endif
