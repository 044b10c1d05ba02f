#include "xmlda/print/item_output.h"

#include "xmlda/print/value_text.h"
#include "xmlda/text/printable.h"

namespace xmlda {
namespace {

void write_quality(JsonWriter& json, const Quality& quality) {
    const Quality ordinary;
    json.member("quality", quality.field);
    if (quality.limit != ordinary.limit) {
        json.member("limit", quality.limit);
    }
    if (quality.vendor != ordinary.vendor) {
        json.member("vendorQuality", quality.vendor);
    }
}

void write_details(JsonWriter& json, const ItemReply& item) {
    if (item.value) {
        json.key("value").value(*item.value);
        json.member("type", item.value->type);
    }
    json.member("timestamp", item.timestamp.value_or(""));
    if (item.quality) {
        write_quality(json, *item.quality);
    }
    if (item.result) {
        write_result(json, *item.result);
    }
    json.member("diagnostic", item.diagnostic);
}

}  // namespace

std::vector<std::string> to_cells(const std::string& name, const ItemReply& item) {
    return {to_printable(name),
            get_value_text(item),
            item.value ? to_printable(item.value->type) : "",
            to_printable(item.timestamp.value_or("")),
            get_quality_text(item),
            item.result ? to_printable(item.result->to_text()) : ""};
}

std::string get_value_text(const ItemReply& item) {
    return item.value ? to_text(*item.value) : "(no value)";
}

std::string get_quality_text(const ItemReply& item) {
    return item.quality ? to_printable(item.quality->to_text()) : "";
}

std::string get_error_text(const std::optional<ItemReply>& item) {
    if (!item) {
        return "missing from the reply: the server does not know it";
    }
    return item->result->to_text() + (item->diagnostic.empty() ? "" : " (" + item->diagnostic + ')');
}

void write_item(JsonWriter& json, const std::string& name, const std::optional<ItemReply>& item) {
    json.begin_object().key("item").text(name);
    if (item) {
        write_details(json, *item);
    } else {
        json.key("missing").boolean(true);
    }
    json.end_object();
}

void write_result(JsonWriter& json, const Result& result) {
    json.key("result").begin_object().member("code", result.code).member("text", result.text).end_object();
}

}  // namespace xmlda
