#pragma once

#include "client/replies.h"
#include "xmlda/print/JsonWriter.h"

#include <optional>
#include <string>
#include <vector>

namespace xmlda {

/// The cells of a table's row about an item: name, value, type, timestamp, quality, and a code of success if
/// the server gave one.
std::vector<std::string> to_cells(const std::string& name, const ItemReply& item);

/// The value for people, or "(no value)".
std::string get_value_text(const ItemReply& item);

/// The quality for people; empty if the server gave none.
std::string get_quality_text(const ItemReply& item);

/// Why the server gives no value, for a message; for an item that is missing from the reply as well.
/// Requires: the item is missing or has an error.
std::string get_error_text(const std::optional<ItemReply>& item);

/// Writes an object about an item; one that is missing from the reply has the member "missing".
void write_item(JsonWriter& json, const std::string& name, const std::optional<ItemReply>& item);

/// Writes the code that a server gave as the member "result".
void write_result(JsonWriter& json, const Result& result);

}  // namespace xmlda
