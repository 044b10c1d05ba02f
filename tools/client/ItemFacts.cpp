#include "client/ItemFacts.h"

#include "client/property_names.h"
#include "client/type_names.h"

#include <charconv>
#include <map>

namespace xmlda {
namespace {

template <class Number>
std::optional<Number> parse_whole(const std::string& text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// Servers may put a separator in front of a name that the request did without.
std::string without_slash(const std::string& name) {
    return name.starts_with('/') ? name.substr(1) : name;
}

}  // namespace

const std::string* ItemFacts::find_symbol(const std::string& number) const {
    const auto index = parse_whole<std::size_t>(number);
    return index && *index < symbols.size() ? &symbols[*index] : nullptr;
}

const std::vector<std::string>& get_fact_names() {
    using namespace property_names;
    static const std::vector<std::string> names = {
        DATA_TYPE, ACCESS_RIGHTS, ENGINEERING_UNITS, EU_INFO, FRACTIONAL_DIGITS, LOW_EU, HIGH_EU, QUALITY};
    return names;
}

ItemFacts to_facts(const ItemProperties& properties) {
    using namespace property_names;
    ItemFacts facts{.type = to_type_name(properties.get_text(DATA_TYPE)),
                    .access_rights = properties.get_text(ACCESS_RIGHTS),
                    .unit = properties.get_text(ENGINEERING_UNITS),
                    .symbols = {},
                    .fractional_digits = parse_whole<int>(properties.get_text(FRACTIONAL_DIGITS)),
                    .low = properties.get_text(LOW_EU),
                    .high = properties.get_text(HIGH_EU),
                    .quality = std::nullopt};
    if (const Value* const value = properties.find(EU_INFO)) {
        for (const Value& member : value->members) {
            facts.symbols.push_back(member.text);
        }
    }
    if (const Value* const value = properties.find(QUALITY)) {
        facts.quality = to_quality(value->text);
    }
    return facts;
}

std::vector<const ItemProperties*> sort_properties(const std::vector<ItemAddress>& addresses,
                                                   const std::vector<ItemProperties>& items) {
    std::vector<const ItemProperties*> sorted(addresses.size(), nullptr);
    std::map<std::string, const ItemProperties*> by_name;
    for (const ItemProperties& item : items) {
        by_name.emplace(without_slash(item.item_name), &item);
    }
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        const auto found = by_name.find(without_slash(addresses[i].name));
        if (found != by_name.end()) {
            sorted[i] = found->second;
        } else if (items.size() == addresses.size()) {
            sorted[i] = &items[i];
        }
    }
    return sorted;
}

}  // namespace xmlda
