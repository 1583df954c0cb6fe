#include "tools/kelvar/HelpFormatter.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace Kelvar::Tool {

namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kTextBegins = 26;
constexpr std::size_t kFewOptions = 6;
constexpr std::string_view kRest = "Options";
constexpr std::string_view kManyTargets = "Many targets, with --targets";

struct Group {
  std::string_view title;
  std::initializer_list<std::string_view> options;
};

const Group kGroups[] = {
    {"Output",
     {"format", "columns", "limit", "since", "severity", "oldest-first", "follow", "interval", "nagios", "wide",
      "color", "explain", "verbose", "quiet"}},
    {"Login", {"user", "password-file", "password-command", "config"}},
    {"Connection",
     {"deadline", "timeout", "requests", "auth", "no-cache", "insecure", "cacert", "pin", "redfish-port", "cim-port",
      "cim-https-port", "ipmi-port"}},
    {kManyTargets, {"targets", "jobs", "ordered", "shard", "save", "force", "resume", "diff", "baseline"}},
};

std::string_view TitleOf(const CLI::Option& option) {
  const std::string& name = option.get_lnames().empty() ? option.get_name() : option.get_lnames().front();
  for (const Group& group : kGroups) {
    if (std::find(group.options.begin(), group.options.end(), name) != group.options.end()) {
      return group.title;
    }
  }
  return kRest;
}

/// "N:UINT in [1 - 16]" has the range "1 - 16" and the type "N".
struct TypeParts {
  std::string type;
  std::string range;
};

TypeParts PartsOf(const CLI::Option& option) {
  TypeParts parts{.type = option.get_type_name(), .range = ""};
  if (const std::size_t values = parts.type.find('{'); values != std::string::npos) {
    parts.type.erase(0, values);
  }
  if (const std::size_t range = parts.type.find(" in ["); range != std::string::npos) {
    parts.range = parts.type.substr(range + 5);
    parts.range.pop_back();
    parts.type.erase(parts.type.rfind(':', range));
  }
  constexpr std::string_view kExisting = ":FILE";
  if (parts.type.size() > kExisting.size() &&
      parts.type.compare(parts.type.size() - kExisting.size(), std::string::npos, kExisting) == 0) {
    parts.type.erase(parts.type.size() - kExisting.size());
  }
  return parts;
}

/// `text` in lines that begin at kTextBegins, the first one where `line` ends.
std::string Wrapped(std::string line, std::string_view text) {
  std::string done;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const bool first = line.size() <= kTextBegins;
    if (!first && line.size() + 1 + end > kColumns) {
      done += line + '\n';
      line.assign(kTextBegins, ' ');
    } else if (!first) {
      line += ' ';
    }
    line += text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return done + line + '\n';
}

}  // namespace

void GroupOptions(CLI::App& app) {
  const std::vector<CLI::Option*> all = app.get_options([](CLI::Option* option) { return option->nonpositional(); });
  if (all.size() <= kFewOptions) {
    return;
  }
  for (CLI::Option* const option : all) {
    option->group(std::string(TitleOf(*option)));
  }
}

std::string HelpFormatter::make_group(std::string title, bool positional,
                                      std::vector<const CLI::Option*> options) const {
  const std::string text = CLI::Formatter::make_group(title, positional, std::move(options));
  return positional || title == kRest ? text : text.substr(1);  // CLI11 has empty lines both before and after it
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool positional) const {
  std::string line = "  " + make_option_name(option, positional) + make_option_opts(option);
  std::string before;
  if (line.size() + 2 > kTextBegins) {
    before = line + '\n';
    line.clear();
  }
  line.resize(kTextBegins, ' ');
  return before + Wrapped(line, make_option_desc(option));
}

std::string HelpFormatter::make_option_name(const CLI::Option* option, bool positional) const {
  const std::string name = CLI::Formatter::make_option_name(option, positional);
  return name.substr(0, name.find('{'));  // CLI11 shows there what a flag that takes something away sets
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  return option->get_positional() || option->get_type_size() == 0 ? "" : ' ' + PartsOf(*option).type;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
  const std::string& usual = option->get_default_str();
  const std::string range = PartsOf(*option).range;
  std::string text = option->get_description();
  if (!range.empty() || !usual.empty()) {
    text += fmt::format(" ({}{}{})", range, range.empty() || usual.empty() ? "" : ", ",
                        usual.empty() ? "" : "default " + usual);
  }
  return text;
}

}  // namespace Kelvar::Tool
