#include <information_model/exceptions.h>

#include <utility>

#include "model/quoted_text.h"

namespace kx::information_model {

InvalidPathException::InvalidPathException(std::string_view text, std::string_view reason)
    : message_("Invalid path " + detail::quoted_text(text) + ": ") {
    message_ += reason;
}

InvalidPathException::~InvalidPathException() = default;

const char* InvalidPathException::what() const noexcept {
    return message_.c_str();
}

PathNotFoundException::PathNotFoundException(std::string_view path) : message_("Path not found: ") {
    message_ += path;
}

PathNotFoundException::~PathNotFoundException() = default;

const char* PathNotFoundException::what() const noexcept {
    return message_.c_str();
}

BadValueTypeException::BadValueTypeException(std::string details) : details_(std::move(details)) {}

BadValueTypeException::~BadValueTypeException() = default;

const char* BadValueTypeException::what() const noexcept {
    return "Bad value type.";
}

const std::string& BadValueTypeException::get_details() const noexcept {
    return details_;
}

}  // namespace kx::information_model
