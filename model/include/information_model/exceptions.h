#pragma once

#include <information_model/export.h>

#include <exception>
#include <string>
#include <string_view>

namespace kx::information_model {

/// A text is not a valid path. Raised when a `Path` is made from it.
class KX_INFORMATION_MODEL_EXPORT InvalidPathException : public std::exception {
public:
    /// @param text    the whole text that was to become a path
    /// @param reason  what is wrong with it and where, for example "empty segment at byte 3"
    InvalidPathException(std::string_view text, std::string_view reason);
    InvalidPathException(const InvalidPathException&) = default;
    InvalidPathException& operator=(const InvalidPathException&) = default;
    ~InvalidPathException() override;

    /// Names the text and the offending place.
    const char* what() const noexcept override;

private:
    std::string message_;
};

/// There is no item at a path.
class KX_INFORMATION_MODEL_EXPORT PathNotFoundException : public std::exception {
public:
    /// @param path  the text of the path that was looked up
    explicit PathNotFoundException(std::string_view path);
    PathNotFoundException(const PathNotFoundException&) = default;
    PathNotFoundException& operator=(const PathNotFoundException&) = default;
    ~PathNotFoundException() override;

    /// "Path not found: " and the path as it was given.
    const char* what() const noexcept override;

private:
    std::string message_;
};

/// A value is read or stored as a type that it does not hold.
class KX_INFORMATION_MODEL_EXPORT BadValueTypeException : public std::exception {
public:
    BadValueTypeException() = default;
    /// @param details  what `get_details` gives
    explicit BadValueTypeException(std::string details);
    BadValueTypeException(const BadValueTypeException&) = default;
    BadValueTypeException& operator=(const BadValueTypeException&) = default;
    ~BadValueTypeException() override;

    /// Always "Bad value type.".
    const char* what() const noexcept override;

    /// What went wrong, for people: a write that a variable refuses gives its path, its type and the type of
    /// the value. Empty if nothing more is known.
    const std::string& get_details() const noexcept;

private:
    std::string details_;
};

}  // namespace kx::information_model
