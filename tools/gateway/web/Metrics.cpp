#include "gateway/web/Metrics.h"

#include "gateway/values/published_value.h"

#include "client/errors.h"
#include "client/type_names.h"

#include <array>
#include <charconv>
#include <deque>
#include <exception>
#include <utility>

namespace gateway {
namespace {

std::string find_text(const std::vector<xmlda::Property>& properties, std::string_view name) {
    for (const xmlda::Property& property : properties) {
        if (property.name == name && property.value) {
            return property.value->text;
        }
    }
    return "";
}

/// The value as Prometheus reads it; empty if it is neither a number nor a boolean.
std::string find_sample(const std::vector<xmlda::Property>& properties) {
    for (const xmlda::Property& property : properties) {
        if (property.name != "value" || !property.value ||
            property.value->kind != xmlda::Value::Kind::SCALAR) {
            continue;
        }
        const xmlda::Value value = to_published_value(*property.value);
        if (value.type == "boolean") {
            return value.text == "true" ? "1" : "0";
        }
        if (!xmlda::is_number_type(value.type)) {
            return "";
        }
        if (value.text.ends_with("INF")) {
            return value.text.starts_with('-') ? "-Inf" : "+Inf";
        }
        return value.text;
    }
    return "";
}

std::string to_text(double number) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return std::string(digits.data(), end);
}

}  // namespace

std::string to_label_value(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '\\':
                escaped += "\\\\";
                break;
            case '"':
                escaped += "\\\"";
                break;
            case '\n':
                escaped += "\\n";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

Metrics::Metrics(const ServiceParts& parts, std::vector<std::string> branches,
                 std::function<std::vector<OwnFigure>()> get_own_figures)
    : parts_(parts), branches_(std::move(branches)), get_own_figures_(std::move(get_own_figures)) {}

Task<std::string> Metrics::collect() {
    if (is_reading_) {
        const Completion<std::string> completion;
        waiting_.push_back(completion);
        co_return co_await completion;
    }
    is_reading_ = true;
    std::string text;
    try {
        text = co_await read_all();
    } catch (const std::exception&) {
        // A shortage of memory. Those who wait get nothing, and the next to ask gets all.
    }
    is_reading_ = false;
    for (const Completion<std::string>& completion : std::exchange(waiting_, {})) {
        completion.set(text);
    }
    co_return text;
}

Task<std::string> Metrics::read_all() {
    std::string samples;
    std::size_t items = 0;
    bool is_complete = true;
    try {
        const std::vector<std::string> roots = branches_.empty() ? std::vector<std::string>{"/"} : branches_;
        for (const std::string& root : roots) {
            co_await walk(root, samples, items);
        }
    } catch (const std::exception&) {
        is_complete = false;  // the samples would be those of a part of the tree
    }
    std::string text;
    const auto add_own = [&text](const OwnFigure& figure) {
        const std::string name = "kx_gateway_" + figure.name;
        text += "# HELP " + name + " " + figure.help + "\n# TYPE " + name + " " + figure.type + "\n" + name +
                " " + to_text(figure.value) + "\n";
    };
    if (is_complete && items > 0) {
        text +=
            "# HELP xmlda_item_value Value of an item, booleans as 0 and 1.\n# TYPE xmlda_item_value "
            "gauge\n" +
            samples;
    }
    add_own(
        {"server_up", "gauge", "Whether all items could be read from the server.", is_complete ? 1.0 : 0.0});
    add_own({"metrics_cut", "gauge", "Whether there are more items than are shown here.",
             items >= MOST_ITEMS ? 1.0 : 0.0});
    for (const OwnFigure& figure : get_own_figures_()) {
        add_own(figure);
    }
    co_return text;
}

Task<> Metrics::walk(std::string root, std::string& text, std::size_t& items) {
    PropertyChoice choice;
    choice.names = {"accessRights", "value", "quality", "engineeringUnits"};
    std::deque<std::string> branches = {std::move(root)};
    while (!branches.empty() && items < MOST_ITEMS) {
        const std::string branch = std::move(branches.front());
        branches.pop_front();
        const std::vector<xmlda::BrowseElement> elements = co_await parts_.client.browse(branch, choice);
        for (const xmlda::BrowseElement& element : elements) {
            if (element.has_children && element.item_name != branch) {
                branches.push_back(element.item_name);
            }
            const std::string sample = find_sample(element.properties);
            if (!sample.empty() && items < MOST_ITEMS) {
                ++items;
                text += "xmlda_item_value{item=\"" + to_label_value(element.item_name) + "\",unit=\"" +
                        to_label_value(find_text(element.properties, "engineeringUnits")) + "\",quality=\"" +
                        to_label_value(find_text(element.properties, "quality")) + "\"} " + sample + "\n";
            }
        }
    }
}

}  // namespace gateway
