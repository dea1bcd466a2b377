#include "util/Ed25519Verifier.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cstdio>
#include <new>

#include "Exception.h"
#include "util/Base64.h"

namespace {

const char* const kUnit = "util/Ed25519Verifier";
const unsigned kDigestSize = 32;

String lastOpenSslError() {
    char text[256];
    ERR_error_string_n(ERR_get_error(), text, sizeof text);
    ERR_clear_error();
    return String(text);
}

}  // namespace

Ed25519Verifier::Ed25519Verifier(const String& publicKeyFile)
    : key(nullptr), digest(EVP_MD_CTX_new()) {
    if (digest == nullptr) ZR_THROW(OutOfMemoryException, "Out of memory", kUnit);
    reset();
    FILE* file = std::fopen(publicKeyFile.c_str(), "r");
    if (file == nullptr) {
        error = publicKeyFile + ": cannot be read";
        return;
    }
    EVP_PKEY* loaded = PEM_read_PUBKEY(file, nullptr, nullptr, nullptr);
    std::fclose(file);
    if (loaded == nullptr) {
        error = publicKeyFile + ": no public key: " + lastOpenSslError();
    } else if (EVP_PKEY_get_id(loaded) != EVP_PKEY_ED25519) {
        error = publicKeyFile + ": not an Ed25519 key";
        EVP_PKEY_free(loaded);
    } else {
        key = loaded;
    }
}

Ed25519Verifier::~Ed25519Verifier() {
    EVP_PKEY_free(key);
    EVP_MD_CTX_free(digest);
}

void Ed25519Verifier::reset() {
    if (EVP_DigestInit_ex(digest, EVP_sha256(), nullptr) != 1) {
        ZR_THROW(Exception, "SHA-256 is not available", kUnit);
    }
}

void Ed25519Verifier::update(const char* data, size_t length) {
    if (length > 0) EVP_DigestUpdate(digest, data, length);
}

bool Ed25519Verifier::verify(const String& signature) {
    unsigned char sum[EVP_MAX_MD_SIZE];
    unsigned sumLength = 0;
    bool summed = EVP_DigestFinal_ex(digest, sum, &sumLength) == 1 && sumLength == kDigestSize;
    reset();
    if (!summed || key == nullptr || signature.length() != SIGNATURE_SIZE) return false;

    EVP_MD_CTX* check = EVP_MD_CTX_new();
    if (check == nullptr) return false;
    // Ed25519 takes no separate digest: the 32 digest bytes are the message.
    bool good = EVP_DigestVerifyInit(check, nullptr, nullptr, nullptr, key) == 1 &&
                EVP_DigestVerify(check, reinterpret_cast<const unsigned char*>(signature.c_str()),
                                 SIGNATURE_SIZE, sum, kDigestSize) == 1;
    EVP_MD_CTX_free(check);
    ERR_clear_error();
    return good;
}

bool Ed25519Verifier::verifyBase64(const String& text) {
    // Base64::decode refuses text that is not an encoder's output; a text
    // of another length decodes to a size no signature has.
    return verify(Base64::decode(text));
}
