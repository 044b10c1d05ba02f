#include "xmlda/commands/WatchView.h"

#include "xmlda/commands/LiveTable.h"
#include "xmlda/print/item_output.h"
#include "xmlda/text/printable.h"
#include "xmlda/text/width.h"

#include <algorithm>
#include <string>

namespace xmlda {
namespace {

/// One line for each change: time, item, value, and the quality if there is one.
class ChangeLines : public WatchView {
public:
    ChangeLines(const Arguments& arguments, Console& console) : arguments_(arguments), console_(console) {
        for (const ItemAddress& item : arguments.items) {
            width_ = std::max(width_, get_width(to_printable(item.name)));
        }
    }

    void show_change(std::size_t index, const ShownItem& item) override {
        const std::string quality = get_quality_text(item);
        const std::string note = item.reply.result ? "  " + to_printable(item.reply.result->to_text()) : "";
        console_.get_output() << to_printable(item.reply.timestamp.value_or("-")) << "  "
                              << pad_to_width(to_printable(arguments_.items[index].name), width_) << "  "
                              << get_value_text(item.reply) << (quality.empty() ? "" : "  " + quality) << note
                              << '\n';
    }

    void end_reply() override { console_.flush(); }
    void make_way() override {}
    void come_back() override {}

private:
    const Arguments& arguments_;
    Console& console_;
    std::size_t width_ = 0;
};

/// One JSON object on a line for each change.
class JsonLines : public WatchView {
public:
    JsonLines(const Arguments& arguments, Console& console) : arguments_(arguments), console_(console) {}

    void show_change(std::size_t index, const ShownItem& item) override {
        JsonWriter json(console_.get_output(), JsonWriter::Layout::ONE_LINE);
        write_item(json, arguments_.items[index].name, item);
        console_.get_output() << '\n';
    }

    void end_reply() override { console_.flush(); }
    void make_way() override {}
    void come_back() override {}

private:
    const Arguments& arguments_;
    Console& console_;
};

}  // namespace

std::unique_ptr<WatchView> create_watch_view(const Arguments& arguments, Console& console) {
    if (arguments.json) {
        return std::make_unique<JsonLines>(arguments, console);
    }
    if (console.is_live()) {
        return std::make_unique<LiveTable>(arguments, console);
    }
    return std::make_unique<ChangeLines>(arguments, console);
}

}  // namespace xmlda
