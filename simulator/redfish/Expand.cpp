#include "simulator/redfish/Expand.h"

#include <charconv>
#include <vector>

#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

/// One walk through a page that copies it and replaces references.
class Expansion {
 public:
  Expansion(std::string_view page, const ExpandQuery& query, const Resolver& resolve)
      : page_(page), query_(query), resolve_(resolve) {}

  std::string Run() {
    while (position_ < page_.size()) {
      switch (page_[position_]) {
        case '"':
          CopyString();
          break;
        case '{':
          OpenObject();
          break;
        case '[':
          Open();
          break;
        case '}':
        case ']':
          Close();
          break;
        default:
          CopyPunctuation();
      }
    }
    return std::move(expanded_);
  }

 private:
  void Copy(std::size_t end) {
    expanded_.append(page_.substr(position_, end - position_));
    position_ = end;
  }

  void CopyString() {
    const std::size_t end = JsonText::SkipString(page_, position_);
    lastString_ = page_.substr(position_, end - position_);
    Copy(end);
  }

  void CopyPunctuation() {
    if (page_[position_] == ':') {
      key_ = lastString_;
    } else if (page_[position_] == ',') {
      key_ = {};
    }
    Copy(position_ + 1);
  }

  bool InLinks() const {
    return (!inLinks_.empty() && inLinks_.back()) || key_ == "\"Links\"" || key_ == "\"RelatedItem\"";
  }

  void Open() {
    inLinks_.push_back(InLinks());
    key_ = {};
    Copy(position_ + 1);
  }

  void Close() {
    if (!inLinks_.empty()) {
      inLinks_.pop_back();
    }
    Copy(position_ + 1);
  }

  void OpenObject() {
    const auto reference = inLinks_.empty() ? std::nullopt : JsonText::Reference(page_, position_);
    const bool wanted = InLinks() ? query_.links : query_.subordinates;
    auto target = reference && wanted ? resolve_(*reference) : std::nullopt;
    if (!target) {
      Open();
      return;
    }
    if (query_.levels > 1) {
      ExpandQuery deeper = query_;
      --deeper.levels;
      target = Expansion(*target, deeper, resolve_).Run();
    }
    expanded_ += *target;
    position_ = JsonText::SkipValue(page_, position_);
  }

  std::string_view page_;
  const ExpandQuery& query_;
  const Resolver& resolve_;
  std::size_t position_ = 0;
  std::string_view lastString_;
  std::string_view key_;
  std::vector<bool> inLinks_;
  std::string expanded_;
};

}  // namespace

std::optional<ExpandQuery> ParseExpand(std::string_view value, unsigned maxLevels) {
  constexpr std::string_view kOpening = "($levels=";
  if (value.empty() || std::string_view(".*~").find(value.front()) == std::string_view::npos) {
    return std::nullopt;
  }
  ExpandQuery query;
  query.links = value.front() != '.';
  query.subordinates = value.front() != '~';
  value.remove_prefix(1);
  if (value.empty()) {
    return query;
  }
  if (!value.starts_with(kOpening) || !value.ends_with(')')) {
    return std::nullopt;
  }
  const std::string_view digits = value.substr(kOpening.size(), value.size() - kOpening.size() - 1);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), query.levels);
  const bool read = error == std::errc() && end == digits.data() + digits.size();
  return read && query.levels >= 1 && query.levels <= maxLevels ? std::optional(query) : std::nullopt;
}

std::string Expand(std::string_view page, const ExpandQuery& query, const Resolver& resolve) {
  return Expansion(page, query, resolve).Run();
}

}  // namespace Kelvar::Simulator
