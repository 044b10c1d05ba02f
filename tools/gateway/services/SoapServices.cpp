#include "gateway/services/SoapServices.h"

#include "gateway/items/item_path.h"
#include "gateway/services/name_filter.h"
#include "gateway/soap/SoapFault.h"
#include "gateway/soap/result_texts.h"
#include "gateway/soap/times.h"
#include "gateway/values/convert_value.h"
#include "gateway/values/published_value.h"

#include "client/errors.h"
#include "client/xml/schema_texts.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace gateway {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;
using Kind = ItemState::Kind;

constexpr char XML_TYPE[] = "text/xml; charset=utf-8";
constexpr unsigned HTTP_FAULT = 500;
constexpr auto LONGEST_HOLD = std::chrono::hours(1);
constexpr std::size_t BYTES_OF_AN_ELEMENT = 768;   // what an item of a request and its result take
constexpr std::size_t PROPERTIES_OF_AN_ITEM = 25;  // more than any has
constexpr std::size_t LARGEST_COUNT_OF_PROPERTIES = 500'000;
constexpr std::size_t LARGEST_POLL = 1U << 20U;
constexpr char SCAN_RATE[] = "scanRate";
constexpr std::string_view VENDOR_PREFIX = "telvix:";

HttpReply create_reply(unsigned status, std::string body) {
    HttpReply reply;
    reply.status = status;
    reply.content_type = XML_TYPE;
    reply.body = std::move(body);
    return reply;
}

/// What a client is told of an item that it asked for.
/// @param item  null if the name cannot be that of an item
ItemResult to_result(const std::shared_ptr<Item>& item, const std::string& type) {
    ItemResult result;
    result.quality = "bad";
    if (!item) {
        result.code = "E_INVALIDITEMNAME";
        return result;
    }
    const ItemState& state = item->state;
    switch (state.kind) {
        case Kind::UNKNOWN:
            result.quality = "badCommFailure";
            return result;
        case Kind::MISSING:
        case Kind::BRANCH:
            result.code = "E_UNKNOWNITEMNAME";
            return result;
        case Kind::UNREADABLE:
            result.code = "E_FAIL";
            return result;
        case Kind::VARIABLE:
            break;
    }
    result.timestamp = state.timestamp;
    if (!type.empty() && type != state.value.type && type != "anyType") {
        ConvertedValue converted = convert_value(state.value, type, Fractions::ROUNDED);
        result.code = converted.code;
        if (!result.code.empty()) {
            return result;
        }
        result.value = std::move(converted.value);
    } else {
        result.value = state.value;
    }
    result.quality = state.quality;
    return result;
}

/// Properties that the gateway adds to those of the server.
bool is_own_property(const std::string& name) {
    return name == SCAN_RATE;
}

std::vector<std::string> to_server_names(const PropertyRequest& request) {
    std::vector<std::string> names;
    std::remove_copy_if(request.names.begin(), request.names.end(), std::back_inserter(names),
                        is_own_property);
    return names;
}

const xmlda::Property* find_property(const std::vector<xmlda::Property>& properties,
                                     const std::string& name) {
    const auto found =
        std::find_if(properties.begin(), properties.end(),
                     [&name](const xmlda::Property& property) { return property.name == name; });
    return found == properties.end() ? nullptr : &*found;
}

bool is_variable(const std::vector<xmlda::Property>& properties) {
    return find_property(properties, "accessRights") != nullptr;
}

void write_property_value(xmlda::XmlWriter& writer, const std::string& name, const xmlda::Value& value) {
    if (name == "quality") {
        writer.start("Value")
            .attribute("xsi:type", "da:OPCQuality")
            .attribute("QualityField", to_published_quality(value.text))
            .end();
    } else if (name == "dataType") {
        const std::string type = value.text.substr(value.text.find(':') + 1);  // npos + 1 is 0
        writer.start("Value").attribute("xsi:type", "xsd:QName").text(to_published_type(type)).end();
    } else {
        write_published_value(writer, to_published_value(value));
    }
}

/// Whether a reply can name a property: it declares no other prefixes.
bool can_be_named(const std::string& name) {
    return xmlda::is_name(name.starts_with(VENDOR_PREFIX) ? name.substr(VENDOR_PREFIX.size()) : name);
}

