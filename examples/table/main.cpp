// kx-table TABLE DATABASE [PORT]: builds its tree from a table and keeps the values in a database.
// Lines of the table: path,type (double, int, bool, string),unit,lowest,highest,writable; see items.csv.

#include <information_model/InformationModel.h>
#include <information_model/guards.h>
#include <opc/Server.h>
#include <sqlite3.h>

#include <charconv>
#include <csignal>
#include <fstream>
#include <iostream>
#include <map>
#include <shared_mutex>
#include <stdexcept>

using namespace kx::information_model;

template <class Number>
Number read_number(const std::string& text) {
    Number number{};
    const char* const end = text.data() + text.size();
    if (std::from_chars(text.data(), end, number) != std::from_chars_result{end, std::errc()}) {
        throw std::invalid_argument("'" + text + "' is not a number in range");
    }
    return number;
}

const std::map<std::string, Value> FIRST_VALUES = {
    {"double", Value(0.0)}, {"int", Value(0)}, {"bool", Value(false)}, {"string", Value("")}};

/// Reads a value of the same type as `like`; an empty text gives none.
std::optional<Value> parse(const Value& like, const std::string& text) {
    return text.empty()                           ? std::optional<Value>()
           : std::holds_alternative<double>(like) ? Value(read_number<double>(text))
           : std::holds_alternative<int>(like)    ? Value(read_number<int>(text))
           : std::holds_alternative<bool>(like)   ? Value(text == "true")
                                                  : Value(text);
}

/// Adds the variables of a table, and the domains on the way to them.
std::map<const Variable*, TimePoint> add_table(Domain& root, std::istream& table) {
    std::map<const Variable*, TimePoint> items;
    for (std::string path, type, unit, lowest, highest, writable; std::getline(table, path, ',');) {
        for (std::string* field : {&type, &unit, &lowest, &highest}) {
            std::getline(table, *field, ',');
        }
        std::getline(table, writable);
        const auto first = FIRST_VALUES.find(type);
        if (first == FIRST_VALUES.end() || (writable != "yes" && writable != "no")) {
            throw std::invalid_argument("the line of '" + path + "' is wrong");
        }
        Domain* domain = &root;
        std::size_t begin = path.starts_with('/') ? 1 : 0;
        for (std::size_t end = 0; (end = path.find('/', begin)) != std::string::npos; begin = end + 1) {
            const std::string name = path.substr(begin, end - begin);
            auto* const branch = dynamic_cast<Domain*>(domain->find_item(name));
            domain = branch != nullptr ? branch : &domain->add_domain(name);
        }
        items[&domain->add_variable(path.substr(begin), first->second,
                                    {.writable = writable == "yes",
                                     .engineering_unit = unit,
                                     .range = {parse(first->second, lowest), parse(first->second, highest)},
                                     .accept = refuse_outside_range})];
    }
    return items;
}

/// Saves values and timestamps in a database: everything that was written under one lock in one transaction,
/// before the client that wrote it gets its reply.
class Store {
public:
    Store(const char* file, InformationModel& model, std::map<const Variable*, TimePoint> items)
        : model_(model), saved_(std::move(items)) {
        sqlite3* database = nullptr;
        sqlite3_open(file, &database);  // if it fails, the next command says why
        database_.reset(database);
        execute("PRAGMA journal_mode=WAL; CREATE TABLE IF NOT EXISTS item(path PRIMARY KEY, value, time)");
        char** cells = nullptr;
        int rows = 0;
        sqlite3_get_table(database, "SELECT path, value, time FROM item", &cells, &rows, nullptr, nullptr);
        const std::unique_ptr<char*, decltype(&sqlite3_free_table)> table(cells, sqlite3_free_table);
        for (int i = 3; i < 3 * (rows + 1); i += 3) {  // the first row holds the names
            if (Variable* const variable = model.get_root().find_variable(cells[i])) {
                variable->update({.value = parse(variable->get_value(), cells[i + 1]),
                                  .timestamp = date_time_from_iso8601_string(cells[i + 2])});
            }
        }
        watching_ = model.get_root().on_write([this](const Path& path, const Value&) { save(path); });
    }

private:
    /// The first call of a batch saves all variables; the other calls find theirs saved.
    void save(const Path& path) {
        std::shared_lock lock(std::as_const(model_).get_information_tree());
        const Variable* const written = model_.get_root().find_variable(path);
        if (saved_[written] == written->get_timestamp()) {
            return;
        }
        std::string rows;
        auto saved = saved_;
        for (auto& [variable, time] : saved) {
            if (std::exchange(time, variable->get_timestamp()) != variable->get_timestamp()) {
                char* const row = sqlite3_mprintf("(%Q, %Q, %Q)", variable->get_path().as_string().c_str(),
                                                  variable->get_value().to_string().c_str(),
                                                  to_iso8601_string(time).c_str());
                rows.append(rows.empty() ? "" : ",").append(row);
                sqlite3_free(row);
            }
        }
        lock.unlock();
        execute("REPLACE INTO item VALUES " + rows);
        saved_ = std::move(saved);
    }

    void execute(const std::string& commands) {
        if (sqlite3_exec(database_.get(), commands.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            throw std::runtime_error(std::string("the database: ") + sqlite3_errmsg(database_.get()));
        }
    }

    InformationModel& model_;
    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database_{nullptr, sqlite3_close};
    std::map<const Variable*, TimePoint> saved_;
    Registration watching_;
};

int main(int argc, char** argv) try {
    std::ifstream table(argc > 2 ? argv[1] : "");
    if (!table) {
        throw std::invalid_argument("no table: kx-table TABLE DATABASE [PORT]");
    }
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);  // the server's threads inherit it

    auto model = std::make_shared<InformationModel>("table");
    Store store(argv[2], *model, add_table(model->get_root(), table));
    opc::Server server("127.0.0.1", read_number<unsigned short>(argc > 3 ? argv[3] : "8080"), model);
    std::cout << "listening on http://127.0.0.1:" << server.start() << std::endl;
    sigwaitinfo(&stop_signals, nullptr);
    server.stop(std::chrono::seconds(1));
    return 0;
} catch (const std::exception& error) {
    std::cerr << "kx-table: " << opc::describe(error) << '\n';
    return 1;
}
