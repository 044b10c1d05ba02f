#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace xmlda {

/// Writes elements into a text, from the outside in. Texts are escaped so that every parser reads them back
/// as they were, line breaks included.
class XmlWriter {
public:
    XmlWriter& start(const std::string& name);
    /// Requires: nothing but attributes came since `start`.
    XmlWriter& attribute(std::string_view name, std::string_view value);
    XmlWriter& text(std::string_view text);
    XmlWriter& end();

    /// `start`, `text` and `end` in one.
    XmlWriter& element(const std::string& name, std::string_view text);

    /// What was written; all elements have ended.
    const std::string& get() const { return text_; }

private:
    void close_tag();

    std::string text_;
    std::vector<std::string> open_;
    bool in_tag_ = false;
};

/// Whether XML can carry this text: UTF-8 without control characters other than tab and line breaks.
bool is_xml_text(std::string_view text);

}  // namespace xmlda
