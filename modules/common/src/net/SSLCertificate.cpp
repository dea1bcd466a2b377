// Loading the client certificate and its private key into a TLS context.
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <string.h>

#include "SSLSettings.h"
#include "util/Log.h"

namespace {
const int kTypePEM = 1;
const int kTypeDER = 2;
const int kTypeEngine = 42;

int fileType(const String& type) {
    if (type == "DER") return kTypeDER;
    if (type == "ENG") return kTypeEngine;
    return kTypePEM;
}

int openSSLType(int type) {
    return type == kTypeDER ? SSL_FILETYPE_ASN1 : SSL_FILETYPE_PEM;
}

bool refuse(const String& reason) {
    Log::getLog()->log(reason, Log::LEVEL_DEBUG);
    return false;
}

// Hands the configured pass phrase to OpenSSL when it asks to decrypt a key
// and the phrase fits its buffer.
int passPhrase(char* buf, int size, int writing, void* data) {
    const String* phrase = static_cast<const String*>(data);
    if (writing || phrase->length() >= size) return 0;
    memcpy(buf, phrase->c_str(), static_cast<size_t>(phrase->length()) + 1);
    return phrase->length();
}

bool loadCertificate(SSL_CTX* ctx, const SSLSettings& s) {
    int type = fileType(s.certType);
    if (type == kTypeEngine) return refuse("SSL: file type ENG for certificate not implemented");
    int loaded = type == kTypePEM
                     ? SSL_CTX_use_certificate_chain_file(ctx, s.certFile.c_str())
                     : SSL_CTX_use_certificate_file(ctx, s.certFile.c_str(), SSL_FILETYPE_ASN1);
    return loaded == 1 || refuse("SSL: unable to set certificate file (wrong password?)");
}

bool loadKey(SSL_CTX* ctx, const SSLSettings& s) {
    int type = fileType(s.keyType);
    if (type == kTypeEngine) return true;  // an engine key is not loaded from a file
    const String& file = (type == kTypePEM && s.keyFile.isEmpty()) ? s.certFile : s.keyFile;
    if (SSL_CTX_use_PrivateKey_file(ctx, file.c_str(), openSSLType(type)) == 1) return true;
    String reason("SSL: unable to set private key file: '");
    reason.append(file).append("' type ").append(s.keyType.isEmpty() ? String("PEM") : s.keyType);
    return refuse(reason);
}

// Gives the private key the parameters of the certificate's public key (for
// key types that keep them apart), then checks the pair belongs together.
bool checkKeyPair(SSL_CTX* ctx) {
    SSL* probe = SSL_new(ctx);
    if (probe != nullptr) {
        EVP_PKEY* publicKey = X509_get_pubkey(SSL_get_certificate(probe));
        EVP_PKEY* privateKey = SSL_get_privatekey(probe);
        if (publicKey != nullptr && privateKey != nullptr)
            EVP_PKEY_copy_parameters(privateKey, publicKey);
        EVP_PKEY_free(publicKey);
        SSL_free(probe);
    }
    return SSL_CTX_check_private_key(ctx) == 1 ||
           refuse("SSL: Private key does not match the certificate public key");
}
}  // namespace

bool loadClientCertificate(SSL_CTX* ctx, const SSLSettings& s) {
    if (!s.keyPassword.isEmpty()) {
        SSL_CTX_set_default_passwd_cb_userdata(ctx, const_cast<String*>(&s.keyPassword));
        SSL_CTX_set_default_passwd_cb(ctx, passPhrase);
    }
    return loadCertificate(ctx, s) && loadKey(ctx, s) && checkKeyPair(ctx);
}