/// Writes the properties that were asked for.
class PropertyWriter {
public:
    PropertyWriter(SoapReply& reply, const PropertyRequest& request, milliseconds scan_rate)
        : reply_(reply), request_(request), scan_rate_(scan_rate) {}

    void write(const std::vector<xmlda::Property>& found) {
        if (request_.all) {
            for (const xmlda::Property& property : found) {
                reply_.check_size();
                if (can_be_named(property.name)) {
                    write_one(property);
                }
            }
            if (is_variable(found)) {
                write_scan_rate();
            }
            return;
        }
        for (const std::string& name : request_.names) {
            reply_.check_size();
            const xmlda::Property* const property = find_property(found, name);
            if (property != nullptr) {
                write_one(*property);
            } else if (name == SCAN_RATE && is_variable(found)) {
                write_scan_rate();
            } else {
                reply_.get_writer().start("Properties").attribute("Name", to_name(name));
                reply_.get_writer().attribute("ResultID", reply_.use_code("E_INVALIDPID")).end();
            }
        }
    }

private:
    static std::string to_name(const std::string& name) {
        return name.find(':') == std::string::npos ? "da:" + name : name;
    }

    void write_one(const xmlda::Property& property) {
        xmlda::XmlWriter& writer = reply_.get_writer();
        writer.start("Properties").attribute("Name", to_name(property.name));
        if (!property.description.empty()) {
            writer.attribute("Description", property.description);
        }
        if (request_.values && property.value) {
            write_property_value(writer, property.name, *property.value);
        }
        writer.end();
    }

    void write_scan_rate() {
        xmlda::Property property;
        property.name = SCAN_RATE;
        property.description = SCAN_RATE;
        property.value.emplace();
        property.value->type = "float";
        property.value->text = std::to_string(scan_rate_.count());
        write_one(property);
    }

    SoapReply& reply_;
    const PropertyRequest& request_;
    const milliseconds scan_rate_;
};

PropertyChoice to_choice(const PropertyRequest& request) {
    PropertyChoice choice;
    choice.all = request.all;
    choice.values = request.values;
    choice.names = to_server_names(request);
    choice.names.emplace_back("accessRights");  // tells a variable from a branch
    return choice;
}

/// A fault of the server becomes one of the gateway's.
[[noreturn]] void rethrow(const xmlda::Fault& fault) {
    throw SoapFault(xmlda::is_name(fault.get_code()) ? fault.get_code() : "E_FAIL", fault.get_text());
}

std::string describe_absence(const std::string& failure) {
    return "The server behind the gateway does not answer: " + failure;
}

[[noreturn]] void refuse_without_server(const std::string& failure) {
    throw SoapFault("E_SERVERSTATE", describe_absence(failure));
}

/// The elements behind a continuation point, which names the last element that was sent.
void continue_behind(std::vector<xmlda::BrowseElement>& elements, const std::string& point) {
    const auto found =
        std::find_if(elements.begin(), elements.end(),
                     [&point](const xmlda::BrowseElement& element) { return element.item_name == point; });
    if (found == elements.end()) {
        throw SoapFault("E_INVALIDCONTINUATIONPOINT", get_result_text("E_INVALIDCONTINUATIONPOINT"));
    }
    elements.erase(elements.begin(), found + 1);
}

void choose_elements(std::vector<xmlda::BrowseElement>& elements, const BrowseRequest& request) {
    std::erase_if(elements, [&request](const xmlda::BrowseElement& element) {
        const bool is_item = is_variable(element.properties);
        return (request.filter == "branch" && is_item) || (request.filter == "item" && !is_item) ||
               !matches_filter(element.name, request.name_filter);
    });
}

}  // namespace

SoapServices::SoapServices(const ServiceParts& parts) : parts_(parts), start_(system_clock::now()) {}

Task<HttpReply> SoapServices::serve(HttpRequest request, std::shared_ptr<Presence> presence) {
    try {
        std::string document = co_await dispatch(request, presence);
        co_return create_reply(200, std::move(document));
    } catch (const SoapFault& fault) {
        co_return create_reply(HTTP_FAULT, create_fault_document(fault.get_code(), fault.what()));
    } catch (const ServerAway& error) {
        co_return create_reply(HTTP_FAULT,
                               create_fault_document("E_SERVERSTATE", describe_absence(error.what())));
    } catch (const std::exception& error) {
        co_return create_reply(HTTP_FAULT, create_fault_document("E_FAIL", error.what()));
    }
}

