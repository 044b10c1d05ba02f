#include "gateway/web/PageApi.h"

#include "gateway/items/item_path.h"
#include "gateway/soap/result_texts.h"
#include "gateway/values/published_value.h"

#include "client/errors.h"
#include "client/type_names.h"

#include <charconv>
#include <cmath>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace gateway {
namespace {

using Json = nlohmann::ordered_json;
using xmlda::Value;
using Kind = ItemState::Kind;

constexpr std::size_t MOST_ITEMS_OF_A_PAGE = 2000;
constexpr std::size_t MOST_ITEMS_OF_ALL_PAGES = 100'000;
constexpr std::size_t MOST_BYTES_OF_ALL_PAGES = std::size_t{32} << 20U;  // of the names of their items
constexpr std::size_t MOST_MEMBERS_SHOWN = 1000;

HttpReply create_reply(unsigned status, const Json& content) {
    HttpReply reply;
    reply.status = status;
    reply.content_type = "application/json";
    reply.headers = {{"Cache-Control", "no-store"}};
    reply.body = content.dump(-1, ' ', false, Json::error_handler_t::replace);
    return reply;
}

HttpReply create_error(unsigned status, const std::string& text) {
    return create_reply(status, {{"error", text}});
}

/// Numbers as numbers where a script can hold them, everything else as the text that it is.
Json to_json(const std::string& type, const std::string& text) {
    if (type == "boolean") {
        return text == "true" || text == "1";
    }
    if (!xmlda::is_number_type(type) || type == "long" || type == "unsignedLong") {
        return text;
    }
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc() && end == text.data() + text.size() && std::isfinite(number);
    if (!is_number) {
        return text;
    }
    return type == "double" || type == "float" || type == "decimal" ? Json(number)
                                                                    : Json(static_cast<std::int64_t>(number));
}

Json to_json(const Value& value) {
    if (value.kind == Value::Kind::NIL) {
        return nullptr;
    }
    if (value.kind == Value::Kind::SCALAR) {
        return to_json(value.type, value.text);
    }
    const std::string type = xmlda::is_array_type(value.type) ? xmlda::get_member_type(value.type) : "string";
    Json members = Json::array();
    for (const Value& member : value.members) {
        if (members.size() == MOST_MEMBERS_SHOWN) {
            break;
        }
        members.push_back(to_json(type, member.text));
    }
    return members;
}

Json to_json(const Item& item) {
    const ItemState& state = item.state;
    Json json = {{"item", item.path}};
    switch (state.kind) {
        case Kind::VARIABLE:
            json["value"] = to_json(state.value);
            json["quality"] = state.quality;
            json["time"] = state.timestamp;
            break;
        case Kind::UNKNOWN:
            json["quality"] = "badCommFailure";
            break;
        default:
            json["quality"] = "bad";
            json["gone"] = state.kind == Kind::MISSING;
            break;
    }
    return json;
}

Json to_json(const xmlda::BrowseElement& element) {
    Json json = {{"name", element.name}, {"item", element.item_name}, {"children", element.has_children}};
    const auto find = [&element](std::string_view name) -> const Value* {
        for (const xmlda::Property& property : element.properties) {
            if (property.name == name && property.value) {
                return &*property.value;
            }
        }
        return nullptr;
    };
    const auto put_text = [&](const char* key, std::string_view name) {
        if (const Value* const value = find(name)) {
            json[key] = value->text;
        }
    };
    const auto put_value = [&](const char* key, std::string_view name) {
        if (const Value* const value = find(name)) {
            json[key] = to_json(to_published_value(*value));
        }
    };
    put_text("description", "description");
    const Value* const rights = find("accessRights");
    json["variable"] = rights != nullptr;
    if (rights == nullptr) {
        return json;
    }
    json["writable"] = rights->text == "readWritable";
    if (const Value* const type = find("dataType")) {
        json["type"] = xmlda::to_type_name(type->text);
        if (xmlda::is_array_type(xmlda::to_type_name(type->text))) {
            json["array"] = true;
        }
    }
    put_text("unit", "engineeringUnits");
    put_value("symbols", "euInfo");
    put_value("low", "lowEU");
    put_value("high", "highEU");
    put_value("digits", "telvix:fractionalDigits");
    put_value("value", "value");
    put_text("quality", "quality");
    put_text("time", "timestamp");
    return json;
}

std::string create_session_name(std::uint64_t number) {
    std::random_device random;
    return std::to_string(number) + "-" + std::to_string(random()) + std::to_string(random());
}

Value to_scalar(const Json& json) {
    Value value;
    if (json.is_string()) {
        value.text = json.get<std::string>();
    } else if (json.is_boolean()) {
        value.type = "boolean";
        value.text = json.get<bool>() ? "true" : "false";
    } else if (json.is_number()) {
        value.text = json.dump();
    } else {
        value.kind = Value::Kind::NIL;
    }
    return value;
}

/// A value as a page sends it: a number, a boolean, a text, or an array of them. Its type is left open: that
/// of the item counts.
Value to_value(const Json& json) {
    if (!json.is_array()) {
        return to_scalar(json);
    }
    Value value;
    value.kind = Value::Kind::LIST;
    for (const Json& member : json) {
        value.members.push_back(to_scalar(member));
    }
    return value;
}

std::string get_text(const Json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? found->get<std::string>() : "";
}

}  // namespace

