#include <information_model/PatternType.h>

namespace kx::information_model::pattern_type {

struct PatternType::State {
    std::string name;
    std::optional<PatternType> parent;
};

PatternType::PatternType(const std::string& name, const std::optional<PatternType>& parent)
    : state_(std::make_shared<const State>(State{name, parent})) {}

const std::string& PatternType::get_name() const noexcept {
    return state_->name;
}

const std::optional<PatternType>& PatternType::get_parent() const noexcept {
    return state_->parent;
}

// Parents stand before their special cases: the order in one file is the order of construction.
const PatternType ANY("common.Any", std::nullopt);

const PatternType ACTIVE_PROGRAM("common.ActiveProgram", ANY);
const PatternType ALARM_MONITOR("common.AlarmMonitor", ANY);
const PatternType COMPONENT("common.Component", ANY);
const PatternType CONTACT("common.Contact", ANY);
const PatternType CONTACTS("common.Contacts", ANY);
const PatternType FUNCTION("common.Function", ANY);
const PatternType EVENT_CATALOG("common.EventCatalog", ANY);
const PatternType LOCATION("common.Location", ANY);
const PatternType PREVENTIVE_MAINTENANCE("common.PreventiveMaintenance", ANY);
const PatternType PROGRAMMING("common.Programming", ANY);
const PatternType RECURRING_TASK("common.RecurringTask", ANY);
const PatternType SOFTWARE_UPDATE("common.SoftwareUpdate", ANY);
const PatternType SYSTEM("common.System", ANY);
const PatternType UNIT("common.Unit", ANY);
const PatternType EXTENSION("common.Extension", ANY);

const PatternType CONTROL_FUNCTION("common.ControlFunction", FUNCTION);
const PatternType LID_DOOR_FUNCTION("common.LidDoorFunction", FUNCTION);
const PatternType MULTI_MODAL_CONTROL_FUNCTION("common.MultiModalControlFunction", FUNCTION);
const PatternType TIMER_FUNCTION("common.TimerFunction", FUNCTION);

const PatternType DEVICE("common.Device", COMPONENT);

PatternType collection(const PatternType& element) {
    return PatternType("common.Collection[" + element.get_name() + "]", ANY);
}

}  // namespace kx::information_model::pattern_type