Task<std::string> SoapServices::dispatch(const HttpRequest& request,
                                         const std::shared_ptr<Presence>& presence) {
    const Time received = system_clock::now();
    MemoryBudget::Share memory(parts_.memory);
    if (!memory.resize(count_elements(request.body) * BYTES_OF_AN_ELEMENT)) {
        throw SoapFault("E_OUTOFMEMORY", "the gateway is busy with other large requests");
    }
    auto message = std::make_optional<SoapRequest>(request.body);
    const std::string service = message->get_service();
    // The document is let go before the work begins, which may take long.
    const auto release = [&message](auto parsed) {
        message.reset();
        return parsed;
    };
    if (service == "GetStatus") {
        co_return co_await get_status(release(message->read_get_status()), received);
    }
    if (service == "Browse") {
        co_return co_await browse(release(message->read_browse()), received);
    }
    if (service == "GetProperties") {
        co_return co_await get_properties(release(message->read_get_properties()), received);
    }
    if (service == "Read") {
        co_return co_await read(release(message->read_read()), received);
    }
    if (service == "Write") {
        co_return co_await write(release(message->read_write()), received);
    }
    if (service == "Subscribe") {
        co_return co_await subscribe(release(message->read_subscribe()), request.peer, received);
    }
    if (service == "SubscriptionPolledRefresh") {
        // A poll may be held for hours, and keeps its memory as long.
        if (request.body.size() > LARGEST_POLL) {
            throw SoapFault("E_OUTOFMEMORY", "the poll is larger than 1 MiB");
        }
        RefreshRequest poll = release(message->read_refresh());
        if (!memory.resize(poll.handles.size() * BYTES_OF_AN_ELEMENT + request.body.size())) {
            throw SoapFault("E_OUTOFMEMORY", "the gateway is busy with other large requests");
        }
        co_return co_await refresh(std::move(poll), presence, received);
    }
    if (service == "SubscriptionCancel") {
        co_return cancel(message->read_cancel(), received);
    }
    throw SoapFault("", "'" + service + "' is not one of the eight services of OPC XML-DA");
}

std::shared_ptr<Item> SoapServices::find_item(const RequestedItem& requested) const {
    const auto path = to_item_path(requested.path.value_or(""), requested.name);
    return path ? parts_.table.get(*path) : nullptr;
}

Task<std::string> SoapServices::get_status(GetStatusRequest request, Time received) {
    try {
        co_await parts_.client.get_status();
    } catch (const std::runtime_error&) {
        // the reply says so
    }
    const ServerCondition& condition = parts_.sampler.get_condition();
    SoapReply reply("GetStatus", request.options, received);
    reply.write_result(condition.is_running);
    xmlda::XmlWriter& writer = reply.get_writer();
    writer.start("Status")
        .attribute("StartTime", to_date_time(start_))
        .attribute("ProductVersion", GATEWAY_VERSION);
    if (!condition.is_running) {
        writer.element("StatusInfo", "The server behind the gateway does not answer");
    }
    writer.element("VendorInfo",
                   condition.vendor.empty() ? "kx-gateway" : "kx-gateway in front of " + condition.vendor);
    writer.element("SupportedLocaleIDs", "en-US");
    writer.element("SupportedInterfaceVersions", "XML_DA_Version_1_0").end();
    co_return reply.finish();
}

