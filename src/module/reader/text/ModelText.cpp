#include "module/reader/text/ModelText.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace Kelvar::Reader {

namespace {

/// What firmware writes where nobody has filled in a value, in lower case.
constexpr std::array<std::string_view, 23> kPlaceholders = {
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
    "0123",
    "0123456789",
};

bool IsBlank(char letter) {
  const auto byte = static_cast<unsigned char>(letter);
  return byte <= 0x20 || byte == 0x7F;
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
  if (text.size() < 19 || std::string_view("Tt ").find(text[10]) == std::string_view::npos ||
      !IsDate(text.substr(0, 10)) || !IsTime(text.substr(11, 8))) {
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

std::string_view DigitsAt(std::string_view text, std::size_t start) {
  std::size_t end = start;
  while (end < text.size() && text[end] >= '0' && text[end] <= '9') {
    ++end;
  }
  return text.substr(start, end - start);
}

std::string_view WithoutZeros(std::string_view digits) {
  const auto first = digits.find_first_not_of('0');
  return first == std::string_view::npos ? std::string_view() : digits.substr(first);
}

/// Some services have a blank between date and time.
std::string IsoDateTime(std::string_view text) {
  constexpr std::size_t kDateLength = 10;
  std::string whole(text.substr(0, kDateLength));
  if (text.size() > kDateLength) {
    whole += text[kDateLength] == ' ' ? 'T' : text[kDateLength];
    whole += text.substr(kDateLength + 1);
  }
  return whole;
}

}  // namespace

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && IsBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) {
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
  }
  return lower;
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

std::string DateTime(std::string_view text) {
  text = Trim(text);
  const std::size_t length = DateTimeLength(text);
  if (length == 0) {
    return {};
  }
  std::string whole = IsoDateTime(text);
  if (Fits(text.substr(length), "+9999") || Fits(text.substr(length), "-9999")) {
    whole.insert(length + 3, 1, ':');
  }
  return IsZone(std::string_view(whole).substr(length)) ? whole : std::string();
}

std::string Date(std::string_view text) {
  text = Trim(text);
  const std::size_t length = DateTimeLength(text);
  const bool valid = IsDate(text) || (length != 0 && (length == text.size() || IsZone(text.substr(length))));
  return valid ? IsoDateTime(text) : std::string();
}

std::optional<double> Instant(std::string_view dateTime) {
  if (Date(dateTime).empty()) {
    return std::nullopt;
  }
  double seconds =
      static_cast<double>(DaysSinceEpoch(Digits(dateTime, 0, 4), Digits(dateTime, 5, 2), Digits(dateTime, 8, 2))) *
      86400;
  if (dateTime.size() == 10) {
    return seconds;
  }
  const std::size_t length = DateTimeLength(dateTime);
  seconds += Digits(dateTime, 11, 2) * 3600 + Digits(dateTime, 14, 2) * 60 + Digits(dateTime, 17, 2);
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

std::string Uuid(std::string_view text) {
  std::string digits;
  for (const char letter : Lower(text)) {
    const bool digit = (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f');
    if (digit) {
      digits += letter;
    } else if (letter != '-') {
      return {};
    }
  }
  if (digits.size() != 32 || digits.find_first_not_of('0') == std::string::npos ||
      digits.find_first_not_of('f') == std::string::npos) {
    return {};
  }
  for (const std::size_t place : {20U, 16U, 12U, 8U}) {
    digits.insert(place, 1, '-');
  }
  return digits;
}

bool NaturalLess(std::string_view left, std::string_view right) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < left.size() && j < right.size()) {
    const std::string_view leftDigits = DigitsAt(left, i);
    const std::string_view rightDigits = DigitsAt(right, j);
    if (!leftDigits.empty() && !rightDigits.empty()) {
      const std::string_view leftNumber = WithoutZeros(leftDigits);
      const std::string_view rightNumber = WithoutZeros(rightDigits);
      if (leftNumber.size() != rightNumber.size()) {
        return leftNumber.size() < rightNumber.size();
      }
      if (leftNumber != rightNumber) {
        return leftNumber < rightNumber;
      }
      i += leftDigits.size();
      j += rightDigits.size();
    } else if (left[i] != right[j]) {
      return static_cast<unsigned char>(left[i]) < static_cast<unsigned char>(right[j]);
    } else {
      ++i;
      ++j;
    }
  }
  return left.size() - i < right.size() - j || (left.size() - i == right.size() - j && left < right);
}

}  // namespace Kelvar::Reader
