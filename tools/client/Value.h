#pragma once

#include "client/Quality.h"
#include "client/xml/XmlElement.h"

#include <string>
#include <vector>

namespace xmlda {

/// A value as a server wrote it: texts, with the type's name. Nothing is converted, so that what is shown is
/// what the server said.
struct Value {
    enum class Kind {
        NIL,     ///< said to be none
        SCALAR,  ///< `text`
        LIST     ///< `members`
    };

    Kind kind = Kind::SCALAR;
    std::string type;  ///< "double", "ArrayOfDouble"; with its prefix if it is neither of XML Schema nor of
                       ///< OPC XML-DA; empty if the server named none. The prefix "xsd" need not be declared
    std::string text;  ///< without blanks around it, unless the type is "string" or unknown
    std::vector<Value> members;

    bool operator==(const Value&) const = default;
};

/// Reads an element "Value". Of a quality, which the published schema writes as attributes, `text` is what
/// `Quality::to_text` gives.
Value parse_value(const XmlElement& element);

/// Reads the quality that an element has as attributes; what is absent is ordinary.
Quality parse_quality(const XmlElement& element);

}  // namespace xmlda
