#include "gateway/services/name_filter.h"

#include <cstddef>

namespace gateway {
namespace {

/// The place behind the set that begins at `begin`, or npos if it does not end.
std::size_t find_end_of_set(std::string_view pattern, std::size_t begin) {
    const std::size_t first = begin + 1 + (pattern.substr(begin + 1).starts_with('!') ? 1 : 0);
    const std::size_t end = first < pattern.size() ? pattern.find(']', first + 1) : std::string_view::npos;
    return end == std::string_view::npos ? end : end + 1;
}

bool is_in_set(char character, std::string_view set) {
    const bool is_negated = set.starts_with('!');
    if (is_negated) {
        set.remove_prefix(1);
    }
    bool is_in = false;
    for (std::size_t i = 0; i < set.size(); ++i) {
        if (i + 2 < set.size() && set[i + 1] == '-') {
            is_in = is_in || (set[i] <= character && character <= set[i + 2]);
            i += 2;
        } else {
            is_in = is_in || set[i] == character;
        }
    }
    return is_in != is_negated;
}

/// Matches one character.
/// @return how long the part of the pattern is that matched, or 0
std::size_t match_one(char character, std::string_view pattern, std::size_t place) {
    switch (pattern[place]) {
        case '?':
            return 1;
        case '#':
            return character >= '0' && character <= '9' ? 1 : 0;
        case '[':
            if (const std::size_t end = find_end_of_set(pattern, place); end != std::string_view::npos) {
                return is_in_set(character, pattern.substr(place + 1, end - place - 2)) ? end - place : 0;
            }
            return character == '[' ? 1 : 0;
        default:
            return character == pattern[place] ? 1 : 0;
    }
}

}  // namespace

bool matches_filter(std::string_view name, std::string_view pattern) {
    if (pattern.empty()) {
        return true;
    }
    constexpr std::size_t NONE = std::string_view::npos;
    std::size_t star = NONE;  // the last one, and where in the name it was tried
    std::size_t star_name = 0;
    std::size_t place = 0;
    std::size_t i = 0;
    while (i < name.size()) {
        if (place < pattern.size() && pattern[place] == '*') {
            star = place++;
            star_name = i;
            continue;
        }
        const std::size_t length = place < pattern.size() ? match_one(name[i], pattern, place) : 0;
        if (length > 0) {
            place += length;
            ++i;
        } else if (star != NONE) {
            place = star + 1;
            i = ++star_name;
        } else {
            return false;
        }
    }
    while (place < pattern.size() && pattern[place] == '*') {
        ++place;
    }
    return place == pattern.size();
}

}  // namespace gateway
