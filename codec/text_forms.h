#pragma once

#include <information_model/AbsolutePath.h>
#include <information_model/Duration.h>
#include <information_model/Path.h>
#include <information_model/SymbolInfo.h>
#include <information_model/TimePoint.h>

#include <string>

namespace kx::information_model::opc {

/// The text of a time without zone designator: its ISO 8601 text with one final "Z" removed.
std::string to_opc_time(const TimePoint& time);

/// @name Text forms of scalars in replies
/// Independent of the locale. Markup is escaped later, when the reply is written.
/// @{
std::string to_xml_string(bool value);                ///< "1" or "0"
std::string to_xml_string(const std::string& value);  ///< as it is
std::string to_xml_string(
    double value);  ///< `printf` "%f": six digits after the point, "inf", "-inf", "nan", "-nan"
std::string to_xml_string(float value);  ///< as the same value as a double
std::string to_xml_string(long value);   ///< this and the other integers: decimal, "-" for negatives
std::string to_xml_string(int value);
std::string to_xml_string(short value);
std::string to_xml_string(const signed char& value);  ///< a number, "-128" to "127"
std::string to_xml_string(unsigned long value);
std::string to_xml_string(unsigned int value);
std::string to_xml_string(unsigned short value);
std::string to_xml_string(const unsigned char& value);  ///< a number, "0" to "255"
std::string to_xml_string(const TimePoint& value);      ///< ISO 8601, UTC, ending in "Z"
std::string to_xml_string(const Duration& value);       ///< ISO 8601
std::string to_xml_string(const Path& value);           ///< the path's text
std::string to_xml_string(const AbsolutePath& value);   ///< the path's text
std::string to_xml_string(const SymbolInfo& value);     ///< the value in decimal, not the name
/// @}

/// Reads a scalar from a request's text. T is one of
/// - std::string: a copy of the text;
/// - TimePoint, Duration: `xsd:dateTime`, `xsd:duration`; white space at both ends is skipped;
/// - signed char, unsigned char: white space is skipped, then a number is read as 16 bits, signed or unsigned
///   as the byte is, up to the first character that cannot belong to it. What does not fit into 16 bits
///   saturates; of the result the low 8 bits are taken ("200" is -56 as a signed byte, "-1" is 255 as an
///   unsigned one). No number at all reads as 0. Never throws.
/// @throws std::invalid_argument  if T is TimePoint or Duration and the text is malformed or out of range
template <class T>
T from_xml_string(const std::string& text);

template <>
std::string from_xml_string<std::string>(const std::string& text);
template <>
TimePoint from_xml_string<TimePoint>(const std::string& text);
template <>
Duration from_xml_string<Duration>(const std::string& text);
template <>
signed char from_xml_string<signed char>(const std::string& text);
template <>
unsigned char from_xml_string<unsigned char>(const std::string& text);

}  // namespace kx::information_model::opc
