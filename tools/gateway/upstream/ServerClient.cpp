#include "gateway/upstream/ServerClient.h"

#include "gateway/net/HttpClient.h"
#include "gateway/values/published_value.h"

#include "client/envelope.h"
#include "client/errors.h"
#include "client/text/text.h"
#include "client/xml/XmlWriter.h"
#include "client/xml/schema_texts.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

namespace gateway {
namespace {

constexpr auto PING_RATE = std::chrono::seconds(60);
constexpr unsigned HTTP_OK = 200;
constexpr unsigned HTTP_BAD_REQUEST = 400;
constexpr unsigned HTTP_SERVER_ERROR = 500;

const std::vector<std::string> STATE_NAMES = {"value", "quality", "timestamp"};
const std::vector<std::string> FACT_NAMES = {"accessRights", "dataType", "lowEU", "highEU", "euInfo"};

std::string to_flag(bool flag) {
    return flag ? "true" : "false";
}

void write_choice(xmlda::XmlWriter& writer, const PropertyChoice& choice) {
    writer.attribute("ReturnAllProperties", to_flag(choice.all))
        .attribute("ReturnPropertyValues", to_flag(choice.values));
}

void write_names(xmlda::XmlWriter& writer, const PropertyChoice& choice) {
    for (const std::string& name : choice.names) {
        writer.element("PropertyNames", name);
    }
}

std::string create_properties_document(const std::vector<std::string>& paths, const PropertyChoice& choice) {
    xmlda::XmlWriter writer;
    writer.start("GetProperties");
    write_choice(writer, choice);
    for (const std::string& path : paths) {
        writer.start("ItemIDs").attribute("ItemName", path).end();
    }
    write_names(writer, choice);
    return xmlda::wrap(writer.end().get());
}

std::string create_browse_document(const std::string& path, const PropertyChoice& choice) {
    xmlda::XmlWriter writer;
    writer.start("Browse").attribute("ItemName", path);
    write_choice(writer, choice);
    write_names(writer, choice);
    return xmlda::wrap(writer.end().get());
}

std::vector<xmlda::ItemAddress> to_addresses(const std::vector<std::string>& paths) {
    std::vector<xmlda::ItemAddress> addresses;
    addresses.reserve(paths.size());
    for (const std::string& path : paths) {
        addresses.push_back({.name = path, .path = {}});
    }
    return addresses;
}

std::optional<double> parse_number(const std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end != text.data() ? std::optional(number) : std::nullopt;
}

void take_fact(ItemFacts& facts, std::string_view name, xmlda::Value value) {
    if (name == "dataType") {
        facts.type = value.text.substr(value.text.find(':') + 1);  // npos + 1 is 0
    } else if (name == "accessRights") {
        facts.is_writable = value.text == "readWritable" || value.text == "writable";
    } else if (name == "lowEU") {
        facts.low = parse_number(value.text);
    } else if (name == "highEU") {
        facts.high = parse_number(value.text);
    } else if (name == "euInfo") {
        for (xmlda::Value& symbol : value.members) {
            facts.symbols.push_back(std::move(symbol.text));
        }
    }
}

void take_property(ItemAnswer& answer, std::string_view name, const xmlda::XmlElement& value) {
    ItemState& state = answer.state;
    if (name == "value") {
        state.value = to_published_value(xmlda::parse_value(value));
    } else if (name == "quality") {  // which all variables have
        state.kind = ItemState::Kind::VARIABLE;
        const std::string text = xmlda::trim(value.get_text());
        state.quality = to_published_quality(text.empty() ? xmlda::parse_value(value).text : text);
    } else if (name == "timestamp") {
        std::string text = xmlda::trim(value.get_text());
        if (xmlda::is_of_type(text, "dateTime")) {
            state.timestamp = std::move(text);
        }
    } else {
        take_fact(answer.facts, name, xmlda::parse_value(value));
    }
}

/// Straight from the elements of the reply: most of what the gateway reads is this.
void take_properties(ItemAnswer& answer, const xmlda::XmlElement& properties) {
    answer.state.kind = ItemState::Kind::BRANCH;
    for (const xmlda::XmlElement property : properties.find_children("Properties")) {
        if (const auto value = property.find_child("Value")) {
            take_property(answer, xmlda::get_property_name(property), *value);
        }
    }
}

/// Servers leave out what they do not know, and keep the order.
/// @return one for each path
std::vector<ItemAnswer> to_answers(const std::vector<std::string>& paths, std::string_view reply) {
    const xmlda::XmlDocument document = xmlda::parse_envelope(reply);
    const xmlda::XmlElement response = xmlda::unwrap(document, "GetPropertiesResponse");
    std::vector<ItemAnswer> answers(paths.size());
    const xmlda::XmlElements lists = response.find_children("PropertyLists");
    auto next = lists.begin();
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (next != lists.end() && (*next).find_attribute("ItemName") == paths[i]) {
            take_properties(answers[i], *next);
            ++next;
        } else {
            answers[i].state.kind = ItemState::Kind::MISSING;
        }
    }
    return answers;
}

/// Servers leave out what they do not know, and keep the order.
std::vector<std::optional<xmlda::ItemProperties>> sort(const std::vector<std::string>& paths,
                                                       std::vector<xmlda::ItemProperties> found) {
    std::vector<std::optional<xmlda::ItemProperties>> sorted(paths.size());
    auto next = found.begin();
    for (std::size_t i = 0; i < paths.size() && next != found.end(); ++i) {
        if (next->item_name == paths[i]) {
            sorted[i] = std::move(*next);
            ++next;
        }
    }
    return sorted;
}

template <class T>
std::pair<std::vector<T>, std::vector<T>> split(std::vector<T> whole) {
    const auto middle = whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2);
    return {std::vector<T>(std::make_move_iterator(whole.begin()), std::make_move_iterator(middle)),
            std::vector<T>(std::make_move_iterator(middle), std::make_move_iterator(whole.end()))};
}

