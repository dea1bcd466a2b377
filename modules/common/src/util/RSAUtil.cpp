#include "util/RSAUtil.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "Utils.h"
#include "util/Log.h"

namespace {

const char CERTIFICATE_MARKER[] = "-----BEGIN CERTIFICATE-----";
const char RSA_PUBLIC_KEY_MARKER[] = "-----BEGIN RSA PUBLIC KEY-----";
const char PUBLIC_KEY_MARKER[] = "-----BEGIN PUBLIC KEY-----";

// Prints the queued OpenSSL errors to standard error and writes the reason
// of the latest one to the diagnostic log.
void reportOpenSSLError(const char* what) {
    unsigned long code = ERR_peek_last_error();
    const char* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
    ERR_print_errors_fp(stderr);
    String line("RSAUtil: ");
    line.append(what).append(": ").append(reason != nullptr ? reason : "unknown error");
    Log::getLog()->log(line, Log::LEVEL_DEBUG);
}

// Hands the pass phrase to OpenSSL. Without one it refuses, so that an
// encrypted key fails to load instead of prompting on the terminal.
int passPhraseCallback(char* buf, int size, int /*rwflag*/, void* userData) {
    const String* pass = static_cast<const String*>(userData);
    if (pass == nullptr || pass->isEmpty() || size <= 0) return -1;
    int n = pass->length() < size ? pass->length() : size;
    std::memcpy(buf, pass->c_str(), size_t(n));
    return n;
}

// Keeps only RSA keys: the other key types cannot encrypt this way.
EVP_PKEY* keepIfRSA(EVP_PKEY* key) {
    if (key != nullptr && !EVP_PKEY_is_a(key, "RSA")) {
        Log::getLog()->log(String("RSAUtil: the key is not an RSA key"), Log::LEVEL_DEBUG);
        EVP_PKEY_free(key);
        return nullptr;
    }
    return key;
}

EVP_PKEY* readPrivateKey(const String& fileName, const String& passPhrase) {
    if (fileName.isEmpty()) return nullptr;
    FILE* fp = std::fopen(fileName.c_str(), "r");
    if (fp == nullptr) return nullptr;
    EVP_PKEY* key =
        PEM_read_PrivateKey(fp, nullptr, passPhraseCallback, const_cast<String*>(&passPhrase));
    std::fclose(fp);
    if (key == nullptr) reportOpenSSLError("cannot read the private key");
    return keepIfRSA(key);
}

// A PKCS #1 RSAPublicKey in PEM form.
EVP_PKEY* readRSAPublicKey(FILE* fp) {
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* der = nullptr;
    long len = 0;
    EVP_PKEY* key = nullptr;
    if (PEM_read(fp, &name, &header, &der, &len) == 1 && std::strcmp(name, "RSA PUBLIC KEY") == 0) {
        const unsigned char* p = der;
        key = d2i_PublicKey(EVP_PKEY_RSA, nullptr, &p, len);
    }
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(der);
    return key;
}

EVP_PKEY* readPublicKey(const String& fileName) {
    if (fileName.isEmpty()) return nullptr;
    FILE* fp = std::fopen(fileName.c_str(), "r");
    if (fp == nullptr) return nullptr;
    char start[65];
    size_t n = std::fread(start, 1, 64, fp);
    start[n] = '\0';
    std::rewind(fp);

    EVP_PKEY* key = nullptr;
    bool known = true;
    if (std::strncmp(start, CERTIFICATE_MARKER, sizeof CERTIFICATE_MARKER - 1) == 0) {
        X509* cert = PEM_read_X509(fp, nullptr, nullptr, nullptr);
        if (cert != nullptr) {
            key = X509_get_pubkey(cert);
            X509_free(cert);
        }
    } else if (std::strncmp(start, RSA_PUBLIC_KEY_MARKER, sizeof RSA_PUBLIC_KEY_MARKER - 1) == 0) {
        key = readRSAPublicKey(fp);
    } else if (std::strncmp(start, PUBLIC_KEY_MARKER, sizeof PUBLIC_KEY_MARKER - 1) == 0) {
        key = PEM_read_PUBKEY(fp, nullptr, nullptr, nullptr);
    } else {
        known = false;
        Log::getLog()->log(String("RSAUtil: no public key or certificate in ").append(fileName),
                           Log::LEVEL_DEBUG);
    }
    std::fclose(fp);
    if (key == nullptr && known) reportOpenSSLError("cannot read the public key");
    return keepIfRSA(key);
}

String toHex(const unsigned char* bytes, size_t n) {
    String hex(int(n * 2));
    for (size_t i = 0; i < n; ++i) {
        hex.append(Utils::hexDigit(bytes[i] >> 4));
        hex.append(Utils::hexDigit(bytes[i]));
    }
    return hex;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    // Lower case is what other tools print; it is read as well.
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// False for an odd length or a character that is not a hex digit.
bool fromHex(const String& hex, std::vector<unsigned char>& bytes) {
    if (hex.length() % 2 != 0) return false;
    bytes.resize(size_t(hex.length() / 2));
    const char* s = hex.c_str();
    for (size_t i = 0; i < bytes.size(); ++i) {
        int high = hexValue(s[2 * i]);
        int low = hexValue(s[2 * i + 1]);
        if (high < 0 || low < 0) return false;
        bytes[i] = (unsigned char)(high << 4 | low);
    }
    return true;
}

// One kind of RSA operation: the call that prepares a context for it and the
// call that runs it. Sign and verify-recover without a digest are the raw
// private-key encryption and public-key decryption.
struct Operation {
    int (*init)(EVP_PKEY_CTX* ctx);
    int (*run)(EVP_PKEY_CTX* ctx, unsigned char* out, size_t* outLen, const unsigned char* in,
               size_t inLen);
};
const Operation ENCRYPT = {EVP_PKEY_encrypt_init, EVP_PKEY_encrypt};
const Operation SIGN = {EVP_PKEY_sign_init, EVP_PKEY_sign};
const Operation DECRYPT = {EVP_PKEY_decrypt_init, EVP_PKEY_decrypt};
const Operation VERIFY_RECOVER = {EVP_PKEY_verify_recover_init, EVP_PKEY_verify_recover};

// One RSA operation with the given key and padding; false on failure.
bool runRSA(EVP_PKEY* key, int padding, const Operation& op, const unsigned char* in, size_t inLen,
            std::vector<unsigned char>& out) {
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr);
    if (ctx == nullptr) return false;
    size_t outLen = size_t(EVP_PKEY_get_size(key));
    out.resize(outLen);
    int ok = op.init(ctx);
    if (ok > 0) ok = EVP_PKEY_CTX_set_rsa_padding(ctx, padding);
    if (ok > 0) ok = op.run(ctx, out.data(), &outLen, in, inLen);
    EVP_PKEY_CTX_free(ctx);
    if (ok <= 0) return false;
    out.resize(outLen);
    return true;
}

int keySize(EVP_PKEY* key) {
    return key != nullptr ? EVP_PKEY_get_size(key) : 0;
}

}  // namespace

