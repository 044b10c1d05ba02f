#include <information_model/Path.h>
#include <information_model/exceptions.h>

#include <optional>
#include <ostream>
#include <utility>

#include "model/path_text.h"
#include "model/utf8.h"

namespace kx::information_model {

namespace {

/// What makes a text no path, and the byte where.
struct Defect {
    const char* reason;
    std::size_t offset;
};

bool is_control_character(char32_t code_point) noexcept {
    return code_point < 0x20U || (code_point >= 0x7FU && code_point <= 0x9FU);
}

/// The two characters below U+10000, besides controls and surrogates, that XML cannot carry: no client could
/// name an item that has one in its path.
bool is_noncharacter(char32_t code_point) noexcept {
    return code_point == 0xFFFEU || code_point == 0xFFFFU;
}

/// Most characters of most paths, told without a look at what follows.
bool is_ordinary(char character) noexcept {
    return character >= ' ' && character <= '~' && character != '/';
}

std::optional<Defect> find_bad_character(std::string_view segment) noexcept {
    for (std::size_t offset = 0; offset < segment.size();) {
        if (is_ordinary(segment[offset])) {
            ++offset;
            continue;
        }
        const auto [code_point, length] = detail::read_utf8(segment, offset);
        if (length == 0) {
            return Defect{"not UTF-8", offset};
        }
        if (is_control_character(code_point)) {
            return Defect{"control character", offset};
        }
        if (is_noncharacter(code_point)) {
            return Defect{"character that XML cannot carry", offset};
        }
        if (code_point == U'/') {
            return Defect{"\"/\" in a segment", offset};
        }
        offset += length;
    }
    return std::nullopt;
}

std::optional<Defect> find_segment_defect(std::string_view segment) noexcept {
    if (segment.empty()) {
        return Defect{"empty segment", 0};
    }
    if (segment == ".") {
        return Defect{"segment \".\"", 0};
    }
    if (segment == "..") {
        return Defect{"segment \"..\"", 0};
    }
    return find_bad_character(segment);
}

/// Where the segments of a path begin that is neither "/" nor ".".
std::size_t get_first_segment(std::string_view text) noexcept {
    if (text.starts_with('/')) {
        return 1;
    }
    return text.starts_with("./") ? 2 : 0;
}

std::optional<Defect> find_path_defect(std::string_view text) noexcept {
    if (text.empty()) {
        return Defect{"empty path", 0};
    }
    if (text == "/" || text == ".") {
        return std::nullopt;
    }
    std::size_t begin = get_first_segment(text);
    while (true) {
        const std::size_t end = text.find('/', begin);
        if (const auto defect = find_segment_defect(text.substr(begin, end - begin))) {
            return Defect{defect->reason, begin + defect->offset};
        }
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        begin = end + 1;
    }
}

}  // namespace

void detail::check_path(std::string_view text) {
    if (const auto defect = find_path_defect(text)) {
        throw InvalidPathException(
            text, std::string(defect->reason) + " at byte " + std::to_string(defect->offset));
    }
}

Path::Path(std::string text) : text_(std::move(text)) {
    detail::check_path(text_);
}

Path::Path(const char* text) : Path(std::string(text)) {}

Path operator/(const Path& base, std::string_view relative) {
    detail::check_path(relative);
    if (relative.starts_with('/')) {
        throw InvalidPathException(relative, "absolute path after another one");
    }
    if (relative == ".") {
        return base;
    }
    if (relative.starts_with("./")) {
        relative.remove_prefix(2);
    }
    std::string text;
    text.reserve(base.text_.size() + 1 + relative.size());
    text = base.text_;
    if (!text.ends_with('/')) {
        text += '/';
    }
    return Path(text += relative, Path::Trusted());
}

Path operator/(const Path& base, const Path& relative) {
    return base / std::string_view(relative.text_);
}

std::ostream& operator<<(std::ostream& stream, const Path& path) {
    return stream << path.as_string();
}

bool is_valid_segment(std::string_view text) noexcept {
    return !find_segment_defect(text);
}

}  // namespace kx::information_model
