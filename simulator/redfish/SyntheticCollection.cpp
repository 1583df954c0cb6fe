#include "simulator/redfish/SyntheticCollection.h"

#include <algorithm>
#include <charconv>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "simulator/redfish/JsonBytes.h"
#include "simulator/redfish/MadeTime.h"

namespace Kelvar::Simulator {

namespace {

// Marks in a template; no page holds these bytes, since they are written as escapes in JSON.
constexpr char kNumberMark = '\x01';
constexpr char kTimeMark = '\x02';

void SetText(rapidjson::Document& document, rapidjson::Value& object, const char* key, const std::string& text) {
  const auto member = object.FindMember(key);
  if (member != object.MemberEnd()) {
    member->value.SetString(text.data(), static_cast<rapidjson::SizeType>(text.size()), document.GetAllocator());
  }
}

std::string TextOf(const rapidjson::Value& object, const char* key) {
  const auto member = object.FindMember(key);
  return member != object.MemberEnd() && member->value.IsString() ? member->value.GetString() : std::string();
}

void MarkSequenceNumber(rapidjson::Document& document) {
  rapidjson::Value* object = &document;
  for (const char* level : {"Oem", "Tavrik"}) {
    const auto member = object->FindMember(level);
    if (member == object->MemberEnd() || !member->value.IsObject()) {
      return;
    }
    object = &member->value;
  }
  SetText(document, *object, "EventSequenceNumber", {kNumberMark});
}

/// The page of a member as JSON without spaces, with marks; empty when it cannot be read.
std::string Mark(const std::string& page, const std::string& path, const std::string& stem) {
  rapidjson::Document document;
  if (document.Parse<rapidjson::kParseIterativeFlag>(page.c_str()).HasParseError() || !document.IsObject()) {
    return {};
  }
  SetText(document, document, "@odata.id", path + '/' + stem + kNumberMark);
  SetText(document, document, "Id", stem + kNumberMark);
  SetText(document, document, "Created", {kTimeMark});
  if (document.HasMember("Created")) {
    MarkSequenceNumber(document);
  } else {
    SetText(document, document, "Name", TextOf(document, "Name") + ' ' + kNumberMark);
  }
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  document.Accept(writer);
  return buffer.GetString();
}

void ReplaceAll(std::string& text, std::string_view mark, const std::string& replacement) {
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + replacement.size())) {
    text.replace(at, mark.size(), replacement);
  }
}

}  // namespace

SyntheticCollection::SyntheticCollection(std::string_view path, const std::vector<std::string>& own, std::size_t count)
    : path_(path), own_(own.begin(), own.begin() + static_cast<std::ptrdiff_t>(std::min(own.size(), count))) {
  for (const std::string& page : own_) {
    const auto ownPath = JsonText::String(JsonText::Member(page, "@odata.id").value_or(""));
    ownPaths_.emplace_back(ownPath.value_or(""));
    const auto id = JsonText::String(JsonText::Member(page, "Id").value_or("")).value_or("");
    const bool numbered = id.find_first_not_of("0123456789") == std::string_view::npos;
    const std::string stem = numbered ? std::string() : std::string(id) + '_';
    std::string marked = Mark(page, path_, stem);
    if (!marked.empty()) {
      templates_.push_back({std::move(marked), stem});
    }
  }
  count_ = templates_.empty() ? own_.size() : count;
}

std::string SyntheticCollection::Page(std::size_t index) const {
  if (index < own_.size()) {
    return own_[index];
  }
  std::string page = templates_[index % templates_.size()].page;
  // The writer has turned the marks into escapes.
  ReplaceAll(page, "\\u0001", std::to_string(index + 1));
  ReplaceAll(page, "\\u0002", MadeTime(static_cast<double>(index)) + 'Z');
  return page;
}

std::string SyntheticCollection::Path(std::size_t index) const {
  if (index < own_.size()) {
    return ownPaths_[index];
  }
  return path_ + '/' + templates_[index % templates_.size()].stem + std::to_string(index + 1);
}

std::optional<std::string> SyntheticCollection::Find(std::string_view path) const {
  const auto own = std::find(ownPaths_.begin(), ownPaths_.end(), path);
  if (own != ownPaths_.end()) {
    return own_[static_cast<std::size_t>(own - ownPaths_.begin())];
  }
  const std::size_t digits = path.find_last_not_of("0123456789") + 1;
  std::size_t number = 0;
  std::from_chars(path.data() + digits, path.data() + path.size(), number);
  const bool inside = number > own_.size() && number <= count_ && Path(number - 1) == path;
  return inside ? std::optional(Page(number - 1)) : std::nullopt;
}

}  // namespace Kelvar::Simulator
