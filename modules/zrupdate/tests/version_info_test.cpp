#include <gtest/gtest.h>

#include <string>

#include "store/ZRVersionInfo.h"

namespace {

// "numeric major.minor.patchLevel.buildNum", to compare a record in one line.
std::string numbers(const ZRVersionInfo& v) {
    return std::to_string(v.numeric) + " " + std::to_string(v.major) + "." +
           std::to_string(v.minor) + "." + std::to_string(v.patchLevel) + "." +
           std::to_string(v.buildNum);
}

}  // namespace

TEST(ZRVersionInfo, TextIsSplitAtDotsDashesAndUnderscoresByPartCount) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"2.5", "1 2.5.0.0"},
        {"1.2.3", "1 1.2.0.3"},  // three parts: the third is the build number
        {"4.1.0.12", "1 4.1.0.12"},
        {"4-1_7.12", "1 4.1.7.12"},
        {"9.8.7.6.5", "1 9.8.0.7"},  // five or more behave like three
        {"3..4--5", "1 3.4.0.5"},    // empty parts vanish
        {"17", "0 0.0.0.0"},         // one part: not numeric
        {"._-", "0 0.0.0.0"},
        {"", "0 0.0.0.0"},
    };
    for (const auto& c : cases) {
        ZRVersionInfo v(c.text);
        EXPECT_EQ(numbers(v), c.expected) << c.text;
        EXPECT_STREQ(v.version.c_str(), c.text) << "kept as given";
        EXPECT_EQ(v.isValid(), c.text[0] != '\0') << c.text;
    }
    EXPECT_FALSE(ZRVersionInfo().isValid());
    EXPECT_EQ(numbers(ZRVersionInfo()), "0 0.0.0.0");
}

TEST(ZRVersionInfo, ConstructorsAndTextForm) {
    ZRVersionInfo v(1, 0, 0, 0, "beta", "beta released on 2003/12/31");
    EXPECT_STREQ(v.version.c_str(), "1.0.0.0");
    EXPECT_EQ(numbers(v), "1 1.0.0.0");
    EXPECT_STREQ(v.toString().c_str(), "1.0.0.0,beta,beta released on 2003/12/31");
    ZRVersionInfo big(2, 5, 10, 12345);
    EXPECT_STREQ(big.toString().c_str(), "2.5.10.12345");
    EXPECT_EQ(numbers(ZRVersionInfo(big.version)), "1 2.5.10.12345");

    // Empty status and desc are left out of the text form.
    EXPECT_STREQ(ZRVersionInfo("2.0", "", "").toString().c_str(), "2.0");
    EXPECT_STREQ(ZRVersionInfo("2.0", "rc", "").toString().c_str(), "2.0,rc");
    EXPECT_STREQ(ZRVersionInfo("2.0", "", "note").toString().c_str(), "2.0,note");
    EXPECT_STREQ(VersionInfo("x", "s", "d").toString().c_str(), "x,s,d");

    // From a plain version: strings and flag kept, no numbers.
    VersionInfo plain("5.6", "st", "de");
    plain.numeric = true;
    ZRVersionInfo fromPlain(plain);
    EXPECT_STREQ(fromPlain.toString().c_str(), "5.6,st,de");
    EXPECT_EQ(numbers(fromPlain), "1 0.0.0.0");
}