template <class T>
void append(std::vector<T>& target, std::vector<T> more) {
    target.insert(target.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

/// Runs a reader of replies; what is no OPC XML-DA counts as no answer.
template <class Parse>
auto parse_reply(Parse parse, const std::string& bytes) {
    try {
        return parse(bytes);
    } catch (const xmlda::UnexpectedMessage& error) {
        throw ServerAway(error.what());
    }
}

}  // namespace

Task<std::string> ServerClient::call(std::string document, bool may_repeat) {
    const Completion<HttpOutcome> completion = post_(std::move(document), may_repeat);
    HttpOutcome outcome = co_await completion;
    if (outcome.status == 0) {
        if (listener_) {
            listener_(false, outcome.failure);
        }
        throw ServerAway(outcome.failure);
    }
    const bool is_xml = outcome.body.starts_with('<');
    if (outcome.status == HTTP_BAD_REQUEST && !is_xml) {
        throw RequestRefused();
    }
    const bool may_hold_fault = outcome.status == HTTP_BAD_REQUEST || outcome.status == HTTP_SERVER_ERROR;
    if (!is_xml || (outcome.status != HTTP_OK && !may_hold_fault)) {
        const std::string failure =
            "HTTP status " + std::to_string(outcome.status) + (is_xml ? "" : ", and the reply is not XML");
        if (listener_) {
            listener_(false, failure);
        }
        throw ServerAway(failure);
    }
    if (listener_) {
        listener_(true, "");
    }
    co_return std::move(outcome.body);
}

Task<xmlda::StatusReply> ServerClient::get_status() {
    const std::string reply = co_await call(xmlda::create_status_request().body, true);
    co_return parse_reply(xmlda::parse_status_reply, reply);
}

Task<std::vector<std::optional<xmlda::ItemProperties>>> ServerClient::get_properties(
    std::vector<std::string> paths, PropertyChoice choice) {
    if (paths.empty()) {
        co_return std::vector<std::optional<xmlda::ItemProperties>>();
    }
    const std::string reply = co_await call(create_properties_document(paths, choice), true);
    co_return sort(paths, parse_reply(xmlda::parse_properties_reply, reply).items);
}

Task<std::vector<ItemAnswer>> ServerClient::read_items(std::vector<std::string> paths, bool with_facts) {
    std::vector<ItemAnswer> answers;
    if (paths.empty()) {
        co_return answers;
    }
    PropertyChoice choice;
    choice.names = STATE_NAMES;
    if (with_facts) {
        choice.names.insert(choice.names.end(), FACT_NAMES.begin(), FACT_NAMES.end());
    }
    bool is_refused = false;
    try {
        const std::string reply = co_await call(create_properties_document(paths, choice), true);
        answers = parse_reply([&paths](std::string_view bytes) { return to_answers(paths, bytes); }, reply);
    } catch (const RequestRefused&) {
        is_refused = true;
    }
    if (!is_refused) {
        co_return answers;
    }
    // One item that the server cannot send spoils the whole reply: look for it.
    if (paths.size() == 1) {
        answers.emplace_back();
        answers.back().state.kind = ItemState::Kind::UNREADABLE;
        co_return answers;
    }
    auto halves = split(std::move(paths));
    answers = co_await read_items(std::move(halves.first), with_facts);
    std::vector<ItemAnswer> others = co_await read_items(std::move(halves.second), with_facts);
    append(answers, std::move(others));
    co_return answers;
}

Task<std::vector<xmlda::BrowseElement>> ServerClient::browse(std::string path, PropertyChoice choice) {
    const std::string reply = co_await call(create_browse_document(path, choice), true);
    co_return parse_reply(xmlda::parse_browse_reply, reply).elements;
}

Task<std::vector<std::optional<xmlda::Value>>> ServerClient::write(std::vector<xmlda::WriteItem> items) {
    std::vector<std::optional<xmlda::Value>> written(items.size());
    bool is_refused = false;
    try {
        const std::string document = xmlda::create_write_request(items, true).body;
        const std::string reply = co_await call(document, false);
        for (xmlda::ItemReply& item : parse_reply(xmlda::parse_write_reply, reply).items) {
            std::size_t handle = 0;
            const std::string text = item.handle.value_or("");
            std::from_chars(text.data(), text.data() + text.size(), handle);  // counted from 1
            if (handle >= 1 && handle <= written.size()) {
                written[handle - 1] = to_published_value(item.value.value_or(xmlda::Value()));
            }
        }
    } catch (const RequestRefused&) {
        is_refused = true;
    }
    if (!is_refused || items.size() == 1) {
        co_return written;
    }
    // The items before the one at fault were written, those behind it not: each gets a request of its own.
    written.clear();
    for (xmlda::WriteItem& item : items) {
        std::vector<xmlda::WriteItem> single;
        single.push_back(std::move(item));
        std::vector<std::optional<xmlda::Value>> one = co_await write(std::move(single));
        append(written, std::move(one));
    }
    co_return written;
}

Task<std::string> ServerClient::subscribe(std::vector<std::string> paths) {
    const std::string document =
        xmlda::create_subscribe_request(to_addresses(paths), std::chrono::milliseconds(0), PING_RATE).body;
    const std::string reply = co_await call(document, false);
    std::string handle = parse_reply(xmlda::parse_subscribe_reply, reply).handle;
    if (handle.empty()) {
        throw ServerAway("the reply to Subscribe has no handle");
    }
    co_return handle;
}

Task<std::optional<std::vector<std::string>>> ServerClient::refresh(std::string handle) {
    const std::string reply = co_await call(xmlda::create_refresh_request(handle).body, false);
    const auto refresh = parse_reply(xmlda::parse_refresh_reply, reply);
    std::vector<std::string> names;
    if (refresh.is_subscription_lost) {
        co_return std::nullopt;
    }
    for (const xmlda::ItemReply& item : refresh.items) {
        if (item.name) {
            names.push_back(*item.name);
        }
    }
    co_return names;
}

Task<> ServerClient::cancel(std::string handle) {
    try {
        co_await call(xmlda::create_cancel_request(handle).body, true);
    } catch (const RequestRefused&) {
        // nothing to cancel
    }
}

}  // namespace gateway
