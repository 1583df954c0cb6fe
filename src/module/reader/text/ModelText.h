#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Kelvar::Reader {

// Texts of targets as the model holds them, whichever protocol they came over.

/// Without blanks and control characters at its ends.
std::string_view Trim(std::string_view text);
std::string Lower(std::string_view text);
/// A text without blanks at its ends; empty for what says nothing, such as "N/A" or "To be filled by O.E.M.".
std::string CleanText(std::string_view text);

/// "StandbyOffline" -> "standby_offline"; empty for what is not a word.
std::string Word(std::string_view camelCase);

/// A date and time with zone as it came, if it is a valid one of a set clock; else empty. "+0100" becomes "+01:00".
std::string DateTime(std::string_view text);
/// The same, and also a date alone or without a zone.
std::string Date(std::string_view text);
/// Seconds since 1970 of what DateTime() or Date() gave, in UTC without a zone; nothing for an empty text.
std::optional<double> Instant(std::string_view dateTime);

/// "aa:bb:cc:dd:ee:ff"; empty for what is not an address, or the zero address.
std::string MacAddress(std::string_view text);
/// Lower case with dashes; empty for what is not a UUID, or one of zeros or ones alone.
std::string Uuid(std::string_view text);

/// Order of ids in which "Fan 2" comes before "Fan 10".
bool NaturalLess(std::string_view left, std::string_view right);

}  // namespace Kelvar::Reader
