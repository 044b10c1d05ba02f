#pragma once

#include <string>

namespace gateway {

/// What a code of OPC XML-DA means, in a sentence; empty for codes that the gateway does not send.
std::string get_result_text(const std::string& code);

}  // namespace gateway
