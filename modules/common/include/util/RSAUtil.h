#ifndef ZR_UTIL_RSAUTIL_H
#define ZR_UTIL_RSAUTIL_H

#include "String.h"

typedef struct evp_pkey_st EVP_PKEY;

// RSA encryption and decryption of short byte strings with a key pair read
// from PEM files; ciphertext travels as upper-case hexadecimal text.
//
// The public key file may hold a certificate ("-----BEGIN CERTIFICATE-----"),
// a PKCS #1 key ("-----BEGIN RSA PUBLIC KEY-----") or a SubjectPublicKeyInfo
// key ("-----BEGIN PUBLIC KEY-----"), and must start with that line; any
// other start loads no public key. A key that cannot be loaded stays absent
// and every operation needing it fails. Read errors are printed to standard
// error and written to the diagnostic log.
class RSAUtil {
public:
    // padding: PKCS #1 v1.5 unless `noPadding`. An empty pass phrase means
    // the private key is not encrypted (an encrypted key then fails to load
    // instead of prompting on the terminal).
    RSAUtil(const String& privateKeyFile, const String& publicKeyFile, const String& passPhrase,
            bool noPadding);
    virtual ~RSAUtil();

    RSAUtil(const RSAUtil&) = delete;
    RSAUtil& operator=(const RSAUtil&) = delete;

    bool hasPrivateKey() const { return privateKey != nullptr; }
    bool hasPublicKey() const { return publicKey != nullptr; }
    // Modulus size in bytes (256 for a 2048-bit key), 0 without that key.
    int publicKeySize() const;
    int privateKeySize() const;

    // The ciphertext as upper-case hexadecimal text, or empty on any failure.
    // With PKCS #1 padding at most keySize - 11 bytes are accepted, without
    // padding at most keySize; a shorter input without padding is filled up
    // with random bytes to the key size.
    String encryptWithPublicKey(const unsigned char* data, int len);
    String encryptWithPrivateKey(const unsigned char* data, int len);

    // Decrypts hexadecimal ciphertext (either letter case) and copies at most
    // `max` plaintext bytes to `out`. Returns the number copied, or a
    // negative value on failure (bad hex text, no key, wrong key or padding).
    int decryptWithPrivateKey(const String& hex, unsigned char* out, int max);
    int decryptWithPublicKey(const String& hex, unsigned char* out, int max);

private:
    EVP_PKEY* privateKey;  // as read from the private key file
    EVP_PKEY* publicKey;   // from the public key file or its certificate
    int padding;           // 1 PKCS #1 v1.5, 3 none (OpenSSL's padding codes)
};

#endif
