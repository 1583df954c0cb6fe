#include "PathText.h"

#include <strings.h>

#include <algorithm>

namespace Pegasus::Detail {

namespace {

void AppendQuoted(std::string_view value, std::string& text) {
  text += '"';
  for (const char c : value) {
    if (c == '"' || c == '\\') {
      text += '\\';
    }
    text += c;
  }
  text += '"';
}

}  // namespace

void PathText::AddNamespacePart(std::string_view part) {
  if (!nameSpace_.empty()) {
    nameSpace_ += '/';
  }
  nameSpace_ += part;
}

void PathText::AddKey(std::string_view valueType, std::string_view value) {
  Key key;
  key.name = keyName;
  if (valueType == "numeric" || valueType == "boolean") {
    key.value = value;
  } else {
    AppendQuoted(value, key.value);
  }
  keys_.push_back(std::move(key));
}

void PathText::Clear() noexcept {
  host.clear();
  className.clear();
  nameSpace_.clear();
  keys_.clear();
}

void PathText::AppendTo(std::string& text) {
  if (!host.empty()) {
    text.append("//").append(host).append("/");
  }
  if (!nameSpace_.empty()) {
    text.append(nameSpace_).append(":");
  }
  AppendModelPathTo(text);
}

void PathText::AppendModelPathTo(std::string& text) {
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
