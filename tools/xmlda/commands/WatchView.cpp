#include "xmlda/commands/WatchView.h"

#include "xmlda/commands/LiveTable.h"
#include "xmlda/commands/RecordView.h"
#include "xmlda/print/Style.h"
#include "xmlda/print/Table.h"
#include "xmlda/print/csv_row.h"
#include "xmlda/print/influx_line.h"
#include "xmlda/print/item_output.h"
#include "xmlda/text/printable.h"
#include "xmlda/text/width.h"

#include <algorithm>
#include <sstream>
#include <string>

namespace xmlda {
namespace {

/// Changes in lines that follow each other.
class Lines : public WatchView {
public:
    Lines(const Arguments& arguments, Console& console) : arguments_(arguments), console_(console) {}

    void take_items(const std::vector<std::optional<std::size_t>>& /*origins*/) override {}
    void end_reply() override { console_.flush(); }
    void make_way() override {}
    void come_back() override {}

protected:
    std::ostream& get_output() { return console_.get_output(); }

    const Arguments& arguments_;
    Console& console_;
};

/// One line for each change: time, item, value, and the quality if there is one.
class ChangeLines : public Lines {
public:
    ChangeLines(const Arguments& arguments, Console& console) : Lines(arguments, console) { measure(); }

    void take_items(const std::vector<std::optional<std::size_t>>& /*origins*/) override { measure(); }

    void show_change(std::size_t index, const ShownItem& item) override {
        const std::string quality = get_quality_text(item);
        const std::string note = item.reply.result ? "  " + to_printable(item.reply.result->to_text()) : "";
        get_output() << to_printable(item.reply.timestamp.value_or("-")) << "  "
                     << pad_to_width(to_printable(arguments_.items[index].name), width_) << "  "
                     << get_value_text(item.reply) << (quality.empty() ? "" : "  " + quality) << note << '\n';
    }

private:
    void measure() {
        for (const ItemAddress& item : arguments_.items) {
            width_ = std::max(width_, get_width(to_printable(item.name)));
        }
    }

    std::size_t width_ = 0;
};

/// A table that is printed once all its rows are there.
class TableForPeople : public Lines {
public:
    TableForPeople(const Arguments& arguments, Console& console) : Lines(arguments, console) {
        table_.add_row({"Item", "Value", "Time", "Quality", "Result"}, console.get_style(style::UNDERLINED));
        table_.set_headed();
    }

    void show_change(std::size_t index, const ShownItem& item) override {
        table_.add_row(to_cells_for_people(arguments_.items[index].name, item, arguments_.utc, console_));
    }

    void end_reply() override {
        table_.print(get_output(), console_.get_width());
        Lines::end_reply();
    }

private:
    Table table_;
};

/// One JSON object on a line for each change.
class JsonLines : public Lines {
public:
    using Lines::Lines;

    void show_change(std::size_t index, const ShownItem& item) override {
        JsonWriter json(get_output(), JsonWriter::Layout::ONE_LINE);
        write_item(json, arguments_.items[index].name, item);
        get_output() << '\n';
    }
};

/// Rows that other programs read. On a terminal they do nothing to it.
class Rows : public Lines {
public:
    using Lines::Lines;

    void show_change(std::size_t index, const ShownItem& item) override {
        std::ostringstream rows;
        write(rows, arguments_.items[index], item);
        print(rows.str());
    }

protected:
    virtual void write(std::ostream& stream, const ItemAddress& address, const ShownItem& item) const = 0;

    void print(const std::string& rows) {
        if (!console_.is_terminal()) {
            get_output() << rows;
            return;
        }
        std::string text = rows;
        std::erase(text, '\r');
        get_output() << to_printable_lines(text);
    }
};

class CsvRows : public Rows {
public:
    CsvRows(const Arguments& arguments, Console& console) : Rows(arguments, console) {
        std::ostringstream header;
        write_csv_header(header, has_recorded());
        print(header.str());
    }

private:
    void write(std::ostream& stream, const ItemAddress& address, const ShownItem& item) const override {
        write_csv_row(stream, address.name, item, has_recorded());
    }

    bool has_recorded() const { return arguments_.command == Command::REPLAY; }
};

class InfluxLines : public Rows {
public:
    using Rows::Rows;

private:
    void write(std::ostream& stream, const ItemAddress& address, const ShownItem& item) const override {
        write_influx_lines(stream, arguments_.measurement, address, item);
    }
};

}  // namespace

std::unique_ptr<WatchView> create_watch_view(const Arguments& arguments, Console& console) {
    if (arguments.command == Command::RECORD) {
        return std::make_unique<RecordView>(arguments, console);
    }
    if (arguments.format == Format::TEXT && console.is_live()) {
        return std::make_unique<LiveTable>(arguments, console);
    }
    return create_lines(arguments, console);
}

std::unique_ptr<WatchView> create_lines(const Arguments& arguments, Console& console) {
    switch (arguments.format) {
        case Format::JSON:
            return std::make_unique<JsonLines>(arguments, console);
        case Format::CSV:
            return std::make_unique<CsvRows>(arguments, console);
        case Format::INFLUX:
            return std::make_unique<InfluxLines>(arguments, console);
        case Format::TEXT:
            break;
    }
    if (arguments.command == Command::REPLAY && console.is_terminal()) {
        return std::make_unique<TableForPeople>(arguments, console);
    }
    return std::make_unique<ChangeLines>(arguments, console);
}

}  // namespace xmlda
