#include "client/replies.h"
#include "xmlda/commands/commands.h"
#include "xmlda/print/JsonWriter.h"
#include "xmlda/print/Table.h"
#include "xmlda/text/printable.h"

namespace xmlda {
namespace {

std::string join(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() ? "" : ", ") + text;
    }
    return joined;
}

void print_table(const StatusReply& reply, std::ostream& stream) {
    Table table;
    const auto add = [&table](const char* name, const std::string& text) {
        if (!text.empty()) {
            table.add_row({name, to_printable(text)});
        }
    };
    add("State", reply.header.server_state);
    add("Information", reply.info);
    add("Vendor", reply.vendor);
    add("Version", reply.version);
    add("Started", reply.start_time);
    add("Server time", reply.header.reply_time);
    add("Locales", join(reply.locales));
    add("Interfaces", join(reply.interfaces));
    table.print(stream);
}

void print_texts(JsonWriter& json, const char* name, const std::vector<std::string>& texts) {
    json.key(name).begin_array();
    for (const std::string& text : texts) {
        json.text(text);
    }
    json.end_array();
}

void print_json(const StatusReply& reply, std::ostream& stream) {
    JsonWriter json(stream, JsonWriter::Layout::INDENTED);
    json.begin_object()
        .member("state", reply.header.server_state)
        .member("information", reply.info)
        .member("vendor", reply.vendor)
        .member("version", reply.version)
        .member("started", reply.start_time)
        .member("serverTime", reply.header.reply_time);
    print_texts(json, "locales", reply.locales);
    print_texts(json, "interfaces", reply.interfaces);
    json.end_object();
    stream << '\n';
}

}  // namespace

void run_status(Client& client, const Arguments& arguments, Console& console) {
    const StatusReply reply = client.call(create_status_request(), parse_status_reply);
    if (arguments.json) {
        print_json(reply, console.get_output());
    } else {
        print_table(reply, console.get_output());
    }
    console.flush();
    if (!is_running(reply.header)) {
        console.report(ExitStatus::NOT_RUNNING, "the server's state is '" + reply.header.server_state + "'");
    }
}

}  // namespace xmlda
