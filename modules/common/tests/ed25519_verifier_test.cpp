// Ed25519Verifier: a signature made by the openssl command over the SHA-256
// digest of a message (as the package tool makes it) verifies whatever the
// pieces the message is fed in; a changed byte, another key's signature, a
// cut or malformed one, and a key that is missing or of another kind fail.
// (Signed packages end to end: tests/e2e/signature_test.sh.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "util/Base64.h"
#include "util/Ed25519Verifier.h"
#include "xml_test_support.h"

namespace {

bool run(const ScratchDir& dir, const std::string& command) {
    return std::system(("cd " + dir.path() + " && " + command + " 2>/dev/null").c_str()) == 0;
}

// The Base64 signature of message.bin by the private key `key`.
String signatureBy(const ScratchDir& dir, const std::string& key) {
    if (!run(dir,
             "openssl dgst -sha256 -binary message.bin > digest.bin && openssl pkeyutl "
             "-sign -rawin -inkey " +
                 key + " -in digest.bin -out signature.bin")) {
        return String();
    }
    std::string raw = readFile(dir.file("signature.bin"));
    // insert with a count keeps NUL bytes, which a signature often holds.
    String bytes;
    bytes.insert(0, raw.data(), 0, static_cast<int>(raw.size()));
    return Base64::encode(bytes);
}

bool verifyInPieces(Ed25519Verifier& verifier, const std::string& text, size_t piece,
                    const String& signature) {
    for (size_t at = 0; at < text.size(); at += piece) {
        verifier.update(text.data() + at, std::min(piece, text.size() - at));
    }
    return verifier.verifyBase64(signature);
}

}  // namespace

TEST(Ed25519Verifier, GoodSignatureVerifiesAndEveryFaultFails) {
    ScratchDir dir;
    std::string message;
    for (int i = 0; i < 5000; i++) message += static_cast<char>((i * 7919) % 251);
    writeFile(dir.file("message.bin"), message);
    for (const char* command : {"openssl genpkey -algorithm ed25519 -out key.pem",
                                "openssl pkey -in key.pem -pubout -out pub.pem",
                                "openssl genpkey -algorithm ed25519 -out other.pem",
                                "openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 "
                                "-out ec.pem && openssl pkey -in ec.pem -pubout -out ecpub.pem"}) {
        ASSERT_TRUE(run(dir, command)) << command;
    }
    String good = signatureBy(dir, "key.pem");
    String other = signatureBy(dir, "other.pem");
    ASSERT_EQ(88, good.length());

    Ed25519Verifier verifier(String(dir.file("pub.pem").c_str()));
    ASSERT_TRUE(verifier.hasKey()) << verifier.getError().c_str();
    for (size_t piece : {size_t(1), size_t(1024), message.size()}) {
        EXPECT_TRUE(verifyInPieces(verifier, message, piece, good)) << piece;
    }
    std::string changed = message;
    changed[4321] ^= 1;
    EXPECT_FALSE(verifyInPieces(verifier, changed, 512, good));
    for (const String& bad : {other, String(), String("not*base64!"), good.substring(0, 44),
                              String(good).append("AAAA")}) {
        EXPECT_FALSE(verifyInPieces(verifier, message, 512, bad)) << bad.c_str();
    }
    // Failures and reset() leave nothing behind.
    verifier.update("junk", 4);
    verifier.reset();
    EXPECT_TRUE(verifyInPieces(verifier, message, 100, good));

    for (const char* name : {"missing.pem", "ecpub.pem", "message.bin"}) {
        Ed25519Verifier without(String(dir.file(name).c_str()));
        EXPECT_FALSE(without.hasKey()) << name;
        EXPECT_FALSE(without.getError().isEmpty()) << name;
        EXPECT_FALSE(verifyInPieces(without, message, 512, good)) << name;
    }
}
