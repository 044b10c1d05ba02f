#pragma once

#include "client/ItemFacts.h"
#include "xmlda/print/Console.h"
#include "xmlda/print/Table.h"

#include "client/replies.h"
#include "xmlda/print/JsonWriter.h"

#include <optional>
#include <string>
#include <vector>

namespace xmlda {

/// An item with what its properties say, which is nothing if the server was not asked.
struct ShownItem {
    ItemReply reply;
    ItemFacts facts;
    std::string recorded = {};  ///< when it was recorded; empty unless it comes from a record

    /// The value's quality: the reply's, else that among the properties.
    std::optional<Quality> get_quality() const { return reply.quality ? reply.quality : facts.quality; }
};

/// The cells of a table's row about an item, for programs: name, value, type, timestamp, quality if the reply
/// has it or if it is not good, and a code of success if the server gave one.
std::vector<Cell> to_cells(const std::string& name, const ShownItem& item);

/// The same for people: name, value with unit, time, quality if it is not good, code.
/// @param utc  write times in full, in UTC
std::vector<Cell> to_cells_for_people(const std::string& name, const ShownItem& item, bool utc,
                                      const Console& console);

/// The value for people with what is known of the item, or "(no value)".
std::string get_value_text(const ShownItem& item);

/// The value for people, or "(no value)".
std::string get_value_text(const ItemReply& item);

/// The quality; empty if it is good, unless the reply has it.
std::string get_quality_text(const ShownItem& item);

/// Why the server gives no value, for a message.
/// Requires: the item has an error.
std::string get_error_text(const ItemReply& item);

/// Writes an object about an item; one that is missing from the reply has the member "missing".
void write_item(JsonWriter& json, const std::string& name, const std::optional<ShownItem>& item);

/// The members of such an object without its name.
void write_details(JsonWriter& json, const ShownItem& item);

/// Writes the code that a server gave as the member "result".
void write_result(JsonWriter& json, const Result& result);

}  // namespace xmlda