/// One page that listens.
class PageSession : public EventSource {
public:
    PageSession(PageApi& api, std::string name) : api_(api), name_(std::move(name)) {
        api_.sessions_.emplace(name_, this);
        listening_ = api_.parts_.table.listen([this] { notify(); });
    }
    PageSession(const PageSession&) = delete;
    PageSession& operator=(const PageSession&) = delete;
    ~PageSession() override { api_.sessions_.erase(name_); }

    std::string take() override {
        std::string text;
        if (!std::exchange(has_greeted_, true)) {
            append(text, "hello", {{"page", name_}});
        }
        if (std::exchange(has_new_condition_, false)) {
            text += "event: state\ndata: " + api_.get_status().body + "\n\n";
        }
        Json items = Json::array();
        for (Watched& watched : items_) {
            if (watched.watch->change > watched.seen) {
                watched.seen = watched.watch->change;
                items.push_back(to_json(watched.watch.get()));
            }
        }
        if (!items.empty()) {
            append(text, "items", items);
        }
        return text;
    }

    /// Those that it has already go on without being sent again.
    void watch(const std::vector<std::string>& paths) {
        std::vector<Watched> items;
        std::map<std::string, std::uint64_t> seen;
        for (const Watched& watched : items_) {
            seen.emplace(watched.watch->path, watched.seen);
        }
        for (const std::string& path : paths) {
            const auto known = seen.find(path);
            items.emplace_back(ItemWatch(api_.parts_.table, api_.parts_.table.get(path)),
                               known == seen.end() ? 0 : known->second);
        }
        items_.swap(items);
        notify();
    }

    void notify_condition() {
        has_new_condition_ = true;
        notify();
    }

    std::size_t get_items() const { return items_.size(); }
    std::size_t get_bytes() const {
        return std::accumulate(
            items_.begin(), items_.end(), std::size_t{0},
            [](std::size_t sum, const Watched& watched) { return sum + watched.watch->path.size(); });
    }

private:
    struct Watched {
        Watched(ItemWatch given_watch, std::uint64_t given_seen)
            : watch(std::move(given_watch)), seen(given_seen) {}
        ItemWatch watch;
        std::uint64_t seen;
    };

    static void append(std::string& text, const std::string& event, const Json& content) {
        text += "event: " + event +
                "\ndata: " + content.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n\n";
    }

    PageApi& api_;
    const std::string name_;
    bool has_greeted_ = false;
    bool has_new_condition_ = true;
    std::vector<Watched> items_;
    std::shared_ptr<void> listening_;
};

PageApi::PageApi(const ServiceParts& parts, std::string server) : parts_(parts), server_(std::move(server)) {}

PageApi::~PageApi() = default;

