#include "client/xml/XmlWriter.h"

#include "client/text/utf8.h"

namespace xmlda {
namespace {

void append_escaped(std::string& target, std::string_view text) {
    for (const char character : text) {
        switch (character) {
            case '&':
                target += "&amp;";
                break;
            case '<':
                target += "&lt;";
                break;
            case '>':
                target += "&gt;";
                break;
            case '"':
                target += "&quot;";
                break;
            case '\t':
                target += "&#9;";
                break;
            case '\n':
                target += "&#10;";
                break;
            case '\r':
                target += "&#13;";
                break;
            default:
                target += character;
        }
    }
}

bool is_xml_character(char32_t character) {
    const bool is_blank = character == U'\t' || character == U'\n' || character == U'\r';
    return is_blank || (character >= 0x20 && character != 0xFFFE && character != 0xFFFF);
}

}  // namespace

XmlWriter& XmlWriter::start(const std::string& name) {
    close_tag();
    text_ += '<' + name;
    open_.push_back(name);
    in_tag_ = true;
    return *this;
}

XmlWriter& XmlWriter::attribute(std::string_view name, std::string_view value) {
    text_.append(" ").append(name).append("=\"");
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
        text_ += "</" + open_.back() + '>';
    }
    open_.pop_back();
    return *this;
}

XmlWriter& XmlWriter::element(const std::string& name, std::string_view text) {
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
        const std::optional<char32_t> character = take_character(text);
        if (!character || !is_xml_character(*character)) {
            return false;
        }
    }
    return true;
}

}  // namespace xmlda
