#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace xmlda {

/// Writes elements into a text, from the outside in. Texts are escaped so that every parser reads them back
/// as they were, line breaks included.
class XmlWriter {
public:
    /// @param beginning  what comes before the first element
    explicit XmlWriter(std::string_view beginning = {}) : text_(beginning) {}

    XmlWriter& start(std::string_view name);
    /// Requires: nothing but attributes came since `start`.
    XmlWriter& attribute(std::string_view name, std::string_view value);
    XmlWriter& text(std::string_view text);
    XmlWriter& end();

    /// `start`, `text` and `end` in one.
    XmlWriter& element(std::string_view name, std::string_view text);

    /// What was written; all elements have ended.
    const std::string& get() const { return text_; }
    std::string take() { return std::move(text_); }

private:
    /// Where the name of an element stands in the text.
    struct Name {
        std::size_t begin;
        std::size_t size;
    };

    void close_tag();

    std::string text_;
    std::vector<Name> open_;
    bool in_tag_ = false;
};

/// Whether XML can carry this text: UTF-8 without control characters other than tab and line breaks.
bool is_xml_text(std::string_view text);

}  // namespace xmlda
