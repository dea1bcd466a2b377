// Matching a certificate's common name against the host connected to.
#include <gtest/gtest.h>

#include "net/SSL.h"

TEST(SSLHostMatch, CommonNameAgainstHost) {
    struct Case {
        const char* cn;
        const char* host;
        bool match;
    } cases[] = {
        {"update.srv.local", "update.srv.local", true},
        {"Update.srv.local", "update.srv.local", false},  // bytes, not letters
        {"*.srv.local", "a.srv.local", true},
        {"*.srv.local", "b.a.srv.local", false},  // "*" is one label only
        {"*.srv.local", "srv.local", false},
        {"*.srv.local", "a.srv.local.evil", false},
        {"*.srv.local", "a.xsrv.local", false},
        {"*.local", "a.local", false},  // a second dot is required
        {"ab", "ab", false},            // shorter than three characters
        {"abc", "", false},
        {"a*.srv.local", "ab.srv.local", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.match, SSLClient::hostMatches(c.cn, c.host)) << c.cn << " against " << c.host;
    }
}
