#pragma once

#include <information_model/export.h>

#include <memory>
#include <optional>
#include <string>

/// Named classifications of domains.
namespace kx::information_model::pattern_type {

/// One classification, possibly a special case of another. A plain value; copies share the state.
class KX_INFORMATION_MODEL_EXPORT PatternType {
public:
    /// @param name    the full name, for example "plant.Boiler"
    /// @param parent  what it is a special case of; absent for a classification of its own
    PatternType(const std::string& name, const std::optional<PatternType>& parent);

    /// The full name, for example "common.Device".
    const std::string& get_name() const noexcept;

    /// The classification that this one specialises, if any.
    const std::optional<PatternType>& get_parent() const noexcept;

    /// Whether both have the same name.
    friend bool operator==(const PatternType& left, const PatternType& right) noexcept {
        return left.get_name() == right.get_name();
    }

private:
    struct State;
    std::shared_ptr<const State> state_;
};

/// The catalogue. Each name is "common." and the short name given behind it.
extern KX_INFORMATION_MODEL_EXPORT const PatternType ANY;  ///< Any, the root of all others

extern KX_INFORMATION_MODEL_EXPORT const PatternType ACTIVE_PROGRAM;          ///< ActiveProgram
extern KX_INFORMATION_MODEL_EXPORT const PatternType ALARM_MONITOR;           ///< AlarmMonitor
extern KX_INFORMATION_MODEL_EXPORT const PatternType COMPONENT;               ///< Component
extern KX_INFORMATION_MODEL_EXPORT const PatternType CONTACT;                 ///< Contact
extern KX_INFORMATION_MODEL_EXPORT const PatternType CONTACTS;                ///< Contacts
extern KX_INFORMATION_MODEL_EXPORT const PatternType FUNCTION;                ///< Function
extern KX_INFORMATION_MODEL_EXPORT const PatternType EVENT_CATALOG;           ///< EventCatalog
extern KX_INFORMATION_MODEL_EXPORT const PatternType LOCATION;                ///< Location
extern KX_INFORMATION_MODEL_EXPORT const PatternType PREVENTIVE_MAINTENANCE;  ///< PreventiveMaintenance
extern KX_INFORMATION_MODEL_EXPORT const PatternType PROGRAMMING;             ///< Programming
extern KX_INFORMATION_MODEL_EXPORT const PatternType RECURRING_TASK;          ///< RecurringTask
extern KX_INFORMATION_MODEL_EXPORT const PatternType SOFTWARE_UPDATE;         ///< SoftwareUpdate
extern KX_INFORMATION_MODEL_EXPORT const PatternType SYSTEM;                  ///< System
extern KX_INFORMATION_MODEL_EXPORT const PatternType UNIT;                    ///< Unit
extern KX_INFORMATION_MODEL_EXPORT const PatternType EXTENSION;               ///< Extension

extern KX_INFORMATION_MODEL_EXPORT const PatternType CONTROL_FUNCTION;   ///< ControlFunction, a Function
extern KX_INFORMATION_MODEL_EXPORT const PatternType LID_DOOR_FUNCTION;  ///< LidDoorFunction, a Function
extern KX_INFORMATION_MODEL_EXPORT const PatternType
    MULTI_MODAL_CONTROL_FUNCTION;  ///< MultiModalControlFunction, a Function
extern KX_INFORMATION_MODEL_EXPORT const PatternType TIMER_FUNCTION;  ///< TimerFunction, a Function

extern KX_INFORMATION_MODEL_EXPORT const PatternType DEVICE;  ///< Device, a Component

/// A collection of `element`: "common.Collection[" + the element's full name + "]", a special case of ANY.
KX_INFORMATION_MODEL_EXPORT PatternType collection(const PatternType& element);

/// @name Texts that hosts use with some of the patterns above; the server does not read them
/// @{
inline constexpr const char* UNSPECIFIC = "unspecific";          ///< "unspecific"
inline constexpr const char* ENABLED_STATE = "enabled-state";    ///< "enabled-state"
inline constexpr const char* FUNCTION_STATE = "function_state";  ///< "function_state"
inline constexpr const char* VALUE_CHANGED = "value-changed";    ///< "value-changed"
inline constexpr const char* VALUE_ALARM = "value-alarm";        ///< "value-alarm"
inline constexpr const char* DEFAULT_MASK = "1111000";           ///< "1111000"
/// @}

}  // namespace kx::information_model::pattern_type
