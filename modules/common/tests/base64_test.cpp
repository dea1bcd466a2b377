#include "util/Base64.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

const unsigned char* bytesOf(const std::string& s) {
    return reinterpret_cast<const unsigned char*>(s.data());
}

std::string encodeBytes(const std::string& bytes) {
    char* out = nullptr;
    int n = Base64::encode(bytesOf(bytes), int(bytes.size()), &out);
    std::string text = n >= 0 && out != nullptr ? std::string(out) : std::string("<failed>");
    EXPECT_EQ(text.size(), size_t(n)) << "a NUL-terminated text of the length returned";
    delete[] out;
    return text;
}

// Decodes into a buffer exactly as large as decodedLength promises, on the
// heap so that the sanitizer sees any byte written past it.
std::string decodeBytes(const char* text) {
    int length = Base64::decodedLength(text);
    unsigned char* buffer = new unsigned char[size_t(length > 0 ? length : 1)];
    int n = Base64::decode(text, buffer);
    EXPECT_EQ(n, length) << text;
    std::string bytes = n >= 0 ? std::string(reinterpret_cast<char*>(buffer), size_t(n)) : "";
    delete[] buffer;
    return bytes;
}

TEST(Base64, Rfc4648VectorsBothWaysAndEveryByteValue) {
    const char* vectors[][2] = {{"", ""},
                                {"f", "Zg=="},
                                {"fo", "Zm8="},
                                {"foo", "Zm9v"},
                                {"foob", "Zm9vYg=="},
                                {"fooba", "Zm9vYmE="},
                                {"foobar", "Zm9vYmFy"},
                                {"user:pw", "dXNlcjpwdw=="}};
    for (auto& v : vectors) {
        EXPECT_EQ(encodeBytes(v[0]), v[1]) << v[0];
        EXPECT_STREQ(Base64::encode(String(v[0])).c_str(), v[1]) << v[0];
        EXPECT_EQ(decodeBytes(v[1]), v[0]) << v[1];
        EXPECT_STREQ(Base64::decode(String(v[1])).c_str(), v[0]) << v[1];
    }
    // All 64 alphabet characters, in order.
    const unsigned char all[] = {0x00, 0x10, 0x83, 0x10, 0x51, 0x87, 0x20, 0x92, 0x8b, 0x30,
                                 0xd3, 0x8f, 0x41, 0x14, 0x93, 0x51, 0x55, 0x97, 0x61, 0x96,
                                 0x9b, 0x71, 0xd7, 0x9f, 0x82, 0x18, 0xa3, 0x92, 0x59, 0xa7,
                                 0xa2, 0x9a, 0xab, 0xb2, 0xdb, 0xaf, 0xc3, 0x1c, 0xb3, 0xd3,
                                 0x5d, 0xb7, 0xe3, 0x9e, 0xbb, 0xf3, 0xdf, 0xbf};
    EXPECT_EQ(encodeBytes(std::string(reinterpret_cast<const char*>(all), sizeof all)),
              "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");

    // Every length 1..40 of bytes covering all values, NULs included.
    for (size_t len = 1; len <= 40; ++len) {
        std::string bytes;
        for (size_t i = 0; i < len; ++i) bytes.push_back(char((i * 37 + len) & 0xff));
        EXPECT_EQ(decodeBytes(encodeBytes(bytes).c_str()), bytes) << "length " << len;
    }
    // The String form keeps embedded NULs within its length.
    String decoded = Base64::decode(String("AGEA"));
    EXPECT_EQ(std::string(decoded.c_str(), size_t(decoded.length())), std::string("\0a\0", 3));
}

TEST(Base64, EncodeWithZeroLengthTakesATextAndRefusesBadArguments) {
    char* out = nullptr;
    EXPECT_EQ(Base64::encode(reinterpret_cast<const unsigned char*>("fooba"), 0, &out), 8);
    EXPECT_STREQ(out, "Zm9vYmE=");
    delete[] out;

    out = reinterpret_cast<char*>(1);
    EXPECT_EQ(Base64::encode(reinterpret_cast<const unsigned char*>("x"), -1, &out), -1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(Base64::encode(nullptr, 3, &out), -1);
    EXPECT_EQ(Base64::encode(reinterpret_cast<const unsigned char*>("x"), 1, nullptr), -1);
}

TEST(Base64, RejectsWhatNoEncoderWritesAndWritesNothing) {
    const char* bad[] = {"Zm9",
                         "Zm9vY",  // length not a multiple of four
                         "Zm9v\n",
                         "Zm 9v",  // white space
                         "Zm9v!A==",
                         "Zm9-",  // outside this alphabet (also the URL-safe one)
                         "Zg=a",
                         "Z===",
                         "====",      // data after padding, three padding characters, padding only
                         "Zg==Zg==",  // padding in the middle
                         "Zh==",
                         "Zm9=",               // left-over bits set
                         "\xc3\xa9\xc3\xa9"};  // non-ASCII bytes
    for (const char* text : bad) {
        EXPECT_EQ(Base64::decodedLength(text), -1) << text;
        unsigned char guard[8];
        std::memset(guard, 0x5a, sizeof guard);
        EXPECT_EQ(Base64::decode(text, guard), -1) << text;
        for (unsigned char b : guard) EXPECT_EQ(b, 0x5a) << "wrote for " << text;
        EXPECT_TRUE(Base64::decode(String(text)).isEmpty()) << text;
    }
    unsigned char out[4];
    EXPECT_EQ(Base64::decode(nullptr, out), -1);
    EXPECT_EQ(Base64::decode("Zg==", nullptr), -1);
    EXPECT_EQ(Base64::decodedLength(nullptr), -1);
}

}  // namespace
