#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "util/RSAUtil.h"
#include "xml_test_support.h"

// Keys are made fresh by the openssl command in a scratch folder; the
// ciphertexts are checked both by this class and by the openssl command, so
// a fault shared by encryption and decryption here cannot hide.
class RSAUtilTest : public ::testing::Test {
protected:
    static std::unique_ptr<ScratchDir> scratch;

    // The path of `name` in the scratch folder; "" stays "" (no key file).
    static std::string file(const std::string& name) {
        return name.empty() ? name : scratch->file(name);
    }

    static bool run(const std::string& command) {
        return std::system(("cd " + scratch->path() + " && " + command + " 2>/dev/null").c_str()) ==
               0;
    }

    static void SetUpTestSuite() {
        scratch = std::make_unique<ScratchDir>();
        const std::string rsa = "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048";
        for (const std::string& command :
             {rsa + " -out key.pem", rsa + " -out other.pem",
              std::string("openssl pkey -in key.pem -pubout -out pub.pem"),
              std::string("openssl rsa -in key.pem -RSAPublicKey_out -out rsapub.pem"),
              std::string("openssl req -new -x509 -key key.pem -subj /CN=zr-test -days 2 "
                          "-out cert.pem"),
              std::string("openssl pkey -in key.pem -aes128 -passout pass:secret "
                          "-out encrypted.pem"),
              std::string("openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 "
                          "-out ec.pem"),
              std::string("openssl pkey -in ec.pem -pubout -out ecpub.pem"),
              // A public key with a line of text before its marker.
              std::string("(echo 'subject=CN = zr-test'; cat pub.pem) > prefixed.pem")}) {
            ASSERT_TRUE(run(command)) << command;
        }
    }

    static void TearDownTestSuite() { scratch.reset(); }

    // Runs `openssl pkeyutl <args>` on the ciphertext given in hex.
    static std::string pkeyutl(const String& hex, const std::string& args) {
        std::string cipher;
        for (int i = 0; i + 1 < hex.length(); i += 2) {
            cipher.push_back(char(std::stoi(std::string(hex.c_str() + i, 2), nullptr, 16)));
        }
        writeFile(file("ct.bin"), cipher);
        std::remove(file("pt.bin").c_str());
        if (!run("openssl pkeyutl " + args + " -in ct.bin -out pt.bin")) return "<openssl failed>";
        return readFile(file("pt.bin"));
    }

    static bool isUpperHex(const String& s) {
        std::string text(s.c_str());
        return !text.empty() && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
    }
};

std::unique_ptr<ScratchDir> RSAUtilTest::scratch;

TEST_F(RSAUtilTest, WhichFilesLoadAKey) {
    struct Load {
        const char *privateKey, *publicKey, *passPhrase;
        bool hasPrivate, hasPublic;
    };
    const Load loads[] = {
        // Every accepted public form, with the private key.
        {"key.pem", "pub.pem", "", true, true},
        {"key.pem", "rsapub.pem", "", true, true},
        {"key.pem", "cert.pem", "", true, true},
        {"", "", "", false, false},
        {"absent.pem", "absent.pem", "", false, false},
        // A private key where a public one belongs starts with another marker,
        // and the marker must be the first line.
        {"", "key.pem", "", false, false},
        {"", "prefixed.pem", "", false, false},
        {"pub.pem", "", "", false, false},
        // Elliptic-curve keys cannot encrypt this way and are refused.
        {"ec.pem", "ecpub.pem", "", false, false},
        // An encrypted key needs its pass phrase; without one it fails to
        // load instead of prompting.
        {"encrypted.pem", "pub.pem", "secret", true, true},
        {"encrypted.pem", "", "guess", false, false},
        {"encrypted.pem", "", "", false, false},
    };
    for (const Load& load : loads) {
        SCOPED_TRACE(std::string(load.privateKey) + " " + load.publicKey + " " + load.passPhrase);
        RSAUtil rsa(file(load.privateKey).c_str(), file(load.publicKey).c_str(), load.passPhrase,
                    false);
        EXPECT_EQ(rsa.hasPrivateKey(), load.hasPrivate);
        EXPECT_EQ(rsa.hasPublicKey(), load.hasPublic);
        EXPECT_EQ(rsa.privateKeySize(), load.hasPrivate ? 256 : 0);
        EXPECT_EQ(rsa.publicKeySize(), load.hasPublic ? 256 : 0);
        // Every operation needing a missing key fails; with both keys the
        // data comes back.
        unsigned char data[4] = {1, 2, 3, 4};
        unsigned char out[16];
        String hex = rsa.encryptWithPublicKey(data, 4);
        String signedHex = rsa.encryptWithPrivateKey(data, 4);
        EXPECT_EQ(hex.isEmpty(), !load.hasPublic);
        EXPECT_EQ(signedHex.isEmpty(), !load.hasPrivate);
        int both = load.hasPrivate && load.hasPublic ? 4 : -1;
        EXPECT_EQ(rsa.decryptWithPrivateKey(hex, out, sizeof out), both);
        EXPECT_EQ(rsa.decryptWithPublicKey(signedHex, out, sizeof out), both);
    }
}

