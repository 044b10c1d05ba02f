#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace xmlda {

/// @name What the readers and writers of this library throw
/// The messages are for people, on one line and without a full stop. Texts of the other side are in them as
/// they came: whoever shows a message makes it safe for where it is shown.
/// @{

/// The server answered with a SOAP fault.
class Fault : public std::runtime_error {
public:
    /// @param code  without prefix, for example "E_NOSUBSCRIPTION"; may be empty, as the text
    Fault(std::string code, std::string text)
        : std::runtime_error("the server refused the request: " + join(code, text)),
          code_(std::move(code)),
          text_(std::move(text)) {}

    const std::string& get_code() const { return code_; }
    const std::string& get_text() const { return text_; }

private:
    static std::string join(const std::string& code, const std::string& text) {
        const std::string shown = code.empty() ? "a fault without a code" : code;
        return text.empty() ? shown : shown + ": " + text;
    }

    std::string code_;
    std::string text_;
};

/// The bytes are not XML, or not the message that they should be.
class UnexpectedMessage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A text that somebody typed does not suit the type it is meant for.
class UnsuitableText : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
/// @}

}  // namespace xmlda
