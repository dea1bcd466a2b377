#include <gtest/gtest.h>
#include <stdlib.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "util/RSAUtil.h"

// Keys are made fresh by the openssl command in a scratch folder; the
// ciphertexts are checked both by this class and by the openssl command, so
// a fault shared by encryption and decryption here cannot hide.
class RSAUtilTest : public ::testing::Test {
  protected:
    static std::string dir;

    static std::string file(const char* name) { return dir + "/" + name; }

    static bool run(const std::string& command) {
        return std::system((command + " 2>/dev/null").c_str()) == 0;
    }

    static void SetUpTestSuite() {
        char tmpl[] = "/tmp/zr-rsa-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        const std::string key = file("key.pem");
        ASSERT_TRUE(
            run("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out " + key));
        ASSERT_TRUE(run("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out " +
                        file("other.pem")));
        ASSERT_TRUE(run("openssl pkey -in " + key + " -pubout -out " + file("pub.pem")));
        ASSERT_TRUE(
            run("openssl rsa -in " + key + " -RSAPublicKey_out -out " + file("rsapub.pem")));
        ASSERT_TRUE(run("openssl req -new -x509 -key " + key + " -subj /CN=zr-test -days 2 -out " +
                        file("cert.pem")));
        ASSERT_TRUE(run("openssl pkey -in " + key + " -aes128 -passout pass:secret -out " +
                        file("encrypted.pem")));
        ASSERT_TRUE(run("openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out " +
                        file("ec.pem")));
        ASSERT_TRUE(
            run("openssl pkey -in " + file("ec.pem") + " -pubout -out " + file("ecpub.pem")));
        // A public key with a line of text before its marker.
        ASSERT_TRUE(run("(echo 'subject=CN = zr-test'; cat " + file("pub.pem") + ") > " +
                        file("prefixed.pem")));
    }

    static void TearDownTestSuite() {
        if (!dir.empty()) run("rm -rf '" + dir + "'");
    }

    static std::vector<unsigned char> bytes(const std::string& s) {
        return std::vector<unsigned char>(s.begin(), s.end());
    }

    static std::string hexToBytes(const String& hex) {
        std::string out;
        for (int i = 0; i + 1 < hex.length(); i += 2) {
            out.push_back(char(std::stoi(std::string(hex.c_str() + i, 2), nullptr, 16)));
        }
        return out;
    }

    static void writeFile(const std::string& path, const std::string& content) {
        std::ofstream(path, std::ios::binary) << content;
    }

    static std::string readFile(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }

    // Runs `openssl pkeyutl <args> -in ct -out pt` on the ciphertext.
    static std::string pkeyutl(const String& hex, const std::string& args) {
        writeFile(file("ct.bin"), hexToBytes(hex));
        std::remove(file("pt.bin").c_str());
        if (!run("openssl pkeyutl " + args + " -in " + file("ct.bin") + " -out " +
                 file("pt.bin"))) {
            return "<openssl failed>";
        }
        return readFile(file("pt.bin"));
    }

    static bool isUpperHex(const String& s) {
        for (int i = 0; i < s.length(); ++i) {
            char c = s.c_str()[i];
            if (!std::isdigit((unsigned char)c) && !(c >= 'A' && c <= 'F')) return false;
        }
        return s.length() > 0;
    }
};

std::string RSAUtilTest::dir;

TEST_F(RSAUtilTest, LoadsThePrivateKeyAndEveryAcceptedPublicForm) {
    for (const char* pub : {"pub.pem", "rsapub.pem", "cert.pem"}) {
        RSAUtil rsa(file("key.pem").c_str(), file(pub).c_str(), "", false);
        EXPECT_TRUE(rsa.hasPrivateKey()) << pub;
        EXPECT_TRUE(rsa.hasPublicKey()) << pub;
        EXPECT_EQ(rsa.publicKeySize(), 256) << pub;
        EXPECT_EQ(rsa.privateKeySize(), 256);
    }
    RSAUtil none("", "", "", false);
    EXPECT_FALSE(none.hasPrivateKey());
    EXPECT_FALSE(none.hasPublicKey());
    RSAUtil missing(file("absent.pem").c_str(), file("absent.pem").c_str(), "", false);
    EXPECT_FALSE(missing.hasPrivateKey());
    EXPECT_FALSE(missing.hasPublicKey());
}

