#pragma once

/// Names of item properties, as requests write them and `Property::name` has them. Servers have more of their
/// own.
namespace xmlda::property_names {

inline constexpr char ACCESS_RIGHTS[] = "accessRights";  ///< "readable", "writable", "readWritable"
inline constexpr char DATA_TYPE[] = "dataType";          ///< a type's name, see `to_type_name`
inline constexpr char DESCRIPTION[] = "description";
inline constexpr char ENGINEERING_UNITS[] = "engineeringUnits";
inline constexpr char EU_INFO[] = "euInfo";  ///< of an enumerated item: the names of its numbers, from 0 on
inline constexpr char HIGH_EU[] = "highEU";  ///< the upper end of the item's range
inline constexpr char LOW_EU[] = "lowEU";    ///< the lower end
inline constexpr char QUALITY[] = "quality";
inline constexpr char TIMESTAMP[] = "timestamp";
inline constexpr char VALUE[] = "value";

/// How many digits behind the decimal point mean something. This server's own.
inline constexpr char FRACTIONAL_DIGITS[] = "telvix:fractionalDigits";

}  // namespace xmlda::property_names
