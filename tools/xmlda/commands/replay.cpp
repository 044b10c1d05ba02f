#include "xmlda/commands/WatchView.h"
#include "xmlda/commands/commands.h"
#include "xmlda/commands/select_items.h"
#include "xmlda/record/History.h"

#include <algorithm>
#include <chrono>

namespace xmlda {
namespace {

constexpr std::size_t ROWS_A_FLUSH = 1000;

/// Whether the item is the one that was named, matches the pattern, or is below the branch.
bool is_meant(const std::string& path, const std::string& wanted, bool recursive) {
    if (is_pattern(wanted)) {
        return matches_pattern(wanted, path);
    }
    const std::string branch = wanted.ends_with('/') ? wanted : wanted + '/';
    return path == wanted || (recursive && path.starts_with(branch));
}

std::vector<History::Item> select_recorded(const History& history, const Arguments& arguments,
                                           Console& console) {
    std::vector<History::Item> known = history.list_items();
    if (arguments.items.empty()) {
        return known;
    }
    std::vector<bool> is_selected(known.size());
    for (const ItemAddress& wanted : arguments.items) {
        bool is_known = false;
        for (std::size_t i = 0; i < known.size(); ++i) {
            const bool is_hit = is_meant(known[i].address.name, wanted.name, arguments.recursive) &&
                                (wanted.path.empty() || wanted.path == known[i].address.path);
            is_selected[i] = is_selected[i] || is_hit;
            is_known = is_known || is_hit;
        }
        if (!is_known) {
            console.report(ExitStatus::MISSING_ITEM, wanted.name + ": was not recorded");
        }
    }
    std::vector<History::Item> selected;
    for (std::size_t i = 0; i < known.size(); ++i) {
        if (is_selected[i]) {
            selected.push_back(known[i]);
        }
    }
    return selected;
}

Span get_span(const Arguments& arguments) {
    using namespace std::chrono;
    Span span;
    span.from = arguments.from.value_or(span.from);
    span.to = arguments.to.value_or(span.to);
    if (arguments.last) {
        const auto now = duration_cast<nanoseconds>(system_clock::now().time_since_epoch());
        span.from = (now - *arguments.last).count();
    }
    return span;
}

}  // namespace

void run_replay(const Arguments& arguments, Console& console) {
    const History history(arguments.database);
    const auto selected = select_recorded(history, arguments, console);
    Arguments shown = arguments;
    shown.items.clear();
    for (const History::Item& item : selected) {
        shown.items.push_back(item.address);
    }
    const auto view = create_lines(shown, console);
    std::size_t rows = 0;
    history.walk(selected, get_span(arguments), [&](std::size_t index, const ShownItem& item) {
        view->show_change(index, item);
        if (++rows % ROWS_A_FLUSH == 0) {
            console.flush();
        }
    });
    view->end_reply();
}

}  // namespace xmlda