Task<std::string> SoapServices::browse(BrowseRequest request, Time received) {
    const auto path = to_item_path(request.item.path.value_or(""), request.item.name);
    if (!path) {
        throw SoapFault("E_INVALIDITEMNAME", get_result_text("E_INVALIDITEMNAME"));
    }
    if (request.filter != "all" && request.filter != "branch" && request.filter != "item") {
        throw SoapFault("E_INVALIDFILTER", "'" + request.filter + "' is not all, branch or item");
    }
    std::vector<xmlda::BrowseElement> elements;
    try {
        elements = co_await parts_.client.browse(*path, to_choice(request.properties));
    } catch (const xmlda::Fault& fault) {
        rethrow(fault);
    } catch (const ServerAway& error) {
        refuse_without_server(error.what());
    }
    if (elements.size() == 1 && elements.front().item_name == *path) {
        elements.clear();  // a variable has nothing below it
    }
    if (!request.continuation_point.empty()) {
        continue_behind(elements, request.continuation_point);
    }
    choose_elements(elements, request);
    const bool has_more = request.most_elements > 0 && elements.size() > request.most_elements;
    if (has_more) {
        elements.resize(request.most_elements);
    }
    SoapReply reply("Browse", request.options, received);
    xmlda::XmlWriter& writer = reply.get_writer();
    if (has_more) {
        writer.attribute("ContinuationPoint", elements.back().item_name);
    }
    writer.attribute("MoreElements", has_more ? "true" : "false");
    reply.write_result(true);
    PropertyWriter properties(reply, request.properties, parts_.sampler.get_interval());
    for (const xmlda::BrowseElement& element : elements) {
        writer.start("Elements")
            .attribute("Name", element.name)
            .attribute("ItemName", element.item_name)
            .attribute("IsItem", is_variable(element.properties) ? "true" : "false")
            .attribute("HasChildren", element.has_children ? "true" : "false");
        properties.write(element.properties);
        writer.end();
    }
    co_return reply.finish();
}

Task<std::string> SoapServices::get_properties(GetPropertiesRequest request, Time received) {
    std::vector<std::string> paths;
    std::vector<std::optional<std::size_t>> positions;
    for (const RequestedItem& item : request.items) {
        const auto path = to_item_path(item.path.value_or(""), item.name);
        positions.push_back(path ? std::optional(paths.size()) : std::nullopt);
        if (path) {
            paths.push_back(*path);
        }
    }
    const std::size_t count_of_each =
        request.properties.all ? PROPERTIES_OF_AN_ITEM : request.properties.names.size();
    if (request.items.size() * count_of_each > LARGEST_COUNT_OF_PROPERTIES) {
        throw SoapFault("E_OUTOFMEMORY",
                        "the reply would have too many properties: ask for fewer items at a time");
    }
    std::vector<std::optional<xmlda::ItemProperties>> found;
    try {
        found = co_await parts_.client.get_properties(paths, to_choice(request.properties));
    } catch (const xmlda::Fault& fault) {
        rethrow(fault);
    } catch (const ServerAway& error) {
        refuse_without_server(error.what());
    } catch (const RequestRefused&) {
        throw SoapFault("E_FAIL", "the server cannot send one of the properties");
    }
    SoapReply reply("GetProperties", request.options, received);
    reply.write_result(true);
    xmlda::XmlWriter& writer = reply.get_writer();
    PropertyWriter properties(reply, request.properties, parts_.sampler.get_interval());
    for (std::size_t i = 0; i < request.items.size(); ++i) {
        const RequestedItem& item = request.items[i];
        writer.start("PropertyLists");
        if (item.path) {
            writer.attribute("ItemPath", *item.path);
        }
        writer.attribute("ItemName", item.name);
        if (!positions[i]) {
            writer.attribute("ResultID", reply.use_code("E_INVALIDITEMNAME"));
        } else if (const auto& answer = found[*positions[i]]; !answer) {
            writer.attribute("ResultID", reply.use_code("E_UNKNOWNITEMNAME"));
        } else {
            properties.write(answer->properties);
        }
        writer.end();
    }
    co_return reply.finish();
}

Task<std::string> SoapServices::read(ReadRequest request, Time received) {
    std::vector<std::shared_ptr<Item>> items;
    std::vector<std::shared_ptr<Item>> known;
    for (const RequestedItem& requested : request.items) {
        items.push_back(find_item(requested));
        if (items.back()) {
            known.push_back(items.back());
        }
    }
    co_await parts_.sampler.read(std::move(known));
    SoapReply reply("Read", request.options, received);
    reply.write_result(is_running());
    reply.get_writer().start("RItemList");
    for (std::size_t i = 0; i < items.size(); ++i) {
        reply.write_item("Items", request.items[i], to_result(items[i], request.items[i].type));
    }
    reply.get_writer().end();
    co_return reply.finish();
}

