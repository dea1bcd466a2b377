#include <gtest/gtest.h>

#include <climits>

#include "Exception.h"
#include "ZRDecimal.h"
#include "ZRVersionInfo.h"

namespace {

void expectNumbers(const ZRVersionInfo& v, long major, long minor, long patch, long build) {
    EXPECT_EQ(v.major, major) << v.version.c_str();
    EXPECT_EQ(v.minor, minor) << v.version.c_str();
    EXPECT_EQ(v.patchLevel, patch) << v.version.c_str();
    EXPECT_EQ(v.buildNum, build) << v.version.c_str();
}

}  // namespace

TEST(ZRVersionInfo, TextIsSplitAtDotsDashesAndUnderscoresByPartCount) {
    ZRVersionInfo two("2.5");
    EXPECT_TRUE(two.numeric);
    expectNumbers(two, 2, 5, 0, 0);

    // Three parts: the third is the build number, not the patch level.
    ZRVersionInfo three("1.2.3");
    EXPECT_TRUE(three.numeric);
    expectNumbers(three, 1, 2, 0, 3);

    ZRVersionInfo four("4.1.0.12");
    expectNumbers(four, 4, 1, 0, 12);
    ZRVersionInfo fourMixed("4-1_7.12");
    expectNumbers(fourMixed, 4, 1, 7, 12);

    // Five or more parts behave like three: the third is the build number and
    // the rest is ignored.
    ZRVersionInfo five("9.8.7.6.5");
    expectNumbers(five, 9, 8, 0, 7);

    // Empty parts vanish, so doubled separators do not shift the numbers.
    ZRVersionInfo doubled("3..4--5");
    expectNumbers(doubled, 3, 4, 0, 5);

    // The text is kept as given, not rewritten.
    EXPECT_STREQ(three.version.c_str(), "1.2.3");
    EXPECT_TRUE(three.isValid());
}

TEST(ZRVersionInfo, OnePartOrNoTextIsNotNumeric) {
    ZRVersionInfo single("17");
    EXPECT_FALSE(single.numeric);
    expectNumbers(single, 0, 0, 0, 0);
    EXPECT_TRUE(single.isValid());

    ZRVersionInfo empty("");
    EXPECT_FALSE(empty.numeric);
    EXPECT_FALSE(empty.isValid());
    ZRVersionInfo separatorsOnly("._-");
    EXPECT_FALSE(separatorsOnly.numeric);
    expectNumbers(separatorsOnly, 0, 0, 0, 0);

    ZRVersionInfo plain;
    EXPECT_FALSE(plain.numeric);
    EXPECT_FALSE(plain.isValid());
    expectNumbers(plain, 0, 0, 0, 0);
}

TEST(ZRVersionInfo, APartThatIsNotDecimalThrows) {
    const char* bad[] = {"1.x", "a.2", "1.2b", "1.2.3x", "1.2.3.4z", "1.+", "1.2x.3"};
    for (const char* text : bad) {
        try {
            ZRVersionInfo v(text);
            ADD_FAILURE() << "no exception for " << text;
        } catch (const Exception& e) {
            EXPECT_STREQ(e.getMessage().c_str(), "invalid dec number") << text;
        }
    }
    // A one-part text is never parsed, so any text is accepted there.
    EXPECT_NO_THROW(ZRVersionInfo("beta"));
    // Parts after the third of five are not read either.
    EXPECT_NO_THROW(ZRVersionInfo("1.2.3.4.x"));
}

TEST(ZRVersionInfo, NumbersConstructorWritesTheFourNumbersAsText) {
    ZRVersionInfo v(1, 0, 0, 0, "beta", "beta released on 2003/12/31");
    EXPECT_STREQ(v.version.c_str(), "1.0.0.0");
    EXPECT_TRUE(v.numeric);
    expectNumbers(v, 1, 0, 0, 0);
    EXPECT_STREQ(v.toString().c_str(), "1.0.0.0,beta,beta released on 2003/12/31");

    ZRVersionInfo big(2, 5, 10, 12345);
    EXPECT_STREQ(big.version.c_str(), "2.5.10.12345");
    EXPECT_STREQ(big.toString().c_str(), "2.5.10.12345");

    // Read back as text, the same numbers come out.
    ZRVersionInfo again(big.version);
    expectNumbers(again, 2, 5, 10, 12345);
}

TEST(ZRVersionInfo, TextFormLeavesOutEmptyStatusAndDesc) {
    EXPECT_STREQ(ZRVersionInfo("2.0", "", "").toString().c_str(), "2.0");
    EXPECT_STREQ(ZRVersionInfo("2.0", "rc", "").toString().c_str(), "2.0,rc");
    EXPECT_STREQ(ZRVersionInfo("2.0", "", "note").toString().c_str(), "2.0,note");
    EXPECT_STREQ(VersionInfo("x", "s", "d").toString().c_str(), "x,s,d");
}

TEST(ZRVersionInfo, FromAPlainVersionKeepsStringsAndFlagButNoNumbers) {
    VersionInfo plain("5.6", "st", "de");
    plain.numeric = true;
    ZRVersionInfo v(plain);
    EXPECT_STREQ(v.version.c_str(), "5.6");
    EXPECT_STREQ(v.status.c_str(), "st");
    EXPECT_STREQ(v.desc.c_str(), "de");
    EXPECT_TRUE(v.numeric);
    expectNumbers(v, 0, 0, 0, 0);
}

TEST(ParseDecimal, AcceptsSignsAndBlanksAndRefusesTheRest) {
    EXPECT_EQ(parseDecimal("42"), 42);
    EXPECT_EQ(parseDecimal("  42 "), 42);
    EXPECT_EQ(parseDecimal("-1"), -1);
    EXPECT_EQ(parseDecimal("+7"), 7);
    EXPECT_EQ(parseDecimal(""), 0);
    EXPECT_EQ(parseDecimal("   "), 0);
    EXPECT_EQ(parseDecimal("9223372036854775807"), LONG_MAX);
    EXPECT_EQ(parseDecimal("-9223372036854775808"), LONG_MIN);
    const char* bad[] = {"-",
                         "4x",
                         "x4",
                         "1 2",
                         "0x10",
                         "9223372036854775808",
                         "-9223372036854775809",
                         "99999999999999999999999"};
    for (const char* text : bad) {
        EXPECT_THROW(parseDecimal(text), Exception) << text;
    }
}
