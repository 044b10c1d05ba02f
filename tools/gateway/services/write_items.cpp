#include "gateway/services/SoapServices.h"
#include "gateway/values/convert_value.h"

#include "client/errors.h"
#include "client/type_names.h"

#include <charconv>
#include <cmath>
#include <utility>

namespace gateway {
namespace {

using Kind = ItemState::Kind;

/// "true" and "false" are not understood by the server.
std::string to_server_text(const xmlda::Value& value) {
    if (value.type == "boolean") {
        return value.text == "true" ? "1" : "0";
    }
    return value.text;
}

xmlda::OutgoingValue to_outgoing(const xmlda::Value& value) {
    xmlda::OutgoingValue outgoing{.type = value.type, .texts = {}};
    if (value.kind == xmlda::Value::Kind::SCALAR) {
        outgoing.texts.push_back(to_server_text(value));
    }
    for (const xmlda::Value& member : value.members) {
        outgoing.texts.push_back(to_server_text(member));
    }
    return outgoing;
}

bool is_special(const xmlda::Value& value) {
    return value.text == "INF" || value.text == "-INF" || value.text == "NaN";
}

/// What the server would read as 0.
bool holds_special_number(const xmlda::Value& value) {
    if (xmlda::is_array_type(value.type)) {
        for (const xmlda::Value& member : value.members) {
            if (member.type != "string" && is_special(member)) {
                return true;
            }
        }
        return false;
    }
    return value.type != "string" && is_special(value);
}

bool is_symbol(const xmlda::Value& value, std::size_t symbols) {
    std::size_t position = 0;
    const auto [end, error] =
        std::from_chars(value.text.data(), value.text.data() + value.text.size(), position);
    return error == std::errc() && end == value.text.data() + value.text.size() && position < symbols;
}

/// Checks an order as far as that is possible without writing.
/// @return the code, or nothing in it and the value as the item wants it
ConvertedValue check(const WriteOrder& order, bool is_read_only) {
    ConvertedValue result;
    if (!order.item) {
        result.code = "E_INVALIDITEMNAME";
    } else if (order.item->state.kind == Kind::MISSING || order.item->state.kind == Kind::BRANCH) {
        result.code = "E_UNKNOWNITEMNAME";
    } else if (order.has_extras) {
        result.code = "E_NOTSUPPORTED";
    } else if (is_read_only || !order.item->facts.is_writable) {
        result.code = "E_READONLY";
    } else {
        const ItemFacts& facts = order.item->facts;
        result = convert_value(order.value, facts.type, Fractions::REFUSED);
        const bool is_out_of_range =
            result.code.empty() &&
            (holds_special_number(result.value) ||
             (!facts.symbols.empty() && result.value.kind == xmlda::Value::Kind::SCALAR &&
              !is_symbol(result.value, facts.symbols.size())));
        if (is_out_of_range) {
            result.code = "E_RANGE";
        }
    }
    return result;
}

/// Whether the server stored another number than it was sent; it keeps six digits behind the point.
bool is_changed(const xmlda::Value& sent, const xmlda::Value& stored) {
    if (!xmlda::is_number_type(sent.type) || stored.kind != xmlda::Value::Kind::SCALAR) {
        return false;
    }
    double before = 0;
    double after = 0;
    std::from_chars(sent.text.data() + (sent.text.starts_with('+') ? 1 : 0),
                    sent.text.data() + sent.text.size(), before);
    std::from_chars(stored.text.data(), stored.text.data() + stored.text.size(), after);
    return std::abs(before - after) > 1e-6 + 1e-6 * std::abs(before);
}

void set_all(std::vector<WriteResult>& results, const std::string& code) {
    for (WriteResult& result : results) {
        if (result.code.empty()) {
            result.code = code;
        }
    }
}

}  // namespace

Task<std::vector<WriteResult>> write_items(const ServiceParts& parts, std::vector<WriteOrder> orders) {
    std::vector<WriteResult> results(orders.size());
    std::vector<std::shared_ptr<Item>> items;
    for (const WriteOrder& order : orders) {
        if (order.item) {
            items.push_back(order.item);
        }
    }
    if (!co_await parts.sampler.read(items, Sampler::Scope::ALL_FACTS)) {
        set_all(results, "E_SERVERSTATE");
        co_return results;
    }
    std::vector<std::size_t> positions;
    std::vector<xmlda::WriteItem> to_write;
    std::vector<xmlda::Value> values;
    for (std::size_t i = 0; i < orders.size(); ++i) {
        ConvertedValue checked = check(orders[i], parts.is_read_only);
        results[i].code = std::move(checked.code);
        if (results[i].code.empty()) {
            positions.push_back(i);
            to_write.push_back(
                {.address = {.name = orders[i].item->path, .path = {}}, .value = to_outgoing(checked.value)});
            values.push_back(std::move(checked.value));
        }
    }
    if (to_write.empty()) {
        co_return results;
    }
    std::vector<std::optional<xmlda::Value>> written;
    try {
        written = co_await parts.client.write(std::move(to_write));
    } catch (const std::runtime_error&) {
        set_all(results, "E_TIMEDOUT");
    }
    for (std::size_t i = 0; i < written.size(); ++i) {
        WriteResult& result = results[positions[i]];
        if (!written[i]) {
            result.code = "E_RANGE";
        } else if (is_changed(values[i], *written[i])) {
            result.code = "S_CLAMP";
        }
        result.value = std::move(written[i]);
    }
    parts.sampler.hurry();
    co_return results;
}

}  // namespace gateway
