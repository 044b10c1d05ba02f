#pragma once

#include <Poco/SAX/NamespaceSupport.h>

#include <string>

namespace kx::information_model::opc {

/// The name of an element or attribute of a request, as it stands there or as it is looked for.
struct XmlName {
    std::string uri;  ///< of the namespace; empty if there is none
    std::string local_name;
    std::string qualified_name;  ///< local name with the prefix, if there is one

    /// Takes a name apart that is to be looked for.
    /// @param qualified_name  with or without a prefix, one of `request_names`
    /// @param namespaces      declares the prefix; if it does not, nothing has that name
    static XmlName resolve(const std::string& qualified_name, const Poco::XML::NamespaceSupport& namespaces);

    bool has_prefix() const noexcept { return qualified_name.size() != local_name.size(); }
    std::string get_prefix() const;
};

}  // namespace kx::information_model::opc
