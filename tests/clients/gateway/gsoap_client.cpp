// Drives all eight services through a gateway with code that gSOAP generates, while this is built, from the
// gateway's own description. Prints a line per check.
//   with_server VALUES_HOST --gateway GATEWAY run_gsoap_client FOLDER
#include "Service.nsmap"
#include "soapServiceProxy.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <future>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

constexpr char NAMESPACE_PREFIX[] = "ns1:";

std::string get_text(std::chrono::system_clock::time_point time_point) {
    const std::time_t time = std::chrono::system_clock::to_time_t(time_point);
    char text[sizeof "2026-11-21T10:11:12Z"];
    std::tm parts{};
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&time, &parts));
    return text;
}

template <class Holder, class Content>
bool holds(const xsd__anyType* value, const Content& content) {
    const auto* holder = dynamic_cast<const Holder*>(value);
    return holder != nullptr && holder->__item == content;
}

/// Whether a value is an array of the class, with these members.
template <class Array, class Member>
bool holds(const xsd__anyType* value, std::vector<Member> Array::*list, const std::vector<Member>& members) {
    const auto* array = dynamic_cast<const Array*>(value);
    return array != nullptr && array->*list == members;
}

/// The code of an item, without prefix; empty if it has none. gSOAP gives the namespace its own prefix.
template <class Entry>
std::string get_code(const Entry* entry) {
    const std::string code = entry->ResultID == nullptr ? "" : *entry->ResultID;
    return code.rfind(NAMESPACE_PREFIX, 0) == 0 ? code.substr(sizeof NAMESPACE_PREFIX - 1) : code;
}

