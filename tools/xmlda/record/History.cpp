#include "xmlda/record/History.h"

#include "client/errors.h"
#include "client/split_list.h"
#include "client/type_names.h"
#include "xmlda/print/clock_text.h"
#include "xmlda/text/numbers.h"

#include <sqlite3.h>

namespace xmlda {
namespace {

constexpr std::int64_t MOST_SYMBOLS = 10'000;

constexpr char FIND_INITIAL[] =
    "SELECT wanted.number, recorded, time, type, value, quality, symbol, result, unit, digits "
    "FROM wanted CROSS JOIN change ON change.item = wanted.item AND change.recorded = "
    "(SELECT max(recorded) FROM change AS earlier WHERE earlier.item = wanted.item AND earlier.recorded < "
    "?1) "
    "AND NOT EXISTS (SELECT 1 FROM change AS later WHERE later.item = change.item AND "
    "later.recorded = change.recorded AND later.number > change.number) "
    "JOIN item ON item.id = wanted.item ORDER BY recorded, change.number";
constexpr char FIND_CHANGES[] =
    "SELECT wanted.number, recorded, time, type, value, quality, symbol, result, unit, digits "
    "FROM wanted CROSS JOIN change ON change.item = wanted.item AND recorded >= ?1 AND recorded < ?2 "
    "JOIN item ON item.id = wanted.item ORDER BY recorded, change.number";

/// An array as it was before it became a text; a text that is none stays one.
Value parse_array(const std::string& type, const std::string& text) {
    Value value{.kind = Value::Kind::LIST, .type = type, .text = "", .members = {}};
    try {
        for (const std::string& member : split_list(text)) {
            value.members.push_back({.type = get_member_type(type), .text = member, .members = {}});
        }
    } catch (const UnsuitableText&) {
        return {.type = type, .text = text, .members = {}};
    }
    return value;
}

Value get_value(const Statement& row, int column, const std::string& type) {
    switch (sqlite3_column_type(row.get(), column)) {
        case SQLITE_NULL:
            return {.kind = Value::Kind::NIL, .type = type, .text = "", .members = {}};
        case SQLITE_FLOAT:
            return {.type = type,
                    .text = to_shortest_text(sqlite3_column_double(row.get(), column)),
                    .members = {}};
        case SQLITE_TEXT:
            return is_array_type(type) ? parse_array(type, row.get_text(column))
                                       : Value{.type = type, .text = row.get_text(column), .members = {}};
        default:
            return {.type = type, .text = std::to_string(row.get_integer(column)), .members = {}};
    }
}

/// Reads a row of one of the queries above.
ShownItem get_item(const Statement& row) {
    ShownItem item;
    item.recorded = from_nanoseconds(row.get_integer(1));
    if (!row.is_null(2)) {
        item.reply.timestamp = from_nanoseconds(row.get_integer(2));
    }
    if (!row.is_null(3)) {
        item.reply.value = get_value(row, 4, row.get_text(3));
    }
    if (!row.is_null(5)) {
        item.facts.quality = to_quality(row.get_text(5));
    }
    const std::int64_t number = row.get_integer(4);
    if (!row.is_null(6) && number >= 0 && number < MOST_SYMBOLS) {
        item.facts.symbols.resize(static_cast<std::size_t>(number) + 1);
        item.facts.symbols.back() = row.get_text(6);
    }
    if (!row.is_null(7)) {
        item.reply.result = Result{.code = row.get_text(7), .text = ""};
    }
    item.facts.unit = row.get_text(8);
    if (!row.is_null(9)) {
        item.facts.fractional_digits = static_cast<int>(row.get_integer(9));
    }
    return item;
}

}  // namespace

History::History(const std::string& file) : database_(file, Database::Purpose::LOOK) {
    database_.run("CREATE TEMP TABLE wanted (number INTEGER PRIMARY KEY, item INTEGER); BEGIN");
}

std::vector<History::Item> History::list_items() const {
    std::vector<Item> items;
    Statement rows(database_, "SELECT id, path, item_path FROM item ORDER BY path, item_path");
    while (rows.step()) {
        items.push_back({rows.get_integer(0), {rows.get_text(1), rows.get_text(2)}});
    }
    return items;
}

void History::walk(const std::vector<Item>& items, const Span& span,
                   const std::function<void(std::size_t index, const ShownItem& item)>& action) const {
    database_.run("DELETE FROM wanted");
    Statement want(database_, "INSERT INTO wanted (number, item) VALUES (?1, ?2)");
    for (std::size_t i = 0; i < items.size(); ++i) {
        want.bind(1, static_cast<std::int64_t>(i)).bind(2, items[i].id).run();
    }
    Statement initial(database_, FIND_INITIAL);
    initial.bind(1, span.from);
    while (initial.step()) {
        action(static_cast<std::size_t>(initial.get_integer(0)), get_item(initial));
    }
    Statement changes(database_, FIND_CHANGES);
    changes.bind(1, span.from).bind(2, span.to);
    while (changes.step()) {
        action(static_cast<std::size_t>(changes.get_integer(0)), get_item(changes));
    }
}

std::string History::explain_walk() const {
    std::string text;
    for (const char* const query : {FIND_INITIAL, FIND_CHANGES}) {
        Statement plan(database_, (std::string("EXPLAIN QUERY PLAN ") + query).c_str());
        while (plan.step()) {
            text += plan.get_text(3) + '\n';
        }
    }
    return text;
}

}  // namespace xmlda
