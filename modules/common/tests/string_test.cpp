#include "String.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>
#include <string>

#include "Exception.h"
#include "TypedValue.h"
#include "Vector.h"
#include "test_printers.h"

namespace {

// Runs `change` on a copy of `original`, expects ArrayIndexException and
// checks that the text, length and capacity did not move.
template <class F>
void expectIndexErrorLeavesUnchanged(const char* original, F change) {
    String s(original);
    int capacity = s.capacity();
    EXPECT_THROW(change(s), ArrayIndexException) << "on \"" << original << '"';
    EXPECT_STREQ(original, s.c_str());
    EXPECT_EQ(static_cast<int>(std::strlen(original)), s.length());
    EXPECT_EQ(capacity, s.capacity());
}

}  // namespace

TEST(StringTest, ConstructionAndCopies) {
    EXPECT_STREQ("", String(static_cast<const char*>(nullptr)).c_str());
    EXPECT_STREQ("cde", String("abcdef", 2, 3).c_str());
    EXPECT_STREQ("cd", String("ab\0cd\0ef", 3, 10).c_str());  // stops at the NUL
    EXPECT_TRUE(String(nullptr, 0, 3).isEmpty());
    EXPECT_TRUE(String("abc", -1, 3).isEmpty());
    EXPECT_TRUE(String("abc", 0, 0).isEmpty());

    String a("hello");
    String b(a);
    b.setCharAt(0, 'j');
    EXPECT_STREQ("hello", a.c_str());
    String c;
    c = b;
    b.append("!");
    EXPECT_STREQ("jello", c.c_str());
    String& self = c;
    c = self;
    EXPECT_STREQ("jello", c.c_str());

    String key("key");
    EXPECT_STREQ("key=value", (key + "=" + String("value")).c_str());
    EXPECT_STREQ("key", key.c_str());
}

TEST(StringTest, AppendRendersValuesAndChains) {
    String s;
    s.append(true).append(false).append(' ').append(2.5).append(' ').append(-7L).append(' ');
    s.append(42).append(' ').append(1.5f).append(' ').append(1e20).append(' ');
    s.append(4000000000UL).append(static_cast<const char*>(nullptr));
    EXPECT_STREQ("truefalse 2.5 -7 42 1.5 1e+20 4000000000", s.c_str());
    // Integers render as printf renders them, down to the extremes.
    EXPECT_STREQ("0-2147483648", String().append(0).append(INT_MIN).c_str());
    EXPECT_STREQ("-9223372036854775808 9223372036854775807",
                 String().append(LONG_MIN).append(' ').append(LONG_MAX).c_str());
    EXPECT_STREQ("18446744073709551615", String().append(ULLONG_MAX).c_str());

    String t("ab");
    t.append("xyz\0ignored", 1, 10);
    EXPECT_STREQ("abyz", t.c_str());
    t.append("xyz", -1, 2).append("xyz", 0, 0).append(static_cast<const char*>(nullptr), 0, 2);
    EXPECT_STREQ("abyz", t.c_str());

    t.append(TypedValue(12L));
    EXPECT_STREQ("abyz12", t.c_str());

    // Appending a string to itself, across a reallocation.
    String self("0123456789012345678901234567890");
    self.append(self);
    EXPECT_STREQ("01234567890123456789012345678900123456789012345678901234567890", self.c_str());
    EXPECT_EQ(62, self.length());
}

