#include "xml/XmlName.h"

namespace kx::information_model::opc {

XmlName XmlName::resolve(const std::string& qualified_name, const Poco::XML::NamespaceSupport& namespaces) {
    const auto colon = qualified_name.find(':');
    if (colon == std::string::npos) {
        return {.uri = {}, .local_name = qualified_name, .qualified_name = qualified_name};
    }
    return {.uri = namespaces.getURI(qualified_name.substr(0, colon)),
            .local_name = qualified_name.substr(colon + 1),
            .qualified_name = qualified_name};
}

std::string XmlName::get_prefix() const {
    return has_prefix() ? qualified_name.substr(0, qualified_name.size() - local_name.size() - 1)
                        : std::string();
}

}  // namespace kx::information_model::opc
