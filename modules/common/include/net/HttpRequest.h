#ifndef ZR_NET_HTTP_REQUEST_H
#define ZR_NET_HTTP_REQUEST_H

#include "String.h"
#include "net/HttpHeader.h"
#include "net/URL.h"

// An HTTP/1.0 request: method, absolute target URL, version, header lines and
// the body to post (a text or the path of a file). Every constructor but the
// copy sets the four default headers: Accept, User-Agent, Accept-Language,
// Accept-Encoding.
class HttpRequest {
public:
    HttpRequest();
    explicit HttpRequest(const URL& url);
    HttpRequest(const HttpRequest& other) = default;
    HttpRequest& operator=(const HttpRequest& other) = default;
    virtual ~HttpRequest();

    // One of GET POST HEAD OPTIONS PUT DELETE TRACE in any case, stored as
    // given; false (method kept) otherwise.
    bool setMethod(const String& method);
    // Digits and "." only, non-empty.
    bool setVersion(const String& version);
    // Only a valid URL (protocol and host present).
    bool setURL(const URL& url);
    bool setHeader(const NameValuePairs& header);
    HttpHeader& getHeader() { return header; }
    const HttpHeader& getHeader() const { return header; }

    const String& getMethod() const { return method; }
    const String& getVersion() const { return version; }
    const URL& getURL() const { return url; }
    void setPostData(const String& data) { postData = data; }
    const String& getPostData() const { return postData; }
    void setPostFile(const String& path) { postFile = path; }
    const String& getPostFile() const { return postFile; }

    // The head: request line with the absolute URL, header lines, empty
    // line. Empty when the URL is not valid or there are no headers.
    String toString() const;

private:
    String method;
    String version;
    URL url;
    HttpHeader header;
    String postData;
    String postFile;
};

#endif
