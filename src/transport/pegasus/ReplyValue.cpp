#include "ReplyValue.h"

#include "ReplyRepair.h"
#include "ValueText.h"

namespace Pegasus::Detail {

namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n";

}  // namespace

void TextCollector::Start() noexcept {
  text_.clear();
  solid_ = 0;
}

void TextCollector::Append(std::string_view text, bool verbatim) {
  const std::size_t start = text_.size();
  if (verbatim) {
    text_ += text;
    RestoreControls(text_, start);
    solid_ = text_.size();
    return;
  }
  if (text_.empty()) {
    text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  }
  text_ += text;
  RestoreControls(text_, start);
  const std::size_t last = std::string_view(text_).substr(start).find_last_not_of(kWhiteSpace);
  if (last != std::string_view::npos) {
    solid_ = start + last + 1;
  }
}

std::string_view TextCollector::Finish() noexcept {
  return std::string_view(text_).substr(0, solid_);
}

void ValueDraft::Start(std::string_view newName, CIMType newType, bool array) {
  name = newName;
  type = newType;
  isArray = array;
  isNull = true;
  stored.clear();
}

bool ValueDraft::Set(std::string_view text) {
  if (text.empty() && !IsTextType(type)) {
    SetNullElement();
    return true;
  }
  if (!isArray) {
    stored.clear();
    isNull = false;
    return AppendStored(type, text, stored);
  }
  element_.clear();
  if (!AppendStored(type, text, element_)) {
    return false;
  }
  AppendElement(element_, stored);
  return true;
}

void ValueDraft::SetNullElement() {
  if (isArray) {
    AppendElement(NullElement(type), stored);
  }
}

CIMValue ValueDraft::Value() const {
  return {String(std::string_view(stored)).Shared(), type, isArray, isNull};
}

}  // namespace Pegasus::Detail
