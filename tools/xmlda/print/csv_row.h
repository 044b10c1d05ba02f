#pragma once

#include "xmlda/print/item_output.h"

#include <ostream>
#include <string>

namespace xmlda {

/// @name Changes as CSV (RFC 4180)
/// Rows end with a carriage return and a line feed. A text with a comma, a quote or a line break stands in
/// double quotes. Booleans are "true" and "false", arrays stand as in JSON, a value that there is none of is
/// empty.
/// @param with_recorded  whether the rows have the column "recorded"
/// @{
void write_csv_header(std::ostream& stream, bool with_recorded);
void write_csv_row(std::ostream& stream, const std::string& name, const ShownItem& item, bool with_recorded);
/// @}

}  // namespace xmlda
