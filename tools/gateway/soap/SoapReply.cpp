#include "gateway/soap/SoapReply.h"

#include "gateway/soap/SoapFault.h"
#include "gateway/soap/result_texts.h"
#include "gateway/soap/times.h"
#include "gateway/values/published_value.h"

#include "client/namespaces.h"

namespace gateway {
namespace {

constexpr char DECLARATION[] = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
constexpr std::size_t LARGEST_REPLY = 32U << 20U;
constexpr char LOCALE[] = "en-US";
constexpr char VENDOR_NAMESPACE[] = "urn:telvix:information-model:1.0";

void start_envelope(xmlda::XmlWriter& writer) {
    writer.start("soap:Envelope")
        .attribute("xmlns:soap", xmlda::namespaces::SOAP)
        .attribute("xmlns:xsd", xmlda::namespaces::XSD)
        .attribute("xmlns:xsi", xmlda::namespaces::XSI)
        .attribute("xmlns:da", xmlda::namespaces::XMLDA)
        .attribute("xmlns:telvix", VENDOR_NAMESPACE)
        .start("soap:Body");
}

std::string to_fault_code(const std::string& code) {
    if (code.empty()) {
        return "soap:Client";
    }
    return code.starts_with("soap:") ? code : "da:" + code;
}

}  // namespace

SoapReply::SoapReply(const std::string& service, const RequestOptions& options,
                     std::chrono::system_clock::time_point received)
    : service_(service), options_(options), received_(received), writer_(DECLARATION) {
    start_envelope(writer_);
    writer_.start(service + "Response").attribute("xmlns", xmlda::namespaces::XMLDA);
}

void SoapReply::write_result(bool is_running) {
    writer_.start(service_ + "Result")
        .attribute("RcvTime", to_date_time(received_))
        .attribute("ReplyTime", to_date_time(std::chrono::system_clock::now()));
    if (options_.request_handle) {
        writer_.attribute("ClientRequestHandle", *options_.request_handle);
    }
    if (!options_.locale.empty() && options_.locale != LOCALE) {
        writer_.attribute("RevisedLocaleID", LOCALE);
    }
    writer_.attribute("ServerState", is_running ? "running" : "commFault").end();
}

void SoapReply::check_size() const {
    if (writer_.get().size() > LARGEST_REPLY) {
        throw SoapFault("E_OUTOFMEMORY", "the reply would be too large: ask for fewer items at a time");
    }
}

void SoapReply::write_item(const std::string& element, const RequestedItem& item, const ItemResult& result) {
    check_size();
    writer_.start(element);
    if (options_.item_path) {
        writer_.attribute("ItemPath", item.path.value_or(""));
    }
    if (options_.item_name) {
        writer_.attribute("ItemName", item.name);
    }
    if (item.handle) {
        writer_.attribute("ClientItemHandle", *item.handle);
    }
    if (options_.item_time && !result.timestamp.empty()) {
        writer_.attribute("Timestamp", result.timestamp);
    }
    if (!result.code.empty()) {
        writer_.attribute("ResultID", use_code(result.code));
    }
    if (result.value) {
        write_published_value(writer_, *result.value);
    }
    if (!result.quality.empty()) {
        writer_.start("Quality").attribute("QualityField", result.quality).end();
    }
    writer_.end();
}

std::string SoapReply::use_code(const std::string& code) {
    codes_.insert(code);
    return "da:" + code;
}

std::string SoapReply::finish() {
    if (options_.error_text) {
        for (const std::string& code : codes_) {
            writer_.start("Errors").attribute("ID", "da:" + code);
            writer_.element("Text", get_result_text(code)).end();
        }
    }
    return writer_.end().end().end().take();
}

std::string create_fault_document(const std::string& code, const std::string& text) {
    xmlda::XmlWriter writer(DECLARATION);
    start_envelope(writer);
    return writer.start("soap:Fault")
        .element("faultcode", to_fault_code(code))
        .element("faultstring", xmlda::is_xml_text(text) ? text : "the request cannot be understood")
        .end()
        .end()
        .end()
        .take();
}

}  // namespace gateway
