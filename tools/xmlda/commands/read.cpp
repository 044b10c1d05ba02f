#include "client/ItemMatcher.h"
#include "xmlda/commands/commands.h"
#include "xmlda/commands/facts.h"
#include "xmlda/commands/select_items.h"
#include "xmlda/print/Table.h"
#include "xmlda/print/item_output.h"
#include "xmlda/print/value_text.h"
#include "xmlda/text/printable.h"

namespace xmlda {
namespace {

constexpr std::size_t MOST_EXPLAINED = 10;  // of the items that are missing

using Items = std::vector<std::optional<ShownItem>>;  // for each that was asked for

/// One run of the command.
class Reader {
public:
    Reader(Client& client, const Arguments& arguments, Console& console)
        : client_(client),
          arguments_(arguments),
          console_(console),
          addresses_(select_items(client, arguments, console)) {}

    void run() {
        read(!arguments_.without_quality && !arguments_.values_only);
        if (arguments_.json) {
            print_json();
        } else if (arguments_.values_only) {
            print_values();
        } else {
            print_table();
        }
        console_.flush();  // the values first, then what is wrong with the others
        report();
    }

    /// The value alone, for scripts.
    void run_bare() {
        read(!arguments_.without_quality);
        if (addresses_.size() > 1) {
            throw Failure(ExitStatus::USAGE, "get takes one item, and these are " +
                                                 std::to_string(addresses_.size()) + ": use read --values");
        }
        if (items_.front() && !items_.front()->reply.has_error()) {
            print_bare(*items_.front());
        }
        console_.flush();
        report();
    }

private:
    void read(bool with_facts) {
        const ItemsReply reply = client_.call(create_read_request(addresses_), parse_read_reply);
        items_ = add_facts(client_, addresses_, ItemMatcher(addresses_).sort(reply.items), with_facts);
        for (std::size_t i = 0; i < items_.size(); ++i) {
            // Some servers answer for a branch, with an item that holds nothing.
            const bool is_empty =
                !arguments_.json && items_[i] && !items_[i]->reply.value && !items_[i]->reply.has_error();
            if (is_empty && is_branch(client_, console_, addresses_[i])) {
                items_[i].reset();
            }
        }
    }

    void print_json() {
        JsonWriter json(console_.get_output(), JsonWriter::Layout::INDENTED);
        json.begin_array();
        for (std::size_t i = 0; i < items_.size(); ++i) {
            write_item(json, addresses_[i].name, items_[i]);
        }
        json.end_array();
        console_.get_output() << '\n';
    }

    void print_values() {
        for (const auto& item : items_) {
            console_.get_output() << (item && !item->reply.has_error() ? get_value_text(item->reply) : "")
                                  << '\n';
        }
    }

    void print_table() {
        Table table;
        for (std::size_t i = 0; i < items_.size(); ++i) {
            if (items_[i] && !items_[i]->reply.has_error()) {
                table.add_row(console_.is_terminal() ? to_cells_for_people(addresses_[i].name, *items_[i],
                                                                           arguments_.utc, console_)
                                                     : to_cells(addresses_[i].name, *items_[i]));
            }
        }
        table.print(console_.get_output(), console_.get_width());
    }

    void print_bare(const ShownItem& item) {
        const std::string& name = addresses_.front().name;
        const auto& value = item.reply.value;
        if (!value || value->kind == Value::Kind::NIL) {
            console_.report(ExitStatus::MISSING_ITEM, name + ": has no value");
            return;
        }
        // A text is given as it is, so that a script gets what the server has.
        const bool is_text = value->kind == Value::Kind::SCALAR && value->type == "string";
        const std::string text = is_text ? value->text : to_text(*value);
        console_.get_output() << (console_.is_terminal() ? to_printable(text) : text) << '\n';
        const auto quality = item.get_quality();
        if (quality && quality->is_bad()) {
            console_.report(ExitStatus::BAD_QUALITY, name + ": the quality is " + quality->to_text());
        }
    }

    void report() {
        std::size_t explained = 0;
        for (std::size_t i = 0; i < items_.size(); ++i) {
            if (!items_[i]) {
                const std::string reason =
                    ++explained > MOST_EXPLAINED ? "missing from the reply" : explain(addresses_[i]);
                console_.report(ExitStatus::MISSING_ITEM, addresses_[i].name + ": " + reason);
            } else if (items_[i]->reply.has_error()) {
                console_.report(ExitStatus::ITEM_ERROR,
                                addresses_[i].name + ": " + get_error_text(items_[i]->reply));
            }
        }
    }

    std::string explain(const ItemAddress& address) {
        const bool takes_one = arguments_.command == Command::GET;
        return takes_one && is_branch(client_, console_, address)
                   ? "is a branch, which has no value"
                   : explain_missing(client_, console_, address);
    }

    Client& client_;
    const Arguments& arguments_;
    Console& console_;
    const std::vector<ItemAddress> addresses_;
    Items items_;
};

}  // namespace

void run_read(Client& client, const Arguments& arguments, Console& console) {
    Reader(client, arguments, console).run();
}

void run_get(Client& client, const Arguments& arguments, Console& console) {
    Reader(client, arguments, console).run_bare();
}

}  // namespace xmlda
