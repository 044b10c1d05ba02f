#include "xmlda/soap/xml_indent.h"

#include <algorithm>

namespace xmlda {
namespace {

constexpr std::size_t INDENTATION = 2;

bool is_blank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// What a piece of markup that begins with `markup` ends with.
std::string_view get_ending(std::string_view markup) {
    if (markup.starts_with("<!--")) {
        return "-->";
    }
    if (markup.starts_with("<![CDATA[")) {
        return "]]>";
    }
    return markup.starts_with("<?") ? "?>" : ">";
}

/// Takes the next piece off the text: markup as a whole, or the text up to the next markup.
std::string_view take_piece(std::string_view& rest) {
    std::size_t size = rest.find('<');
    if (size == 0) {
        const std::string_view ending = get_ending(rest);
        const std::size_t end = rest.find(ending);
        size = end == std::string_view::npos ? rest.size() : end + ending.size();
    }
    const std::string_view piece = rest.substr(0, size);
    rest.remove_prefix(piece.size());
    return piece;
}

class Indenter {
public:
    void add(std::string_view piece) {
        if (is_blank(piece)) {
            return;
        }
        const bool is_markup = piece.starts_with('<') && !piece.starts_with("<![CDATA[");
        if (!is_markup) {
            text_ += piece;
            inside_line_ = true;
        } else if (piece.starts_with("</")) {
            add_end(piece);
        } else {
            add_start(piece);
        }
    }

    const std::string& get() const { return text_; }

private:
    void add_start(std::string_view piece) {
        if (!inside_line_) {
            break_line();
        }
        text_ += piece;
        const bool has_content =
            !piece.ends_with("/>") && !piece.starts_with("<?") && !piece.starts_with("<!");
        depth_ += has_content ? 1 : 0;
        just_started_ = has_content;
    }

    void add_end(std::string_view piece) {
        depth_ -= std::min<std::size_t>(depth_, 1);
        if (!inside_line_ && !just_started_) {
            break_line();
        }
        text_ += piece;
        inside_line_ = false;
        just_started_ = false;
    }

    void break_line() {
        if (!text_.empty()) {
            text_ += '\n';
        }
        text_.append(depth_ * INDENTATION, ' ');
    }

    std::string text_;
    std::size_t depth_ = 0;
    bool inside_line_ = false;   // behind a text, where a line break would change it
    bool just_started_ = false;  // right behind a start tag
};

}  // namespace

std::string indent_xml(std::string_view document) {
    Indenter indenter;
    while (!document.empty()) {
        indenter.add(take_piece(document));
    }
    return indenter.get();
}

}  // namespace xmlda
