#include "tools/kelvar/fleet/Finding.h"

#include <utility>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/JsonWriter.h"

namespace Kelvar::Tool {

namespace {

const char* WordOf(Finding::Kind kind) {
  switch (kind) {
    case Finding::Kind::Changed:
      return "changed";
    case Finding::Kind::Added:
      return "added";
    case Finding::Kind::Removed:
      return "removed";
    case Finding::Kind::Deviates:
      return "deviates";
    case Finding::Kind::Unread:
      return "unread";
    case Finding::Kind::NoRule:
      return "no_rule";
  }
  return "";
}

std::string Line(const Finding& finding) {
  std::string place;
  for (const std::string* word : {&finding.what, &finding.record, &finding.field}) {
    place += word->empty() ? "" : ' ' + *word;
  }
  std::string rest;
  switch (finding.kind) {
    case Finding::Kind::Changed:
      rest = fmt::format(": \"{}\" -> \"{}\"", finding.before, finding.after);
      break;
    case Finding::Kind::Deviates:
      rest = fmt::format(": \"{}\", expected \"{}\"", finding.after, finding.before);
      break;
    case Finding::Kind::Unread:
      rest = fmt::format(" not compared ({})", finding.after);
      break;
    case Finding::Kind::NoRule:
      rest = " no rule";
      break;
    default:
      rest = std::string(" ") + WordOf(finding.kind);
  }
  return Text::EscapeControl(finding.target + ':' + place + rest) + '\n';
}

std::string JsonLine(const Finding& finding) {
  JsonBuffer buffer;
  CompactJson writer(buffer);
  writer.StartObject();
  WriteMember(writer, "target", finding.target);
  WriteMember(writer, "change", WordOf(finding.kind));
  const bool deviates = finding.kind == Finding::Kind::Deviates;
  const std::pair<const char*, const std::string*> members[] = {{"what", &finding.what},
                                                                {"record", &finding.record},
                                                                {"field", &finding.field},
                                                                {deviates ? "expected" : "before", &finding.before},
                                                                {deviates ? "found" : "after", &finding.after}};
  const bool values = deviates || finding.kind == Finding::Kind::Changed;
  for (const auto& [key, text] : members) {
    const bool value = text == &finding.before || text == &finding.after;
    if (!text->empty() || (value && values)) {
      WriteMember(writer, key, *text);
    }
  }
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

}  // namespace

std::string TextOf(const std::vector<Finding>& findings, bool json, const std::string& separator) {
  std::string text;
  for (const Finding& finding : findings) {
    text += (text.empty() ? "" : separator) + (json ? JsonLine(finding) : Line(finding));
  }
  return text;
}

}  // namespace Kelvar::Tool
