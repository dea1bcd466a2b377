// Credentials travel in request headers, and requests are logged whole (the
// update request, the proxy's CONNECT text, an answer that echoes them). The
// log is read by more people than the network file, so the secret part of
// those headers is replaced before any line is written.
#include "util/Log.h"

namespace {

const char* const kHeaderName = "authorization:";  // also ends "Proxy-Authorization:"
const int kHeaderNameLength = 14;

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

bool endsLine(char c) {
    return c == '\r' || c == '\n';
}

// Where the secret of a header value starting at `from` begins: after the
// scheme word ("Basic ") when the value has one, else at the value itself.
int secretStart(const String& text, int from) {
    int end = text.length();
    int word = from;
    while (word < end && !isBlank(text.charAt(word)) && !endsLine(text.charAt(word))) word++;
    if (word == from || word >= end || !isBlank(text.charAt(word))) return from;
    int next = word;
    while (next < end && isBlank(text.charAt(next))) next++;
    return next < end && !endsLine(text.charAt(next)) ? next : from;
}

}  // namespace

String Log::maskCredentials(const String& text) {
    int found = text.indexOfIgnoreCase(kHeaderName);
    if (found < 0) return text;
    String masked;
    int copied = 0;
    while (found >= 0) {
        int value = found + kHeaderNameLength;
        while (value < text.length() && isBlank(text.charAt(value))) value++;
        int secret = secretStart(text, value);
        int lineEnd = secret;
        while (lineEnd < text.length() && !endsLine(text.charAt(lineEnd))) lineEnd++;
        masked.append(text.c_str(), copied, secret - copied);
        if (lineEnd > secret) masked.append("****");
        copied = lineEnd;
        found = lineEnd < text.length() ? text.indexOfIgnoreCase(kHeaderName, lineEnd) : -1;
    }
    masked.append(text.c_str(), copied, text.length() - copied);
    return masked;
}
