#include "xml/reply/markup.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kx::information_model::opc {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

/// Of each byte: itself to be copied, an escape, or what has to be looked at with the bytes that follow.
struct Rule {
    enum class KIND { COPY, ESCAPE, LOOK };

    KIND kind = KIND::LOOK;
    std::string_view escape = {};
};

using Rules = std::array<Rule, 256>;

constexpr Rules create_rules(std::string_view tab, std::string_view line_feed,
                             std::string_view carriage_return) {
    Rules rules{};
    // Each is set, since g++ 12 gets those wrong that stay as they were made.
    for (std::size_t byte = 0; byte < rules.size(); ++byte) {
        rules[byte].kind = byte >= 0x20 && byte < 0x80 ? Rule::KIND::COPY : Rule::KIND::LOOK;
    }
    const auto set = [&](char character, std::string_view escape) {
        Rule& rule = rules[static_cast<unsigned char>(character)];
        rule.kind = escape.empty() ? Rule::KIND::COPY : Rule::KIND::ESCAPE;
        rule.escape = escape;
    };
    set('<', "&lt;");
    set('>', "&gt;");
    set('&', "&amp;");
    set('"', "&quot;");
    set('\t', tab);
    set('\n', line_feed);
    set('\r', carriage_return);
    return rules;
}

constexpr Rules TEXT_RULES = create_rules({}, {}, {});
constexpr Rules ATTRIBUTE_RULES = create_rules("&#x9;", "&#xA;", "&#xD;");

bool is_in(unsigned char byte, unsigned char low, unsigned char high) {
    return byte >= low && byte <= high;
}

// The second byte's range excludes overlong forms, surrogates and what lies beyond U+10FFFF.
struct Lead {
    std::size_t length;
    unsigned char second_low;
    unsigned char second_high;
};

Lead classify(unsigned char lead) {
    if (is_in(lead, 0xC2, 0xDF)) {
        return {2, 0x80, 0xBF};
    }
    if (is_in(lead, 0xE0, 0xEF)) {
        return {3, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    }
    if (is_in(lead, 0xF0, 0xF4)) {
        return {4, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
    }
    return {1, 0, 0};
}

bool is_noncharacter(std::string_view sequence) {
    return sequence == "\xEF\xBF\xBE" || sequence == "\xEF\xBF\xBF";
}

struct Sequence {
    std::size_t length;  // bytes that belong together, at least 1
    bool is_allowed;     // whether they are one character that XML can carry
};

// Of a text that begins with a byte to look at.
Sequence look(std::string_view text) {
    const Lead lead = classify(static_cast<unsigned char>(text[0]));
    std::size_t length = 1;
    while (length < lead.length && length < text.size()) {
        const auto byte = static_cast<unsigned char>(text[length]);
        const bool fits =
            length == 1 ? is_in(byte, lead.second_low, lead.second_high) : is_in(byte, 0x80, 0xBF);
        if (!fits) {
            break;
        }
        ++length;
    }
    const bool is_complete = lead.length > 1 && length == lead.length;
    return {length, is_complete && !is_noncharacter(text.substr(0, length))};
}

constexpr std::uint64_t repeat(std::uint64_t byte) {
    return byte * 0x0101010101010101U;
}

constexpr std::size_t WORD_SIZE = sizeof(std::uint64_t);

// Whether eight bytes are all to be copied, as most are. `"` and `&` differ in one bit, and so do `<` and
// `>`. A byte may pass for a special one beside a special one, never the other way round.
bool is_plain_word(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, WORD_SIZE);
    const std::uint64_t quotes = (word | repeat(0x04)) ^ repeat('&');
    const std::uint64_t brackets = (word | repeat(0x02)) ^ repeat('>');
    const std::uint64_t special = ((quotes - repeat(1)) & ~quotes) | ((brackets - repeat(1)) & ~brackets) |
                                  (word - repeat(0x20)) | word;
    return (special & repeat(0x80)) == 0;
}

bool is_plain(std::string_view text, const Rules& rules) {
    if (text.size() < WORD_SIZE) {
        return std::all_of(text.begin(), text.end(), [&](char character) {
            return rules[static_cast<unsigned char>(character)].kind == Rule::KIND::COPY;
        });
    }
    const char* const last = text.data() + text.size() - WORD_SIZE;
    for (const char* word = text.data(); word < last; word += WORD_SIZE) {
        if (!is_plain_word(word)) {
            return false;
        }
    }
    return is_plain_word(last);
}

void append_escaped(std::string& output, std::string_view text, const Rules& rules) {
    std::size_t copied = 0;  // what is before it is in the output
    std::size_t position = 0;
    const auto replace = [&](std::size_t length, std::string_view replacement) {
        output.append(text, copied, position - copied).append(replacement);
        position += length;
        copied = position;
    };
    while (position < text.size()) {
        if (text.size() - position >= WORD_SIZE && is_plain_word(text.data() + position)) {
            position += WORD_SIZE;
            continue;
        }
        for (const std::size_t end = std::min(position + WORD_SIZE, text.size()); position < end;) {
            const Rule& rule = rules[static_cast<unsigned char>(text[position])];
            if (rule.kind == Rule::KIND::COPY) {
                ++position;
            } else if (rule.kind == Rule::KIND::ESCAPE) {
                replace(1, rule.escape);
            } else if (const Sequence sequence = look(text.substr(position)); sequence.is_allowed) {
                position += sequence.length;
            } else {
                replace(sequence.length, REPLACEMENT);
            }
        }
    }
    output.append(text, copied);
}

std::string_view escape(std::string_view text, std::string& buffer, const Rules& rules) {
    if (is_plain(text, rules)) {
        return text;
    }
    buffer.clear();
    append_escaped(buffer, text, rules);
    return buffer;
}

}  // namespace

std::string_view escape_text(std::string_view text, std::string& buffer) {
    return escape(text, buffer, TEXT_RULES);
}

std::string_view escape_attribute(std::string_view text, std::string& buffer) {
    return escape(text, buffer, ATTRIBUTE_RULES);
}

}  // namespace kx::information_model::opc
