#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace gateway {

/// A request cannot be served as a whole.
class SoapFault : public std::runtime_error {
public:
    /// @param code  of OPC XML-DA, for example "E_NOSUBSCRIPTION"; empty if the request itself is wrong
    SoapFault(std::string code, const std::string& text) : std::runtime_error(text), code_(std::move(code)) {}

    const std::string& get_code() const { return code_; }

private:
    std::string code_;
};

}  // namespace gateway
