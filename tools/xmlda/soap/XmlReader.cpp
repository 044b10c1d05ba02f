#include "xmlda/soap/XmlReader.h"

#include "xmlda/Failure.h"

#include <expat.h>

#include <exception>
#include <map>
#include <string>
#include <utility>

namespace xmlda {
namespace {

constexpr std::size_t MAXIMUM_DEPTH = 100;  // replies nest some ten deep
constexpr char SEPARATOR = '\n';            // between namespace and name; occurs in neither

QualifiedName split_name(const char* text) {
    const std::string name = text;
    const std::size_t separator = name.rfind(SEPARATOR);
    return separator == std::string::npos
               ? QualifiedName{"", name}
               : QualifiedName{name.substr(0, separator), name.substr(separator + 1)};
}

std::string get_text(const char* text) {
    return text == nullptr ? "" : text;
}

/// Builds the elements from expat's events. Expat is C: what is thrown in a callback is kept, the parse is
/// stopped, and the failure is thrown when expat has returned.
class Builder {
public:
    Builder() : parser_(XML_ParserCreateNS(nullptr, SEPARATOR)) {
        if (parser_ == nullptr) {
            throw std::bad_alloc();
        }
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(parser_, start_element, end_element);
        XML_SetCharacterDataHandler(parser_, take_text);
        XML_SetStartNamespaceDeclHandler(parser_, declare_prefix);
        XML_SetStartDoctypeDeclHandler(parser_, refuse_document_type);
    }
    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;
    ~Builder() { XML_ParserFree(parser_); }

    std::unique_ptr<XmlElement> build(std::string_view document) {
        const XML_Status status =
            XML_Parse(parser_, document.data(), static_cast<int>(document.size()), XML_TRUE);
        if (failure_ != nullptr) {
            std::rethrow_exception(failure_);
        }
        if (status != XML_STATUS_OK) {
            throw create_failure(XML_ErrorString(XML_GetErrorCode(parser_)));
        }
        return std::move(root_);
    }

private:
    Failure create_failure(const std::string& reason) const {
        return {ExitStatus::UNEXPECTED_CONTENT, "the reply is not the XML it should be: " + reason +
                                                    " in line " +
                                                    std::to_string(XML_GetCurrentLineNumber(parser_))};
    }

    template <class Action>
    static void guard(void* user, Action action) noexcept {
        Builder& builder = *static_cast<Builder*>(user);
        if (builder.failure_ != nullptr) {
            return;
        }
        try {
            action(builder);
        } catch (...) {
            builder.failure_ = std::current_exception();
            XML_StopParser(builder.parser_, XML_FALSE);
        }
    }

    static void XMLCALL start_element(void* user, const char* name, const char** attributes) {
        guard(user, [&](Builder& builder) { builder.start(name, attributes); });
    }

    static void XMLCALL end_element(void* user, const char* /*name*/) {
        guard(user, [](Builder& builder) { builder.open_.pop_back(); });
    }

    static void XMLCALL take_text(void* user, const char* text, int size) {
        guard(user, [&](Builder& builder) {
            builder.open_.back()->add_text({text, static_cast<std::size_t>(size)});
        });
    }

    static void XMLCALL declare_prefix(void* user, const char* prefix, const char* uri) {
        guard(user, [&](Builder& builder) { builder.prefixes_[get_text(prefix)] = get_text(uri); });
    }

    static void XMLCALL refuse_document_type(void* user, const char* /*name*/, const char* /*system_id*/,
                                             const char* /*public_id*/, int /*has_internal_subset*/) {
        guard(user, [](Builder& builder) { throw builder.create_failure("a document type declaration"); });
    }

    void start(const char* name, const char** attributes) {
        if (open_.size() == MAXIMUM_DEPTH) {
            throw create_failure("elements nested too deep");
        }
        XmlElement& element = add_element(split_name(name));
        for (auto& [prefix, uri] : prefixes_) {
            element.declare_prefix(prefix, uri);
        }
        prefixes_.clear();
        for (; *attributes != nullptr; attributes += 2) {
            element.add_attribute(split_name(attributes[0]), attributes[1]);
        }
        open_.push_back(&element);
    }

    XmlElement& add_element(QualifiedName name) {
        if (!open_.empty()) {
            return open_.back()->add_child(std::move(name));
        }
        root_ = std::make_unique<XmlElement>(std::move(name), nullptr);
        return *root_;
    }

    XML_Parser parser_;
    std::unique_ptr<XmlElement> root_;
    std::vector<XmlElement*> open_;                // from the document's element to the innermost open one
    std::map<std::string, std::string> prefixes_;  // declared for the element that starts next
    std::exception_ptr failure_;
};

}  // namespace

std::unique_ptr<XmlElement> parse_xml(std::string_view document) {
    return Builder().build(document);
}

}  // namespace xmlda
