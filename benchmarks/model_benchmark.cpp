// What the information model costs: memory for each variable, building, look-ups and the lock.
#include <information_model/InformationModel.h>

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "model/AllocationControl.h"

namespace kx::information_model {
namespace {

constexpr int PER_DOMAIN = 1'000;

std::string create_name(int number) {
    std::string name = "v";
    return name += std::to_string(number);
}

Path create_path(int number) {
    std::string text = "/bulk/";
    text += std::to_string(number / PER_DOMAIN);
    text += '/';
    return Path(text += create_name(number));
}

/// Variables at /bulk/<number / 1000>/v<number>.
std::unique_ptr<InformationModel> create_model(int count) {
    auto model = std::make_unique<InformationModel>("plant");
    Domain& bulk = model->get_root().add_domain("bulk");
    Domain* domain = nullptr;
    for (int number = 0; number < count; ++number) {
        if (number % PER_DOMAIN == 0) {
            domain = &bulk.add_domain(std::to_string(number / PER_DOMAIN));
        }
        domain->add_variable(create_name(number), Value(static_cast<double>(number)));
    }
    return model;
}

std::size_t get_resident_bytes() {
    std::size_t total_pages = 0;
    std::size_t resident_pages = 0;
    std::ifstream("/proc/self/statm") >> total_pages >> resident_pages;
    return resident_pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

double get_median(std::vector<double> samples) {
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

/// Stands first: memory that another benchmark has freed would be used again and not be seen.
void memory_of_variables(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        malloc_trim(0);
        const std::size_t before = get_resident_bytes();
        const auto model = create_model(count);
        state.counters["bytes/variable"] = static_cast<double>(get_resident_bytes() - before) / count;
    }
}
BENCHMARK(memory_of_variables)->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);

/// All variables in one domain: the time per variable must not grow with their number.
void build_one_domain(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        auto model = std::make_unique<InformationModel>("plant");
        for (int number = 0; number < count; ++number) {
            model->get_root().add_variable(std::to_string(number), Value(1.5));
        }
        state.PauseTiming();
        model.reset();
        state.ResumeTiming();
    }
    using benchmark::Counter;
    state.counters["time/variable"] = Counter(count, Counter::kIsIterationInvariantRate | Counter::kInvert);
}
BENCHMARK(build_one_domain)->RangeMultiplier(10)->Range(1'000, 1'000'000)->Unit(benchmark::kMillisecond);

/// How the look-ups of a batch follow each other: independent ones, as a request brings them, which the
/// processor overlaps, or each waiting for the result of the one before, which shows the delay of a single
/// one.
enum class ORDER { INDEPENDENT, ONE_BY_ONE };

/// Finds items in batches. The paths of a batch are made just before it, as a request makes them, so that
/// they are in the cache and the tree is not.
class LookUps {
public:
    static constexpr int BATCH = 64;

    explicit LookUps(const InformationModel& model) : root_(model.get_root()) {}

    template <class NextNumber>
    void create_paths(NextNumber next_number) {
        paths_.clear();
        for (int i = 0; i < BATCH; ++i) {
            paths_.push_back(create_path(next_number()));
        }
    }

    void find_all(ORDER order) const {
        std::uintptr_t odd_addresses = 0;  // stays 0, which neither compiler nor processor can know
        for (std::size_t i = 0; i < BATCH; ++i) {
            const Item& item = root_.get_item(paths_[i + odd_addresses], false);
            benchmark::DoNotOptimize(&item);
            odd_addresses |= order == ORDER::ONE_BY_ONE ? reinterpret_cast<std::uintptr_t>(&item) & 1U : 0U;
        }
    }

private:
    const Item& root_;
    std::vector<Path> paths_;
};

template <class NextNumber>
void look_up(benchmark::State& state, const InformationModel& model, ORDER order, NextNumber next_number) {
    using Nanoseconds = std::chrono::duration<double, std::nano>;
    LookUps look_ups(model);
    std::vector<double> samples;
    std::size_t allocated = 0;
    for (auto _ : state) {
        look_ups.create_paths(next_number);
        const testing::AllocationCounter counter;
        const auto start = std::chrono::steady_clock::now();
        look_ups.find_all(order);
        const Nanoseconds taken = std::chrono::steady_clock::now() - start;
        allocated += counter.get_count();
        samples.push_back(taken.count() / LookUps::BATCH);
        state.SetIterationTime(taken.count() * 1e-9);
    }
    state.counters["median/look-up"] = get_median(samples) * 1e-9;
    state.counters["allocations/look-up"] =
        static_cast<double>(allocated) / static_cast<double>(samples.size() * LookUps::BATCH);
}

void look_up_at_random_places(benchmark::State& state, ORDER order) {
    const auto count = static_cast<int>(state.range(0));
    const auto model = create_model(count);
    std::mt19937 random(1);
    look_up(state, *model, order, [&random, number = std::uniform_int_distribution(0, count - 1)]() mutable {
        return number(random);
    });
}

void look_up_at_random(benchmark::State& state) {
    look_up_at_random_places(state, ORDER::INDEPENDENT);
}

void look_up_at_random_one_by_one(benchmark::State& state) {
    look_up_at_random_places(state, ORDER::ONE_BY_ONE);
}

void look_up_in_sequence(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    const auto model = create_model(count);
    look_up(state, *model, ORDER::INDEPENDENT, [number = 0, count]() mutable { return number++ % count; });
}

void set_look_up_sizes(benchmark::internal::Benchmark* look_up_benchmark) {
    look_up_benchmark->Arg(1'000)->Arg(100'000)->Arg(1'000'000)->Iterations(10'000)->UseManualTime();
}

BENCHMARK(look_up_at_random)->Apply(set_look_up_sizes);
BENCHMARK(look_up_at_random_one_by_one)->Apply(set_look_up_sizes);
BENCHMARK(look_up_in_sequence)->Apply(set_look_up_sizes);

/// What a memory access costs here that no cache answers: a look-up in a large tree needs two, one after the
/// other, its slot in the last domain's table and the item.
void cache_miss(benchmark::State& state) {
    struct alignas(64) Line {
        std::size_t next = 0;
    };
    std::vector<std::size_t> order((std::size_t{256} << 20U) / sizeof(Line));
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), std::mt19937_64(1));
    std::vector<Line> lines(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        lines[order[i]].next = order[(i + 1) % order.size()];
    }
    std::size_t position = 0;
    for (auto _ : state) {
        position = lines[position].next;
        benchmark::DoNotOptimize(position);
    }
}
BENCHMARK(cache_miss);

void lock_shared(benchmark::State& state) {
    const InformationModel model("plant");
    const Tree& tree = model.get_information_tree();
    for (auto _ : state) {
        tree.lock_shared();
        tree.unlock_shared();
    }
}
BENCHMARK(lock_shared);

void lock_exclusively(benchmark::State& state) {
    InformationModel model("plant");
    Tree& tree = model.get_information_tree();
    for (auto _ : state) {
        tree.lock();
        tree.unlock();
    }
}
BENCHMARK(lock_exclusively);

/// One write that changes the content; `observers` of them are called.
void write_value(benchmark::State& state) {
    InformationModel model("plant");
    Variable& variable = model.get_root().add_domain("boiler").add_variable("temperature", Value(0.0));
    std::vector<Registration> observers;
    for (long i = 0; i < state.range(0); ++i) {
        observers.push_back(variable.on_change(
            [](const Path&, const Value& value) { benchmark::DoNotOptimize(value.index()); }));
    }
    double number = 0.0;
    for (auto _ : state) {
        variable = Value(number += 1.0);
    }
}
BENCHMARK(write_value)->ArgName("observers")->Arg(0)->Arg(1)->Arg(10);

/// The same by a typed handle: not slower than without.
void write_typed_value(benchmark::State& state) {
    InformationModel model("plant");
    const auto temperature = model.get_root().add_domain("boiler").add<double>("temperature", 0.0);
    double number = 0.0;
    for (auto _ : state) {
        temperature = number += 1.0;
    }
}
BENCHMARK(write_typed_value);

/// The same below domains with observers that hear of it.
void write_observed_branch(benchmark::State& state) {
    InformationModel model("plant");
    Domain& boiler = model.get_root().add_domain("boiler");
    Variable& variable = boiler.add_variable("temperature", Value(0.0));
    const Registration watching =
        boiler.on_change([](const Path&, const Value& value) { benchmark::DoNotOptimize(value.index()); });
    double number = 0.0;
    for (auto _ : state) {
        variable = Value(number += 1.0);
    }
}
BENCHMARK(write_observed_branch);

/// Registers an observer and ends that: of one variable, and of the branch of 100,000 that it belongs to.
void observe(benchmark::State& state) {
    InformationModel model("plant");
    Domain& branch = model.get_root().add_domain("branch");
    Variable* variable = nullptr;
    for (int number = 0; number < 100'000; ++number) {
        variable = &branch.add_variable(create_name(number), Value(1.5));
    }
    for (auto _ : state) {
        const auto ignore = [](const Path&, const Value&) {};
        const Registration watching =
            state.range(0) == 0 ? variable->on_change(ignore) : branch.on_change(ignore);
    }
}
BENCHMARK(observe)->ArgName("branch")->Arg(0)->Arg(1);

/// What a write costs when locks are checked, less `write_value/observers:0`.
void write_with_checked_lock(benchmark::State& state) {
    InformationModel model("plant");
    Variable& variable = model.get_root().add_domain("boiler").add_variable("temperature", Value(0.0));
    model.check_locks(true);
    model.get_information_tree().lock();
    double number = 0.0;
    for (auto _ : state) {
        variable = Value(number += 1.0);
    }
    model.get_information_tree().unlock();
}
BENCHMARK(write_with_checked_lock);

/// The cheapest change: what it costs more than `get_writable`, another call of the library, is mostly the
/// check of the lock, which is off.
void set_writable(benchmark::State& state) {
    InformationModel model("plant");
    Variable& variable = model.get_root().add_variable("temperature", Value(0.0));
    for (auto _ : state) {
        variable.set_writable(true);
    }
}
BENCHMARK(set_writable);

void get_writable(benchmark::State& state) {
    InformationModel model("plant");
    const Variable& variable = model.get_root().add_variable("temperature", Value(0.0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(variable.get_writable());
    }
}
BENCHMARK(get_writable);

void read_value(benchmark::State& state) {
    InformationModel model("plant");
    const Variable& variable = model.get_root().add_variable("temperature", Value(1.5));
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::get<double>(variable.get_value()));
    }
}
BENCHMARK(read_value);

