// MD5: the test suite of RFC 1321, input split at every position, reuse after
// a digest, and md5File against the system's md5sum on files around the
// 1024-byte read block.
#include "MD5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <stdlib.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "String.h"

namespace {

std::string hexOf(const char* text) {
    MD5 md5;
    md5.update(text);
    String out;
    md5.finalHex(out);
    return out.c_str();
}

// Upper-cased digest printed by md5sum for `path`; empty if it cannot run.
std::string md5sumOf(const std::string& path) {
    std::string command = "md5sum '" + path + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "";
    char line[256] = "";
    if (fgets(line, sizeof line, pipe) == nullptr) line[0] = '\0';
    pclose(pipe);
    std::string digest(line, std::min<size_t>(32, std::strlen(line)));
    for (char& c : digest) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return digest;
}

}  // namespace

TEST(MD5Test, DigestsTheReferenceSuite) {
    EXPECT_EQ("D41D8CD98F00B204E9800998ECF8427E", hexOf(""));
    EXPECT_EQ("0CC175B9C0F1B6A831C399E269772661", hexOf("a"));
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", hexOf("abc"));
    EXPECT_EQ("F96B697D7CB7938D525A2F31AAF161D0", hexOf("message digest"));
    EXPECT_EQ("C3FCD3D76192E4007DFB496CCA67E13B", hexOf("abcdefghijklmnopqrstuvwxyz"));
    EXPECT_EQ("D174AB98D277D9F5A5611C2C9F419D9F",
              hexOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"));
    EXPECT_EQ("57EDF4A22BE3C955AC49DA2E2107B67A",
              hexOf("1234567890123456789012345678901234567890"
                    "1234567890123456789012345678901234567890"));
}

TEST(MD5Test, PiecewiseInputGivesTheSameDigestAsOneUpdate) {
    // 200 bytes cross three block boundaries and both padding cases.
    std::string data;
    for (int i = 0; i < 200; ++i) data.push_back(static_cast<char>(i * 37 + 11));
    MD5 whole;
    whole.update(data.data(), static_cast<unsigned>(data.size()));
    String expected;
    whole.finalHex(expected);

    for (size_t split = 0; split <= data.size(); ++split) {
        MD5 parts;
        parts.update(data.data(), static_cast<unsigned>(split));
        parts.update(data.data() + split, static_cast<unsigned>(data.size() - split));
        String got;
        parts.finalHex(got);
        ASSERT_STREQ(expected.c_str(), got.c_str()) << "split at " << split;
    }

    // Byte by byte, with null and empty updates in between that add nothing.
    MD5 bytewise;
    for (char c : data) {
        bytewise.update(&c, 1);
        bytewise.update(nullptr, 5);
        bytewise.update("", 0);
    }
    String got;
    bytewise.finalHex(got);
    EXPECT_STREQ(expected.c_str(), got.c_str());
}

TEST(MD5Test, EveryMessageLengthAroundThePaddingBoundariesMatchesOpenSSL) {
    // Lengths 0..300 cover every position of the end of the message within a
    // block, including 55/56/57 where the length field moves to an extra block.
    std::string data;
    for (int i = 0; i < 300; ++i) data.push_back(static_cast<char>(i * 131 + 7));
    for (size_t length = 0; length <= data.size(); ++length) {
        unsigned char expected[EVP_MAX_MD_SIZE];
        unsigned int expectedLength = 0;
        ASSERT_EQ(1,
                  EVP_Digest(data.data(), length, expected, &expectedLength, EVP_md5(), nullptr));
        ASSERT_EQ(16u, expectedLength);
        MD5 md5;
        md5.update(data.data(), static_cast<unsigned>(length));
        unsigned char digest[16];
        md5.final(digest);
        ASSERT_EQ(0, std::memcmp(expected, digest, 16)) << length << " bytes";
    }
}

TEST(MD5Test, RawDigestResetReuseAndCopies) {
    MD5 md5;
    md5.update("abc");
    unsigned char digest[16];
    md5.final(digest);
    const unsigned char expected[16] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                        0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    EXPECT_EQ(0, std::memcmp(expected, digest, 16));

    // After a digest the object starts afresh; reset() drops pending input.
    md5.update("a");
    String out("prefix:");
    md5.finalHex(out);
    EXPECT_STREQ("prefix:0CC175B9C0F1B6A831C399E269772661", out.c_str());
    md5.update("garbage");
    md5.reset();
    md5.update("abc");
    out.clear();
    md5.finalHex(out);
    EXPECT_STREQ("900150983CD24FB0D6963F7D28E17F72", out.c_str());

    // A copy continues independently from the same point.
    MD5 original;
    original.update("message ");
    MD5 copy(original);
    original.update("digest");
    copy.update("digest");
    String a, b;
    original.finalHex(a);
    copy.finalHex(b);
    EXPECT_STREQ("F96B697D7CB7938D525A2F31AAF161D0", a.c_str());
    EXPECT_STREQ(a.c_str(), b.c_str());
    MD5 assigned;
    assigned.update("x");
    assigned = original;  // fresh after its digest
    String c;
    assigned.finalHex(c);
    EXPECT_STREQ("D41D8CD98F00B204E9800998ECF8427E", c.c_str());
}

TEST(MD5Test, FileDigestsMatchMd5sum) {
    char dirTemplate[] = "/tmp/zr-md5-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dirTemplate));
    const std::string dir = dirTemplate;

    const size_t sizes[] = {0, 1, 63, 64, 1023, 1024, 1025, 4097, 3000017};
    for (size_t size : sizes) {
        std::string path = dir + "/f" + std::to_string(size);
        {
            std::ofstream file(path, std::ios::binary);
            unsigned int seed = static_cast<unsigned int>(size) * 2654435761u + 1;
            for (size_t i = 0; i < size; ++i) {
                seed = seed * 1103515245u + 12345u;
                file.put(static_cast<char>(seed >> 16));
            }
        }
        std::string expected = md5sumOf(path);
        ASSERT_EQ(32u, expected.size()) << "md5sum did not run";
        String out;
        EXPECT_TRUE(MD5::md5File(path.c_str(), out));
        EXPECT_EQ(expected, out.c_str()) << size << " bytes";
        unlink(path.c_str());
    }

    String untouched("kept");
    EXPECT_FALSE(MD5::md5File((dir + "/missing").c_str(), untouched));
    EXPECT_FALSE(MD5::md5File(nullptr, untouched));
    EXPECT_STREQ("kept", untouched.c_str());
    rmdir(dir.c_str());
}
