#include "xmlda/commands/RecordView.h"

#include "xmlda/print/clock_text.h"

namespace xmlda {
namespace {

constexpr char WIPE_LINE[] = "\r\x1b[K";

std::string count_changes(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " change" : " changes");
}

}  // namespace

RecordView::RecordView(const Arguments& arguments, Console& console)
    : arguments_(arguments), console_(console), recorder_(arguments.database, arguments.retention) {}

RecordView::~RecordView() {
    if (!shown_.empty()) {
        console_.get_output() << '\n' << std::flush;
    }
}

void RecordView::show_change(std::size_t index, const ShownItem& item) {
    recorder_.add(arguments_.items[index], item);
}

void RecordView::take_items(const std::vector<std::optional<std::size_t>>& /*origins*/) {}

void RecordView::end_reply() {
    const std::size_t count = recorder_.commit();
    if (count == 0 || arguments_.is_quiet) {
        return;
    }
    changes_ += count;
    if (!console_.is_live()) {
        console_.get_output() << get_present_time() << "  recorded " << count_changes(count) << ", "
                              << changes_ << " in all\n";
        console_.flush();
        return;
    }
    shown_ = count_changes(changes_) + " of " + std::to_string(arguments_.items.size()) +
             " items recorded, the last at " + get_clock() + ", Ctrl-C ends";
    draw();
}

void RecordView::make_way() {
    if (!shown_.empty()) {
        console_.get_output() << WIPE_LINE << std::flush;
    }
}

void RecordView::come_back() {
    if (!shown_.empty()) {
        draw();
    }
}

void RecordView::draw() {
    console_.get_output() << WIPE_LINE << shown_;
    console_.flush();
}

}  // namespace xmlda
