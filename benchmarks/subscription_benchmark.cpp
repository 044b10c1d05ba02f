// What Subscribe and SubscriptionPolledRefresh cost in the process, without HTTP: parsing the request, making
// the message from it, running the service, and serialising the reply. The counter "item" is the time of one
// item of the subscription. For polls that find little or nothing changed, subtract the time of a poll of no
// items, the fixed cost of a request, before comparing.
#include "subscriptions/Subscribe.h"
#include "subscriptions/SubscriptionPolledRefresh.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/xml_names.h"

#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

namespace kx::information_model::opc {

namespace {

/// Processor time of this thread in seconds: what else the machine does meanwhile does not count.
double get_processor_time() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

struct Namespaces : Poco::XML::NamespaceSupport {
    Namespaces() { declarePrefix(xml_namespaces::XMLDA_PREFIX, xml_namespaces::XMLDA); }
};

std::string create_request(const std::string& name, const std::string& attributes,
                           const std::string& content) {
    return "<" + name + " xmlns=\"" + xml_namespaces::XMLDA + "\" " + attributes + ">" + content + "</" +
           name + ">";
}

/// A plant with `count` variables and the requests that follow all of them.
class Plant {
public:
    explicit Plant(std::size_t count) {
        std::string items;
        for (std::size_t index = 0; index < count; ++index) {
            const std::string number = std::to_string(index);
            variables_.push_back(&model_->get_root().add_variable("v" + number, Value(0.0)));
            items += "<Items ItemName=\"/v" + number + "\" ClientItemHandle=\"" + number + "\"/>";
        }
        subscribe_ =
            create_request("Subscribe", R"(ReturnValuesOnReply="true" SubscriptionPingRate="2147483647")",
                           "<ItemList>" + items + "</ItemList>");
    }

    /// Serves a Subscribe, and forgets the subscription again.
    void subscribe() {
        const std::string reply = serve<Subscribe>(subscribe_);
        benchmark::DoNotOptimize(reply);
        handler_.remove(get_handle(reply));
    }

    /// Makes the subscription that `poll` polls, and polls it once, so that nothing is new.
    void follow() {
        const std::string handle = get_handle(serve<Subscribe>(subscribe_));
        poll_ = create_request("SubscriptionPolledRefresh", "",
                               "<ServerSubHandles>" + handle + "</ServerSubHandles>");
        poll();
    }

    void poll() { benchmark::DoNotOptimize(serve<SubscriptionPolledRefresh>(poll_)); }

    /// Writes every `distance`-th variable.
    void change(std::size_t distance) {
        value_ += 1.0;
        for (std::size_t index = 0; index < variables_.size(); index += distance) {
            *variables_[index] = Value(value_);
        }
    }

private:
    template <class Message>
    std::string serve(const std::string& request) {
        const auto document = parse_request(request);
        Message message(model_, document->documentElement(), namespaces_, handler_);
        return get_reply_text(message.generate()).to_string();
    }

    static std::string get_handle(const std::string& reply) {
        const std::string start = "ServerSubHandle=\"";
        const auto position = reply.find(start) + start.size();
        return reply.substr(position, reply.find('"', position) - position);
    }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    SubscriptionHandler handler_;
    Namespaces namespaces_;
    std::vector<Variable*> variables_;
    std::string subscribe_;
    std::string poll_;
    double value_ = 0.0;
};

void count_items(benchmark::State& state) {
    state.counters["item"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void subscribe(benchmark::State& state) {
    Plant plant(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        plant.subscribe();
    }
    count_items(state);
}

/// @param distance  every which variable changes between two polls
void poll_after_changes(benchmark::State& state, std::size_t distance) {
    Plant plant(static_cast<std::size_t>(state.range(0)));
    plant.follow();
    for (auto _ : state) {
        plant.change(distance);
        const double start = get_processor_time();
        plant.poll();
        state.SetIterationTime(get_processor_time() - start);
    }
    count_items(state);
}

void poll_unchanged(benchmark::State& state) {
    Plant plant(static_cast<std::size_t>(state.range(0)));
    plant.follow();
    for (auto _ : state) {
        plant.poll();
    }
    count_items(state);
}

void poll_one_percent_changed(benchmark::State& state) {
    poll_after_changes(state, 100);
}

void poll_all_changed(benchmark::State& state) {
    poll_after_changes(state, 1);
}

BENCHMARK(subscribe)->Arg(1)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(poll_unchanged)->Arg(0)->Arg(100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(poll_one_percent_changed)->Arg(100)->Arg(10'000)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(poll_all_changed)->Arg(100)->Arg(10'000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace kx::information_model::opc
