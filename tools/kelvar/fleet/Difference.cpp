#include "tools/kelvar/fleet/Difference.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/JsonWriter.h"

namespace Kelvar::Tool {

namespace {

const char* WordOf(Difference::Kind kind) {
  switch (kind) {
    case Difference::Kind::Changed:
      return "changed";
    case Difference::Kind::Added:
      return "added";
    case Difference::Kind::Removed:
      return "removed";
    case Difference::Kind::Deviates:
      return "deviates";
    case Difference::Kind::Unread:
      return "unread";
    case Difference::Kind::NoRule:
      return "no_rule";
  }
  return "";
}

std::string Line(const Difference& difference) {
  std::string place;
  for (const std::string* word : {&difference.what, &difference.record, &difference.field}) {
    place += word->empty() ? "" : ' ' + *word;
  }
  std::string rest;
  switch (difference.kind) {
    case Difference::Kind::Changed:
      rest = fmt::format(": \"{}\" -> \"{}\"", difference.before, difference.after);
      break;
    case Difference::Kind::Deviates:
      rest = fmt::format(": \"{}\", expected \"{}\"", difference.after, difference.before);
      break;
    case Difference::Kind::Unread:
      rest = fmt::format(" not compared ({})", difference.after);
      break;
    case Difference::Kind::NoRule:
      rest = " no rule";
      break;
    default:
      rest = std::string(" ") + WordOf(difference.kind);
  }
  return Text::EscapeControl(difference.target + ':' + place + rest) + '\n';
}

void WriteMembers(CompactJson& writer, const Difference& difference) {
  WriteMember(writer, "change", WordOf(difference.kind));
  const bool deviates = difference.kind == Difference::Kind::Deviates;
  const std::pair<const char*, const std::string*> members[] = {{"what", &difference.what},
                                                                {"record", &difference.record},
                                                                {"field", &difference.field},
                                                                {deviates ? "expected" : "before", &difference.before},
                                                                {deviates ? "found" : "after", &difference.after}};
  const bool values = deviates || difference.kind == Difference::Kind::Changed;
  for (const auto& [key, text] : members) {
    const bool value = text == &difference.before || text == &difference.after;
    if (!text->empty() || (value && values)) {
      WriteMember(writer, key, *text);
    }
  }
}

std::string JsonLine(const Difference& difference) {
  JsonBuffer buffer;
  CompactJson writer(buffer);
  writer.StartObject();
  WriteMember(writer, "target", difference.target);
  WriteMembers(writer, difference);
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

}  // namespace

std::string JsonArrayOf(const std::vector<Difference>& differences, std::size_t most) {
  JsonBuffer buffer;
  CompactJson writer(buffer);
  writer.StartArray();
  for (std::size_t position = 0; position < std::min(most, differences.size()); ++position) {
    writer.StartObject();
    WriteMembers(writer, differences[position]);
    writer.EndObject();
  }
  writer.EndArray();
  return {buffer.GetString(), buffer.GetSize()};
}

std::string TextOf(const std::vector<Difference>& differences, bool json, const std::string& separator) {
  std::string text;
  for (const Difference& difference : differences) {
    text += (text.empty() ? "" : separator) + (json ? JsonLine(difference) : Line(difference));
  }
  return text;
}

}  // namespace Kelvar::Tool
