#include "client/ItemMatcher.h"
#include "xmlda/commands/commands.h"
#include "xmlda/print/Table.h"
#include "xmlda/print/item_output.h"

namespace xmlda {
namespace {

using Items = std::vector<std::optional<ItemReply>>;  // for each that was asked for

void print_json(const Arguments& arguments, const Items& items, std::ostream& stream) {
    JsonWriter json(stream, JsonWriter::Layout::INDENTED);
    json.begin_array();
    for (std::size_t i = 0; i < items.size(); ++i) {
        write_item(json, arguments.items[i].name, items[i]);
    }
    json.end_array();
    stream << '\n';
}

void print_values(const Items& items, std::ostream& stream) {
    for (const auto& item : items) {
        stream << (item && !item->has_error() ? get_value_text(*item) : "") << '\n';
    }
}

void print_table(const Arguments& arguments, const Items& items, std::ostream& stream) {
    Table table;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i] && !items[i]->has_error()) {
            table.add_row(to_cells(arguments.items[i].name, *items[i]));
        }
    }
    table.print(stream);
}

void print(const Arguments& arguments, const Items& items, std::ostream& stream) {
    if (arguments.json) {
        print_json(arguments, items, stream);
    } else if (arguments.values_only) {
        print_values(items, stream);
    } else {
        print_table(arguments, items, stream);
    }
}

}  // namespace

void run_read(Client& client, const Arguments& arguments, Console& console) {
    const ItemsReply reply = client.call(create_read_request(arguments.items), parse_read_reply);
    const Items items = ItemMatcher(arguments.items).sort(reply.items);
    print(arguments, items, console.get_output());
    console.flush();  // the values first, then what is wrong with the others
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (!items[i] || items[i]->has_error()) {
            console.report(items[i] ? ExitStatus::ITEM_ERROR : ExitStatus::MISSING_ITEM,
                           arguments.items[i].name + ": " + get_error_text(items[i]));
        }
    }
}

}  // namespace xmlda
