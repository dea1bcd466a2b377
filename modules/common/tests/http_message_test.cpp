#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "Exception.h"
#include "NetTestPeer.h"
#include "net/ClientSocket.h"
#include "net/HttpHeader.h"
#include "net/HttpRequest.h"
#include "net/HttpResponse.h"

namespace {

TEST(HttpHeader, SettersRefuseWhatWouldBreakTheHead) {
    HttpHeader h;
    EXPECT_TRUE(h.add("Connection", "Keep-Alive"));
    EXPECT_TRUE(h.set("connection", "close"));
    EXPECT_EQ(1, h.size());
    EXPECT_TRUE(h.add("X", "1"));
    EXPECT_TRUE(h.add("X", 5368709120L));  // 5 GiB stays exact
    EXPECT_EQ("connection: close\r\nX: 1\r\nX: 5368709120\r\n", std::string(h.toString().c_str()));
    for (auto bad : {std::make_pair("", "v"),
                     {"N", ""},
                     {"A:B", "v"},
                     {"A\r", "v"},
                     {"A", "v\n"},
                     {"A", "v\r"}}) {
        EXPECT_FALSE(h.add(bad.first, bad.second)) << bad.first << "|" << bad.second;
        EXPECT_FALSE(h.set(bad.first, bad.second));
    }
    EXPECT_EQ(3, h.size());

    long n = 0;
    String name, value;
    EXPECT_TRUE(h.getLongAt(2, name, n));
    EXPECT_EQ(5368709120L, n);
    EXPECT_TRUE(h.getAt(0, name, value));
    EXPECT_STREQ("close", value.c_str());
    EXPECT_FALSE(h.getAt(3, name, value));
    struct Number {
        const char* text;
        bool ok;
        long value;
    };
    for (Number c :
         {Number{"10", true, 10}, {"-5", true, -5}, {"abc", false, 0}, {"1 2", false, 0}}) {
        HttpHeader one;
        one.add("Content-Length", c.text);
        long got = 0;
        EXPECT_EQ(c.ok, one.getLong("content-length", got)) << c.text;
        if (c.ok) {
            EXPECT_EQ(c.value, got);
        }
    }
}

TEST(HttpHeader, ParsesLines) {
    HttpHeader h;
    EXPECT_TRUE(h.parse("X-A:  b c \r\nY:z"));
    String v;
    EXPECT_TRUE(h.get("x-a", v));
    EXPECT_STREQ("b c", v.c_str());
    EXPECT_TRUE(h.get("Y", v));
    EXPECT_FALSE(HttpHeader().parse(": v"));
    EXPECT_FALSE(HttpHeader().parse("A: \r\nB: x"));
    EXPECT_THROW(HttpHeader().parse("no colon"), ArrayIndexException);
    EXPECT_THROW(HttpHeader().parse("Ends:"), ArrayIndexException);
}

TEST(HttpRequest, HeadWithDefaultsAndMethodTable) {
    HttpRequest request(URL(String("http://srv/zr-update")));
    request.getHeader().add("X-Mine", "1");
    EXPECT_EQ(
        "GET http://srv:80/zr-update HTTP/1.0\r\nAccept: */*\r\n"
        "User-Agent: Mozilla/4.0 (compatible; MSIE 5.0; Windows 98)\r\nAccept-Language: en-us\r\n"
        "Accept-Encoding: gzip, deflate\r\nX-Mine: 1\r\n\r\n",
        std::string(request.toString().c_str()));
    EXPECT_TRUE(request.setMethod("post"));
    EXPECT_STREQ("post", request.getMethod().c_str());
    EXPECT_FALSE(request.setMethod("FETCH"));
    EXPECT_FALSE(request.setMethod(""));
    EXPECT_STREQ("post", request.getMethod().c_str());
    EXPECT_FALSE(request.setVersion("1.x"));
    EXPECT_FALSE(request.setURL(URL()));
    EXPECT_STREQ("srv", request.getURL().getHost().c_str());

    HttpRequest copy(request);
    EXPECT_STREQ(request.toString().c_str(), copy.toString().c_str());
    request.setHeader(HttpHeader());
    EXPECT_STREQ("", request.toString().c_str());
    EXPECT_STREQ("", HttpRequest().toString().c_str());
}

// A response as the peer sends it, read through a real TCP connection.
struct Exchange {
    explicit Exchange(const std::string& bytes) : socket("127.0.0.1", peer.port()) {
        socket.setTimeout(5000);
        socket.open();
        int server = peer.accept();
        ::write(server, bytes.data(), bytes.size());
        ::close(server);
    }
    Listener peer;
    ClientSocket socket;
    HttpResponse response;
};

std::string rest(InputStream* in) {
    std::string all;
    char piece[1024];
    int got;
    while ((got = in->read(piece, sizeof piece)) > 0) all.append(piece, got);
    return all;
}

TEST(HttpResponse, HeadThenBodyFromTheSameBuffer) {
    Exchange ex("\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 10\r\nX-A:  b c\r\n\r\n0123456789");
    ASSERT_TRUE(ex.response.read(&ex.socket));
    EXPECT_EQ(200, ex.response.getStatus());
    EXPECT_STREQ("OK", ex.response.getReason().c_str());
    EXPECT_STREQ("1.1", ex.response.getVersion().c_str());
    EXPECT_EQ(10, ex.response.getContentLength());
    ASSERT_NE(nullptr, ex.response.getInputStream());
    EXPECT_EQ('0', ex.response.getInputStream()->read());
    EXPECT_EQ("123456789", rest(ex.response.getInputStream()));
    EXPECT_STREQ("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nX-A: b c\r\n",
                 ex.response.toString().c_str());
}

TEST(HttpResponse, MalformedHeads) {
    const std::string longLine(8192, 'a');
    struct Case {
        std::string bytes;
        bool ok;
        int status;
    };
    const Case cases[] = {
        {"HTTP/1.0 200\r\n\r\n", false, -1},
        {"HTTP/1.0 2x0 OK\r\n\r\n", false, -1},
        {"HTTP/1.a 200 OK\r\n\r\n", false, -1},
        {"FTP/1.0 200 OK\r\n\r\n", false, -1},
        {"", false, -1},
        {longLine + "\r\n", false, -1},
        {"HTTP/1.0 200 OK\r\nX: " + longLine + "\r\n\r\n", false, 200},
        {"HTTP/1.0 200 OK\r\nX: " + longLine.substr(8000) + "\r\n\r\n", true, 200},
        {"HTTP/1.0 404 Not Found\r\nBad: \r\nNext: 1\r\n\r\n", false, 404},
        {"HTTP/1.0 302 Moved\r\nA: 1", true, 302},  // cut connection ends the head
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes.substr(0, 40));
        Exchange ex(c.bytes);
        EXPECT_EQ(c.ok, ex.response.read(&ex.socket));
        EXPECT_EQ(c.status, ex.response.getStatus());
        EXPECT_EQ(c.ok, ex.response.getInputStream() != nullptr);
    }
    // A line of 8191 bytes and its "\r" fill the limit exactly: the "\n" past
    // it is dropped, and the head goes on with the next line.
    Exchange fullLine("HTTP/1.0 200 OK\r\nX: " + longLine.substr(4) + "\r\nY: 1\r\n\r\n");
    ASSERT_TRUE(fullLine.response.read(&fullLine.socket));
    EXPECT_EQ(2, fullLine.response.getHeader().size());
    Exchange noColon("HTTP/1.0 200 OK\r\nnocolon\r\n\r\n");
    EXPECT_THROW(noColon.response.read(&noColon.socket), ArrayIndexException);
    Exchange emptyReason("HTTP/1.0 200 \r\n\r\n");
    EXPECT_THROW(emptyReason.response.read(&emptyReason.socket), ArrayIndexException);
    EXPECT_FALSE(HttpResponse().read(nullptr));
}

