#include "flow/reader/RecordLines.h"

#include <optional>
#include <sstream>
#include <vector>

#include "tools/kelvar/inventory/Fields.h"

namespace Kelvar::Test {

namespace {

using namespace Model;

class Line {
 public:
  explicit Line(std::ostream& out, const char* word) : out_(out) { out_ << word; }
  ~Line() { out_ << '\n'; }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  Line& operator()(const char* key, const std::string& text) {
    if (!text.empty()) {
      out_ << ' ' << key << "='" << text << '\'';
    }
    return *this;
  }
  template <typename Value>
  Line& operator()(const char* key, const std::optional<Value>& value) {
    if (value) {
      out_ << ' ' << key << '=' << *value;
    }
    return *this;
  }
  Line& operator()(const char* key, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      (*this)(key, text);
    }
    return *this;
  }
  Line& operator()(const char* /*key*/, const std::vector<NetworkAddress>& addresses) {
    for (const NetworkAddress& address : addresses) {
      Tool::VisitFields(address, *this);
    }
    return *this;
  }

 private:
  std::ostream& out_;
};

const char* WordOf(const System& /*record*/) {
  return "system";
}
const char* WordOf(const Firmware& /*record*/) {
  return "firmware";
}
const char* WordOf(const Component& /*record*/) {
  return "component";
}
const char* WordOf(const Sensor& /*record*/) {
  return "sensor";
}
const char* WordOf(const Led& /*record*/) {
  return "led";
}
const char* WordOf(const LogEntry& /*record*/) {
  return "log_entry";
}
const char* WordOf(const NetworkInterface& /*record*/) {
  return "interface";
}
const char* WordOf(const NetworkService& /*record*/) {
  return "service";
}

}  // namespace

std::string RecordLines(const Inventory& inventory) {
  std::ostringstream out;
  for (const Family family : kAllFamilies) {
    const FamilyResult& result = inventory.ResultOf(family);
    out << NameOf(family) << ": " << NameOf(result.status) << '\n';
  }
  for (const Family family : kAllFamilies) {
    Tool::VisitRecords(inventory, family, [&out](const auto& records) {
      for (const auto& record : records) {
        Tool::VisitFields(record, Line(out, WordOf(record)));
      }
    });
  }
  return out.str();
}

}  // namespace Kelvar::Test