RSAUtil::RSAUtil(const String& privateKeyFile, const String& publicKeyFile,
                 const String& passPhrase, bool noPadding)
    : privateKey(nullptr),
      publicKey(nullptr),
      padding(noPadding ? RSA_NO_PADDING : RSA_PKCS1_PADDING) {
    OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_ADD_ALL_CIPHERS |
                            OPENSSL_INIT_ADD_ALL_DIGESTS,
                        nullptr);
    privateKey = readPrivateKey(privateKeyFile, passPhrase);
    publicKey = readPublicKey(publicKeyFile);
}

RSAUtil::~RSAUtil() {
    EVP_PKEY_free(privateKey);
    EVP_PKEY_free(publicKey);
}

int RSAUtil::publicKeySize() const {
    return keySize(publicKey);
}

int RSAUtil::privateKeySize() const {
    return keySize(privateKey);
}

// Shared by both encryptions: checks the length against the key and the
// padding, fills an unpadded short input up with random bytes, and renders
// the ciphertext in hex.
static String encryptWith(EVP_PKEY* key, int padding, bool usePrivateKey, const unsigned char* data,
                          int len) {
    int size = keySize(key);
    if (size == 0 || data == nullptr || len < 0 || len > size) return String();
    if (padding == RSA_PKCS1_PADDING && len > size - 11) return String();

    std::vector<unsigned char> input(data, data + len);
    if (padding == RSA_NO_PADDING && len < size) {
        input.resize(size_t(size));
        if (RAND_bytes(input.data() + len, size - len) != 1) {
            reportOpenSSLError("no random bytes");
            return String();
        }
    }
    std::vector<unsigned char> cipher;
    if (!runRSA(key, padding, usePrivateKey ? SIGN : ENCRYPT, input.data(), input.size(), cipher)) {
        reportOpenSSLError("encryption failed");
        return String();
    }
    return toHex(cipher.data(), cipher.size());
}

static int decryptWith(EVP_PKEY* key, int padding, bool usePrivateKey, const String& hex,
                       unsigned char* out, int max) {
    if (key == nullptr || out == nullptr || max < 0) return -1;
    std::vector<unsigned char> cipher;
    if (!fromHex(hex, cipher) || cipher.empty()) return -1;
    std::vector<unsigned char> plain;
    if (!runRSA(key, padding, usePrivateKey ? DECRYPT : VERIFY_RECOVER, cipher.data(),
                cipher.size(), plain)) {
        reportOpenSSLError("decryption failed");
        return -1;
    }
    int n = int(plain.size()) < max ? int(plain.size()) : max;
    if (n > 0) std::memcpy(out, plain.data(), size_t(n));
    return n;
}

String RSAUtil::encryptWithPublicKey(const unsigned char* data, int len) {
    return encryptWith(publicKey, padding, false, data, len);
}

String RSAUtil::encryptWithPrivateKey(const unsigned char* data, int len) {
    return encryptWith(privateKey, padding, true, data, len);
}

int RSAUtil::decryptWithPrivateKey(const String& hex, unsigned char* out, int max) {
    return decryptWith(privateKey, padding, true, hex, out, max);
}

int RSAUtil::decryptWithPublicKey(const String& hex, unsigned char* out, int max) {
    return decryptWith(publicKey, padding, false, hex, out, max);
}
