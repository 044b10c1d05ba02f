#include "xml/reply/ChildWriter.h"

#include "xml/reply/markup.h"

#include <typeinfo>

namespace kx::information_model::opc {

using namespace std::string_view_literals;

namespace {

ReplyElement& as_parent(Poco::XML::Element& element) {
    if (typeid(element) != typeid(ReplyElement)) {
        throw std::bad_cast();
    }
    return static_cast<ReplyElement&>(element);
}

}  // namespace

template <class... Texts>
void ChildWriter::put(std::string_view first, const Texts&... texts) {
    const std::size_t size = (first.size() + ... + texts.size());
    if (size > BUFFER_SIZE - size_) {
        put(first);
        (put(texts), ...);
        return;
    }
    char* end = buffer_.data() + size_;
    end += first.copy(end, first.size());
    ((end += texts.copy(end, texts.size())), ...);
    size_ += size;
}

ChildWriter::ChildWriter(Poco::XML::Element& parent)
    : shared_(as_parent(parent).shared_), content_(as_parent(parent).get_content_for_children()) {}

ChildWriter::~ChildWriter() {
    if (open_elements_ > 0) {
        content_.is_broken = true;
    }
}

void ChildWriter::begin(std::string_view name) {
    end_start_tag();
    ++open_elements_;
    put("<"sv, name);
    is_start_tag_open_ = true;
}

void ChildWriter::set_attribute(std::string_view name, std::string_view value) {
    put(" "sv, name, "=\""sv, escape_attribute(value, shared_.buffer_), "\""sv);
}

void ChildWriter::append_text(std::string_view text) {
    if (!text.empty()) {
        end_start_tag();
        put(escape_text(text, shared_.buffer_));
    }
}

void ChildWriter::append_text_element(std::string_view name, std::string_view text) {
    begin(name);
    append_text(text);
    end(name);
}

void ChildWriter::end(std::string_view name) {
    if (is_start_tag_open_) {
        put("/>"sv);
        is_start_tag_open_ = false;
    } else {
        put("</"sv, name, ">"sv);
    }
    if (open_elements_ == 1) {
        flush();  // before it counts as ended: this may throw
    }
    --open_elements_;
}

void ChildWriter::end_start_tag() {
    if (is_start_tag_open_) {
        put(">"sv);
        is_start_tag_open_ = false;
    }
}

void ChildWriter::put(std::string_view text) {
    if (text.size() > BUFFER_SIZE - size_) {
        flush();
        if (text.size() > BUFFER_SIZE) {
            shared_.count(text.size());
            content_.text.append(text);
            return;
        }
    }
    size_ += text.copy(buffer_.data() + size_, text.size());
}

void ChildWriter::flush() {
    shared_.count(size_);
    content_.text.append({buffer_.data(), size_});
    size_ = 0;
}

}  // namespace kx::information_model::opc
