#pragma once

#include <string>

#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

namespace gateway {

/// The published schema, with an envelope around it.
class PublishedSchema {
public:
    /// @param envelope   path of the schema of the envelope
    /// @param published  path of the schema of what is in it
    PublishedSchema(const std::string& envelope, const std::string& published) {
        const std::string text =
            "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">"
            "<xs:import namespace=\"http://schemas.xmlsoap.org/soap/envelope/\" schemaLocation=\"" +
            envelope +
            "\"/><xs:import namespace=\"http://opcfoundation.org/webservices/XMLDA/1.0/\" "
            "schemaLocation=\"" +
            published + "\"/></xs:schema>";
        xmlSchemaParserCtxt* const parser =
            xmlSchemaNewMemParserCtxt(text.data(), static_cast<int>(text.size()));
        schema_ = xmlSchemaParse(parser);
        xmlSchemaFreeParserCtxt(parser);
        xmlSetStructuredErrorFunc(nullptr, [](void*, xmlErrorPtr) {});
    }
    PublishedSchema(const PublishedSchema&) = delete;
    PublishedSchema& operator=(const PublishedSchema&) = delete;
    ~PublishedSchema() { xmlSchemaFree(schema_); }

    /// Whether the schema could be read.
    bool is_usable() const { return schema_ != nullptr; }

    /// Whether a reply is well-formed and valid.
    bool allows(const std::string& reply) const {
        xmlDoc* const document =
            xmlReadMemory(reply.data(), static_cast<int>(reply.size()), nullptr, nullptr,
                          XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE);
        if (document == nullptr) {
            return false;
        }
        xmlSchemaValidCtxt* const validation = xmlSchemaNewValidCtxt(schema_);
        const bool is_valid = xmlSchemaValidateDoc(validation, document) == 0;
        xmlSchemaFreeValidCtxt(validation);
        xmlFreeDoc(document);
        return is_valid;
    }

private:
    xmlSchema* schema_ = nullptr;
};

}  // namespace gateway