Task<std::string> SoapServices::write(WriteRequest request, Time received) {
    std::vector<WriteOrder> orders;
    for (RequestedItem& requested : request.items) {
        orders.push_back({.item = find_item(requested),
                          .value = std::move(requested.value),
                          .has_extras = requested.has_extras});
    }
    const std::vector<std::shared_ptr<Item>> items = [&orders] {
        std::vector<std::shared_ptr<Item>> all;
        all.reserve(orders.size());
        for (const WriteOrder& order : orders) {
            all.push_back(order.item);
        }
        return all;
    }();
    std::vector<WriteResult> written = co_await write_items(parts_, std::move(orders));
    if (request.options.item_time) {
        std::vector<std::shared_ptr<Item>> known;
        std::copy_if(items.begin(), items.end(), std::back_inserter(known),
                     [](const auto& item) { return item != nullptr; });
        co_await parts_.sampler.read(std::move(known));
    }
    SoapReply reply("Write", request.options, received);
    reply.write_result(is_running());
    reply.get_writer().start("RItemList");
    for (std::size_t i = 0; i < written.size(); ++i) {
        ItemResult result;
        result.code = std::move(written[i].code);
        if (written[i].value) {
            result.timestamp = items[i]->state.timestamp;
            if (request.return_values) {
                result.value = std::move(written[i].value);
                result.quality = items[i]->state.quality;
            }
        }
        reply.write_item("Items", request.items[i], result);
    }
    reply.get_writer().end();
    co_return reply.finish();
}

Task<std::string> SoapServices::subscribe(SubscribeRequest request, std::string owner, Time received) {
    std::size_t text_bytes = 0;
    for (RequestedItem& requested : request.items) {
        requested.value = xmlda::Value();  // which has no meaning here, and would be kept
        text_bytes += count_text_bytes(requested);
    }
    parts_.subscriptions.check_room(owner, request.items.size(), text_bytes);
    std::vector<std::shared_ptr<Item>> items;
    std::vector<std::shared_ptr<Item>> to_read;
    for (const RequestedItem& requested : request.items) {
        items.push_back(find_item(requested));
        if (items.back() && !parts_.sampler.is_up_to_date(*items.back())) {
            to_read.push_back(items.back());
        }
    }
    co_await parts_.sampler.read(std::move(to_read));
    std::vector<ItemResult> results;
    std::vector<SubscribedItem> subscribed;
    for (std::size_t i = 0; i < items.size(); ++i) {
        results.push_back(to_result(items[i], request.items[i].type));
        if (!results.back().is_error()) {
            subscribed.emplace_back(ItemWatch(parts_.table, items[i]), request.items[i]);
            if (request.return_values) {
                subscribed.back().set_seen();
            }
        }
        if (!request.return_values && !results.back().is_error()) {
            results.back().value.reset();
            results.back().quality.clear();
            results.back().timestamp.clear();
        }
    }
    SoapReply reply("Subscribe", request.options, received);
    if (!subscribed.empty()) {
        parts_.subscriptions.check_room(owner, subscribed.size(), text_bytes);
        const auto subscription = parts_.subscriptions.add(owner, request.ping_rate, std::move(subscribed));
        reply.get_writer().attribute("ServerSubHandle", subscription->handle);
    }
    reply.write_result(is_running());
    const std::string rate = std::to_string(parts_.sampler.get_interval().count());
    reply.get_writer().start("RItemList").attribute("RevisedSamplingRate", rate);
    for (std::size_t i = 0; i < items.size(); ++i) {
        reply.get_writer().start("Items");
        reply.write_item("ItemValue", request.items[i], results[i]);
        reply.get_writer().end();
    }
    reply.get_writer().end();
    co_return reply.finish();
}

