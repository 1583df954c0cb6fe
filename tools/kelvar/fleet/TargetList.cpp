#include "tools/kelvar/fleet/TargetList.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string_view>

#include <rapidjson/document.h>

#include "tools/kelvar/Reader.h"

namespace Kelvar::Tool {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string Trimmed(const std::string& line) {
  const std::size_t start = line.find_first_not_of(kBlanks);
  return start == std::string::npos ? "" : line.substr(start, line.find_last_not_of(kBlanks) - start + 1);
}

std::string TextOf(const rapidjson::Value& value, const std::string& key) {
  if (!value.IsString()) {
    throw ToolError(ExitCode::Usage, "\"" + key + "\" must be a string");
  }
  return {value.GetString(), value.GetStringLength()};
}

std::vector<std::string> TextsOf(const rapidjson::Value& value, const std::string& key) {
  if (!value.IsArray()) {
    throw ToolError(ExitCode::Usage, "\"" + key + "\" must be a list of strings");
  }
  std::vector<std::string> texts;
  for (const rapidjson::Value& element : value.GetArray()) {
    texts.push_back(TextOf(element, key));
  }
  return texts;
}

/// Keys are shown only where they are known: a mistyped line can hold a password anywhere.
void ReadObject(const std::string& line, ListedTarget& listed) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
  if (document.HasParseError() || !document.IsObject()) {
    throw ToolError(ExitCode::Usage, "invalid JSON object");
  }
  std::string user;
  for (const auto& [name, value] : document.GetObject()) {
    const std::string key(name.GetString(), name.GetStringLength());
    if (key == "target") {
      listed.name = TextOf(value, key);
    } else if (key == "user") {
      user = TextOf(value, key);
    } else if (key == "password-file") {
      listed.password.file = TextOf(value, key);
    } else if (key == "password-command") {
      listed.password.command = TextOf(value, key);
    } else if (key == "what") {
      listed.what = TextsOf(value, key);
    } else {
      throw ToolError(ExitCode::Usage, "unknown key; use target, what, user, password-file, password-command");
    }
  }
  if (listed.name.empty()) {
    throw ToolError(ExitCode::Usage, "\"target\" is missing");
  }
  if (!listed.password.file.empty() && !listed.password.command.empty()) {
    throw ToolError(ExitCode::Usage, "use either password-file or password-command");
  }
  listed.target = ParseTarget(listed.name);
  if (!user.empty()) {
    listed.target->info.UserName = user;
  }
}

void ReadLine(const std::string& line, ListedTarget& listed) {
  if (line.front() == '{') {
    ReadObject(line, listed);
  } else if (line.find_first_of(kBlanks) != std::string::npos) {
    throw ToolError(ExitCode::Usage, "expected one target or one JSON object");
  } else {
    listed.target = ParseTarget(line);
    listed.name = line;
  }
}

ListedTarget Listed(const std::string& line, std::size_t number, const std::vector<std::string>& what,
                    bool operations) {
  ListedTarget listed;
  listed.what = what;
  listed.operations = operations;
  try {
    ReadLine(line, listed);
    CheckWords(listed.what, operations, listed.target->protocol);
  } catch (const ToolError& error) {
    listed.code = error.Code();
    listed.error = "line " + std::to_string(number) + ": " + error.what();
    if (!listed.target) {
      listed.name = "line " + std::to_string(number);
    }
  }
  return listed;
}

}  // namespace

std::vector<ListedTarget> ReadTargetList(std::istream& lines, const std::vector<std::string>& what, bool operations) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::vector<ListedTarget> list;
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    if (number == 1 && line.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) {
      line.erase(0, kByteOrderMark.size());
    }
    const std::string content = Trimmed(line);
    if (!content.empty() && content.front() != '#') {
      list.push_back(Listed(content, number, what, operations));
    }
  }
  return list;
}

std::vector<ListedTarget> ReadTargetList(const std::string& file, const std::vector<std::string>& what,
                                         bool operations) {
  if (file == "-") {
    return ReadTargetList(std::cin, what, operations);
  }
  std::ifstream lines(file);
  std::vector<ListedTarget> list = ReadTargetList(lines, what, operations);
  if (!lines.is_open() || lines.bad()) {
    throw ToolError(ExitCode::Usage, "cannot read the list of targets " + file + ": " + std::strerror(errno));
  }
  return list;
}

}  // namespace Kelvar::Tool
