#pragma once

#include "server/RequestBuilder.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>

#include <string>

namespace kx::information_model::opc {

/// Parses a request; what comes of it, and what is refused, is said at `RequestBuilder`.
Poco::AutoPtr<Poco::XML::Document> parse_request(const std::string& body);

}  // namespace kx::information_model::opc
