#pragma once

#include "client/xml/XmlElement.h"

#include <memory>
#include <string_view>

namespace xmlda {

/// In which encodings a document may be.
enum class Encodings {
    ALL,
    WITH_ASCII  ///< those in which '<', '=' and quotes are the bytes that they are in ASCII, and UTF-16: who
                ///< has counted these bytes knows how large the document becomes in memory
};

/// A parsed document. The elements that it gives are valid as long as it lives, also when it is moved.
/// Several threads may read one document; each parses its own.
class XmlDocument {
public:
    /// Parses a document that somebody else wrote. Refused as they begin, whatever follows: document type
    /// declarations, which SOAP forbids, elements nested deeper than 100, and more than 256 namespaces at one
    /// place. Nothing else is loaded.
    /// @param bytes      at most the largest int of them, in an encoding that they declare themselves
    /// @param encodings  others are refused
    /// @throws UnexpectedMessage  not well-formed, or refused; with the line and what is wrong there
    explicit XmlDocument(std::string_view bytes, Encodings encodings = Encodings::ALL);

    const XmlElement& get_root() const { return root_; }

private:
    struct Memory;
    class Parser;
    struct Free {
        void operator()(Memory* memory) const;
    };

    std::unique_ptr<Memory, Free> memory_;
    XmlElement root_;
};

}  // namespace xmlda
