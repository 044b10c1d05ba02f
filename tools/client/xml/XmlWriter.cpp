#include "client/xml/XmlWriter.h"

#include "client/text/utf8.h"

#include <algorithm>
#include <array>

namespace xmlda {
namespace {

/// What stands for a character, or nothing if it stands for itself.
std::string_view escape(char character) {
    switch (character) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\t':
            return "&#9;";
        case '\n':
            return "&#10;";
        case '\r':
            return "&#13;";
        default:
            return "";
    }
}

/// By character, whether something else stands for it: hardly any of a text is such.
constexpr auto IS_ESCAPED = [] {
    std::array<bool, 256> is_escaped{};
    for (const char character : std::string_view("&<>\"\t\n\r")) {
        is_escaped[static_cast<unsigned char>(character)] = true;
    }
    return is_escaped;
}();

void append_escaped(std::string& target, std::string_view text) {
    const auto is_escaped = [](char character) { return IS_ESCAPED[static_cast<unsigned char>(character)]; };
    const char* begin = text.data();
    const char* const end = begin + text.size();
    for (const char* next = std::find_if(begin, end, is_escaped); next != end;
         next = std::find_if(begin, end, is_escaped)) {
        target.append(begin, next).append(escape(*next));
        begin = next + 1;
    }
    target.append(begin, end);
}

bool is_xml_character(char32_t character) {
    const bool is_blank = character == U'\t' || character == U'\n' || character == U'\r';
    return is_blank || (character >= 0x20 && character != 0xFFFE && character != 0xFFFF);
}

}  // namespace

XmlWriter& XmlWriter::start(std::string_view name) {
    close_tag();
    text_ += '<';
    open_.push_back({.begin = text_.size(), .size = name.size()});
    text_ += name;
    in_tag_ = true;
    return *this;
}

XmlWriter& XmlWriter::attribute(std::string_view name, std::string_view value) {
    text_ += ' ';
    text_.append(name).append("=\"");
    append_escaped(text_, value);
    text_ += '"';
    return *this;
}

XmlWriter& XmlWriter::text(std::string_view text) {
    close_tag();
    append_escaped(text_, text);
    return *this;
}

XmlWriter& XmlWriter::end() {
    if (in_tag_) {
        text_ += "/>";
        in_tag_ = false;
    } else {
        const Name name = open_.back();
        text_ += "</";
        text_.append(text_, name.begin, name.size);
        text_ += '>';
    }
    open_.pop_back();
    return *this;
}

XmlWriter& XmlWriter::element(std::string_view name, std::string_view text) {
    return start(name).text(text).end();
}

void XmlWriter::close_tag() {
    if (in_tag_) {
        text_ += '>';
        in_tag_ = false;
    }
}

bool is_xml_text(std::string_view text) {
    while (!text.empty()) {
        if (text.front() >= ' ' && text.front() <= '~') {
            text.remove_prefix(1);
            continue;
        }
        const std::optional<char32_t> character = take_character(text);
        if (!character || !is_xml_character(*character)) {
            return false;
        }
    }
    return true;
}

}  // namespace xmlda
