#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace xmlda {

/// A file with recorded changes, a database of SQLite. Used by one thread. Whatever cannot be done with it is
/// a `Failure` with status FAILURE whose one line names the file.
///
/// All times are nanoseconds since 1970, UTC. The tables:
///
///     item     id, path, item_path, unit, digits (behind the point that mean something)
///     change   item, recorded, number (in its transaction), time, type, value, quality, symbol, result
///     history  a view of both: a row for each change
///
/// The changes of an item lie together, in the order of `recorded`. `time` is what the server said, and null
/// if it said nothing. `value` is an integer for booleans and integers, a real number for other numbers, and
/// a text for all else: what does not fit into these two is one as well, and arrays are texts as in JSON.
class Database {
public:
    enum class Purpose {
        RECORD,  ///< makes the file if there is none; nobody else may record into it meanwhile
        LOOK
    };

    Database(const std::string& file, Purpose purpose);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    sqlite3* get() const { return connection_.get(); }

    /// Runs commands that give no rows.
    void run(const char* commands) const;

    /// Throws what the code of SQLite, which is no success, means for a person.
    [[noreturn]] void fail(int code) const;

private:
    /// Keeps the file open while somebody records, and marked so.
    class Mark;
    struct Close {
        void operator()(sqlite3* connection) const;
    };

    void prepare_to_record() const;
    void check_format() const;
    std::int64_t get_number(const char* query) const;

    const std::string file_;
    std::unique_ptr<Mark> mark_;  // goes last: closing a file ends the locks that SQLite has on it
    std::unique_ptr<sqlite3, Close> connection_;
};

/// A command that is run again and again. Outlived by its database.
class Statement {
public:
    Statement(const Database& database, const char* command);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// @name Parameters, counted from 1; those that are not bound are null
    /// @{
    Statement& bind(int index, std::int64_t number);
    Statement& bind(int index, double number);
    Statement& bind(int index, std::string_view text);
    Statement& bind(int index, const std::optional<std::int64_t>& number);
    /// @}

    /// Goes to the next row. At the end, false, and the command can be bound and run again.
    bool step();

    /// Runs a command that gives no rows.
    void run() { step(); }

    /// @name Columns of the row, counted from 0
    /// @{
    bool is_null(int column) const;
    std::int64_t get_integer(int column) const;
    std::string get_text(int column) const;
    sqlite3_stmt* get() const { return statement_; }
    /// @}

    /// Ends the walk over the rows.
    void reset();

private:
    void check(int code) const;

    const Database& database_;
    sqlite3_stmt* statement_ = nullptr;
};

}  // namespace xmlda
