#include "ReplyValue.h"

#include "ValueText.h"

namespace Pegasus::Detail {

namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n";
constexpr std::string_view kLineBreaks = "\r\n";

bool IsLayout(std::string_view whiteSpace) noexcept {
  return whiteSpace.find_first_of(kLineBreaks) != std::string_view::npos;
}

}  // namespace

void TextCollector::Start() noexcept {
  text_.clear();
  start_ = 0;
  end_ = 0;
}

void TextCollector::Append(std::string_view text, bool verbatim) {
  const std::size_t first = verbatim ? 0 : text.find_first_not_of(kWhiteSpace);
  const std::size_t last = verbatim ? text.size() - 1 : text.find_last_not_of(kWhiteSpace);
  if (!text.empty() && first != std::string_view::npos) {
    start_ = end_ == 0 ? text_.size() + first : start_;
    end_ = text_.size() + last + 1;
  }
  text_ += text;
}

std::string_view TextCollector::Trimmed() const noexcept {
  return std::string_view(text_).substr(start_, end_ - start_);
}

std::string_view TextCollector::Padded() const noexcept {
  const std::string_view all = text_;
  const std::size_t start = IsLayout(all.substr(0, start_)) ? start_ : 0;
  const std::size_t end = IsLayout(all.substr(end_)) ? end_ : all.size();
  return all.substr(start, std::max(start, end) - start);
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
