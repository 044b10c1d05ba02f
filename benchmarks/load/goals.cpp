#include "load/goals.h"

#include "load/Suite.h"

namespace kx::benchmarks {

namespace {

using Figure = std::optional<double>;

Figure get_service(const Report& report, std::string_view row, std::string_view column) {
    return report.find(SERVICES_TITLE, row, column);
}

Figure get_time(const Report& report, std::string_view row) {
    return get_service(report, row, "CPU us");
}

Figure get_time_per_unit(const Report& report, std::string_view row) {
    return get_service(report, row, "us/unit");
}

Figure divide(const Figure& dividend, const Figure& divisor) {
    return dividend && divisor ? Figure(*dividend / *divisor) : std::nullopt;
}

/// Time per item beyond the fixed cost of a request.
Figure get_poll_time(const Report& report) {
    const Figure one = get_time(report, "Poll 1 unchanged");
    const Figure many = get_time(report, "Poll 10000 unchanged");
    return one && many ? Figure((*many - *one) / 9999) : std::nullopt;
}

}  // namespace

Section create_goals(const Report& report) {
    const Figure per_item = get_time_per_unit(report, "Read 1000");
    Section goals{"Goals",
                  "measured",
                  {"measured", "at most"},
                  {{"Read 1: us above the floor", {get_service(report, "Read 1", "above us"), 20}},
                   {"Read 100: of the peer", {get_service(report, "Read 100", "of peer"), 0.8}},
                   {"Read 1000: of the peer", {get_service(report, "Read 1000", "of peer"), 0.8}},
                   {"Read 100000: of the peer", {get_service(report, "Read 100000", "of peer"), 0.65}},
                   {"an item of 100000: of one of 1000",
                    {divide(get_time_per_unit(report, "Read 100000"), per_item), 1.3}},
                   {"an item of 1000000: of one of 1000",
                    {divide(get_time_per_unit(report, "Read 1000000"), per_item), 1.3}},
                   {"Browse: us a property", {get_time_per_unit(report, "Browse 10000"), 0.35}},
                   {"Poll: us an unchanged item", {get_poll_time(report), 0.15}},
                   {"Write 1000: of Read 1000",
                    {divide(get_time(report, "Write 1000"), get_time(report, "Read 1000")), 1.3}},
                   {"Read 100000: peak memory, times bytes",
                    {report.find(MEMORY_TITLE, "Read 100000", "times both"), 12}}}};
    std::erase_if(goals.rows, [](const Row& row) { return !row.values.front(); });
    return goals;
}

}  // namespace kx::benchmarks