TEST_F(RSAUtilTest, PublicKeyCiphertextOpensWithTheOpenSSLCommand) {
    RSAUtil rsa(file("key.pem").c_str(), file("pub.pem").c_str(), "", false);
    const std::string secret = "proxy-user:pass\x01\x00\xff word";
    const unsigned char* data = reinterpret_cast<const unsigned char*>(secret.data());
    String hex = rsa.encryptWithPublicKey(data, int(secret.size()));
    EXPECT_EQ(hex.length(), 512);
    EXPECT_TRUE(isUpperHex(hex)) << hex.c_str();
    EXPECT_EQ(pkeyutl(hex, "-decrypt -inkey key.pem"), secret);
    // Random padding: the same text never encrypts alike twice.
    EXPECT_FALSE(rsa.encryptWithPublicKey(data, int(secret.size())) == hex);

    unsigned char out[300];
    int n = rsa.decryptWithPrivateKey(hex, out, sizeof out);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), size_t(n > 0 ? n : 0)), secret);
}

TEST_F(RSAUtilTest, PrivateKeyCiphertextRecoversWithTheOpenSSLCommand) {
    const std::string message = "session 0123456789";
    RSAUtil signer(file("key.pem").c_str(), "", "", false);
    String hex = signer.encryptWithPrivateKey(
        reinterpret_cast<const unsigned char*>(message.data()), int(message.size()));
    ASSERT_EQ(hex.length(), 512);
    EXPECT_TRUE(isUpperHex(hex));
    EXPECT_EQ(pkeyutl(hex, "-verifyrecover -pubin -inkey pub.pem -pkeyopt rsa_padding_mode:pkcs1"),
              message);
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
    EXPECT_EQ(pkeyutl(full, "-decrypt -inkey key.pem -pkeyopt rsa_padding_mode:none"),
              std::string(data.begin(), data.begin() + 256));

    // A short input without padding is filled up to the key size with random
    // bytes; decryption gives the whole block, the data first.
    String shortHex = raw.encryptWithPublicKey(data.data(), 10);
    unsigned char out[256];
    ASSERT_EQ(raw.decryptWithPrivateKey(shortHex, out, sizeof out), 256);
    EXPECT_TRUE(std::equal(out, out + 10, data.begin()));
}

TEST_F(RSAUtilTest, DecryptionRefusesBadTextAndWrongKeysAndHonoursMax) {
    RSAUtil rsa(file("key.pem").c_str(), file("pub.pem").c_str(), "", false);
    const unsigned char data[] = "abcdefgh";
    String hex = rsa.encryptWithPublicKey(data, 8);
    ASSERT_EQ(hex.length(), 512);

    unsigned char out[16];
    std::fill(out, out + sizeof out, 0xEE);
    EXPECT_EQ(rsa.decryptWithPrivateKey(hex, out, 3), 3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 4), "abc\xEE") << "nothing past max";
    String lower(hex);
    lower.toLowerCase();  // what other tools print
    EXPECT_EQ(rsa.decryptWithPrivateKey(lower, out, sizeof out), 8);

    String odd(hex);
    odd.setLength(511);
    String notHex(hex);
    notHex.setCharAt(10, 'G');
    for (const String& bad : {odd, notHex, String()}) {
        EXPECT_LT(rsa.decryptWithPrivateKey(bad, out, sizeof out), 0) << bad.c_str();
    }
    EXPECT_LT(rsa.decryptWithPrivateKey(hex, nullptr, 8), 0);
    RSAUtil other(file("other.pem").c_str(), "", "", false);
    EXPECT_LE(other.decryptWithPrivateKey(hex, out, sizeof out), 0);
}