TEST(StringTest, InsertChecksPositionFirst) {
    String s("ace");
    s.insert(1, 'b').insert(3, "d").insert(s.length(), "f").insert(0, String(">"));
    EXPECT_STREQ(">abcdef", s.c_str());
    s.insert(1, 7).insert(0, -3L).insert(s.length(), true).insert(0, 0.5);
    EXPECT_STREQ("0.5-3>7abcdeftrue", s.c_str());

    String n("ab");
    n.insert(2, static_cast<const char*>(nullptr));
    EXPECT_STREQ("ab", n.c_str());
    expectIndexErrorLeavesUnchanged("ab", [](String& x) { x.insert(3, "x"); });
    expectIndexErrorLeavesUnchanged("ab", [](String& x) { x.insert(-1, "x"); });
    expectIndexErrorLeavesUnchanged("ab", [](String& x) { x.insert(3, nullptr); });
    expectIndexErrorLeavesUnchanged("ab", [](String& x) { x.insert(3, 'c'); });
    expectIndexErrorLeavesUnchanged("ab", [](String& x) { x.insert(3, 5); });

    // The counted form copies exactly `count` bytes, NULs included; the text
    // then ends at the NUL for comparisons.
    String z("ab");
    z.insert(1, "xy\0z", 1, 3);
    EXPECT_EQ(5, z.length());
    EXPECT_EQ('y', z.charAt(1));
    EXPECT_EQ('\0', z.charAt(2));
    EXPECT_EQ('b', z.charAt(4));
    EXPECT_TRUE(z.equals("ay"));

    // Inserting part of the string into itself.
    String own("abcdef");
    own.insert(0, own.c_str() + 3);
    EXPECT_STREQ("defabcdef", own.c_str());
}

TEST(StringTest, DeleteReplaceAndRangeRules) {
    // The ranges of deleteChars and replace are checked against a model in
    // RandomEditsAgreeWithAModel; here the forms it does not reach.
    String s("abcd");
    s.deleteCharAt(0);
    EXPECT_STREQ("bcd", s.c_str());
    expectIndexErrorLeavesUnchanged("abc", [](String& x) { x.deleteChars(0, 4); });
    expectIndexErrorLeavesUnchanged("abc", [](String& x) { x.deleteCharAt(3); });
    expectIndexErrorLeavesUnchanged("", [](String& x) { x.deleteChars(0, 0); });

    String r("goodbye world");
    r.replace(8, 13, String("all"));
    EXPECT_STREQ("goodbye all", r.c_str());
    r.replace(4, 11, r.c_str() + 8);  // source inside the string
    EXPECT_STREQ("goodall", r.c_str());
    r.replace(0, 4, nullptr);
    EXPECT_STREQ("all", r.c_str());
    r.replace('l', 'L');
    EXPECT_STREQ("aLL", r.c_str());
    expectIndexErrorLeavesUnchanged("abc", [](String& x) { x.replace(1, 1, "x"); });
}

TEST(StringTest, SubstringCharAccessAndSetLength) {
    String s("abcd");
    EXPECT_STREQ("cd", s.substring(2).c_str());
    EXPECT_THROW(s.substring(4), ArrayIndexException);
    EXPECT_THROW(s.substring(-1), ArrayIndexException);
    EXPECT_THROW(s.substring(4, 4), ArrayIndexException);  // the start must be a character
    EXPECT_THROW(String().substring(0, 0), ArrayIndexException);

    EXPECT_EQ('d', s.charAt(3));
    EXPECT_THROW(s.charAt(4), ArrayIndexException);
    expectIndexErrorLeavesUnchanged("abcd", [](String& x) { x.setCharAt(4, 'z'); });
    expectIndexErrorLeavesUnchanged("abcd", [](String& x) { x.setLength(5); });
    expectIndexErrorLeavesUnchanged("abcd", [](String& x) { x.setLength(-1); });
    s.setLength(4);
    EXPECT_STREQ("abcd", s.c_str());
    s.setLength(2);
    EXPECT_STREQ("ab", s.c_str());
    EXPECT_EQ(2, s.length());

    char out[8];
    std::memset(out, '#', sizeof out);
    String("hello").getChars(1, 4, out, 2);
    EXPECT_EQ(0, std::memcmp("##ell###", out, 8));  // no NUL written
    try {
        String("hello").getChars(0, 1, nullptr, 0);
        FAIL() << "no exception";
    } catch (const NullPointerException& e) {
        EXPECT_STREQ("Pointer is NULL", e.getMessage().c_str());
    }
    EXPECT_THROW(String("hello").getChars(5, 5, out, 0), ArrayIndexException);
}

