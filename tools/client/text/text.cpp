#include "client/text/text.h"

#include <algorithm>
#include <utility>

namespace xmlda {

namespace {

bool is_blank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

}  // namespace

std::string trim(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_blank(text.back())) {
        text.remove_suffix(1);
    }
    return std::string(text);
}

/// What needs no trimming, as most texts, is not copied.
std::string trim(std::string&& text) {
    const bool is_trimmed = text.empty() || (!is_blank(text.front()) && !is_blank(text.back()));
    return is_trimmed ? std::move(text) : trim(std::string_view(text));
}

std::string to_lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return lower;
}

}  // namespace xmlda
