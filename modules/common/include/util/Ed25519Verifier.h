#ifndef ZR_UTIL_ED25519_VERIFIER_H
#define ZR_UTIL_ED25519_VERIFIER_H

#include <cstddef>

#include "String.h"

typedef struct evp_pkey_st EVP_PKEY;
typedef struct evp_md_ctx_st EVP_MD_CTX;

// Checks an Ed25519 signature made over the SHA-256 digest of a byte stream
// (the signer signs the 32 digest bytes, as `openssl pkeyutl -sign -rawin`
// does over a digest file). The stream is fed in pieces with update(), so
// no caller ever holds the whole message; verify() then takes the signature.
//
// The public key is read once from a PEM file ("-----BEGIN PUBLIC KEY-----");
// a file that cannot be read, or holds another kind of key, leaves the
// verifier without a key, and then every signature fails.
class Ed25519Verifier {
public:
    static const int SIGNATURE_SIZE = 64;

    explicit Ed25519Verifier(const String& publicKeyFile);
    ~Ed25519Verifier();
    Ed25519Verifier(const Ed25519Verifier&) = delete;
    Ed25519Verifier& operator=(const Ed25519Verifier&) = delete;

    bool hasKey() const { return key != nullptr; }
    // Why the key could not be loaded; empty when it was.
    const String& getError() const { return error; }

    // Adds bytes to the digest.
    void update(const char* data, size_t length);
    // True when `signature` (the raw bytes) is a signature of the digest of
    // everything fed since the last verify() or reset(); the digest then
    // starts afresh.
    bool verify(const String& signature);
    // True when `text` is the Base64 form of a signature that verifies;
    // text that is not exactly one signature in Base64 fails.
    bool verifyBase64(const String& text);
    // Discards what was fed so far.
    void reset();

private:
    EVP_PKEY* key;       // owned; null without a usable key
    EVP_MD_CTX* digest;  // owned; the SHA-256 of the bytes fed
    String error;
};

#endif