/// Waits until a time, and if that is wanted until one of the subscriptions has news.
/// @return false if the poll is to end at once: the client has left, the gateway stops, or one of the
///         subscriptions has ended or is polled by somebody else now
Task<bool> SoapServices::hold(const std::vector<std::shared_ptr<ClientSubscription>>& subscriptions,
                              std::shared_ptr<Presence> presence, std::chrono::steady_clock::time_point until,
                              bool ends_with_news) {
    const auto has_news = [&subscriptions] {
        return std::any_of(subscriptions.begin(), subscriptions.end(),
                           [](const auto& subscription) { return subscription->has_news(); });
    };
    const auto now = parts_.loop.get_time();
    if (presence->has_left() || parts_.subscriptions.is_closed()) {
        co_return false;
    }
    if (until <= now || (ends_with_news && has_news())) {
        co_return true;
    }
    const Completion<bool> wake;
    const auto timer =
        parts_.loop.call_after(std::chrono::ceil<milliseconds>(until - now), [wake] { wake.set(true); });
    presence->set_listener([wake] { wake.set(false); });
    std::shared_ptr<void> listening;
    if (ends_with_news) {
        listening = parts_.table.listen([wake, &has_news] {
            if (!wake.is_set() && has_news()) {
                wake.set(true);
            }
        });
    }
    for (const auto& subscription : subscriptions) {
        subscription->poll = wake;
    }
    const bool may_go_on = co_await wake;
    for (const auto& subscription : subscriptions) {
        if (subscription->poll && subscription->poll->is_same(wake)) {
            subscription->poll.reset();
        }
    }
    presence->set_listener(nullptr);
    parts_.loop.cancel(timer);
    co_return may_go_on;
}

Task<std::string> SoapServices::refresh(RefreshRequest request, std::shared_ptr<Presence> presence,
                                        Time received) {
    std::vector<std::shared_ptr<ClientSubscription>> found;
    std::vector<std::string> unknown;
    std::unordered_set<std::string_view> named;
    for (const std::string& handle : request.handles) {
        if (!named.insert(handle).second) {
            continue;  // while the poll waits, each of them would be looked through with each change
        }
        if (auto subscription = parts_.subscriptions.find(handle)) {
            if (subscription->poll) {  // an earlier poll ends, whose client may have given up
                const Completion<bool> earlier = *subscription->poll;
                subscription->poll.reset();
                parts_.loop.post([earlier] { earlier.set(false); });
            }
            parts_.subscriptions.refresh(*subscription);
            found.push_back(std::move(subscription));
        } else {
            unknown.push_back(handle);
        }
    }
    const auto begin = parts_.loop.get_time();
    auto until = begin;
    if (request.hold_until) {
        const auto pause = *request.hold_until - system_clock::now();
        if (pause > LONGEST_HOLD) {
            throw SoapFault("E_INVALIDHOLDTIME", get_result_text("E_INVALIDHOLDTIME"));
        }
        until = begin + std::max<system_clock::duration>(pause, system_clock::duration::zero());
    }
    bool is_wanted = true;
    if (!found.empty()) {
        is_wanted = co_await hold(found, presence, until, false);
        if (is_wanted) {
            is_wanted = co_await hold(found, presence, until + request.wait, true);
        }
    }
    SoapReply reply("SubscriptionPolledRefresh", request.options, received);
    reply.get_writer().attribute("DataBufferOverflow", "false");
    reply.write_result(is_running());
    for (const std::string& handle : unknown) {
        reply.get_writer().element("InvalidServerSubHandles", handle);
    }
    for (const auto& subscription : found) {
        if (parts_.subscriptions.find(subscription->handle) == nullptr) {
            continue;  // cancelled meanwhile
        }
        parts_.subscriptions.refresh(*subscription);
        reply.get_writer().start("RItemList").attribute("SubscriptionHandle", subscription->handle);
        for (SubscribedItem& item : subscription->items) {
            if (is_wanted && (request.return_all || item.has_news())) {
                reply.write_item("Items", item.request, to_result(item.watch.share(), item.request.type));
                item.set_seen();
            }
        }
        reply.get_writer().end();
    }
    co_return reply.finish();
}

std::string SoapServices::cancel(const CancelRequest& request, Time received) {
    if (!parts_.subscriptions.remove(request.handle)) {
        throw SoapFault("E_NOSUBSCRIPTION", get_result_text("E_NOSUBSCRIPTION"));
    }
    const RequestOptions options;
    SoapReply reply("SubscriptionCancel", options, received);
    if (request.request_handle) {
        reply.get_writer().attribute("ClientRequestHandle", *request.request_handle);
    }
    return reply.finish();
}

}  // namespace gateway
