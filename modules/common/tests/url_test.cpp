#include "net/URL.h"

#include <gtest/gtest.h>

#include <string>

#include "Exception.h"

namespace {

struct Parsed {
    const char* spec;
    const char* protocol;
    const char* host;
    int port;
    const char* file;
    const char* text;  // toString()
};

TEST(URL, ParsesAndRendersBack) {
    const Parsed cases[] = {
        {"HTTP://Srv.Local:8080//a//b?x=//y", "http", "srv.local", 8080, "/a/b?x=/y",
         "http://srv.local:8080/a/b?x=/y"},
        {"https://h", "https", "h", 443, "", "https://h:443"},
        {"http://h:", "http", "h", 80, "", "http://h:80"},
        {"ftp://h/%41", "ftp", "h", 21, "/%41", "ftp://h:21/%41"},
        {"gopher://h/", "gopher", "h", -1, "/", "gopher://h/"},
        {"http://u:p@h/x", "http", "h", 80, "/x", "http://u:p@h:80/x"},
        {"http://u:@h", "http", "h", 80, "", "http://u:@h:80"},
        {"http:///x", "http", "", 80, "/x", "http://:80/x"},
        {"http://h:65535", "http", "h", 65535, "", "http://h:65535"},
    };
    for (const Parsed& c : cases) {
        SCOPED_TRACE(c.spec);
        URL url{String(c.spec)};
        EXPECT_STREQ(c.protocol, url.getProtocol().c_str());
        EXPECT_STREQ(c.host, url.getHost().c_str());
        EXPECT_EQ(c.port, url.getPort());
        EXPECT_STREQ(c.file, url.getFile().c_str());
        EXPECT_STREQ(c.text, url.toString().c_str());
        EXPECT_EQ(*c.host != '\0', url.isValid());
    }
    URL withUser{String("http://u:p@h/")};
    EXPECT_STREQ("u", withUser.getUserName().c_str());
    EXPECT_STREQ("p", withUser.getPassword().c_str());
}

TEST(URL, RefusesMalformedText) {
    for (const char* spec : {"h/x", "http://", "http://h:8a/", "http://h:65536/",
                             "http://h:0000080", "http://user@h/", "http:/h", ""}) {
        SCOPED_TRACE(spec);
        try {
            URL url{String(spec)};
            ADD_FAILURE() << "accepted";
        } catch (const Exception& e) {
            EXPECT_STREQ("Malformed URL", e.getMessage().c_str());
            EXPECT_STREQ("net/URL", e.getFile().c_str());
        }
    }
}

TEST(URL, PartsConstructorsAndEquality) {
    URL given("HTTP", "Host", "/a");
    EXPECT_EQ(80, given.getPort());
    EXPECT_STREQ("HTTP://Host:80/a", given.toString().c_str());
    EXPECT_TRUE(given.equals(URL(String("http://host/a"))));
    EXPECT_TRUE(given.equals(URL(String("http://x:y@host:80/a"))));
    EXPECT_FALSE(given.equals(URL(String("http://host/A"))));
    EXPECT_FALSE(given.equals(URL(String("http://host:81/a"))));
    EXPECT_FALSE(URL().isValid());
    EXPECT_EQ(-1, URL().getPort());
}

}  // namespace
