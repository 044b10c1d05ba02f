#include "client/ItemFacts.h"
#include "client/ItemMatcher.h"
#include "client/outgoing_value.h"
#include "client/replies.h"
#include "client/type_names.h"
#include "xmlda/commands/commands.h"
#include "xmlda/commands/select_items.h"
#include "xmlda/print/Table.h"
#include "xmlda/print/item_output.h"
#include "xmlda/text/printable.h"

#include <algorithm>
#include <charconv>

namespace xmlda {
namespace {

/// The type of the value that the item has now, for servers that do not tell an item's type.
std::string read_type(Client& client, const ItemAddress& address) {
    const ItemsReply reply = client.call(create_read_request({address}), parse_read_reply);
    const auto item = ItemMatcher({address}).sort(reply.items).front();
    return item && item->value ? item->value->type : "";
}

ItemFacts get_facts(Client& client, Console& console, const ItemAddress& address) {
    const PropertiesReply reply =
        client.call(create_properties_request({address}, get_fact_names()), parse_properties_reply);
    if (reply.items.empty()) {
        throw Failure(ExitStatus::MISSING_ITEM, "the server does not know it");
    }
    const ItemProperties& properties = reply.items.front();
    if (properties.result && properties.result->is_error()) {
        throw Failure(ExitStatus::ITEM_ERROR, properties.result->to_text());
    }
    ItemFacts facts = to_facts(properties);
    if (!is_writable_type(facts.type)) {
        facts.type = read_type(client, address);
    }
    if (facts.type.empty()) {
        throw Failure(ExitStatus::NOT_WRITTEN,
                      is_branch(client, console, address)
                          ? "is a branch, which has no value"
                          : "the server gives no type, perhaps the item has no value (--type sets one)");
    }
    return facts;
}

/// The number of the symbol that the text names, else the text.
std::string to_symbol_number(const ItemFacts& facts, const std::string& text) {
    const auto found = std::find(facts.symbols.begin(), facts.symbols.end(), text);
    const bool is_symbol = is_number_type(facts.type) && found != facts.symbols.end();
    return is_symbol ? std::to_string(found - facts.symbols.begin()) : text;
}

std::string join_symbols(const ItemFacts& facts, bool with_numbers) {
    std::string joined;
    for (std::size_t i = 0; i < facts.symbols.size(); ++i) {
        joined += (i == 0 ? "" : ", ") + (with_numbers ? std::to_string(i) + " (" : "") + facts.symbols[i] +
                  (with_numbers ? ")" : "");
    }
    return joined;
}

/// What is written when a person typed `text`.
OutgoingValue to_outgoing_value(const ItemFacts& facts, const std::string& text) {
    try {
        return parse_outgoing_value(facts.type, to_symbol_number(facts, text));
    } catch (const UnsuitableText& error) {
        throw Failure(
            ExitStatus::USAGE,
            error.what() + (facts.symbols.empty() ? "" : ", nor one of " + join_symbols(facts, false)));
    }
}

/// A number's text as a number, for comparisons.
std::optional<double> to_number(const std::string& text) {
    double number = 0;
    const char* const begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const auto [end, error] = std::from_chars(begin, text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// Why a member of a value is outside of what the item is for; empty if it is not.
std::string find_objection(const ItemFacts& facts, const std::string& text) {
    const auto number = to_number(text);
    if (!facts.symbols.empty()) {
        return facts.find_symbol(text) == nullptr ? text + " is not one of " + join_symbols(facts, true) : "";
    }
    const auto low = to_number(facts.low);
    const auto high = to_number(facts.high);
    const std::string unit = facts.unit.empty() ? "" : ' ' + facts.unit;
    if (number && low && *number < *low) {
        return text + " is below the limit of " + facts.low + unit;
    }
    return number && high && *number > *high ? text + " is above the limit of " + facts.high + unit : "";
}

/// Why a value is outside of what the item is for; empty if it is not.
std::string find_objection(const ItemFacts& facts, const OutgoingValue& value) {
    const std::string scalar = is_array_type(value.type) ? get_member_type(value.type) : value.type;
    if (!is_number_type(scalar)) {
        return "";
    }
    for (const std::string& text : value.texts) {
        if (std::string objection = find_objection(facts, text); !objection.empty()) {
            return objection;
        }
    }
    return "";
}

/// The value as if a server had it.
Value to_value(const OutgoingValue& outgoing) {
    if (!is_array_type(outgoing.type)) {
        return {Value::Kind::SCALAR, outgoing.type, outgoing.texts.front(), {}};
    }
    Value value{Value::Kind::LIST, outgoing.type, "", {}};
    for (const std::string& text : outgoing.texts) {
        value.members.push_back({Value::Kind::SCALAR, get_member_type(outgoing.type), text, {}});
    }
    return value;
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
        if (arguments_.dry_run) {
            show_only();
            return;
        }
        write();
        print();
        report();
    }

private:
    void prepare(const Assignment& assignment) {
        try {
            ItemFacts facts;
            if (arguments_.type) {
                facts.type = *arguments_.type;
            } else {
                facts = get_facts(client_, console_, assignment.address);
            }
            const OutgoingValue value = to_outgoing_value(facts, assignment.text);
            object(assignment.address, facts, value);
            items_.push_back({assignment.address, value});
            facts_.push_back(facts);
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

    /// Refuses what the item is not for, or with "--force" warns of it.
    void object(const ItemAddress& address, const ItemFacts& facts, const OutgoingValue& value) {
        const std::string objection = find_objection(facts, value);
        if (objection.empty()) {
            return;
        }
        if (!arguments_.force) {
            throw Failure(ExitStatus::USAGE, objection + " (--force writes it anyway)");
        }
        console_.report(address.name + ": " + objection);
    }

    /// Shows what would be written.
    void show_only() {
        for (std::size_t i = 0; i < items_.size(); ++i) {
            ItemReply reply;
            reply.value = to_value(items_[i].value);
            replies_.emplace_back(std::move(reply));
        }
        print();
        console_.report("nothing was written (--dry-run)");
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
            write_item(json, items_[i].address.name, get_shown(i));
        }
        json.end_array();
        console_.get_output() << '\n';
    }

    void print_table() {
        Table table;
        for (std::size_t i = 0; i < items_.size(); ++i) {
            if (is_written(i)) {
                auto cells =
                    console_.is_terminal()
                        ? to_cells_for_people(items_[i].address.name, *get_shown(i), arguments_.utc, console_)
                        : to_cells(items_[i].address.name, *get_shown(i));
                if (!replies_[i]->value) {
                    cells[1] = "written";
                }
                table.add_row(std::move(cells));
            }
        }
        table.print(console_.get_output(), console_.get_width());
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
            return get_error_text(*replies_[i]);
        }
        return facts_[i].access_rights == "readable" ? "the item is read-only"
                                                     : "the server did not confirm it";
    }

    /// What is to be shown of an item. Its quality is that of before the write.
    std::optional<ShownItem> get_shown(std::size_t i) const {
        if (!replies_[i]) {
            return std::nullopt;
        }
        ShownItem shown{*replies_[i], facts_[i]};
        shown.facts.quality.reset();
        return shown;
    }

    Client& client_;
    const Arguments& arguments_;
    Console& console_;
    std::vector<WriteItem> items_;  // that could be prepared
    std::vector<ItemFacts> facts_;  // of these
    std::vector<std::optional<ItemReply>> replies_;
};

}  // namespace

void run_write(Client& client, const Arguments& arguments, Console& console) {
    Writer(client, arguments, console).run();
}

}  // namespace xmlda
