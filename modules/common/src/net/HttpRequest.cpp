#include "net/HttpRequest.h"

#include "Utils.h"

namespace {
const char* const kMethods[] = {"GET", "POST", "HEAD", "OPTIONS", "PUT", "DELETE", "TRACE"};

void addDefaultHeaders(HttpHeader& header) {
    header.add("Accept", "*/*");
    header.add("User-Agent", "Mozilla/4.0 (compatible; MSIE 5.0; Windows 98)");
    header.add("Accept-Language", "en-us");
    header.add("Accept-Encoding", "gzip, deflate");
}
}  // namespace

HttpRequest::HttpRequest() : method("GET"), version("1.0") {
    addDefaultHeaders(header);
}

HttpRequest::HttpRequest(const URL& url) : method("GET"), version("1.0"), url(url) {
    addDefaultHeaders(header);
}

HttpRequest::~HttpRequest() = default;

bool HttpRequest::setMethod(const String& name) {
    for (const char* known : kMethods) {
        if (name.equalsIgnoreCase(known)) {
            method = name;
            return true;
        }
    }
    return false;
}

bool HttpRequest::setVersion(const String& text) {
    if (!Utils::isNumeric(text.c_str(), ".")) return false;
    version = text;
    return true;
}

bool HttpRequest::setURL(const URL& target) {
    if (!target.isValid()) return false;
    url = target;
    return true;
}

bool HttpRequest::setHeader(const NameValuePairs& pairs) {
    header.assign(pairs);
    return true;
}

String HttpRequest::toString() const {
    String head;
    if (!url.isValid() || header.size() == 0) return head;
    head.append(method)
        .append(" ")
        .append(url.toString())
        .append(" HTTP/")
        .append(version)
        .append("\r\n");
    head.append(header.toString()).append("\r\n");
    return head;
}
