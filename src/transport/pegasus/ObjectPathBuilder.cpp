#include "transport/pegasus/ObjectPathBuilder.h"

#include <strings.h>

#include <algorithm>

namespace Pegasus::Detail {

namespace {

bool IsQuoted(char c) noexcept {
  return c == '"' || c == '\\';
}

void AppendQuoted(std::string_view value, std::string& text) {
  text += '"';
  for (const char c : value) {
    if (IsQuoted(c)) {
      text += '\\';
    }
    text += c;
  }
  text += '"';
}

}  // namespace

void ObjectPathBuilder::AddNamespacePart(std::string_view part) {
  if (!nameSpace_.empty()) {
    nameSpace_ += '/';
  }
  nameSpace_ += part;
}

bool ObjectPathBuilder::AddKey(std::string_view valueType, std::string_view value) {
  const bool plain = valueType == "numeric" || valueType == "boolean";
  const auto quoted = plain ? 0 : 2 + std::count_if(value.begin(), value.end(), IsQuoted);
  const std::size_t size = keyName.size() + value.size() + static_cast<std::size_t>(quoted) + 2;
  if (size > kMaxBytes - keyBytes_) {
    return false;
  }
  keyBytes_ += size;
  Key& key = keys_.emplace_back();
  key.name = keyName;
  if (plain) {
    key.value = value;
  } else {
    AppendQuoted(value, key.value);
  }
  return true;
}

void ObjectPathBuilder::Clear() noexcept {
  host.clear();
  className.clear();
  nameSpace_.clear();
  keys_.clear();
  keyBytes_ = 0;
}

void ObjectPathBuilder::AppendTo(std::string& text) {
  if (!host.empty()) {
    text.append("//").append(host).append("/");
  }
  if (!nameSpace_.empty()) {
    text.append(nameSpace_).append(":");
  }
  AppendModelPathTo(text);
}

void ObjectPathBuilder::AppendModelPathTo(std::string& text) {
  if (keys_.size() > 1) {
    std::stable_sort(keys_.begin(), keys_.end(),
                     [](const Key& a, const Key& b) { return strcasecmp(a.name.c_str(), b.name.c_str()) < 0; });
  }
  text += className;
  char before = '.';
  for (const Key& key : keys_) {
    text.append(1, before).append(key.name).append("=").append(key.value);
    before = ',';
  }
}

}  // namespace Pegasus::Detail