TEST_F(RSAUtilTest, PublicKeyCiphertextOpensWithTheOpenSSLCommand) {
    RSAUtil rsa(file("key.pem").c_str(), file("pub.pem").c_str(), "", false);
    const std::string secret = "proxy-user:pass\x01\x00\xff word";
    std::vector<unsigned char> data = bytes(secret);
    String hex = rsa.encryptWithPublicKey(data.data(), int(data.size()));
    EXPECT_EQ(hex.length(), 512);
    EXPECT_TRUE(isUpperHex(hex)) << hex.c_str();
    EXPECT_EQ(pkeyutl(hex, "-decrypt -inkey " + file("key.pem")), secret);

    // Random padding: the same text never encrypts alike twice.
    String again = rsa.encryptWithPublicKey(data.data(), int(data.size()));
    EXPECT_FALSE(again == hex);

    unsigned char out[300];
    int n = rsa.decryptWithPrivateKey(hex, out, sizeof out);
    ASSERT_EQ(n, int(secret.size()));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), size_t(n)), secret);
}

TEST_F(RSAUtilTest, PrivateKeyCiphertextRecoversWithEveryPublicForm) {
    const std::string message = "session 0123456789";
    std::vector<unsigned char> data = bytes(message);
    RSAUtil signer(file("key.pem").c_str(), "", "", false);
    String hex = signer.encryptWithPrivateKey(data.data(), int(data.size()));
    ASSERT_EQ(hex.length(), 512);
    EXPECT_TRUE(isUpperHex(hex));
    EXPECT_EQ(pkeyutl(hex, "-verifyrecover -pubin -inkey " + file("pub.pem") +
                               " -pkeyopt rsa_padding_mode:pkcs1"),
              message);

    for (const char* pub : {"pub.pem", "rsapub.pem", "cert.pem"}) {
        RSAUtil reader("", file(pub).c_str(), "", false);
        unsigned char out[256];
        int n = reader.decryptWithPublicKey(hex, out, sizeof out);
        ASSERT_EQ(n, int(message.size())) << pub;
        EXPECT_EQ(std::string(reinterpret_cast<char*>(out), size_t(n)), message) << pub;
    }
}

TEST_F(RSAUtilTest, PKCS1TakesAtMost245BytesAndNoPaddingTheWholeKey) {
    RSAUtil rsa(file("key.pem").c_str(), file("pub.pem").c_str(), "", false);
    std::vector<unsigned char> data(300, 0x41);
    EXPECT_EQ(rsa.encryptWithPublicKey(data.data(), 245).length(), 512);
    EXPECT_TRUE(rsa.encryptWithPublicKey(data.data(), 246).isEmpty());
    EXPECT_EQ(rsa.encryptWithPrivateKey(data.data(), 245).length(), 512);
    EXPECT_TRUE(rsa.encryptWithPrivateKey(data.data(), 246).isEmpty());
    EXPECT_TRUE(rsa.encryptWithPublicKey(data.data(), -1).isEmpty());
    EXPECT_TRUE(rsa.encryptWithPublicKey(nullptr, 3).isEmpty());

    RSAUtil raw(file("key.pem").c_str(), file("pub.pem").c_str(), "", true);
    // A leading byte below the modulus' top byte keeps the number in range.
    data[0] = 0x01;
    String full = raw.encryptWithPublicKey(data.data(), 256);
    ASSERT_EQ(full.length(), 512);
    EXPECT_TRUE(raw.encryptWithPublicKey(data.data(), 257).isEmpty());
    EXPECT_EQ(
        pkeyutl(full, "-decrypt -inkey " + file("key.pem") + " -pkeyopt rsa_padding_mode:none"),
        std::string(data.begin(), data.begin() + 256));

    // A short input without padding is filled up to the key size with random
    // bytes; decryption gives the whole block, the data first.
    String shortHex = raw.encryptWithPublicKey(data.data(), 10);
    ASSERT_EQ(shortHex.length(), 512);
    unsigned char out[256];
    ASSERT_EQ(raw.decryptWithPrivateKey(shortHex, out, sizeof out), 256);
    EXPECT_EQ(std::vector<unsigned char>(out, out + 10),
              std::vector<unsigned char>(data.begin(), data.begin() + 10));
}

