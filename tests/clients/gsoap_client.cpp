// Drives all eight services with code that gSOAP generates from xmlda.wsdl while this is built; none of it is
// kept. Prints a line per check.
//   with_server PLANT gsoap_client
#include "DataAccessSoap.nsmap"
#include "soapDataAccessSoapProxy.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;
using Bytes = std::vector<xsd__byte>;

constexpr int HTTP_BAD_REQUEST = 400;

/// Writes the name of its type without a prefix: the server compares the type names of values letter by
/// letter.
template <class Array>
class Bare : public Array {
public:
    explicit Bare(const char* type_name = "") : type_name_(type_name) {}

    int soap_out(struct soap* context, const char* tag, int id, const char* /*type*/) const override {
        return Array::soap_out(context, tag, id, type_name_);
    }

private:
    const char* type_name_;
};

/// What a client-side "Value" holds, if it is of the class that its xsi:type stands for.
template <class Holder>
const Holder* get_as(const xsd__anyType* value) {
    return dynamic_cast<const Holder*>(value);
}

template <class Holder, class Content>
bool holds(const xsd__anyType* value, const Content& content) {
    const auto* holder = get_as<Holder>(value);
    return holder != nullptr && holder->__item == content;
}

std::string get_text(std::chrono::system_clock::time_point time_point) {
    const std::time_t time = std::chrono::system_clock::to_time_t(time_point);
    char text[sizeof "2026-11-21T10:11:12Z"];
    std::tm parts{};
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&time, &parts));
    return text;
}

class Client {
public:
    explicit Client(const char* url) : proxy_(url, SOAP_C_UTFSTRING | SOAP_IO_KEEPALIVE) {
        constexpr int SECONDS = 60;
        proxy_.soap->connect_timeout = SECONDS;
        proxy_.soap->recv_timeout = SECONDS;
    }