TEST(StringTest, Searching) {
    String s("abcabc");
    EXPECT_EQ(2, s.indexOf('c'));
    EXPECT_EQ(5, s.indexOf('c', 3));
    EXPECT_EQ(-1, String("abc").indexOf('x', 10));
    EXPECT_EQ(-1, s.indexOf('a', 6));
    EXPECT_EQ(-1, s.indexOf('a', -1));
    EXPECT_EQ(-1, s.indexOf(static_cast<const char*>(nullptr)));
    EXPECT_EQ(-1, String().indexOf(""));
    EXPECT_EQ(3, s.indexOfIgnoreCase("ABC", 1));
    EXPECT_EQ(4, s.indexOfIgnoreCase("Bc", 2));
    EXPECT_EQ(-1, s.indexOfIgnoreCase("CABCABC"));

    EXPECT_EQ(0, String("abab").lastIndexOf("ab", 1));
    EXPECT_EQ(2, String("abab").lastIndexOf("ab", 3));  // start capped at length - 2
    EXPECT_EQ(-1, String("abab").lastIndexOf("ab", 4));
    EXPECT_EQ(4, s.lastIndexOf('b'));
    EXPECT_EQ(1, s.lastIndexOf('b', 3));
    EXPECT_EQ(-1, s.lastIndexOf('b', 0));
    EXPECT_EQ(-1, String().lastIndexOf('a'));

    EXPECT_TRUE(s.startsWith("ca", 2));
    EXPECT_TRUE(s.startsWith("", 6));
    EXPECT_FALSE(s.startsWith("", 7));
    EXPECT_FALSE(s.startsWith("bcx", 4));
    EXPECT_FALSE(s.startsWith(nullptr));
    EXPECT_TRUE(s.startsWithIgnoreCase("ABCA"));
    EXPECT_TRUE(s.endsWith("cabc"));
    EXPECT_FALSE(s.endsWith("xabcabc"));
    EXPECT_FALSE(s.endsWith(nullptr));
    EXPECT_TRUE(s.endsWithIgnoreCase("BC"));
    EXPECT_FALSE(s.endsWithIgnoreCase("BA"));
}

