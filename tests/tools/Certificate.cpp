#include "Certificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace xmlda::testing {
namespace {

template <class Object, void (*FREE)(Object*)>
struct Freer {
    void operator()(Object* object) const { FREE(object); }
};

using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using X509Pointer = std::unique_ptr<X509, Freer<X509, X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Freer<X509_EXTENSION, X509_EXTENSION_free>>;

constexpr long LIFE = 24L * 60 * 60;  // s

void check(bool is_done) {
    if (!is_done) {
        throw std::runtime_error("a certificate could not be made");
    }
}

void add_extension(X509& certificate, int kind, const std::string& text) {
    X509V3_CTX context = {};
    X509V3_set_ctx(&context, &certificate, &certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, text.c_str()));
    check(extension != nullptr && X509_add_ext(&certificate, extension.get(), -1) == 1);
}

X509Pointer create_certificate(EVP_PKEY& key, const std::string& names) {
    X509Pointer certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -LIFE);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), LIFE);
    X509_set_pubkey(certificate.get(), &key);
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    const auto* const text = reinterpret_cast<const unsigned char*>("test");
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    add_extension(*certificate, NID_basic_constraints, "critical,CA:TRUE");
    add_extension(*certificate, NID_subject_alt_name, names);
    check(X509_sign(certificate.get(), &key, EVP_sha256()) > 0);
    return certificate;
}

template <class Write>
void write_file(const std::string& path, Write write) {
    std::FILE* const file = std::fopen(path.c_str(), "w");
    check(file != nullptr);
    const bool is_written = write(file) == 1;
    check(std::fclose(file) == 0 && is_written);
}

std::string create_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "xmlda-test-XXXXXX").string();
    check(::mkdtemp(pattern.data()) != nullptr);
    return pattern;
}

}  // namespace

Certificate::Certificate(const std::string& names) : folder_(create_folder()) {
    const Key key(EVP_RSA_gen(2048));
    const X509Pointer certificate = create_certificate(*key, names);
    write_file(get_certificate_file(),
               [&](std::FILE* file) { return PEM_write_X509(file, certificate.get()); });
    write_file(get_private_key_file(), [&](std::FILE* file) {
        return PEM_write_PrivateKey(file, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
}

Certificate::~Certificate() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

}  // namespace xmlda::testing
