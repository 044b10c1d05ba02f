#include "static_branches.h"

#include <chrono>

namespace plant {
namespace {

using namespace kx::information_model;
using std::chrono::sys_days;
using symbol_list::QUALITY;
using namespace std::chrono_literals;

constexpr unsigned int BULK_VARIABLES_PER_DOMAIN = 1000;

void add_instrument(Domain& instruments, const std::string& name, double reading, QUALITY quality) {
    Domain& instrument = instruments.add_domain(
        name, {.description = "Resistance thermometer",
               .identity = Identity("PT100-" + std::string(name.substr(name.size() - 1))),
               .pattern_type = pattern_type::DEVICE});
    instrument.add<double>("reading", reading,
                           {.engineering_unit = "degC",
                            .range = {.lower = Value(-200.0), .upper = Value(850.0)},
                            .fractional_digits = 2,
                            .quality = quality});
}

}  // namespace

void add_maintenance(Domain& root) {
    Domain& maintenance = root.add_domain(
        "maintenance", {.description = "Planned work", .pattern_type = pattern_type::PREVENTIVE_MAINTENANCE});
    maintenance.add<Duration>("interval", Duration(2160h),
                              {.description = "Time between two inspections", .writable = true});
    maintenance.add<std::vector<Duration>>(
        "reminders", {Duration(168h), Duration(24h), Duration(90min)},
        {.description = "How long before an inspection to remind", .writable = true});
    maintenance.add<TimePoint>("last_inspection", TimePoint(sys_days(2026y / 9 / 14) + 6h + 30min),
                               {.description = "When it was", .writable = true});
    maintenance.add<std::vector<TimePoint>>("planned_inspections",
                                            {sys_days(2026y / 12 / 14) + 6h, sys_days(2027y / 3 / 15) + 6h},
                                            {.description = "When they will be", .writable = true});
    maintenance.add<std::string>("note", "Gasket of the drum manhole: check for leaks < 5 ml/min.",
                                 {.description = "From shift to shift", .writable = true});
    maintenance.add<std::vector<std::string>>("contacts", {"control room", "boiler house"},
                                              {.description = "Whom to tell", .writable = true});
}

void add_instruments(Domain& root) {
    Domain& instruments =
        root.add_domain("instruments", {.description = "Thermometers of the feed line",
                                        .pattern_type = pattern_type::collection(pattern_type::DEVICE)});
    add_instrument(instruments, "thermometer_1", 104.21, QUALITY::GOOD_LOCAL_OVERRIDE);
    add_instrument(instruments, "thermometer_2", 103.97, QUALITY::UNCERTAIN_SENSOR_NOT_ACCURATE);
    add_instrument(instruments, "thermometer_3", 850.0, QUALITY::BAD_SENSOR_FAILURE);
    add_instrument(instruments, "thermometer_4", 0.0, QUALITY::BAD_WAITING_FOR_INITIAL_DATA);
    instruments.add_domain("thermometer_5", {.description = "Not mounted yet"});
}

void add_bulk(Domain& root, unsigned int count) {
    Domain* group = nullptr;
    Domain* const bulk =
        count == 0 ? nullptr : &root.add_domain("bulk", {.description = "Variables for load"});
    for (unsigned int i = 0; i < count; ++i) {
        if (i % BULK_VARIABLES_PER_DOMAIN == 0) {
            group = &bulk->add_domain(std::to_string(i / BULK_VARIABLES_PER_DOMAIN));
        }
        group->add<double>(std::string("v").append(std::to_string(i)), i);
    }
}

}  // namespace plant
