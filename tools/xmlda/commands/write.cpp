#include "client/ItemMatcher.h"
#include "client/outgoing_value.h"
#include "client/property_names.h"
#include "client/replies.h"
#include "client/type_names.h"
#include "xmlda/commands/commands.h"
#include "xmlda/print/Table.h"
#include "xmlda/print/item_output.h"
#include "xmlda/text/printable.h"

#include <algorithm>

namespace xmlda {
namespace {

/// What must be known of an item before a person's text can be written to it.
struct ItemFacts {
    std::string type;                  // empty if nobody knows
    std::string access_rights;         // "readable" and so on; empty if the server does not say
    std::vector<std::string> symbols;  // of an enumerated item, from 0 on
};

std::vector<std::string> get_symbols(const ItemProperties& properties) {
    std::vector<std::string> symbols;
    if (const Value* const value = properties.find(property_names::EU_INFO)) {
        for (const Value& member : value->members) {
            symbols.push_back(member.text);
        }
    }
    return symbols;
}

/// The type of the value that the item has now, for servers that do not tell an item's type.
std::string read_type(Client& client, const ItemAddress& address) {
    const ItemsReply reply = client.call(create_read_request({address}), parse_read_reply);
    const auto item = ItemMatcher({address}).sort(reply.items).front();
    return item && item->value ? item->value->type : "";
}

ItemFacts get_facts(Client& client, const ItemAddress& address) {
    using namespace property_names;
    const PropertiesReply reply = client.call(
        create_properties_request({address}, {DATA_TYPE, ACCESS_RIGHTS, EU_INFO}), parse_properties_reply);
    if (reply.items.empty()) {
        throw Failure(ExitStatus::MISSING_ITEM, "the server does not know it");
    }
    const ItemProperties& properties = reply.items.front();
    if (properties.result && properties.result->is_error()) {
        throw Failure(ExitStatus::ITEM_ERROR, properties.result->to_text());
    }
    ItemFacts facts{.type = to_type_name(properties.get_text(DATA_TYPE)),
                    .access_rights = properties.get_text(ACCESS_RIGHTS),
                    .symbols = get_symbols(properties)};
    if (!is_writable_type(facts.type)) {
        facts.type = read_type(client, address);
    }
    if (facts.type.empty()) {
        throw Failure(ExitStatus::NOT_WRITTEN,
                      "the server tells no type, perhaps it holds no value (--type names one)");
    }
    return facts;
}

/// The number of the symbol that the text names, else the text.
std::string to_symbol_number(const ItemFacts& facts, const std::string& text) {
    const auto found = std::find(facts.symbols.begin(), facts.symbols.end(), text);
    const bool is_symbol = is_number_type(facts.type) && found != facts.symbols.end();
    return is_symbol ? std::to_string(found - facts.symbols.begin()) : text;
}

/// What is written when a person typed `text`.
OutgoingValue to_outgoing_value(const ItemFacts& facts, const std::string& text) {
    try {
        return parse_outgoing_value(facts.type, to_symbol_number(facts, text));
    } catch (const UnsuitableText& error) {
        std::string message = error.what();
        for (const std::string& symbol : facts.symbols) {
            message += (&symbol == &facts.symbols.front() ? ", nor one of " : ", ") + symbol;
        }
        throw Failure(ExitStatus::USAGE, message);
    }
}

/// One run of the command.
class Writer {
public:
    Writer(Client& client, const Arguments& arguments, Console& console)
        : client_(client), arguments_(arguments), console_(console) {}

    void run() {
        for (const Assignment& assignment : arguments_.assignments) {
            prepare(assignment);
        }
        if (items_.size() < arguments_.assignments.size()) {
            console_.report("nothing was written");
            return;
        }
        write();
        print();
        report();
    }

private:
    void prepare(const Assignment& assignment) {
        try {
            const ItemFacts facts = arguments_.type ? ItemFacts{*arguments_.type, "", {}}
                                                    : get_facts(client_, assignment.address);
            items_.push_back({assignment.address, to_outgoing_value(facts, assignment.text)});
            access_rights_.push_back(facts.access_rights);
        } catch (const Failure& failure) {
            const bool is_about_item = failure.get_status() == ExitStatus::USAGE ||
                                       failure.get_status() == ExitStatus::MISSING_ITEM ||
                                       failure.get_status() == ExitStatus::ITEM_ERROR ||
                                       failure.get_status() == ExitStatus::NOT_WRITTEN;
            if (!is_about_item) {
                throw;
            }
            console_.report(failure.get_status(), assignment.address.name + ": " + failure.what());
        }
    }

    void write() {
        const ItemsReply reply = client_.call(create_write_request(items_, !arguments_.without_values),
                                              parse_write_reply, Repetition::FORBIDDEN);
        replies_ = ItemMatcher(get_addresses()).sort(reply.items);
    }

    std::vector<ItemAddress> get_addresses() const {
        std::vector<ItemAddress> addresses;
        for (const WriteItem& item : items_) {
            addresses.push_back(item.address);
        }
        return addresses;
    }

    bool is_written(std::size_t i) const { return replies_[i] && !replies_[i]->has_error(); }

    void print() {
        if (arguments_.json) {
            print_json();
        } else {
            print_table();
        }
        console_.flush();
    }

    void print_json() {
        JsonWriter json(console_.get_output(), JsonWriter::Layout::INDENTED);
        json.begin_array();
        for (std::size_t i = 0; i < items_.size(); ++i) {
            write_item(json, items_[i].address.name, replies_[i]);
        }
        json.end_array();
        console_.get_output() << '\n';
    }

    void print_table() {
        Table table;
        for (std::size_t i = 0; i < items_.size(); ++i) {
            if (is_written(i)) {
                auto cells = to_cells(items_[i].address.name, *replies_[i]);
                if (!replies_[i]->value) {
                    cells[1] = "written";
                }
                table.add_row(std::move(cells));
            }
        }
        table.print(console_.get_output());
    }

    void report() {
        for (std::size_t i = 0; i < items_.size(); ++i) {
            if (!is_written(i)) {
                console_.report(ExitStatus::NOT_WRITTEN,
                                items_[i].address.name + ": not written: " + get_reason(i));
            }
        }
    }

    std::string get_reason(std::size_t i) const {
        if (replies_[i]) {
            return get_error_text(replies_[i]);
        }
        return access_rights_[i] == "readable" ? "the server only allows to read it"
                                               : "the server did not acknowledge it";
    }

    Client& client_;
    const Arguments& arguments_;
    Console& console_;
    std::vector<WriteItem> items_;            // that could be prepared
    std::vector<std::string> access_rights_;  // of these
    std::vector<std::optional<ItemReply>> replies_;
};

}  // namespace

void run_write(Client& client, const Arguments& arguments, Console& console) {
    Writer(client, arguments, console).run();
}

}  // namespace xmlda
