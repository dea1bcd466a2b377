// Utils: strict number parsing with its messages, date and time texts, and
// the character, hexadecimal, search and token helpers.
#include "Utils.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "Exception.h"

namespace {

// The message of the Exception that parseNumber throws, or "" when it
// returns; the location must name the "Utils" unit.
std::string parseError(const char* text, int length, int base) {
    try {
        Utils::parseNumber(text, length, base);
    } catch (const Exception& error) {
        EXPECT_STREQ("Utils", error.getFile().c_str());
        EXPECT_EQ(0, std::string(error.getLocation().c_str()).rfind("Utils, line ", 0));
        return error.getMessage().c_str();
    }
    return "";
}

std::string localNow(const char* pattern) {
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    char text[32];
    strftime(text, sizeof text, pattern, &local);
    return text;
}

bool hasShape(const std::string& text, const std::string& shape) {
    if (text.size() != shape.size()) return false;
    for (size_t i = 0; i < shape.size(); ++i) {
        bool digit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == '9' ? !digit : text[i] != shape[i]) return false;
    }
    return true;
}

}  // namespace

TEST(UtilsTest, ParseNumberReadsDigitsOfEachBase) {
    EXPECT_EQ(42, Utils::parseNumber("  42", 4, 10));
    EXPECT_EQ(0, Utils::parseNumber("", 0, 10));
    EXPECT_EQ(0, Utils::parseNumber(" \t ", 3, 10));
    EXPECT_EQ(4, Utils::parseNumber("4x", 2, 10));
    EXPECT_EQ(12, Utils::parseNumber("12 34", 5, 10));
    EXPECT_EQ(255, Utils::parseNumber("ff", 2, 16));
    EXPECT_EQ(0xABC, Utils::parseNumber("aBc", 3, 16));
    EXPECT_EQ(8, Utils::parseNumber("10", 2, 8));
    EXPECT_EQ(1234, Utils::parseNumber("1234567", 4, 10)) << "only `length` bytes count";
    EXPECT_EQ(7, Utils::parseNumber("\0 7", 3, 10)) << "NUL bytes are skipped like blanks";
    EXPECT_EQ(5, Utils::parseNumber("5\0"
                                    "7",
                                    3, 10))
        << "a NUL after a digit ends the number";
    EXPECT_EQ(1, Utils::parseNumber("1g", 2, 16)) << "a non-hex byte after a digit ends it";
    EXPECT_EQ(7, Utils::parseNumber("7", 1, 2)) << "any other base means decimal";
    EXPECT_EQ(-1, Utils::parseNumber("4294967295", 10, 10)) << "32-bit arithmetic";
    EXPECT_EQ(2147483647, Utils::parseNumber("7fffffff", 8, 16));
}

TEST(UtilsTest, ParseNumberRejectsForeignDigitsWithTheBaseInTheMessage) {
    EXPECT_EQ("invalid oct number", parseError("19", 2, 8));
    EXPECT_EQ("invalid oct number", parseError("8", 1, 8));
    EXPECT_EQ("invalid hex number", parseError("g1", 2, 16));
    EXPECT_EQ("invalid hex number", parseError("-1", 2, 16));
    EXPECT_EQ("invalid dec number", parseError("12a", 3, 10));
    EXPECT_EQ("invalid dec number", parseError("x", 1, 10));
    EXPECT_EQ("invalid dec number", parseError("-5", 2, 10)) << "there is no sign";
    EXPECT_EQ("invalid dec number", parseError("+5", 2, 3));
}

TEST(UtilsTest, DateAndTimeHaveTheirFixedShapes) {
    std::string before = localNow("%Y-%m-%d %H:%M:%S");
    std::string date = Utils::getDate().c_str();
    std::string time = Utils::getTime().c_str();
    std::string after = localNow("%Y-%m-%d %H:%M:%S");

    EXPECT_TRUE(hasShape(date, "9999-99-99")) << date;
    EXPECT_TRUE(hasShape(time, "99:99:99")) << time;
    // The texts show the local clock of the moment of the call.
    EXPECT_TRUE(date == before.substr(0, 10) || date == after.substr(0, 10)) << date;
    std::string stamp = date + " " + time;
    EXPECT_LE(before, stamp);
    EXPECT_GE(after.substr(0, 10) + " " + after.substr(11), stamp);
}

