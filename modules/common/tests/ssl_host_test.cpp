// Matching a server certificate's names against the host asked for.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>

#include "net/SSL.h"

namespace {

struct CertFree {
    void operator()(X509* cert) const { X509_free(cert); }
};
using Cert = std::unique_ptr<X509, CertFree>;

// A self-signed certificate with the common name `cn` and, when not empty,
// the alternative names `san` (as in "DNS:a.test,IP:10.0.0.1").
Cert makeCert(const char* cn, const char* san) {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    Cert cert(X509_new());
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 3600);
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(cn),
                               -1, -1, 0);
    X509_set_issuer_name(cert.get(), name);
    X509_set_pubkey(cert.get(), key);
    if (*san != '\0') {
        X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, san);
        X509_add_ext(cert.get(), ext, -1);
        X509_EXTENSION_free(ext);
    }
    X509_sign(cert.get(), key, EVP_sha256());
    EVP_PKEY_free(key);
    return cert;
}

}  // namespace

TEST(SSLHostNames, AlternativeNamesAndCommonName) {
    struct Case {
        const char* cn;
        const char* san;
        const char* host;
        bool verified;  // alternative names only
        bool match;
    } cases[] = {
        {"x", "DNS:update.srv.local", "update.srv.local", true, true},
        {"x", "DNS:update.srv.local", "Update.SRV.local", true, true},
        {"x", "DNS:update.srv.local", "other.srv.local", true, false},
        {"x", "DNS:*.srv.local", "a.srv.local", true, true},
        {"x", "DNS:*.srv.local", "b.a.srv.local", true, false},  // "*" is one label only
        {"x", "DNS:*.srv.local", "srv.local", true, false},
        {"x", "DNS:*.srv.local", "a.srv.local.evil", true, false},
        {"x", "DNS:a*.srv.local", "ab.srv.local", true, false},
        {"x", "DNS:*.local", "a.local", true, false},  // a second dot is required
        {"x", "IP:127.0.0.1", "127.0.0.1", true, true},
        {"x", "IP:127.0.0.1", "127.0.0.2", true, false},
        {"x", "IP:::1", "::1", true, true},
        {"x", "DNS:127.0.0.1", "127.0.0.1", true, false},  // an address must be an IP name
        {"localhost", "IP:127.0.0.1", "localhost", true, false},
        {"localhost", "", "localhost", true, false},  // verified: the common name is not enough
        {"localhost", "", "localhost", false, true},
        {"*.srv.local", "", "a.srv.local", false, true},
        {"elsewhere.test", "", "localhost", false, false},
        {"localhost", "DNS:a.test", "localhost", false, false},  // DNS names take precedence
        {"x", "DNS:a.test", "", false, false},
    };
    for (const Case& c : cases) {
        Cert cert = makeCert(c.cn, c.san);
        ASSERT_NE(nullptr, cert);
        EXPECT_EQ(c.match, SSLClient::certificateNames(cert.get(), c.host, c.verified))
            << c.cn << " / " << c.san << " against " << c.host;
    }
    EXPECT_FALSE(SSLClient::certificateNames(nullptr, "localhost", false));
}

TEST(SSLHostNames, AddressLiterals) {
    EXPECT_TRUE(SSLClient::isAddressLiteral("127.0.0.1"));
    EXPECT_TRUE(SSLClient::isAddressLiteral("::1"));
    EXPECT_FALSE(SSLClient::isAddressLiteral("localhost"));
    EXPECT_FALSE(SSLClient::isAddressLiteral("127.0.0.1.example"));
    EXPECT_FALSE(SSLClient::isAddressLiteral(""));
}
