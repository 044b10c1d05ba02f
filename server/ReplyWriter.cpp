#include "server/ReplyWriter.h"

namespace kx::information_model::opc {

namespace {

const ReplyElement* as_reply_element(const Poco::XML::Node* node) {
    return static_cast<const ReplyElement*>(node);
}

}  // namespace

void ReplyWriter::write(const ReplyElement& root) {
    const ReplyElement* element = &root;
    while (true) {
        const ReplyElement* next = nullptr;
        if (write_start(*element)) {
            next = as_reply_element(element->firstChild());
            if (next == nullptr) {
                write_end(*element);
            }
        }
        while (next == nullptr) {
            if (element == &root) {
                return;
            }
            next = as_reply_element(element->nextSibling());
            if (next == nullptr) {
                element = as_reply_element(element->parentNode());
                write_end(*element);
            }
        }
        element = next;
    }
}

bool ReplyWriter::write_start(const ReplyElement& element) {
    std::string& output = output_.get_end();
    output += '<';
    output += element.tagName();
    element.write_attributes(output);
    if (element.is_empty()) {
        output += "/>";
        return false;
    }
    output += '>';
    element.write_content(output_);
    return true;
}

void ReplyWriter::write_end(const ReplyElement& element) {
    std::string& output = output_.get_end();
    output += "</";
    output += element.tagName();
    output += '>';
}

}  // namespace kx::information_model::opc