std::string headerLines(int count) {
    std::string lines;
    for (int i = 0; i < count; i++) lines += "X-" + std::to_string(i) + ": v\r\n";
    return lines;
}

// At most 100 lines and 64 KiB (line ends counted as two bytes); past that
// the answer counts as none at all.
TEST(HttpResponse, HeadBounds) {
    const std::string status = "HTTP/1.0 200 OK\r\n";
    Exchange lines100(status + headerLines(99) + "\r\nbody");
    ASSERT_TRUE(lines100.response.read(&lines100.socket));
    EXPECT_EQ(99, lines100.response.getHeader().size());
    Exchange blankFirst("\r\n" + status + headerLines(99) + "\r\n");
    EXPECT_FALSE(blankFirst.response.read(&blankFirst.socket));

    // 17 + 8 * 8002 + 1503 bytes: exactly 64 KiB.
    std::string big;
    for (int i = 0; i < 8; i++) big += "X: " + std::string(7997, 'a') + "\n";
    Exchange full(status + big + "Y: " + std::string(1498, 'b') + "\r\n\r\n");
    ASSERT_TRUE(full.response.read(&full.socket));
    EXPECT_EQ(9, full.response.getHeader().size());

    for (const std::string& head : {status + headerLines(100) + "\r\n",
                                    status + big + "Y: " + std::string(1499, 'b') + "\r\n\r\n"}) {
        Exchange ex(head);
        EXPECT_FALSE(ex.response.read(&ex.socket));
        EXPECT_EQ(-1, ex.response.getStatus());
        EXPECT_EQ(0, ex.response.getHeader().size());
        EXPECT_EQ(nullptr, ex.response.getInputStream());
    }
}

}  // namespace
