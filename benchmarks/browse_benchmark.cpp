// What it costs to list a domain with all properties and their values, from the parsed request to the reply's
// text, without the network. The processor time per child is to stay the same from 1,000 to 100,000 children.
//
// Each benchmark runs once before it is measured, so that the small sizes do not have the advantage of a heap
// that is in place already.
#include "services/Browse.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/xml_names.h"

#include <information_model/InformationModel.h>

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <memory>
#include <string>

namespace kx::information_model::opc {
namespace {

/// A model whose root has `count` variables, each with every property that a number can have.
std::shared_ptr<InformationModel> create_model(long count) {
    auto model = std::make_shared<InformationModel>("plant");
    for (long number = 0; number < count; ++number) {
        model->get_root().add_variable("sensor-" + std::to_string(1000000 + number),
                                       Value(21.5 + static_cast<double>(number)),
                                       {.description = "Temperature of the drum",
                                        .writable = true,
                                        .engineering_unit = "degC",
                                        .range = {.lower = Value(0.0), .upper = Value(400.0)},
                                        .delta = Value(0.5),
                                        .fractional_digits = 1,
                                        .history_kind = symbol_list::HISTORY_KIND::HISTORY_AVAILABLE});
    }
    return model;
}

/// A request, parsed once: its cost does not depend on the tree.
struct Request {
    Request() { namespaces.declarePrefix(xml_namespaces::XMLDA_PREFIX, xml_namespaces::XMLDA); }

    Poco::AutoPtr<Poco::XML::Document> document =
        parse_request("<Browse xmlns=\"" + xml_namespaces::XMLDA +
                      "\" ReturnAllProperties=\"true\" ReturnPropertyValues=\"true\"/>");
    Poco::XML::NamespaceSupport namespaces;
};

/// Counts the pages that the system had to provide while it lives.
class PageFaults {
public:
    double get_count() const { return static_cast<double>(read() - start_); }

private:
    static long read() {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_minflt;
    }

    long start_ = read();
};

/// Runs `action`, which returns the size of what it made, for as long as the benchmark wants.
template <class Action>
void measure(benchmark::State& state, Action action) {
    using benchmark::Counter;
    const std::size_t size = action();
    const PageFaults faults;
    for (auto _ : state) {
        benchmark::DoNotOptimize(action());
    }
    const auto count = static_cast<double>(state.range(0));
    state.counters["time/child"] = Counter(count, Counter::kIsIterationInvariantRate | Counter::kInvert);
    state.counters["faults/child"] = Counter(faults.get_count() / count, Counter::kAvgIterations);
    if (size > 0) {
        state.counters["bytes/child"] = static_cast<double>(size) / count;
    }
}

/// The whole way, the release of the reply's document included.
void browse(benchmark::State& state) {
    const auto model = create_model(state.range(0));
    const Request request;
    measure(state, [&] {
        Browse message(model, request.document->documentElement(), request.namespaces);
        return get_reply_text(message.generate()).to_string().size();
    });
}

/// The document alone, which is made under the tree's lock, and its release.
void build_listing(benchmark::State& state) {
    const auto model = create_model(state.range(0));
    const Request request;
    measure(state, [&] {
        Browse message(model, request.document->documentElement(), request.namespaces);
        benchmark::DoNotOptimize(message.generate());
        return std::size_t{0};
    });
}

/// The text alone.
void write_listing(benchmark::State& state) {
    const auto model = create_model(state.range(0));
    const Request request;
    Browse message(model, request.document->documentElement(), request.namespaces);
    const auto document = message.generate();
    measure(state, [&] { return get_reply_text(document).to_string().size(); });
}

void set_sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond)->MinTime(2);
}

BENCHMARK(browse)->Apply(set_sizes);
BENCHMARK(build_listing)->Apply(set_sizes);
BENCHMARK(write_listing)->Apply(set_sizes);

}  // namespace
}  // namespace kx::information_model::opc
