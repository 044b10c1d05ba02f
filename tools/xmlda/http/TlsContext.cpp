#include "xmlda/http/TlsContext.h"

#include "xmlda/Failure.h"

#include <Poco/Delegate.h>
#include <Poco/Exception.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SSLManager.h>
#include <Poco/Net/VerificationErrorArgs.h>

namespace xmlda {
namespace {

using Poco::Net::Context;

Context::Params create_parameters(const TlsSettings& settings) {
    Context::Params parameters;
    // With STRICT the host name is compared for this very machine as well.
    parameters.verificationMode = settings.is_insecure ? Context::VERIFY_NONE : Context::VERIFY_STRICT;
    parameters.caLocation = settings.authorities_file;
    parameters.loadDefaultCAs = settings.authorities_file.empty();
    parameters.certificateFile = settings.certificate_file;
    parameters.privateKeyFile = settings.private_key_file;
    return parameters;
}

Context::Ptr create_context(const TlsSettings& settings) {
    try {
        return new Context(Context::TLS_CLIENT_USE, create_parameters(settings));
    } catch (const Poco::Exception& error) {
        // What OpenSSL adds behind this is for its developers.
        const std::string reason = error.message().substr(0, error.message().find(": error:"));
        throw Failure(ExitStatus::TLS_FAILURE, "TLS: a certificate or key file cannot be used: " + reason);
    }
}

}  // namespace

TlsContext::TlsContext(const TlsSettings& settings) {
    Poco::Net::initializeSSL();
    try {
        context_ = create_context(settings);
    } catch (const Failure&) {
        Poco::Net::uninitializeSSL();
        throw;
    }
    Poco::Net::SSLManager::instance().initializeClient(nullptr, nullptr, context_);
    Poco::Net::SSLManager::instance().ClientVerificationError +=
        Poco::delegate(this, &TlsContext::take_refusal);
}

TlsContext::~TlsContext() {
    Poco::Net::SSLManager::instance().ClientVerificationError -=
        Poco::delegate(this, &TlsContext::take_refusal);
    context_ = nullptr;
    Poco::Net::uninitializeSSL();
}

void TlsContext::take_refusal(const void* /*sender*/, Poco::Net::VerificationErrorArgs& arguments) {
    refusal_ = arguments.errorMessage();
    arguments.setIgnoreError(false);
}

}  // namespace xmlda