TEST_F(RSAUtilTest, OtherMarkersAndOtherKeyTypesLoadNoKey) {
    // A private key where a public one belongs starts with another marker.
    RSAUtil wrong("", file("key.pem").c_str(), "", false);
    EXPECT_FALSE(wrong.hasPublicKey());
    unsigned char data[4] = {1, 2, 3, 4};
    EXPECT_TRUE(wrong.encryptWithPublicKey(data, 4).isEmpty());
    unsigned char out[16];
    RSAUtil signer(file("key.pem").c_str(), "", "", false);
    String hex = signer.encryptWithPrivateKey(data, 4);
    ASSERT_FALSE(hex.isEmpty());
    EXPECT_LT(wrong.decryptWithPublicKey(hex, out, sizeof out), 0);

    // The marker must be the first line.
    RSAUtil prefixed("", file("prefixed.pem").c_str(), "", false);
    EXPECT_FALSE(prefixed.hasPublicKey());

    // Elliptic-curve keys cannot encrypt this way and are refused.
    RSAUtil ec(file("ec.pem").c_str(), file("ecpub.pem").c_str(), "", false);
    EXPECT_FALSE(ec.hasPrivateKey());
    EXPECT_FALSE(ec.hasPublicKey());

    // A public key file as the private key: not a private key.
    RSAUtil swapped(file("pub.pem").c_str(), "", "", false);
    EXPECT_FALSE(swapped.hasPrivateKey());
}

TEST_F(RSAUtilTest, AnEncryptedKeyNeedsItsPassPhrase) {
    RSAUtil right(file("encrypted.pem").c_str(), file("pub.pem").c_str(), "secret", false);
    EXPECT_TRUE(right.hasPrivateKey());
    RSAUtil wrong(file("encrypted.pem").c_str(), "", "guess", false);
    EXPECT_FALSE(wrong.hasPrivateKey());
    // Without a pass phrase the key fails to load instead of prompting.
    RSAUtil none(file("encrypted.pem").c_str(), "", "", false);
    EXPECT_FALSE(none.hasPrivateKey());

    unsigned char data[3] = {'a', 'b', 'c'};
    String hex = right.encryptWithPublicKey(data, 3);
    unsigned char out[8];
    EXPECT_EQ(right.decryptWithPrivateKey(hex, out, sizeof out), 3);
}

TEST_F(RSAUtilTest, DecryptionRefusesBadTextAndWrongKeysAndHonoursMax) {
    RSAUtil rsa(file("key.pem").c_str(), file("pub.pem").c_str(), "", false);
    const unsigned char data[] = "abcdefgh";
    String hex = rsa.encryptWithPublicKey(data, 8);
    ASSERT_EQ(hex.length(), 512);

    unsigned char out[16];
    std::fill(out, out + sizeof out, 0xEE);
    EXPECT_EQ(rsa.decryptWithPrivateKey(hex, out, 3), 3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 3), "abc");
    EXPECT_EQ(out[3], 0xEE) << "nothing past max is written";

    // Lower-case hex is read as well.
    String lower(hex);
    lower.toLowerCase();
    EXPECT_EQ(rsa.decryptWithPrivateKey(lower, out, sizeof out), 8);

    String odd(hex);
    odd.setLength(511);
    EXPECT_LT(rsa.decryptWithPrivateKey(odd, out, sizeof out), 0);
    String notHex(hex);
    notHex.setCharAt(10, 'G');
    EXPECT_LT(rsa.decryptWithPrivateKey(notHex, out, sizeof out), 0);
    EXPECT_LT(rsa.decryptWithPrivateKey(String(), out, sizeof out), 0);
    EXPECT_LT(rsa.decryptWithPrivateKey(hex, nullptr, 8), 0);

    RSAUtil other(file("other.pem").c_str(), "", "", false);
    EXPECT_LE(other.decryptWithPrivateKey(hex, out, sizeof out), 0);
}
