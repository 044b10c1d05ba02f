// What a Write and a Read cost in the process, without HTTP: parsing the request, making the message from it,
// running the service, and serialising the reply. The counter "item" is the time of one item; it must not
// grow with the number of items.
#include "services/Read.h"
#include "services/Write.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/xml_names.h"

#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <string>

namespace kx::information_model::opc {

namespace {

std::shared_ptr<InformationModel> create_model(std::size_t count) {
    auto model = std::make_shared<InformationModel>("plant");
    for (std::size_t index = 0; index < count; ++index) {
        model->get_root().add_variable(std::string("v") += std::to_string(index), Value(0.0),
                                       {.writable = true});
    }
    return model;
}

struct Namespaces : Poco::XML::NamespaceSupport {
    Namespaces() {
        declarePrefix(xml_namespaces::XMLDA_PREFIX, xml_namespaces::XMLDA);
        declarePrefix(xml_namespaces::XSI_PREFIX, xml_namespaces::XSI);
    }
};

// A request element whose items carry a handle and `value`.
std::string create_request(const std::string& start, const std::string& value, std::size_t count) {
    std::string text = "<" + start + " xmlns=\"" + xml_namespaces::XMLDA + "\" xmlns:xsi=\"" +
                       xml_namespaces::XSI + "\"><ItemList>";
    for (std::size_t index = 0; index < count; ++index) {
        const std::string number = std::to_string(index);
        text +=
            "<Items ItemName=\"v" + number + "\" ClientItemHandle=\"" + number + "\">" + value + "</Items>";
    }
    return text + "</ItemList></" + start.substr(0, start.find(' ')) + ">";
}

std::string create_write(const std::string& return_values, std::size_t count) {
    return create_request("Write ReturnValuesOnReply=\"" + return_values + "\"",
                          "<Value xsi:type=\"xsd:double\">1234.5678</Value>", count);
}

template <class Message>
void run(benchmark::State& state, const std::string& request) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const auto model = create_model(count);
    const Namespaces namespaces;
    for (auto _ : state) {
        const auto document = parse_request(request);
        Message message(model, document->documentElement(), namespaces);
        benchmark::DoNotOptimize(get_reply_text(message.generate()).to_string());
    }
    state.counters["item"] =
        benchmark::Counter(static_cast<double>(count),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void write(benchmark::State& state) {
    run<Write>(state, create_write("false", static_cast<std::size_t>(state.range(0))));
}

void write_and_return_values(benchmark::State& state) {
    run<Write>(state, create_write("true", static_cast<std::size_t>(state.range(0))));
}

void read(benchmark::State& state) {
    run<Read>(state, create_request("Read", "", static_cast<std::size_t>(state.range(0))));
}

BENCHMARK(write)->Arg(1)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(write_and_return_values)->Arg(1)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(read)->Arg(1)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace kx::information_model::opc