/// A connection of its own.
class Connection {
public:
    explicit Connection(const std::string& url) : proxy(url.c_str(), SOAP_C_UTFSTRING | SOAP_IO_KEEPALIVE) {
        constexpr int SECONDS = 120;
        proxy.soap->connect_timeout = SECONDS;
        proxy.soap->recv_timeout = SECONDS;
    }
    ~Connection() { proxy.destroy(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    ServiceProxy proxy;
};

class Client {
public:
    explicit Client(std::string url) : url_(std::move(url)), connection_(url_) {}

    int run() {
        check_status();
        check_browse();
        check_properties();
        check_read();
        check_scalars();
        check_arrays();
        check_refusals();
        check_subscription();
        std::cout << failures_ << " failed\n";
        return failures_ == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }

private:
    using IsRight = std::function<bool(const xsd__anyType*)>;

    bool check(const std::string& name, bool is_right) {
        std::cout << (is_right ? "ok      " : "FAILED  ") << name << '\n';
        failures_ += is_right ? 0 : 1;
        return is_right;
    }

    /// Tells why if a call failed.
    bool check_call(const std::string& name, int status) {
        if (!check(name, status == SOAP_OK)) {
            soap_stream_fault(connection_.proxy.soap, std::cout);
        }
        return status == SOAP_OK;
    }

    void check_fault(const std::string& name, int status, const std::string& code) {
        struct soap* const context = connection_.proxy.soap;
        const bool has_fault = status != SOAP_OK && context->fault != nullptr;
        const char* const* got = has_fault ? soap_faultcode(context) : nullptr;
        check(name, got != nullptr && *got != nullptr && *got == NAMESPACE_PREFIX + code);
        const char* const* text = has_fault ? soap_faultstring(context) : nullptr;
        check(name + ", with a text", text != nullptr && *text != nullptr && **text != '\0');
    }

    /// Makes an object that lives as long as the client.
    template <class Type>
    Type* make(Type content = {}) {
        auto object = std::make_shared<Type>(std::move(content));
        kept_.push_back(object);
        return object.get();
    }

    std::string* make_text(const std::string& text) { return make<std::string>(text); }

    template <class Holder, class Content>
    Holder* make_value(const Content& content) {
        auto* value = make<Holder>();
        value->__item = content;
        return value;
    }

    template <class Array, class Member>
    Array* make_array(std::vector<Member> Array::*list, const std::vector<Member>& members) {
        auto* value = make<Array>();
        value->*list = members;
        return value;
    }

    ns1__ItemValue* make_item(const std::string& name, xsd__anyType* value) {
        auto* item = make<ns1__ItemValue>();
        item->ItemName = make_text(name);
        item->Value = value;
        return item;
    }

    std::vector<ns1__ItemValue*> read(const Names& names, _ns1__ReadResponse& reply) {
        _ns1__Read request;
        request.Options = make<ns1__RequestOptions>();
        request.Options->ReturnItemTime = true;
        request.ItemList = make<ns1__ReadRequestItemList>();
        for (const auto& name : names) {
            auto* item = make<ns1__ReadRequestItem>();
            item->ItemName = make_text(name);
            item->ClientItemHandle = make_text(name);
            request.ItemList->Items.push_back(item);
        }
        const bool is_answered = connection_.proxy.Read(&request, reply) == SOAP_OK;
        if (!is_answered || reply.RItemList == nullptr || reply.RItemList->Items.size() != names.size()) {
            check("Read is answered", false);
            return {names.size(), make<ns1__ItemValue>()};
        }
        return reply.RItemList->Items;
    }

    std::vector<ns1__ItemValue*> write(const std::vector<ns1__ItemValue*>& items,
                                       _ns1__WriteResponse& reply) {
        _ns1__Write request;
        request.ReturnValuesOnReply = true;
        request.ItemList = make<ns1__WriteRequestItemList>();
        request.ItemList->Items = items;
        const bool is_answered = connection_.proxy.Write(&request, reply) == SOAP_OK;
        if (!is_answered || reply.RItemList == nullptr || reply.RItemList->Items.size() != items.size()) {
            check("Write is answered", false);
            return {items.size(), make<ns1__ItemValue>()};
        }
        return reply.RItemList->Items;
    }

    void check_status() {
        _ns1__GetStatus request;
        _ns1__GetStatusResponse reply;
        request.ClientRequestHandle = make_text("status-1");
        if (check_call("GetStatus is answered", connection_.proxy.GetStatus(&request, reply))) {
            check("GetStatus returns the handle", *reply.GetStatusResult->ClientRequestHandle == "status-1");
            check("the server is running", reply.GetStatusResult->ServerState == ns1__serverState__running);
            check("GetStatus tells the interface", reply.Status->SupportedInterfaceVersions.size() == 1);
        }
    }

    int browse(const char* item, const Names& properties, _ns1__BrowseResponse& reply) {
        _ns1__Browse request;
        request.ItemName = make_text(item);
        request.ReturnPropertyValues = true;
        request.PropertyNames = properties;
        return connection_.proxy.Browse(&request, reply);
    }

    void check_browse() {
        _ns1__BrowseResponse root;
        if (check_call("Browse is answered", browse("", {}, root)) &&
            check("Browse lists the root", root.Elements.size() == 2 &&
                                               *root.Elements[0]->ItemName == "/values" &&
                                               *root.Elements[1]->ItemName == "/readings")) {
            check("a branch is no item", !root.Elements[0]->IsItem && !root.Elements[1]->IsItem);
        }
        _ns1__BrowseResponse readings;
        if (check_call("Browse with properties is answered",
                       browse("/readings", {"ns1:quality", "ns1:engineeringUnits"}, readings)) &&
            check("Browse gives properties",
                  readings.Elements.size() == 2 && readings.Elements[1]->Properties.size() == 2)) {
            const auto& properties = readings.Elements[1]->Properties;
            const auto* quality = dynamic_cast<const ns1__OPCQuality*>(properties[0]->Value);
            check("Browse gives the quality",
                  quality != nullptr && quality->QualityField == ns1__qualityBits__badSensorFailure);
            check("Browse gives the unit", holds<xsd__string_>(properties[1]->Value, std::string("degC")));
        }
        _ns1__BrowseResponse none;
        check_fault("Browse of an unknown item is a fault", browse("/none", {}, none), "E_UNKNOWNITEMNAME");
    }

    void check_properties() {
        _ns1__GetProperties request;
        _ns1__GetPropertiesResponse reply;
        for (const char* name : {"/values/int", "/values/none"}) {
            auto* item = make<ns1__ItemIdentifier>();
            item->ItemName = make_text(name);
            request.ItemIDs.push_back(item);
        }
        request.PropertyNames = {"ns1:dataType"};
        request.ReturnPropertyValues = true;
        request.ReturnErrorText = true;
        if (check_call("GetProperties is answered", connection_.proxy.GetProperties(&request, reply)) &&
            check("GetProperties answers for each item",
                  reply.PropertyLists.size() == 2 && get_code(reply.PropertyLists[0]).empty() &&
                      get_code(reply.PropertyLists[1]) == "E_UNKNOWNITEMNAME")) {
            check(
                "GetProperties gives the type",
                holds<xsd__QName__>(reply.PropertyLists[0]->Properties.at(0)->Value, std::string("xsd:int")));
            check("GetProperties gives texts of errors", !reply.Errors.at(0)->Text->empty());
        }
    }

    void check_read() {
        _ns1__ReadResponse reply;
        const auto items = read({"/readings/good", "/readings/failed", "/readings/none"}, reply);
        check("Read answers in order", items[0]->ClientItemHandle != nullptr &&
                                           *items[0]->ClientItemHandle == "/readings/good" &&
                                           *items[1]->ClientItemHandle == "/readings/failed" &&
                                           *items[2]->ClientItemHandle == "/readings/none");
        check("Read gives a value", holds<xsd__double_>(items[0]->Value, 21.5));
        check("Read gives the time", items[0]->Timestamp != nullptr);
        check("a good value is good",
              items[0]->Quality == nullptr || items[0]->Quality->QualityField == ns1__qualityBits__good);
        check("a failed sensor is bad",
              items[1]->Quality != nullptr &&
                  items[1]->Quality->QualityField == ns1__qualityBits__badSensorFailure);
        check("a missing item has a code", get_code(items[2]) == "E_UNKNOWNITEMNAME");
        check("a missing item has no value", items[2]->Value == nullptr);
        check("the code has a text", reply.Errors.size() == 1 && !reply.Errors[0]->Text->empty());
    }

    /// @param is_first  takes what the host begins with
    /// @param is_next   takes what is written
    void check_value(const std::string& type, xsd__anyType* next, const IsRight& is_first,
                     const IsRight& is_next) {
        const std::string name = "/values/" + type;
        _ns1__ReadResponse before;
        check(name + " is read", is_first(read({name}, before)[0]->Value));
        _ns1__WriteResponse written;
        const auto* const item = write({make_item(name, next)}, written)[0];
        check(name + " is written", get_code(item).empty());
        check(name + " is answered", is_next(item->Value));
        _ns1__ReadResponse after;
        check(name + " is read back", is_next(read({name}, after)[0]->Value));
    }

    template <class Holder, class Content>
    void check_scalar(const std::string& type, const Content& first, const Content& next) {
        check_value(
            type, make_value<Holder>(next),
            [&first](const xsd__anyType* value) { return holds<Holder>(value, first); },
            [&next](const xsd__anyType* value) { return holds<Holder>(value, next); });
    }

    void check_scalars() {
        check_scalar<xsd__boolean_>("boolean", true, false);
        check_scalar<xsd__byte__>("byte", xsd__byte{-128}, xsd__byte{7});
        check_scalar<xsd__short_>("short", short{-32768}, short{7});
        check_scalar<xsd__int_>("int", std::numeric_limits<int>::min(), 7);
        check_scalar<xsd__long_>("long", LONG64{-9'007'199'254'740'993}, std::numeric_limits<LONG64>::max());
        check_scalar<xsd__unsignedByte__>("unsignedByte", xsd__unsignedByte{255}, xsd__unsignedByte{200});
        using UnsignedShort = unsigned short;
        check_scalar<xsd__unsignedShort_>("unsignedShort", UnsignedShort{65535}, UnsignedShort{7});
        check_scalar<xsd__unsignedInt_>("unsignedInt", 4'294'967'295U, 7U);
        check_scalar<xsd__unsignedLong_>("unsignedLong", std::numeric_limits<ULONG64>::max(),
                                         ULONG64{9'007'199'254'740'993});
        check_scalar<xsd__float_>("float", 0.5F, -2.25F);
        check_scalar<xsd__double_>("double", 0.125, 1e7);
        check_scalar<xsd__string_>("string", std::string("a < b & c"), std::string("\u00fc < \u00e4"));
        check_scalar<xsd__dateTime_>("dateTime", std::string("2026-09-14T06:30:00Z"),
                                     std::string("2027-01-02T03:04:05.250Z"));
        _ns1__WriteResponse reply;
        check("Write takes true",
              holds<xsd__boolean_>(
                  write({make_item("/values/boolean", make_value<xsd__boolean_>(true))}, reply)[0]->Value,
                  true));
        // The description has no durations, so that gSOAP has no class for them; a text is converted.
        _ns1__WriteResponse duration;
        check("Write takes a duration as a text",
              get_code(write({make_item("/values/duration", make_value<xsd__string_>("PT30M"))}, duration)[0])
                  .empty());
    }

    template <class Array, class Member>
    void check_array(const std::string& type, std::vector<Member> Array::*list,
                     const std::vector<Member>& first, const std::vector<Member>& next) {
        check_value(
            type, make_array(list, next),
            [list, &first](const xsd__anyType* value) { return holds(value, list, first); },
            [list, &next](const xsd__anyType* value) { return holds(value, list, next); });
    }

    void check_arrays() {
        check_array("booleans", &ns1__ArrayOfBoolean::boolean, {true, false}, {false, true, true});
        check_array("bytes", &ns1__ArrayOfByte::byte, {-128, 127}, {-1, 1});
        check_array("shorts", &ns1__ArrayOfShort::short_, {-32768, 32767}, {7});
        check_array("ints", &ns1__ArrayOfInt::int_, {1, -1}, {7, 8, 9});
        check_array("longs", &ns1__ArrayOfLong::long_, {9'007'199'254'740'993, -1}, {7});
        check_array("unsignedShorts", &ns1__ArrayOfUnsignedShort::unsignedShort, {0, 65535}, {7});
        check_array("unsignedInts", &ns1__ArrayOfUnsignedInt::unsignedInt, {0U, 4'294'967'295U}, {7U});
        check_array("unsignedLongs", &ns1__ArrayOfUnsignedLong::unsignedLong,
                    {0U, std::numeric_limits<ULONG64>::max()}, {9'007'199'254'740'993U});
        check_array("floats", &ns1__ArrayOfFloat::float_, {0.5F, -0.25F}, {1.5F});
        check_array("doubles", &ns1__ArrayOfDouble::double_, {0.125, -1e6}, {1.5, 2.5});
        check_array("strings", &ns1__ArrayOfString::string, {"a", "", "\u00fc"}, {"x & y", ""});
        check_array("dateTimes", &ns1__ArrayOfDateTime::dateTime, {"2026-09-14T00:00:00.250Z"},
                    {"2027-01-02T03:04:05Z"});
        _ns1__WriteResponse reply;
        auto* durations = make_array(&ns1__ArrayOfString::string, Names{"PT30M", "PT1H"});
        check("Write takes durations as texts",
              get_code(write({make_item("/values/durations", durations)}, reply)[0]).empty());
    }

    void check_refusals() {
        _ns1__WriteResponse reply;
        const auto items = write({make_item("/readings/good", make_value<xsd__double_>(1.0)),
                                  make_item("/values/none", make_value<xsd__double_>(1.0)),
                                  make_item("/values/int", make_value<xsd__string_>("many")),
                                  make_item("/values/short", make_value<xsd__int_>(70000)),
                                  make_item("/values/double", make_value<xsd__double_>(3.5))},
                                 reply);
        Names codes;
        for (const auto* item : items) {
            codes.push_back(get_code(item));
        }
        check("Write answers for each item",
              codes == Names{"E_READONLY", "E_UNKNOWNITEMNAME", "E_BADTYPE", "E_RANGE", ""});
        check("one item does not spoil the others", holds<xsd__double_>(items[4]->Value, 3.5));
    }

    void check_subscription() {
        _ns1__Subscribe request;
        _ns1__SubscribeResponse reply;
        request.ReturnValuesOnReply = true;
        request.SubscriptionPingRate = make(60'000);
        request.ItemList = make<ns1__SubscribeRequestItemList>();
        for (const char* name : {"/values/int", "/values/none", "/readings/failed"}) {
            auto* item = make<ns1__SubscribeRequestItem>();
            item->ItemName = make_text(name);
            request.ItemList->Items.push_back(item);
        }
        if (!check_call("Subscribe is answered", connection_.proxy.Subscribe(&request, reply)) ||
            !check("Subscribe gives a handle", reply.ServerSubHandle != nullptr) ||
            !check("Subscribe answers for each item", reply.RItemList->Items.size() == 3)) {
            return;
        }
        const auto& items = reply.RItemList->Items;
        check("Subscribe gives the values", holds<xsd__int_>(items[0]->ItemValue->Value, 7) &&
                                                holds<xsd__double_>(items[2]->ItemValue->Value, 850.0));
        check("Subscribe gives codes", get_code(items[1]->ItemValue) == "E_UNKNOWNITEMNAME");
        check("Subscribe gives the quality",
              items[2]->ItemValue->Quality->QualityField == ns1__qualityBits__badSensorFailure);
        const std::string handle = *reply.ServerSubHandle;
        check_wait(handle);
        check_hold(handle);
        check_cancel(handle);
    }

    void write_int(int number) {
        _ns1__WriteResponse reply;
        write({make_item("/values/int", make_value<xsd__int_>(number))}, reply);
    }

    /// Whether a poll reports this change of the only item that changes, and of which subscription.
    static bool reports(const _ns1__SubscriptionPolledRefreshResponse& reply, const std::string& handle,
                        int number) {
        return reply.RItemList.size() == 1 && *reply.RItemList[0]->SubscriptionHandle == handle &&
               reply.RItemList[0]->Items.size() == 1 &&
               holds<xsd__int_>(reply.RItemList[0]->Items[0]->Value, number);
    }

    void check_wait(const std::string& handle) {
        Connection connection(url_);
        _ns1__SubscriptionPolledRefresh request;
        _ns1__SubscriptionPolledRefreshResponse reply;
        request.ServerSubHandles = {handle, "unknown"};
        request.WaitTime = 60'000;
        auto status = std::async(std::launch::async,
                                 [&] { return connection.proxy.SubscriptionPolledRefresh(&request, reply); });
        write_int(8);
        if (check("a poll with a wait time is answered", status.get() == SOAP_OK)) {
            check("it gives the change, and names the subscription", reports(reply, handle, 8));
            check("it names the handle that is none", reply.InvalidServerSubHandles == Names{"unknown"});
        }
    }

    void check_hold(const std::string& handle) {
        const auto hold_time = std::chrono::ceil<std::chrono::seconds>(std::chrono::system_clock::now()) + 1s;
        write_int(9);
        _ns1__SubscriptionPolledRefresh request;
        _ns1__SubscriptionPolledRefreshResponse reply;
        request.ServerSubHandles = {handle};
        request.HoldTime = make_text(get_text(hold_time));
        if (check_call("a poll with a hold time is answered",
                       connection_.proxy.SubscriptionPolledRefresh(&request, reply))) {
            check("it is held until its hold time", std::chrono::system_clock::now() >= hold_time);
            check("it gives the change", reports(reply, handle, 9));
        }
    }

    void check_cancel(const std::string& handle) {
        _ns1__SubscriptionCancel request;
        _ns1__SubscriptionCancelResponse reply;
        request.ServerSubHandle = make_text(handle);
        request.ClientRequestHandle = make_text("cancel-1");
        if (check_call("SubscriptionCancel is answered",
                       connection_.proxy.SubscriptionCancel(&request, reply))) {
            check("SubscriptionCancel returns the handle", *reply.ClientRequestHandle == "cancel-1");
        }
        check_fault("a second SubscriptionCancel is a fault",
                    connection_.proxy.SubscriptionCancel(&request, reply), "E_NOSUBSCRIPTION");
    }

    std::string url_;
    Connection connection_;
    std::vector<std::shared_ptr<void>> kept_;
    int failures_ = 0;
};

}  // namespace

int main() {
    const char* url = std::getenv("KX_GATEWAY_URL");
    if (url == nullptr) {
        std::cerr << "KX_GATEWAY_URL is not set\n";
        return EXIT_FAILURE;
    }
    return Client(url).run();
}
