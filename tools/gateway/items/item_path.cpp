#include "gateway/items/item_path.h"

#include "client/xml/XmlWriter.h"

#include <algorithm>

namespace gateway {
namespace {

constexpr std::size_t LONGEST_NAME = 4096;

bool is_control(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

bool is_segment(std::string_view text) {
    return !text.empty() && text != "." && text != "..";
}

/// Appends "/segment" for each segment; "", "/" and "." have none.
bool append_segments(std::string& target, std::string_view text) {
    if (text == ".") {
        return true;
    }
    if (text.starts_with("./")) {
        text.remove_prefix(2);
    } else if (text.starts_with('/')) {
        text.remove_prefix(1);
    }
    while (!text.empty()) {
        const std::size_t end = text.find('/');
        const std::string_view segment = text.substr(0, end);
        if (!is_segment(segment) || end == text.size() - 1) {
            return false;
        }
        target.append("/").append(segment);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return true;
}

}  // namespace

std::optional<std::string> to_item_path(std::string_view path, std::string_view name) {
    std::string item;
    if (path.size() + name.size() > LONGEST_NAME || std::any_of(path.begin(), path.end(), is_control) ||
        std::any_of(name.begin(), name.end(), is_control) || !append_segments(item, path) ||
        !append_segments(item, name) || !xmlda::is_xml_text(item)) {
        return std::nullopt;
    }
    return item.empty() ? "/" : item;
}

std::string_view get_last_segment(std::string_view item) {
    return item.substr(item.rfind('/') + 1);
}

}  // namespace gateway