    ~Client() { proxy_.destroy(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    int run() {
        check_status();
        check_browse();
        check_properties();
        check_read();
        check_write();
        check_subscription();
        std::cout << failures_ << " failed\n";
        return failures_ == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }

private:
    bool check(const std::string& name, bool is_right) {
        std::cout << (is_right ? "ok      " : "FAILED  ") << name << '\n';
        failures_ += is_right ? 0 : 1;
        return is_right;
    }

    /// Tells why if a call failed.
    bool check_call(const std::string& name, int status) {
        if (!check(name, status == SOAP_OK)) {
            soap_stream_fault(proxy_.soap, std::cout);
        }
        return status == SOAP_OK;
    }

    /// The code stands in the default namespace of the reply, for which gSOAP has a prefix.
    // The code stands in the default namespace of the reply, for which gSOAP has a prefix.
    void check_fault(const std::string& name, int status, const std::string& code) {
        const bool has_fault = status != SOAP_OK && proxy_.soap->fault != nullptr;
        const char* const* got = has_fault ? soap_faultcode(proxy_.soap) : nullptr;
        check(name, got != nullptr && *got != nullptr && *got == code);
    }

    void check_bad_request(const std::string& name, int status) { check(name, status == HTTP_BAD_REQUEST); }

    /// Makes an object that lives as long as the client.
    template <class Type>
    Type* make() {
        auto object = std::make_shared<Type>();
        kept_.push_back(object);
        return object.get();
    }

    template <class Type>
    Type* make(Type content) {
        auto* object = make<Type>();
        *object = std::move(content);
        return object;
    }

    std::string* make_text(const char* text) { return make<std::string>(text); }

    template <class Holder, class Content>
    Holder* make_value(Content content) {
        auto* value = make<Holder>();
        value->__item = content;
        return value;
    }

    ns1__ItemName* make_name(const char* name, const char* handle = nullptr) {
        auto* item = make<ns1__ItemName>();
        item->ItemName = make_text(name);
        item->ClientItemHandle = handle == nullptr ? nullptr : make_text(handle);
        return item;
    }

    ns1__ItemValue* make_item(const char* name, xsd__anyType* value) {
        auto* item = make<ns1__ItemValue>();
        item->ItemName = make_text(name);
        item->Value = value;
        return item;
    }

    ns1__ItemNameList* make_list(std::vector<ns1__ItemName*> items) {
        auto* list = make<ns1__ItemNameList>();
        list->Items = std::move(items);
        return list;
    }

    void check_status() {
        _ns1__GetStatus request;
        _ns1__GetStatusResponse reply;
        request.ClientRequestHandle = make_text("status-1");
        if (check_call("GetStatus is answered", proxy_.GetStatus(&request, reply))) {
            check("GetStatus tells the vendor", reply.Status.VendorInfo == "Brevandor OPC XML DA Server");
            check("GetStatus tells the interface",
                  reply.Status.SupportedInterfaceVersions == Names{"XML_DA_Version_1_0"});
            check("GetStatus returns the handle", *reply.GetStatusResult->ClientRequestHandle == "status-1");
            check("the server is running", reply.GetStatusResult->ServerState == "running");
        }
    }

    void check_browse() {
        _ns1__Browse request;
        _ns1__BrowseResponse reply;
        if (check_call("Browse is answered", proxy_.Browse(&request, reply))) {
            Names names;
            for (const auto& element : reply.Elements) {
                names.push_back(element.HasChildren ? element.ItemName : "no domain");
            }
            check("Browse lists the root", names == Names{"/boiler", "/feed_water", "/turbine", "/alarms",
                                                          "/maintenance", "/instruments"});
        }
        request.ItemName = make_text("nothing");
        check_fault("Browse of an unknown item is a fault", proxy_.Browse(&request, reply),
                    "ns1:E_UNKNOWNITEMNAME");
    }

    void check_properties() {
        _ns1__GetProperties request;
        _ns1__GetPropertiesResponse reply;
        request.ItemIDs = {make_name("boiler/mode"), make_name("boiler/nothing")};
        request.PropertyNames = {"euInfo", "quality", "accessRights"};
        request.ReturnPropertyValues = make(true);
        if (!check_call("GetProperties is answered", proxy_.GetProperties(&request, reply)) ||
            !check("GetProperties leaves out what does not exist",
                   reply.PropertyLists.size() == 1 && reply.PropertyLists[0].ItemName == "/boiler/mode") ||
            !check("GetProperties gives what was asked for", reply.PropertyLists[0].Properties.size() == 3)) {
            return;
        }
        const auto& properties = reply.PropertyLists[0].Properties;
        check("a property of texts", properties[0]->Name == "accessRights" &&
                                         holds<xsd__string_>(properties[0]->Value, "readWritable"));
        const auto* symbols = get_as<ns1__ArrayOfString>(properties[1]->Value);
        check("the names of symbols",
              symbols != nullptr && symbols->string == Names{"off", "manual", "automatic"});
        check("the quality", holds<ns1__OPCQuality__>(properties[2]->Value, "good"));
    }

    void check_read() {
        _ns1__Read request;
        _ns1__ReadResponse reply;
        request.Options = make<ns1__Options>();
        request.Options->ReturnItemTime = make(true);
        request.Options->ClientRequestHandle = make_text("read-1");
        request.ItemList = make_list(
            {make_name("boiler/temperature_setpoint", "a"), make_name("boiler/nothing"), make_name("boiler"),
             make_name("boiler/burner_on"), make_name("boiler/mode"), make_name("boiler/pressure"),
             make_name("feed_water/trim"), make_name("feed_water/valve_setpoint"),
             make_name("feed_water/trim_steps"), make_name("feed_water/branch_positions"),
             make_name("turbine/counters/revolutions"), make_name("turbine/counters/net_energy"),
             make_name("maintenance/note"), make_name("maintenance/interval"),
             make_name("maintenance/last_inspection"), make_name("maintenance/contacts")});
        if (check_call("Read is answered", proxy_.Read(&request, reply)) &&
            check("Read leaves out what does not exist", reply.RItemList->Items.size() == 15)) {
            check("Read returns the request's handle", *reply.ReadResult->ClientRequestHandle == "read-1");
            check_values(reply.RItemList->Items);
        }
        request.ItemList = make_list({make_name("a//b")});
        check_bad_request("A Read of an invalid path is a bad request", proxy_.Read(&request, reply));
    }

    void check_values(const std::vector<ns1__ItemValue*>& items) {
        check("Read returns the item's handle", *items[0]->ClientItemHandle == "a");
        check("Read gives the time", items[0]->Timestamp != nullptr && items[0]->Timestamp->back() == 'Z');
        check("Read gives doubles", holds<xsd__double_>(items[0]->Value, 180.0));
        check("a domain has no value", items[1]->Value == nullptr);
        check("Read gives booleans", get_as<xsd__boolean_>(items[2]->Value) != nullptr);
        check("Read gives symbols as numbers", holds<xsd__int_>(items[3]->Value, 2));
        check("Read gives floats", get_as<xsd__float_>(items[4]->Value) != nullptr);
        check("Read gives bytes", holds<xsd__byte__>(items[5]->Value, -2));
        check("Read gives unsigned bytes", get_as<xsd__unsignedByte__>(items[6]->Value) != nullptr);
        const auto* steps = get_as<ns1__ArrayOfByte>(items[7]->Value);
        check("Read gives arrays of bytes", steps != nullptr && steps->byte == Bytes{-20, -10, 0, 10, 20});
        const auto* positions = get_as<ns1__ArrayOfByte>(items[8]->Value);
        check("unsigned bytes in arrays come as signed ones",
              positions != nullptr && positions->byte == Bytes{48, 52, -56});
        const auto* revolutions = get_as<xsd__unsignedLong_>(items[9]->Value);
        check("Read gives unsigned longs whole",
              revolutions != nullptr && revolutions->__item >= 9'007'199'254'740'993U);
        check("Read gives longs", get_as<xsd__long_>(items[10]->Value) != nullptr);
        check(
            "Read gives strings",
            holds<xsd__string_>(items[11]->Value, "Gasket of the drum manhole: check for leaks < 5 ml/min."));
        check("Read gives durations", holds<xsd__duration__>(items[12]->Value, "P90D"));
        check("Read gives times", holds<xsd__dateTime_>(items[13]->Value, "2026-09-14T06:30:00Z"));
        const auto* contacts = get_as<ns1__ArrayOfString>(items[14]->Value);
        check("Read gives arrays of strings",
              contacts != nullptr && contacts->string == Names{"control room", "boiler house"});
    }

    int write(std::vector<ns1__ItemValue*> items, bool* with_values, _ns1__WriteResponse& reply) {
        _ns1__Write request;
        request.ReturnValuesOnReply = with_values;
        request.ItemList = make<ns1__ItemValueList>();
        request.ItemList->Items = std::move(items);
        return proxy_.Write(&request, reply);
    }

    void check_write() {
        auto* contacts = make(Bare<ns1__ArrayOfString>("ArrayOfString"));
        contacts->string = {"a & b", "\u00fc"};
        auto* steps = make(Bare<ns1__ArrayOfByte>("ArrayOfByte"));
        steps->byte = {-1, 1};
        _ns1__WriteResponse reply;
        const int status = write(
            {make_item("boiler/temperature_setpoint", make_value<xsd__double_>(185.5)),
             make_item("boiler/temperature", make_value<xsd__double_>(99.0)),
             make_item("feed_water/trim", make_value<xsd__byte__>(xsd__byte{7})),
             make_item("feed_water/trim_steps", steps), make_item("maintenance/contacts", contacts),
             make_item("maintenance/interval", make_value<xsd__duration__>("P3DT4H")),
             make_item("maintenance/last_inspection", make_value<xsd__dateTime_>("2027-01-02T03:04:05Z"))},
            make(true), reply);
        if (check_call("Write is answered", status) &&
            check("Write leaves out what is read-only", reply.RItemList->Items.size() == 6)) {
            check_written(reply.RItemList->Items);
        }
        check_bad_request(
            "Write of another type is a bad request",
            write({make_item("boiler/mode", make_value<xsd__string_>("1"))}, make(false), reply));
        check_bad_request(
            "Write without ReturnValuesOnReply is a bad request",
            write({make_item("feed_water/trim", make_value<xsd__byte__>(xsd__byte{1}))}, nullptr, reply));
    }

    void check_written(const std::vector<ns1__ItemValue*>& items) {
        check("Write takes doubles", holds<xsd__double_>(items[0]->Value, 185.5));
        check("Write takes bytes", holds<xsd__byte__>(items[1]->Value, 7));
        const auto* steps = get_as<ns1__ArrayOfByte>(items[2]->Value);
        check("Write takes arrays of bytes", steps != nullptr && steps->byte == Bytes{-1, 1});
        const auto* contacts = get_as<ns1__ArrayOfString>(items[3]->Value);
        check("Write takes arrays of strings",
              contacts != nullptr && contacts->string == Names{"a & b", "\u00fc"});
        check("Write takes durations", holds<xsd__duration__>(items[4]->Value, "P3DT4H"));
        check("Write takes times", holds<xsd__dateTime_>(items[5]->Value, "2027-01-02T03:04:05Z"));
    }

    void check_subscription() {
        _ns1__Subscribe request;
        _ns1__SubscribeResponse reply;
        request.ReturnValuesOnReply = true;
        request.SubscriptionPingRate = make(60'000);
        request.ItemList = make_list({make_name("boiler/mode", "mode"), make_name("boiler/nothing"),
                                      make_name("boiler/temperature_setpoint")});
        if (!check_call("Subscribe is answered", proxy_.Subscribe(&request, reply)) ||
            !check("Subscribe gives a handle", reply.ServerSubHandle != nullptr) ||
            !check("Subscribe leaves out what does not exist", reply.RItemList.Items.size() == 2)) {
            return;
        }
        check("Subscribe gives the values", holds<xsd__int_>(reply.RItemList.Items[0].ItemValue->Value, 2));
        const std::string handle = *reply.ServerSubHandle;
        check_polls(handle);
        check_cancel(handle);
    }

    bool poll(const std::string& name, const Names& handles, std::string* hold_time,
              _ns1__SubscriptionPolledRefreshResponse& reply) {
        _ns1__SubscriptionPolledRefresh request;
        request.ServerSubHandles = handles;
        request.HoldTime = hold_time;
        return check_call(name, proxy_.SubscriptionPolledRefresh(&request, reply));
    }

    void check_polls(const std::string& handle) {
        _ns1__SubscriptionPolledRefreshResponse first;
        if (poll("the first poll is answered", {handle}, nullptr, first)) {
            check("the first poll reports all items", first.RItemList->Items.size() == 2);
        }
        _ns1__SubscriptionPolledRefreshResponse next;
        if (poll("the next poll is answered", {handle}, nullptr, next)) {
            check("the next poll reports nothing", next.RItemList->Items.empty());
        }

        _ns1__WriteResponse written;
        check_call("the mode is written",
                   write({make_item("boiler/mode", make_value<xsd__int_>(1))}, make(false), written));
        const auto hold_time = std::chrono::ceil<std::chrono::seconds>(std::chrono::system_clock::now()) + 1s;
        _ns1__SubscriptionPolledRefreshResponse held;
        if (poll("a held poll is answered", {"1", handle}, make(get_text(hold_time)), held)) {
            check("it is held until its hold time", std::chrono::system_clock::now() >= hold_time);
            check("it names the handle that is none", held.InvalidServerSubHandles == Names{"1"});
            check("it reports the change", held.RItemList->Items.size() == 1 &&
                                               *held.RItemList->Items[0]->ClientItemHandle == "mode" &&
                                               holds<xsd__int_>(held.RItemList->Items[0]->Value, 1));
        }
    }

    void check_cancel(const std::string& handle) {
        _ns1__SubscriptionCancel request;
        _ns1__SubscriptionCancelResponse reply;
        request.ServerSubHandle = make(handle);
        request.ClientRequestHandle = make_text("cancel-1");
        if (check_call("SubscriptionCancel is answered", proxy_.SubscriptionCancel(&request, reply))) {
            check("SubscriptionCancel returns the handle", *reply.ClientRequestHandle == "cancel-1");
        }
        check_fault("a second SubscriptionCancel is a fault", proxy_.SubscriptionCancel(&request, reply),
                    "ns1:E_NOSUBSCRIPTION");
    }

    DataAccessSoapProxy proxy_;
    std::vector<std::shared_ptr<void>> kept_;
    int failures_ = 0;
};

}  // namespace

int main() {
    const char* url = std::getenv("KX_URL");
    if (url == nullptr) {
        std::cerr << "KX_URL is not set\n";
        return EXIT_FAILURE;
    }
    return Client(url).run();
}
