#include "xmlda/print/csv_row.h"

#include "xmlda/print/JsonWriter.h"

#include <sstream>
#include <string_view>

namespace xmlda {
namespace {

constexpr char END_OF_ROW[] = "\r\n";

std::string quote(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char character : text) {
        quoted += character == '"' ? "\"\"" : std::string(1, character);
    }
    return quoted + '"';
}

std::string get_value_field(const Value& value) {
    if (value.kind == Value::Kind::NIL) {
        return "";
    }
    if (value.kind == Value::Kind::SCALAR && value.type != "boolean") {
        return value.text;
    }
    std::ostringstream stream;
    JsonWriter(stream, JsonWriter::Layout::ONE_LINE).value(value);
    return stream.str();
}

}  // namespace

void write_csv_header(std::ostream& stream, bool with_recorded) {
    stream << "item,time,value,type,unit,quality,result" << (with_recorded ? ",recorded" : "") << END_OF_ROW;
}

void write_csv_row(std::ostream& stream, const std::string& name, const ShownItem& item, bool with_recorded) {
    const ItemReply& reply = item.reply;
    const auto quality = item.get_quality();
    stream << quote(name) << ',' << quote(reply.timestamp.value_or("")) << ','
           << (reply.value ? quote(get_value_field(*reply.value)) : "") << ','
           << (reply.value ? quote(reply.value->type) : "") << ',' << quote(item.facts.unit) << ','
           << (quality ? quote(quality->to_text()) : "") << ','
           << (reply.result ? quote(reply.result->code) : "");
    if (with_recorded) {
        stream << ',' << quote(item.recorded);
    }
    stream << END_OF_ROW;
}

}  // namespace xmlda
