#include "xmlda/print/item_output.h"

#include "xmlda/print/clock_text.h"
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

std::string get_result_text(const ItemReply& item) {
    return item.result ? to_printable(item.result->to_text()) : "";
}

}  // namespace

std::vector<Cell> to_cells(const std::string& name, const ShownItem& item) {
    const ItemReply& reply = item.reply;
    return {to_printable(name),
            get_value_text(reply),
            reply.value ? to_printable(reply.value->type) : "",
            to_printable(reply.timestamp.value_or("")),
            get_quality_text(item),
            get_result_text(reply)};
}

std::vector<Cell> to_cells_for_people(const std::string& name, const ShownItem& item, bool utc,
                                      const Console& console) {
    const std::string time = item.reply.timestamp.value_or("");
    const Quality quality = item.get_quality().value_or(Quality());
    const std::string style = console.get_style(quality);
    return {to_printable(name), Cell(get_value_text(item), style),
            to_printable(utc ? to_utc(time) : to_local_time(time)),
            Cell(quality == Quality() ? "" : to_printable(quality.to_text()), style),
            get_result_text(item.reply)};
}

std::string get_value_text(const ItemReply& item) {
    return item.value ? to_text(*item.value) : "(no value)";
}

std::string get_value_text(const ShownItem& item) {
    return item.reply.value ? to_text(*item.reply.value, item.facts) : "(no value)";
}

std::string get_quality_text(const ShownItem& item) {
    const auto quality = item.get_quality();
    const bool is_shown = quality && (item.reply.quality || *quality != Quality());
    return is_shown ? to_printable(quality->to_text()) : "";
}

std::string get_error_text(const ItemReply& item) {
    return item.result->to_text() + (item.diagnostic.empty() ? "" : " (" + item.diagnostic + ')');
}

void write_details(JsonWriter& json, const ShownItem& item) {
    const ItemReply& reply = item.reply;
    if (reply.value) {
        json.key("value").value(*reply.value);
        json.member("type", reply.value->type);
        const std::string* const symbol = item.facts.find_symbol(reply.value->text);
        json.member("symbol", symbol == nullptr ? "" : *symbol);
    }
    json.member("unit", item.facts.unit);
    json.member("timestamp", reply.timestamp.value_or(""));
    json.member("recorded", item.recorded);
    if (const auto quality = item.get_quality()) {
        write_quality(json, *quality);
    }
    if (reply.result) {
        write_result(json, *reply.result);
    }
    json.member("diagnostic", reply.diagnostic);
}

void write_item(JsonWriter& json, const std::string& name, const std::optional<ShownItem>& item) {
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