TEST(UtilsTest, CharacterChecksAndHexadecimalDigits) {
    EXPECT_TRUE(Utils::isNumeric("1.2.3", "."));
    EXPECT_TRUE(Utils::isNumeric("0123456789", nullptr));
    EXPECT_FALSE(Utils::isNumeric("", "."));
    EXPECT_FALSE(Utils::isNumeric(nullptr, "."));
    EXPECT_FALSE(Utils::isNumeric("1a", "."));
    EXPECT_FALSE(Utils::isNumeric("1.2", nullptr));

    EXPECT_TRUE(Utils::equalBytes("abcX", "abcY", 3));
    EXPECT_FALSE(Utils::equalBytes("abcX", "abcY", 4));
    EXPECT_FALSE(Utils::equalBytes("Xbc", "abc", 3));
    EXPECT_TRUE(Utils::equalBytes("a", "b", 0));

    const std::string digits = "0123456789ABCDEF";
    for (int v = 0; v < 16; ++v) {
        EXPECT_EQ(digits[v], Utils::hexDigit(v));
        EXPECT_EQ(digits[v], Utils::hexDigit(v + 0x70)) << "only the low four bits count";
    }
    EXPECT_EQ('A', Utils::hexByte('4', '1'));
    for (int byte = 0; byte < 256; ++byte) {
        char high = Utils::hexDigit(byte >> 4);
        char low = Utils::hexDigit(byte);
        ASSERT_EQ(static_cast<char>(byte), Utils::hexByte(high, low)) << byte;
    }
    EXPECT_EQ(static_cast<char>(0x2F), Utils::hexByte('2', 'f'));  // lower case is read too
}

TEST(UtilsTest, FormatCutsLongResults) {
    EXPECT_STREQ("7 apples, 2.5 kg", Utils::format("%d %s, %g kg", 7, "apples", 2.5).c_str());
    std::string longText(5000, 'x');
    String cut = Utils::format("%s", longText.c_str());
    EXPECT_EQ(4095, cut.length());
    EXPECT_STREQ("", Utils::format(nullptr).c_str());
}

TEST(UtilsTest, ContainsFindsBytePatterns) {
    const char buf[] = "GET / HTTP/1.0\r\n\r\nbody\0tail";
    const int length = sizeof buf - 1;
    EXPECT_TRUE(Utils::contains(buf, length, "\r\n\r\n", 4));
    EXPECT_TRUE(Utils::contains(buf, length, "tail", 4)) << "NUL bytes do not end the buffer";
    EXPECT_FALSE(Utils::contains(buf, length, "\n\n", 2));
    EXPECT_FALSE(Utils::contains(buf, 4, "HTTP", 4)) << "only `length` bytes are searched";
    EXPECT_TRUE(Utils::contains(buf, length, "x", 0));
    EXPECT_TRUE(Utils::contains(buf, 3, buf, 3));
    EXPECT_FALSE(Utils::contains("abc", 3, "abcd", 4));
    EXPECT_TRUE(Utils::contains("abc", 3, "abc", 3));
}

TEST(UtilsTest, GetTokenSkipsRunsOfDelimiters) {
    struct Case {
        const char* text;
        int index;
        const char* delimiters;
        const char* expected;
    } cases[] = {
        {"a,,b", 1, ",", "b"},     {"a,,b", 0, ",", "a"},      {",,a, b;c", 0, ",", "a"},
        {"a, b;c", 1, ", ;", "b"}, {"a, b;c", 2, ", ;", "c"},  {"a,,b", 2, ",", nullptr},
        {"", 0, ",", nullptr},     {",,,", 0, ",", nullptr},   {"whole", 0, nullptr, "whole"},
        {"a,b", -1, ",", nullptr}, {nullptr, 0, ",", nullptr},
    };
    for (const Case& c : cases) {
        char* token = Utils::getToken(c.text, c.index, c.delimiters);
        if (c.expected == nullptr) {
            EXPECT_EQ(nullptr, token) << (c.text ? c.text : "(null)") << " #" << c.index;
        } else {
            ASSERT_NE(nullptr, token) << c.text << " #" << c.index;
            EXPECT_STREQ(c.expected, token);
        }
        std::free(token);
    }
}
