#include "xmlda/record/Database.h"

#include "xmlda/Failure.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace xmlda {
namespace {

constexpr std::int64_t APPLICATION = 0x786d6461;  // how the file says whose it is
constexpr std::int64_t VERSION = 1;               // of the tables
constexpr int PATIENCE = 10'000;                  // ms, with other programs that write to the file

constexpr char TABLES[] = R"(
    BEGIN;
    CREATE TABLE item (
        id INTEGER PRIMARY KEY, path TEXT NOT NULL, item_path TEXT NOT NULL, unit TEXT, digits INTEGER,
        UNIQUE (path, item_path));
    CREATE TABLE change (
        item INTEGER NOT NULL REFERENCES item, recorded INTEGER NOT NULL, number INTEGER NOT NULL, time INTEGER,
        type TEXT, value, quality TEXT, symbol TEXT, result TEXT,
        PRIMARY KEY (item, recorded, number)) WITHOUT ROWID;
    CREATE VIEW history AS
        SELECT path, type, value, quality, time, recorded, unit, symbol, result
        FROM change JOIN item ON item.id = change.item;
    PRAGMA application_id = 0x786d6461;
    PRAGMA user_version = 1;
    COMMIT;)";

Failure create_failure(const std::string& message) {
    return {ExitStatus::FAILURE, message};
}

}  // namespace

class Database::Mark {
public:
    explicit Mark(const std::string& file)
        : descriptor_(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0640)) {
        if (descriptor_ < 0) {
            throw create_failure("cannot open '" + file + "': " + std::strerror(errno));
        }
        if (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            ::close(descriptor_);
            throw create_failure(error == EWOULDBLOCK
                                     ? "'" + file + "' is in use: another xmlda records into it"
                                     : "cannot lock '" + file + "': " + std::strerror(error));
        }
    }
    ~Mark() { ::close(descriptor_); }
    Mark(const Mark&) = delete;
    Mark& operator=(const Mark&) = delete;

private:
    const int descriptor_;
};

void Database::Close::operator()(sqlite3* connection) const {
    sqlite3_close_v2(connection);
}

Database::Database(const std::string& file, Purpose purpose) : file_(file) {
    if (purpose == Purpose::RECORD) {
        mark_ = std::make_unique<Mark>(file);
    } else if (struct stat status = {}; ::stat(file.c_str(), &status) != 0) {
        throw create_failure("cannot open '" + file + "': " + std::strerror(errno));
    }
    sqlite3* connection = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr);
    connection_.reset(connection);
    if (code != SQLITE_OK) {
        fail(code);
    }
    sqlite3_extended_result_codes(get(), 1);
    sqlite3_busy_timeout(get(), PATIENCE);
    if (purpose == Purpose::RECORD) {
        prepare_to_record();
    }
    check_format();
}

Database::~Database() = default;

void Database::prepare_to_record() const {
    if (get_number("SELECT count(*) FROM sqlite_master") == 0 && get_number("PRAGMA application_id") == 0) {
        run(TABLES);
    }
    check_format();
    // What is committed survives the end of the program and of the machine, and readers disturb nobody.
    run("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;");
}

void Database::check_format() const {
    if (get_number("PRAGMA application_id") != APPLICATION) {
        throw create_failure("'" + file_ + "' is not a record of xmlda but another database");
    }
    if (get_number("PRAGMA user_version") != VERSION) {
        throw create_failure("'" + file_ + "' was made by another version of xmlda");
    }
}

std::int64_t Database::get_number(const char* query) const {
    Statement statement(*this, query);
    return statement.step() ? statement.get_integer(0) : 0;
}

void Database::run(const char* commands) const {
    const int code = sqlite3_exec(get(), commands, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
    }
}

void Database::fail(int code) const {
    const int error = get() == nullptr ? 0 : sqlite3_system_errno(get());
    const std::string reason = error == 0 ? sqlite3_errstr(code) : std::strerror(error);
    switch (code & 0xFF) {
        case SQLITE_FULL:
            throw create_failure("cannot write to '" + file_ + "': the disk is full");
        case SQLITE_IOERR:
            throw create_failure("cannot read or write '" + file_ + "': " + reason);
        case SQLITE_CANTOPEN:
            throw create_failure("cannot open '" + file_ + "': " + reason);
        case SQLITE_NOTADB:
            throw create_failure("'" + file_ + "' is not a database");
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            throw create_failure("'" + file_ + "' is in use: another program has locked it");
        case SQLITE_READONLY:
            throw create_failure("cannot write to '" + file_ + "': it is read-only");
        default:
            throw create_failure("'" + file_ + "': " + sqlite3_errmsg(get()));
    }
}

Statement::Statement(const Database& database, const char* command) : database_(database) {
    check(sqlite3_prepare_v2(database.get(), command, -1, &statement_, nullptr));
}

Statement::~Statement() {
    sqlite3_finalize(statement_);
}

Statement& Statement::bind(int index, std::int64_t number) {
    check(sqlite3_bind_int64(statement_, index, number));
    return *this;
}

Statement& Statement::bind(int index, double number) {
    check(sqlite3_bind_double(statement_, index, number));
    return *this;
}

Statement& Statement::bind(int index, std::string_view text) {
    check(sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

Statement& Statement::bind(int index, const std::optional<std::int64_t>& number) {
    return number ? bind(index, *number) : *this;
}

bool Statement::step() {
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW) {
        return true;
    }
    reset();
    if (code != SQLITE_DONE) {
        database_.fail(code);
    }
    return false;
}

bool Statement::is_null(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t Statement::get_integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::string Statement::get_text(int column) const {
    const auto* const text = sqlite3_column_text(statement_, column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return text == nullptr ? "" : std::string(reinterpret_cast<const char*>(text), size);
}

void Statement::reset() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

void Statement::check(int code) const {
    if (code != SQLITE_OK) {
        database_.fail(code);
    }
}

}  // namespace xmlda
