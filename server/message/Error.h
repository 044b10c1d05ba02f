#pragma once

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>

#include <exception>
#include <string>

namespace kx::information_model::opc {

/// An OPC XML-DA 1.0 result code with its text. Thrown as a copy of one of the static members; the
/// dispatcher answers it with a SOAP fault that fails the whole request.
///
/// Most codes are defined for completeness and never raised: no result code is written for a single item.
class Error : public std::exception {
public:
    static const Error S_CLAMP;
    static const Error S_DATAQUEUEOVERFLOW;
    static const Error S_UNSUPPORTEDRATE;
    static const Error E_ACCESS_DENIED;
    static const Error E_BUSY;
    static const Error E_FAIL;
    static const Error E_INVALIDCONTINUATIONPOINT;
    static const Error E_INVALIDFILTER;
    static const Error E_INVALIDHOLDTIME;
    static const Error E_INVALIDITEMNAME;
    static const Error E_INVALIDITEMPATH;
    static const Error E_INVALIDPID;
    static const Error E_NOSUBSCRIPTION;
    static const Error E_NOTSUPPORTED;
    static const Error E_OUTOFMEMORY;
    static const Error E_RANGE;
    static const Error E_BADTYPE;
    static const Error E_READONLY;
    static const Error E_SERVERSTATE;
    static const Error E_TIMEDOUT;
    static const Error E_UNKNOWNITEMNAME;
    static const Error E_UNKNOWNITEMPATH;
    static const Error E_WRITEONLY;
    static const Error E_SOAP;  ///< not an OPC code: the SOAP 1.1 fault code for a message without a body

    /// For the static members only.
    Error(std::string code, std::string text);
    Error(const Error&) = default;
    Error& operator=(const Error&) = default;
    ~Error() override;

    /// The code, not the text.
    const char* what() const noexcept override;

    const std::string& get_error_code() const noexcept { return code_; }
    const std::string& get_error_text() const noexcept { return text_; }

private:
    std::string code_;
    std::string text_;
};

/// Builds the envelope with a SOAP 1.1 fault: "faultcode" is the error's code as it stands, "faultstring"
/// its text; there is no actor and no detail.
Poco::AutoPtr<Poco::XML::Document> generate_fault(const Error& error);

}  // namespace kx::information_model::opc