void read_typed_value(benchmark::State& state) {
    InformationModel model("plant");
    const auto temperature = model.get_root().add<double>("temperature", 1.5);
    for (auto _ : state) {
        benchmark::DoNotOptimize(temperature.get());
    }
}
BENCHMARK(read_typed_value);

/// One member of an array of so many.
void modify_array(benchmark::State& state) {
    InformationModel model("plant");
    const auto count = static_cast<std::size_t>(state.range(0));
    const auto array = model.get_root().add<std::vector<double>>("array", std::vector<double>(count));
    for (auto _ : state) {
        array.modify([](std::vector<double>& members) { members.back() += 1.0; });
    }
}
BENCHMARK(modify_array)->Arg(10)->Arg(100'000);

/// What a look-up of an item that is not there costs, beside one that is.
void find_item(benchmark::State& state) {
    const auto model = create_model(10'000);
    const Path path(state.range(0) == 0 ? "/bulk/5/missing" : "/bulk/5/v5005");
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::as_const(*model).get_root().find_item(path));
    }
}
BENCHMARK(find_item)->ArgName("exists")->Arg(1)->Arg(0);

enum class REMOVAL { BACK_TO_FRONT, FRONT_TO_BACK, AT_ONCE };

/// Removes all of 100,000 children.
void remove_children(benchmark::State& state, REMOVAL order) {
    constexpr int COUNT = 100'000;
    for (auto _ : state) {
        state.PauseTiming();
        InformationModel model("plant");
        Domain& root = model.get_root();
        for (int number = 0; number < COUNT; ++number) {
            root.add_variable(create_name(number), Value(1.5));
        }
        state.ResumeTiming();
        for (int number = 0; order != REMOVAL::AT_ONCE && number < COUNT; ++number) {
            root.remove(create_name(order == REMOVAL::FRONT_TO_BACK ? number : COUNT - 1 - number));
        }
        if (order == REMOVAL::AT_ONCE) {
            root.remove_if([](const Item&) { return true; });
        }
    }
}
BENCHMARK_CAPTURE(remove_children, back_to_front, REMOVAL::BACK_TO_FRONT)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(remove_children, front_to_back, REMOVAL::FRONT_TO_BACK)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(remove_children, at_once, REMOVAL::AT_ONCE)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kx::information_model
