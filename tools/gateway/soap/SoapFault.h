#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace gateway {

/// A request cannot be served as a whole.
class SoapFault : public std::runtime_error {
public:
    /// The code that refuses a request because of a header.
    static constexpr char MUST_UNDERSTAND[] = "soap:MustUnderstand";

    /// @param code  of OPC XML-DA, for example "E_NOSUBSCRIPTION"; empty if the request itself is wrong;
    ///              one with the prefix "soap" if SOAP has a code for it
    SoapFault(std::string code, const std::string& text) : std::runtime_error(text), code_(std::move(code)) {}

    const std::string& get_code() const { return code_; }

private:
    std::string code_;
};

}  // namespace gateway
