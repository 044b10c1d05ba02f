#pragma once

#include "server/message/AMessage.h"

#include <optional>
#include <string>

namespace kx::information_model::opc {

/// What the "Options" element of a request asks for.
///
/// The values below hold for a request without that element. In an element that is there, an attribute
/// that is not there means true. The two differ; kept: clients rely on it.
struct RequestOptions {
    bool return_error_text = true;                                    ///< has no effect
    bool return_diagnostic_info = false;                              ///< has no effect
    bool return_item_time = false;                                    ///< whether items carry "Timestamp"
    bool return_item_path = false;                                    ///< has no effect
    std::optional<std::string> client_request_handle = std::nullopt;  ///< echoed in the result element
};

/// Reads the first "Options" child of `request`.
/// @param message  the message that parses `request`
/// @throws Poco::SyntaxException  if an attribute is not a bool
RequestOptions read_options(const AMessage& message, const Poco::XML::Node& request);

}  // namespace kx::information_model::opc
