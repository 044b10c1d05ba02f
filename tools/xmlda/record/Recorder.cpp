#include "xmlda/record/Recorder.h"

#include "client/type_names.h"
#include "xmlda/print/JsonWriter.h"
#include "xmlda/print/clock_text.h"
#include "xmlda/text/numbers.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <sstream>

#include <sqlite3.h>

namespace xmlda {
namespace {

constexpr std::chrono::minutes TRIM_INTERVAL(1);
constexpr std::int64_t MOST_REMOVED = 10'000;  // by one transaction, which a poll waits for
constexpr std::int64_t MOST_DIGITS = 15;       // of a decimal that a double holds without loss

std::int64_t get_now() {
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

std::optional<double> parse_real(const Value& value) {
    const auto number = parse_number<double>(value.text);
    const bool is_too_long = value.type == "decimal" &&
                             std::count_if(value.text.begin(), value.text.end(), [](unsigned char character) {
                                 return std::isdigit(character) != 0;
                             }) > MOST_DIGITS;
    return number && std::isfinite(*number) && !is_too_long ? number : std::nullopt;
}

std::string to_json(const Value& value) {
    std::ostringstream stream;
    JsonWriter(stream, JsonWriter::Layout::ONE_LINE).value(value);
    return stream.str();
}

void bind_scalar(Statement& statement, int index, const Value& value) {
    const bool is_real = value.type == "double" || value.type == "float" || value.type == "decimal";
    if (value.type == "boolean" && (value.text == "true" || value.text == "false")) {
        statement.bind(index, std::int64_t{value.text == "true"});
        return;
    }
    if (const auto real = is_real ? parse_real(value) : std::nullopt) {
        statement.bind(index, *real);
        return;
    }
    const bool is_integer = !is_real && (is_number_type(value.type) || value.type == "boolean");
    if (const auto integer = is_integer ? parse_number<std::int64_t>(value.text) : std::nullopt) {
        statement.bind(index, *integer);
        return;
    }
    statement.bind(index, value.text);
}

void bind_value(Statement& statement, int index, const Value& value) {
    switch (value.kind) {
        case Value::Kind::NIL:
            return;
        case Value::Kind::LIST:
            statement.bind(index, to_json(value));
            return;
        case Value::Kind::SCALAR:
            bind_scalar(statement, index, value);
            return;
    }
}

}  // namespace

Recorder::Recorder(const std::string& file, std::optional<std::chrono::milliseconds> retention)
    : database_(file, Database::Purpose::RECORD),
      retention_(retention),
      find_item_(database_, "SELECT id FROM item WHERE path = ?1 AND item_path = ?2"),
      add_item_(database_, "INSERT INTO item (path, item_path) VALUES (?1, ?2)"),
      set_facts_(database_, "UPDATE item SET unit = ?2, digits = ?3 WHERE id = ?1"),
      add_change_(database_,
                  "INSERT INTO change (item, recorded, number, time, type, value, quality, symbol, result) "
                  "VALUES (?1, ?2, ?9, ?3, ?4, ?5, ?6, ?7, ?8)"),
      next_item_(database_, "SELECT id FROM item WHERE id > ?1 ORDER BY id LIMIT 1"),
      find_last_(database_, "SELECT max(recorded) FROM change WHERE item = ?1 AND recorded <= ?2"),
      remove_(database_,
              "DELETE FROM change WHERE item = ?1 AND recorded <= (SELECT max(recorded) FROM "
              "(SELECT recorded FROM change WHERE item = ?1 AND recorded < ?2 ORDER BY recorded LIMIT ?3))") {
}

void Recorder::add(const ItemAddress& address, const ShownItem& item) {
    pending_.push_back({address, item});
}

std::size_t Recorder::commit() {
    if (pending_.empty() && !is_trim_due()) {
        return 0;
    }
    const std::int64_t now = std::max(get_now(), latest_ + 1);
    const std::vector<Change> changes = std::exchange(pending_, {});
    database_.run("BEGIN IMMEDIATE");
    std::int64_t number = 0;
    for (const Change& change : changes) {
        store(change, now, ++number);
    }
    if (is_trim_due()) {
        trim(now);
    }
    database_.run("COMMIT");
    latest_ = now;
    return changes.size();
}

std::int64_t Recorder::find_item(const ItemAddress& address, const ItemFacts& facts) {
    auto [entry, is_new] = items_.try_emplace({address.name, address.path});
    KnownItem& item = entry->second;
    if (is_new) {
        find_item_.bind(1, address.name).bind(2, address.path);
        if (find_item_.step()) {
            item.id = find_item_.get_integer(0);
            find_item_.reset();
        } else {
            add_item_.bind(1, address.name).bind(2, address.path).run();
            item.id = sqlite3_last_insert_rowid(database_.get());
        }
    }
    if (facts.unit != item.unit || facts.fractional_digits != item.digits) {
        item.unit = facts.unit;
        item.digits = facts.fractional_digits;
        set_facts_.bind(1, item.id)
            .bind(2, item.unit)
            .bind(3, std::optional<std::int64_t>(item.digits))
            .run();
    }
    return item.id;
}

void Recorder::store(const Change& change, std::int64_t recorded, std::int64_t number) {
    const ItemReply& reply = change.item.reply;
    add_change_.bind(1, find_item(change.address, change.item.facts))
        .bind(2, recorded)
        .bind(9, number)
        .bind(3, to_nanoseconds(reply.timestamp.value_or("")));
    if (reply.value) {
        add_change_.bind(4, reply.value->type);
        bind_value(add_change_, 5, *reply.value);
        if (const std::string* const symbol = change.item.facts.find_symbol(reply.value->text)) {
            add_change_.bind(7, *symbol);
        }
    }
    if (const auto quality = change.item.get_quality()) {
        add_change_.bind(6, quality->to_text());
    }
    if (reply.result) {
        add_change_.bind(8, reply.result->code);
    }
    add_change_.run();
}

bool Recorder::is_trim_due() const {
    return retention_ && (!trimmed_at_ || std::chrono::steady_clock::now() - *trimmed_at_ >= TRIM_INTERVAL);
}

void Recorder::trim(std::int64_t now) {
    const std::int64_t oldest =
        now - std::chrono::duration_cast<std::chrono::nanoseconds>(*retention_).count();
    std::int64_t left = MOST_REMOVED;
    while (left > 0) {
        next_item_.bind(1, trimmed_item_);
        if (!next_item_.step()) {
            trimmed_item_ = 0;
            trimmed_at_ = std::chrono::steady_clock::now();
            return;
        }
        const std::int64_t item = next_item_.get_integer(0);
        next_item_.reset();
        find_last_.bind(1, item).bind(2, oldest).step();
        const bool has_old = !find_last_.is_null(0);
        const std::int64_t last = find_last_.get_integer(0);
        find_last_.reset();
        if (has_old) {
            remove_.bind(1, item).bind(2, last).bind(3, left).run();
            left -= sqlite3_changes64(database_.get());
        }
        trimmed_item_ = left > 0 ? item : trimmed_item_;
    }
}

}  // namespace xmlda
