#pragma once

#include "client/replies.h"
#include "client/requests.h"

#include <optional>
#include <string>
#include <vector>

namespace xmlda {

/// What an item's properties say about its values. All of it may be missing.
struct ItemFacts {
    std::string type;           ///< as `to_type_name` gives it
    std::string access_rights;  ///< "readable", "writable", "readWritable"
    std::string unit;
    std::vector<std::string> symbols;  ///< of an enumerated item: the names of its numbers, from 0 on
    std::optional<int> fractional_digits;
    std::string low;   ///< the lower end of the range, a number's text
    std::string high;  ///< the upper end
    std::optional<Quality> quality;

    /// The name of a number, or null.
    const std::string* find_symbol(const std::string& number) const;
};

/// The properties that facts are made of, for `create_properties_request`.
const std::vector<std::string>& get_fact_names();

ItemFacts to_facts(const ItemProperties& properties);

/// For each item of a request the properties that the reply has of it, or null: by the items' names, or in
/// order where the server gives as many as it was asked for.
std::vector<const ItemProperties*> sort_properties(const std::vector<ItemAddress>& addresses,
                                                   const std::vector<ItemProperties>& items);

}  // namespace xmlda
