#pragma once

#include "xmlda/print/item_output.h"

#include <ostream>
#include <string>

namespace xmlda {

/// Writes a change in the line protocol of InfluxDB, which Telegraf and others read as well:
///
///     xmlda,item=/boiler/temperature,unit=degC value=178.5,quality="good" 1795313961899192333
///
/// Each change is one line, an array one for each member with the tag "index". The field that holds the value
/// is named after its kind, because the type of a field may not change: "value" for double, float and
/// decimal, "value_integer", "value_boolean", and "value_text" for all else and for integers that 64 bits do
/// not hold. A value that is not a finite number is left out. Nothing is written if then no field is left.
/// The time, in nanoseconds, is left out if the item has none that 64 bits hold.
/// @param measurement  not empty
void write_influx_lines(std::ostream& stream, const std::string& measurement, const ItemAddress& address,
                        const ShownItem& item);

}  // namespace xmlda
