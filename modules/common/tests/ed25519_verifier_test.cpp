// Ed25519Verifier: signatures made by the openssl command over the SHA-256
// digest of a message (as the package tool makes them) verify whatever the
// pieces the message is fed in; a changed byte, another key's signature, a
// cut or malformed signature, and keys that are missing or of another kind
// all fail.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "util/Base64.h"
#include "util/Ed25519Verifier.h"
#include "xml_test_support.h"

class Ed25519VerifierTest : public ::testing::Test {
protected:
    static std::unique_ptr<ScratchDir> scratch;
    static std::string message;

    static bool run(const std::string& command) {
        return std::system(("cd " + scratch->path() + " && " + command + " 2>/dev/null").c_str()) ==
               0;
    }

    // The Base64 signature of message.bin by the private key `key`.
    static String signatureBy(const std::string& key) {
        bool made =
            run("openssl dgst -sha256 -binary message.bin > digest.bin && "
                "openssl pkeyutl -sign -rawin -inkey " +
                key + " -in digest.bin -out signature.bin");
        if (!made) return String();
        std::string raw = readFile(scratch->file("signature.bin"));
        return Base64::encode(String(raw.c_str(), 0, static_cast<int>(raw.size())));
    }

    static void SetUpTestSuite() {
        scratch = std::make_unique<ScratchDir>();
        for (int i = 0; i < 5000; i++) message += static_cast<char>((i * 7919) % 251);
        writeFile(scratch->file("message.bin"), message);
        for (const char* command :
             {"openssl genpkey -algorithm ed25519 -out key.pem",
              "openssl pkey -in key.pem -pubout -out pub.pem",
              "openssl genpkey -algorithm ed25519 -out other.pem",
              "openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out ec.pem",
              "openssl pkey -in ec.pem -pubout -out ecpub.pem"}) {
            ASSERT_TRUE(run(command)) << command;
        }
    }

    static void TearDownTestSuite() { scratch.reset(); }

    // Feeds the message in pieces of `piece` bytes, then checks `signature`.
    static bool verifyInPieces(Ed25519Verifier& verifier, const std::string& text, size_t piece,
                               const String& signature) {
        for (size_t at = 0; at < text.size(); at += piece) {
            verifier.update(text.data() + at, std::min(piece, text.size() - at));
        }
        return verifier.verifyBase64(signature);
    }
};

std::unique_ptr<ScratchDir> Ed25519VerifierTest::scratch;
std::string Ed25519VerifierTest::message;

TEST_F(Ed25519VerifierTest, SignatureOfTheDigestVerifiesFedInAnyPieces) {
    String good = signatureBy("key.pem");
    ASSERT_EQ(88, good.length());
    Ed25519Verifier verifier(String(scratch->file("pub.pem").c_str()));
    ASSERT_TRUE(verifier.hasKey()) << verifier.getError().c_str();
    for (size_t piece : {size_t(1), size_t(63), size_t(1024), message.size()}) {
        EXPECT_TRUE(verifyInPieces(verifier, message, piece, good)) << piece;
    }
    // verify() starts the digest afresh; reset() drops what was fed.
    verifier.update("junk", 4);
    verifier.reset();
    EXPECT_TRUE(verifyInPieces(verifier, message, 100, good));
}

TEST_F(Ed25519VerifierTest, ChangedMessageOrForeignBadOrCutSignatureFails) {
    String good = signatureBy("key.pem");
    String other = signatureBy("other.pem");
    Ed25519Verifier verifier(String(scratch->file("pub.pem").c_str()));
    std::string changed = message;
    changed[4321] ^= 1;
    EXPECT_FALSE(verifyInPieces(verifier, changed, 512, good));
    EXPECT_FALSE(verifyInPieces(verifier, message, 512, other));
    EXPECT_FALSE(verifyInPieces(verifier, message, 512, String()));
    EXPECT_FALSE(verifyInPieces(verifier, message, 512, String("not*base64!")));
    EXPECT_FALSE(verifyInPieces(verifier, message, 512, good.substring(0, 44)));
    EXPECT_FALSE(verifyInPieces(verifier, message, 512, String(good).append("AAAA")));
    // The failures leave nothing behind: a good signature still verifies.
    EXPECT_TRUE(verifyInPieces(verifier, message, 512, good));
}

TEST_F(Ed25519VerifierTest, MissingOrForeignKeyVerifiesNothing) {
    String good = signatureBy("key.pem");
    for (const char* name : {"missing.pem", "ecpub.pem", "message.bin"}) {
        Ed25519Verifier verifier(String(scratch->file(name).c_str()));
        EXPECT_FALSE(verifier.hasKey()) << name;
        EXPECT_FALSE(verifier.getError().isEmpty()) << name;
        EXPECT_FALSE(verifyInPieces(verifier, message, 512, good)) << name;
    }
}
