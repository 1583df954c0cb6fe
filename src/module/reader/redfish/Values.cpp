#include "module/reader/redfish/Values.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

/// What firmware writes where nobody has filled in a value, in lower case.
constexpr std::array<std::string_view, 22> kPlaceholders = {
    "na",
    "n/a",
    "none",
    "null",
    "unknown",
    "undefined",
    "not specified",
    "not available",
    "not applicable",
    "no dimm",
    "to be filled by o.e.m.",
    "to be filled by oem",
    "to be filled by o.e.m",
    "tbd by oem",
    "o.e.m.",
    "default string",
    "system manufacturer",
    "system product name",
    "system serial number",
    "system version",
    "chassis serial number",
    "0123456789",
};

bool IsBlank(char letter) {
  const auto byte = static_cast<unsigned char>(letter);
  return byte <= 0x20 || byte == 0x7F;
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && IsBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

bool OnlyHas(std::string_view text, std::string_view letters) {
  return text.find_first_not_of(letters) == std::string_view::npos;
}

bool IsDigit(char letter) {
  return letter >= '0' && letter <= '9';
}

/// A fixed pattern: '9' stands for a digit, any other letter for itself.
bool Fits(std::string_view text, std::string_view pattern) {
  return text.size() == pattern.size() &&
         std::equal(text.begin(), text.end(), pattern.begin(),
                    [](char letter, char want) { return want == '9' ? IsDigit(letter) : letter == want; });
}

int Digits(std::string_view text, std::size_t start, std::size_t count) {
  int value = 0;
  for (const char letter : text.substr(start, count)) {
    value = value * 10 + (letter - '0');
  }
  return value;
}

bool IsLeap(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysOf(int year, int month) {
  constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return kDays[static_cast<std::size_t>(month - 1)] + (month == 2 && IsLeap(year) ? 1 : 0);
}

bool IsDate(std::string_view text) {
  if (!Fits(text, "9999-99-99")) {
    return false;
  }
  // A clock that nobody has set starts in 1970, or says 0.
  const int year = Digits(text, 0, 4);
  const int month = Digits(text, 5, 2);
  const int day = Digits(text, 8, 2);
  return year > 1970 && month >= 1 && month <= 12 && day >= 1 && day <= DaysOf(year, month);
}

bool IsTime(std::string_view text) {
  return Fits(text, "99:99:99") && Digits(text, 0, 2) < 24 && Digits(text, 3, 2) < 60 && Digits(text, 6, 2) <= 60;
}

bool IsZone(std::string_view text) {
  return text == "Z" || text == "z" ||
         ((Fits(text, "+99:99") || Fits(text, "-99:99")) && Digits(text, 1, 2) < 24 && Digits(text, 4, 2) < 60);
}

/// Length of a date and time at the front, fraction included; 0 for none.
std::size_t DateTimeLength(std::string_view text) {
  if (text.size() < 19 || (text[10] != 'T' && text[10] != 't') || !IsDate(text.substr(0, 10)) ||
      !IsTime(text.substr(11, 8))) {
    return 0;
  }
  std::size_t end = 19;
  if (end < text.size() && text[end] == '.') {
    do {
      ++end;
    } while (end < text.size() && IsDigit(text[end]));
    if (end == 20) {
      return 0;
    }
  }
  return end;
}

/// Days since 1970-01-01.
long DaysSinceEpoch(int year, int month, int day) {
  long days = day - 1;
  for (int past = 1; past < month; ++past) {
    days += DaysOf(year, past);
  }
  const long before = year - 1;
  constexpr long kLeapsBefore1970 = 1969 / 4 - 1969 / 100 + 1969 / 400;
  return days + (before - 1969) * 365 + (before / 4 - before / 100 + before / 400 - kLeapsBefore1970);
}

}  // namespace

JsonValue At(JsonValue object, std::string_view path) {
  while (object && !path.empty()) {
    const auto slash = path.find('/');
    object = object[std::string(path.substr(0, slash)).c_str()];
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  }
  return object;
}

std::string CleanText(std::string_view text) {
  text = Trim(text);
  if (text.empty() || OnlyHas(text, ". ") || OnlyHas(text, "-") || OnlyHas(text, "?") ||
      (text.size() >= 4 && OnlyHas(text, "0"))) {
    return {};
  }
  const std::string lower = Lower(text);
  const bool placeholder = std::find(kPlaceholders.begin(), kPlaceholders.end(), lower) != kPlaceholders.end();
  return placeholder ? std::string() : std::string(text);
}

std::string TextAt(JsonValue object, std::string_view path) {
  return CleanText(At(object, path).String().value_or(""));
}

std::string MessageAt(JsonValue object, std::string_view path) {
  return std::string(Trim(At(object, path).String().value_or("")));
}

std::optional<double> NumberAt(JsonValue object, std::string_view path) {
  return At(object, path).Double();
}

std::optional<double> PositiveAt(JsonValue object, std::string_view path) {
  const auto number = NumberAt(object, path);
  return number && *number > 0 ? number : std::nullopt;
}

std::optional<bool> BoolAt(JsonValue object, std::string_view path) {
  return At(object, path).Bool();
}

std::optional<u32> CountAt(JsonValue object, std::string_view path) {
  const auto number = PositiveAt(object, path);
  if (!number || *number > 4e9 || std::floor(*number) != *number) {
    return std::nullopt;
  }
  return static_cast<u32>(*number);
}

std::string LinkAt(JsonValue object, std::string_view path) {
  const JsonValue value = At(object, path);
  return value["@odata.id"].String().value_or(value.String().value_or(""));
}

std::string Word(std::string_view camelCase) {
  std::string word;
  camelCase = Trim(camelCase);
  for (std::size_t i = 0; i < camelCase.size(); ++i) {
    const char letter = camelCase[i];
    const bool upper = letter >= 'A' && letter <= 'Z';
    if (letter == ' ' || letter == '-' || letter == '_') {
      word += word.empty() || word.back() == '_' ? "" : "_";
      continue;
    }
    if (!upper && !(letter >= 'a' && letter <= 'z') && !IsDigit(letter)) {
      return {};
    }
    const bool afterLower = i > 0 && !(camelCase[i - 1] >= 'A' && camelCase[i - 1] <= 'Z');
    const bool beforeLower = i + 1 < camelCase.size() && camelCase[i + 1] >= 'a' && camelCase[i + 1] <= 'z';
    if (upper && !word.empty() && word.back() != '_' && (afterLower || beforeLower)) {
      word += '_';
    }
    word += upper ? static_cast<char>(letter + ('a' - 'A')) : letter;
  }
  return word;
}

std::string WordAt(JsonValue object, std::string_view path) {
  return Word(TextAt(object, path));
}

std::string DateTime(std::string_view text) {
  text = Trim(text);
  const std::size_t length = DateTimeLength(text);
  return length != 0 && IsZone(text.substr(length)) ? std::string(text) : std::string();
}

std::string Date(std::string_view text) {
  text = Trim(text);
  const std::size_t length = DateTimeLength(text);
  const bool valid = IsDate(text) || (length != 0 && (length == text.size() || IsZone(text.substr(length))));
  return valid ? std::string(text) : std::string();
}

std::optional<double> Instant(std::string_view dateTime) {
  if (DateTime(dateTime).empty()) {
    return std::nullopt;
  }
  const std::size_t length = DateTimeLength(dateTime);
  double seconds =
      static_cast<double>(DaysSinceEpoch(Digits(dateTime, 0, 4), Digits(dateTime, 5, 2), Digits(dateTime, 8, 2))) *
          86400 +
      Digits(dateTime, 11, 2) * 3600 + Digits(dateTime, 14, 2) * 60 + Digits(dateTime, 17, 2);
  double unit = 0.1;
  for (std::size_t i = 20; i < length; ++i, unit /= 10) {
    seconds += unit * (dateTime[i] - '0');
  }
  const std::string_view zone = dateTime.substr(length);
  if (zone.size() == 6) {
    const int offset = Digits(zone, 1, 2) * 3600 + Digits(zone, 4, 2) * 60;
    seconds -= zone[0] == '-' ? -offset : offset;
  }
  return seconds;
}

Status StatusOf(JsonValue resource) {
  const JsonValue told = resource["Status"];
  Status status;
  status.state = WordAt(told, "State");
  const std::string word = TextAt(told, "Health");
  if (word.empty() || status.state == "absent") {
    return status;
  }
  const std::string lower = Lower(word);
  if (lower == "ok" || lower == "warning" || lower == "critical") {
    status.health = lower;
  } else {
    status.healthText = word;
  }
  return status;
}

std::string MacAddress(std::string_view text) {
  std::string digits;
  for (const char letter : Trim(text)) {
    if (std::isxdigit(static_cast<unsigned char>(letter)) != 0) {
      digits += letter;
    } else if (letter != ':' && letter != '-') {
      return {};
    }
  }
  digits = Lower(digits);
  if ((digits.size() != 12 && digits.size() != 16) || OnlyHas(digits, "0")) {
    return {};
  }
  std::string address;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    address += (i == 0 ? "" : ":") + digits.substr(i, 2);
  }
  return address;
}

}  // namespace Kelvar::Reader