Task<HttpReply> PageApi::browse(std::string item) {
    const auto path = to_item_path("", item);
    if (!path) {
        co_return create_error(400, "'" + item + "' is not the name of an item");
    }
    PropertyChoice choice;
    choice.all = true;
    try {
        Json elements = Json::array();
        for (const xmlda::BrowseElement& element : co_await parts_.client.browse(*path, choice)) {
            elements.push_back(to_json(element));
        }
        co_return create_reply(200, {{"item", *path}, {"elements", elements}});
    } catch (const xmlda::Fault& fault) {
        co_return create_error(404, fault.get_text());
    } catch (const std::exception& error) {
        co_return create_error(503, error.what());
    }
}

HttpReply PageApi::get_status() const {
    const ServerCondition& condition = parts_.sampler.get_condition();
    Json json = {{"running", condition.is_running}, {"server", server_},
                 {"vendor", condition.vendor},      {"version", GATEWAY_VERSION},
                 {"readOnly", parts_.is_read_only}, {"sample", parts_.sampler.get_interval().count()}};
    if (!condition.is_running) {
        json["failure"] = condition.failure;
    }
    return create_reply(200, json);
}

HttpReply PageApi::open_events() {
    HttpReply reply;
    reply.content_type = "text/event-stream";
    reply.headers = {{"Cache-Control", "no-store"}, {"X-Accel-Buffering", "no"}};
    reply.events = std::make_shared<PageSession>(*this, create_session_name(++last_session_));
    return reply;
}

HttpReply PageApi::watch(const std::string& body) {
    const Json json = Json::parse(body, nullptr, false);
    if (!json.is_object() || !json.contains("items") || !json["items"].is_array()) {
        return create_error(400, "the body must be {\"page\": \"...\", \"items\": [...]}");
    }
    const auto session = sessions_.find(get_text(json, "page"));
    if (session == sessions_.end()) {
        return create_error(404, "the page is unknown: load it again");
    }
    std::vector<std::string> paths;
    std::size_t bytes = 0;
    for (const Json& item : json["items"]) {
        const auto path = item.is_string() ? to_item_path("", item.get<std::string>()) : std::nullopt;
        if (path) {
            bytes += path->size();
            paths.push_back(*path);
        }
    }
    const PageSession& page = *session->second;
    if (paths.size() > MOST_ITEMS_OF_A_PAGE ||
        get_items() - page.get_items() + paths.size() > MOST_ITEMS_OF_ALL_PAGES ||
        get_bytes() - page.get_bytes() + bytes > MOST_BYTES_OF_ALL_PAGES) {
        return create_error(413, "too many items: close some branches");
    }
    session->second->watch(paths);
    parts_.sampler.hurry();
    return create_reply(200, {{"items", paths.size()}});
}

Task<HttpReply> PageApi::write(std::string body) {
    const Json json = Json::parse(body, nullptr, false);
    if (!json.is_object() || !json.contains("value")) {
        co_return create_error(400, "the body must be {\"item\": \"...\", \"value\": ...}");
    }
    const auto path = to_item_path("", get_text(json, "item"));
    std::vector<WriteOrder> orders;
    orders.push_back({.item = path ? parts_.table.get(*path) : nullptr, .value = to_value(json["value"])});
    const std::vector<WriteResult> results = co_await write_items(parts_, std::move(orders));
    const WriteResult& result = results.front();
    Json reply = {{"code", result.code}, {"text", get_result_text(result.code)}};
    if (result.value) {
        reply["value"] = to_json(*result.value);
    }
    co_return create_reply(200, reply);
}

void PageApi::notify_condition() {
    for (const auto& [name, session] : sessions_) {
        session->notify_condition();
    }
}

std::size_t PageApi::get_bytes() const {
    std::size_t bytes = 0;
    for (const auto& [name, session] : sessions_) {
        bytes += session->get_bytes();
    }
    return bytes;
}

std::size_t PageApi::get_items() const {
    std::size_t items = 0;
    for (const auto& [name, session] : sessions_) {
        items += session->get_items();
    }
    return items;
}

}  // namespace gateway
