#include "client/split_list.h"

#include "client/errors.h"
#include "client/text/text.h"
#include "client/text/utf8.h"

#include <charconv>
#include <string_view>

namespace xmlda {
namespace {

constexpr std::size_t HEX_DIGITS = 4;  // behind "\u"

UnsuitableText create_failure(const std::string& text, const std::string& reason) {
    return UnsuitableText("'" + text + "' is not a list: " + reason);
}

/// The text without the brackets around it.
std::string_view get_inside(std::string_view text) {
    const bool has_brackets = text.size() >= 2 && text.starts_with('[') && text.ends_with(']');
    return has_brackets ? text.substr(1, text.size() - 2) : text;
}

/// Walks over a list and takes its members off it.
class Splitter {
public:
    explicit Splitter(const std::string& text) : text_(text), rest_(get_inside(text_)) {}

    std::vector<std::string> split() {
        std::vector<std::string> members;
        skip_blanks();
        if (rest_.empty()) {
            return members;
        }
        members.push_back(take_member());
        while (!rest_.empty()) {
            rest_.remove_prefix(1);  // the comma
            members.push_back(take_member());
        }
        return members;
    }

private:
    void skip_blanks() {
        while (!rest_.empty() && (rest_.front() == ' ' || rest_.front() == '\t')) {
            rest_.remove_prefix(1);
        }
    }

    std::string take_member() {
        skip_blanks();
        if (!rest_.starts_with('"')) {
            const std::string member(rest_.substr(0, rest_.find(',')));
            rest_.remove_prefix(member.size());
            return trim(member);
        }
        std::string member = take_quoted();
        skip_blanks();
        if (!rest_.empty() && rest_.front() != ',') {
            throw create_failure(text_, "a comma is missing behind a closing quote");
        }
        return member;
    }

    char take() {
        if (rest_.empty()) {
            throw create_failure(text_, "a quote is not closed");
        }
        const char character = rest_.front();
        rest_.remove_prefix(1);
        return character;
    }

    std::string take_quoted() {
        std::string member;
        take();  // the opening quote
        for (char character = take(); character != '"'; character = take()) {
            if (character == '\\') {
                append_escape(member);
            } else {
                member += character;
            }
        }
        return member;
    }

    void append_escape(std::string& member) {
        const char character = take();
        switch (character) {
            case '"':
            case '\\':
            case '/':
                member += character;
                break;
            case 'b':
                member += '\b';
                break;
            case 'f':
                member += '\f';
                break;
            case 'n':
                member += '\n';
                break;
            case 'r':
                member += '\r';
                break;
            case 't':
                member += '\t';
                break;
            case 'u':
                append_code_point(member);
                break;
            default:
                throw create_failure(text_, std::string("\\") + character + " means nothing");
        }
    }

    void append_code_point(std::string& member) {
        const char32_t first = take_code_unit();
        const bool is_first_half = (first & 0xFC00U) == 0xD800U;
        if (!is_first_half || !rest_.starts_with("\\u")) {
            append_character(member, first);
            return;
        }
        rest_.remove_prefix(2);
        const char32_t second = take_code_unit();
        const bool is_second_half = (second & 0xFC00U) == 0xDC00U;
        if (is_second_half) {
            append_character(member, 0x10000U + ((first & 0x3FFU) << 10U) + (second & 0x3FFU));
        } else {
            append_character(member, first);
            append_character(member, second);
        }
    }

    char16_t take_code_unit() {
        const std::string_view digits = rest_.substr(0, HEX_DIGITS);
        unsigned short unit = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
        if (error != std::errc() || end != digits.data() + HEX_DIGITS) {
            throw create_failure(text_, "\\u needs four hexadecimal digits");
        }
        rest_.remove_prefix(HEX_DIGITS);
        return unit;
    }

    const std::string text_;
    std::string_view rest_;
};

}  // namespace

std::vector<std::string> split_list(const std::string& text) {
    return Splitter(text).split();
}

}  // namespace xmlda
