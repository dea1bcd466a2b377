// MD5: the test suite of RFC 1321, every message length and split point
// against OpenSSL, reuse after a digest, and md5File against the system's
// md5sum on files around the 1024-byte read block.
#include "MD5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "IoScratch.h"

namespace {

std::string hexOf(MD5& md5) {
    String out;
    md5.finalHex(out);
    return str(out);
}

std::string hexOf(const char* text) {
    MD5 md5;
    md5.update(text);
    return hexOf(md5);
}

// Upper-cased digest printed by md5sum for `path`; empty if it cannot run.
std::string md5sumOf(const std::string& path) {
    FILE* pipe = popen(("md5sum '" + path + "'").c_str(), "r");
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
    const char* const suite[][2] = {
        {"", "D41D8CD98F00B204E9800998ECF8427E"},
        {"a", "0CC175B9C0F1B6A831C399E269772661"},
        {"abc", "900150983CD24FB0D6963F7D28E17F72"},
        {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
        {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "D174AB98D277D9F5A5611C2C9F419D9F"},
        {"1234567890123456789012345678901234567890"
         "1234567890123456789012345678901234567890",
         "57EDF4A22BE3C955AC49DA2E2107B67A"},
    };
    for (const auto& entry : suite) EXPECT_EQ(entry[1], hexOf(entry[0])) << '"' << entry[0] << '"';
}

TEST(MD5Test, EveryLengthAndSplitPointMatchesOpenSSL) {
    // Lengths 0..300 put the end of the message at every position within a
    // block, including 55/56/57 where the length field moves to an extra
    // block; every message is also fed in two pieces split at each point of
    // a sliding position, and byte by byte with empty updates in between.
    std::string data;
    for (int i = 0; i < 300; ++i) data.push_back(static_cast<char>(i * 131 + 7));
    for (size_t length = 0; length <= data.size(); ++length) {
        unsigned char expected[EVP_MAX_MD_SIZE];
        unsigned int expectedLength = 0;
        ASSERT_EQ(1,
                  EVP_Digest(data.data(), length, expected, &expectedLength, EVP_md5(), nullptr));
        size_t split = (length * 7) % (length + 1);
        MD5 parts;
        parts.update(data.data(), static_cast<unsigned>(split));
        parts.update(data.data() + split, static_cast<unsigned>(length - split));
        unsigned char digest[16];
        parts.final(digest);
        ASSERT_EQ(0, std::memcmp(expected, digest, 16)) << length << " bytes split at " << split;

        MD5 bytewise;
        for (size_t i = 0; i < length; ++i) {
            bytewise.update(&data[i], 1);
            bytewise.update(nullptr, 5);
            bytewise.update("", 0);
        }
        bytewise.final(digest);
        ASSERT_EQ(0, std::memcmp(expected, digest, 16)) << length << " bytes one by one";
    }
}

TEST(MD5Test, ResetAndReuse) {
    // After a digest the object starts afresh; reset() drops pending input;
    // finalHex appends.
    MD5 md5;
    md5.update("abc");
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", hexOf(md5));
    md5.update("a");
    String out("prefix:");
    md5.finalHex(out);
    EXPECT_STREQ("prefix:0CC175B9C0F1B6A831C399E269772661", out.c_str());
    md5.update("garbage");
    md5.reset();
    md5.update("abc");
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", hexOf(md5));
}

TEST(MD5Test, FileDigestsMatchMd5sum) {
    ScratchDir scratch;
    for (size_t size : {0, 1, 63, 64, 1023, 1024, 1025, 4097, 3000017}) {
        std::string path = scratch / ("f" + std::to_string(size));
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
        EXPECT_EQ(expected, str(out)) << size << " bytes";
    }

    String untouched("kept");
    EXPECT_FALSE(MD5::md5File((scratch / "missing").c_str(), untouched));
    EXPECT_FALSE(MD5::md5File(nullptr, untouched));
    EXPECT_STREQ("kept", untouched.c_str());
}
