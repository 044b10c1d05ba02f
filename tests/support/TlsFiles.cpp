#include "support/TlsFiles.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace kx::information_model::opc::testing {

namespace {

template <class T, void (*FREE)(T*)>
struct Free {
    void operator()(T* object) const { FREE(object); }
};

using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Free<X509, X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION, X509_EXTENSION_free>>;
using Memory = std::unique_ptr<BIO, Free<BIO, BIO_vfree>>;

void check(bool succeeded) {
    if (!succeeded) {
        throw std::runtime_error("cannot make a certificate");
    }
}

void add_extension(X509* certificate, int kind, const std::string& text) {
    X509V3_CTX context = {};
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, text.c_str()));
    check(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

Certificate create_certificate(EVP_PKEY* key, const std::string& names) {
    Certificate certificate(X509_new());
    check(certificate != nullptr);
    check(X509_set_version(certificate.get(), 2) == 1);
    check(ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1) == 1);
    check(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600) != nullptr);
    check(X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 24L * 3600) != nullptr);
    check(X509_set_pubkey(certificate.get(), key) == 1);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    const auto* common_name = reinterpret_cast<const unsigned char*>("test");
    check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, common_name, -1, -1, 0) == 1);
    check(X509_set_issuer_name(certificate.get(), name) == 1);
    add_extension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    add_extension(certificate.get(), NID_subject_alt_name, names);
    check(X509_sign(certificate.get(), key, EVP_sha256()) > 0);
    return certificate;
}

std::string get_text(BIO* memory) {
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory, &text);
    return {text, static_cast<std::size_t>(size)};
}

std::filesystem::path create_directory() {
    std::string name = (std::filesystem::temp_directory_path() / "kx-tls-XXXXXX").string();
    check(mkdtemp(name.data()) != nullptr);
    return name;
}

}  // namespace

TlsFiles::TlsFiles(const std::string& names) : directory_(create_directory()) {
    const Key key(EVP_RSA_gen(2048));
    check(key != nullptr);
    const Certificate certificate = create_certificate(key.get(), names);
    const Memory certificate_text(BIO_new(BIO_s_mem()));
    const Memory key_text(BIO_new(BIO_s_mem()));
    check(PEM_write_bio_X509(certificate_text.get(), certificate.get()) == 1);
    check(PEM_write_bio_PrivateKey(key_text.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
    add("certificate.pem", get_text(certificate_text.get()));
    add("key.pem", get_text(key_text.get()));
}

TlsFiles::~TlsFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::string TlsFiles::add(const std::string& name, const std::string& content) const {
    std::ofstream(get_path(name), std::ios::binary) << content;
    return get_path(name);
}

}  // namespace kx::information_model::opc::testing