TEST(StringTest, Comparing) {
    String s("Content-Type");
    EXPECT_TRUE(s.equals("Content-Type"));
    EXPECT_FALSE(s.equals("content-type"));
    EXPECT_FALSE(s.equals(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(s.equalsIgnoreCase("CONTENT-type"));
    EXPECT_FALSE(s.equalsIgnoreCase(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(s == String("Content-Type"));
    EXPECT_TRUE(s != String("Content-Typ"));
    EXPECT_TRUE(s == "Content-Type");

    EXPECT_LT(String("abc").compareTo("abd"), 0);
    EXPECT_EQ(0, String("abc").compareTo("abc"));
    EXPECT_GT(String("abc").compareTo("ab"), 0);
    EXPECT_EQ(0, String("ABC").compareToIgnoreCase(String("abc")));
    EXPECT_LT(String("ABC").compareToIgnoreCase(String("abd")), 0);
    EXPECT_TRUE(String("a") < String("b"));
    EXPECT_FALSE(String("a") < String("a"));
    // Bytes compare unsigned, so UTF-8 text sorts after ASCII.
    EXPECT_TRUE(String("z") < String("\xc3\xa9"));
}

TEST(StringTest, CaseTrimAndSplit) {
    String s("MiXeD 1.2");
    s.toLowerCase();
    EXPECT_STREQ("mixed 1.2", s.c_str());
    EXPECT_STREQ("MIXED 1.2", s.toUpperCase().c_str());

    String padded("  a b \r\n");
    EXPECT_STREQ("a b", padded.trim(" \n\r\t").c_str());
    EXPECT_STREQ("  a b \r\n", padded.c_str());
    EXPECT_STREQ("", String(" \t ").trim(" \n\r\t").c_str());
    EXPECT_STREQ("", String().trim(" ").c_str());
    EXPECT_STREQ("--x--", String("--x--").trim("").c_str());

    Vector<String> out;
    out.add("stale");
    String(",a,,b,").split(out, ",");
    ASSERT_EQ(2, out.size());
    EXPECT_STREQ("a", out[0].c_str());
    EXPECT_STREQ("b", out[1].c_str());

    String("GET /x HTTP/1.0\r\n").split(out, " \r\n");
    ASSERT_EQ(3, out.size());
    EXPECT_STREQ("HTTP/1.0", out[2].c_str());

    for (const char* empty : {"", ",,,"}) {
        String(empty).split(out, ",");
        EXPECT_EQ(0, out.size()) << empty;
    }
    String("abc").split(out, "");
    EXPECT_EQ(0, out.size());
    String("whole").split(out, ",");
    ASSERT_EQ(1, out.size());
    EXPECT_STREQ("whole", out[0].c_str());
}

TEST(StringTest, IndexErrorsCarryTheStringUnit) {
    try {
        String("abc").charAt(7);
        FAIL() << "no exception";
    } catch (const Exception& e) {
        EXPECT_STREQ("Array index out of bounds", e.getMessage().c_str());
        EXPECT_STREQ("String", e.getFile().c_str());  // the location text is Exception's
        EXPECT_GT(e.getLine(), 0);
    }
}

// Random edits applied both to a String and to a std::string model; after
// each step the texts must agree and the room must stay above the length.
TEST(StringTest, RandomEditsAgreeWithAModel) {
    std::mt19937 random(12345);
    const char* pieces[] = {"",    "a",      "bc",
                            "abc", "xyzxyz", "0123456789012345678901234567890123456789"};
    String s;
    std::string model;
    for (int step = 0; step < 5000; step++) {
        const char* piece = pieces[random() % 6];
        int size = static_cast<int>(model.size());
        int a = static_cast<int>(random() % (size + 2)) - 1;  // -1..size
        int b = static_cast<int>(random() % (size + 2)) - 1;
        bool rangeOk = a >= 0 && a < size && b >= 0 && b <= size && a <= b;
        switch (random() % 7) {
            case 0:
                s.append(piece);
                model += piece;
                break;
            case 1:
                if (a >= 0 && a <= size) {
                    s.insert(a, piece);
                    model.insert(static_cast<size_t>(a), piece);
                } else {
                    EXPECT_THROW(s.insert(a, piece), ArrayIndexException);
                }
                break;
            case 2:
                if (rangeOk) {
                    s.deleteChars(a, b);
                    model.erase(static_cast<size_t>(a), static_cast<size_t>(b - a));
                } else {
                    EXPECT_THROW(s.deleteChars(a, b), ArrayIndexException);
                }
                break;
            case 3:
                if (rangeOk && a < b) {
                    s.replace(a, b, piece);
                    model.replace(static_cast<size_t>(a), static_cast<size_t>(b - a), piece);
                } else {
                    EXPECT_THROW(s.replace(a, b, piece), ArrayIndexException);
                }
                break;
            case 4:
                if (rangeOk) {
                    EXPECT_STREQ(
                        model.substr(static_cast<size_t>(a), static_cast<size_t>(b - a)).c_str(),
                        s.substring(a, b).c_str());
                } else {
                    EXPECT_THROW(s.substring(a, b), ArrayIndexException);
                }
                break;
            case 5: {
                int from = a < 0 ? 0 : a;
                size_t expected =
                    from < size ? model.find(piece, static_cast<size_t>(from)) : std::string::npos;
                EXPECT_EQ(expected == std::string::npos ? -1 : static_cast<int>(expected),
                          s.indexOf(piece, from));
                size_t last = size > 0 ? model.rfind(piece, static_cast<size_t>(size - 1))
                                       : std::string::npos;
                EXPECT_EQ(last == std::string::npos ? -1 : static_cast<int>(last),
                          s.lastIndexOf(piece));
                break;
            }
            default:
                if (model.size() > 200) {
                    s.setLength(10);
                    model.resize(10);
                }
        }
        ASSERT_STREQ(model.c_str(), s.c_str()) << "step " << step;
        ASSERT_EQ(static_cast<int>(model.size()), s.length());
        ASSERT_EQ(0, s.capacity() % 40);
        ASSERT_GT(s.capacity(), s.length());
    }
}
