#include "flow/reader/RecordLines.h"

#include <optional>
#include <sstream>
#include <vector>

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

 private:
  std::ostream& out_;
};

void Show(std::ostream& out, const System& r) {
  Line(out, "system")("id", r.id)("kind", r.kind)("name", r.name)("manufacturer", r.manufacturer)("model", r.model)(
      "part_number", r.part_number)("sku", r.sku)("serial_number", r.serial_number)("asset_tag", r.asset_tag)(
      "uuid", r.uuid)("host_name", r.host_name)("bios_version", r.bios_version)("firmware_version", r.firmware_version)(
      "power_state", r.power_state)("state", r.state)("health", r.health)("health_text", r.health_text)(
      "last_reset_time", r.last_reset_time);
}

void Show(std::ostream& out, const Firmware& r) {
  Line(out, "firmware")("id", r.id)("name", r.name)("kind", r.kind)("version", r.version)("date", r.date)(
      "bank", r.bank)("updateable", r.updateable)("state", r.state)("component", r.component);
}

void Show(std::ostream& out, const Component& r) {
  Line(out, "component")("id", r.id)("parent", r.parent)("kind", r.kind)("name", r.name)("location", r.location)(
      "manufacturer", r.manufacturer)("model", r.model)("part_number", r.part_number)(
      "spare_part_number", r.spare_part_number)("serial_number", r.serial_number)("asset_tag", r.asset_tag)(
      "firmware_version", r.firmware_version)("state", r.state)("health", r.health)("health_text", r.health_text)(
      "capacity_bytes", r.capacity_bytes)("speed_mhz", r.speed_mhz)("speed_mbps", r.speed_mbps)("cores", r.cores)(
      "threads", r.threads)("media", r.media)("protocol", r.protocol)("life_left", r.predicted_life_left_percent)(
      "power_capacity_watts", r.power_capacity_watts)("mac_address", r.mac_address);
}

void Show(std::ostream& out, const Sensor& r) {
  Line(out, "sensor")("id", r.id)("name", r.name)("kind", r.kind)("reading", r.reading)("unit", r.unit)(
      "lower_fatal", r.lower_fatal)("lower_critical", r.lower_critical)("lower_caution", r.lower_caution)(
      "upper_caution", r.upper_caution)("upper_critical", r.upper_critical)("upper_fatal", r.upper_fatal)(
      "range_min", r.range_min)("range_max", r.range_max)("state", r.state)("health", r.health)("context", r.context)(
      "parent", r.parent)("states", r.states);
}

void Show(std::ostream& out, const Led& r) {
  Line(out, "led")("id", r.id)("name", r.name)("parent", r.parent)("purpose", r.purpose)("state", r.state);
}

void Show(std::ostream& out, const LogEntry& r) {
  Line(out, "log_entry")("log", r.log)("id", r.id)("created", r.created)("severity", r.severity)("message", r.message)(
      "message_id", r.message_id)("arguments", r.arguments)("source", r.source)("resolved", r.resolved);
}

void Show(std::ostream& out, const NetworkInterface& r) {
  Line line(out, "interface");
  line("owner", r.owner)("id", r.id)("name", r.name)("mac_address", r.mac_address)("link", r.link)(
      "speed_mbps", r.speed_mbps)("vlan", r.vlan)("host_name", r.host_name)("fqdn", r.fqdn)("dhcp", r.dhcp);
  for (const NetworkAddress& a : r.addresses) {
    line("address", a.address)("prefix_length", a.prefix_length)("family", a.family)("origin", a.origin)("gateway",
                                                                                                         a.gateway);
  }
  line("name_servers", r.name_servers);
}

void Show(std::ostream& out, const NetworkService& r) {
  Line(out, "service")("name", r.name)("enabled", r.enabled)("port", r.port);
}

template <typename Record>
void ShowAll(std::ostream& out, const std::vector<Record>& records) {
  for (const Record& record : records) {
    Show(out, record);
  }
}

}  // namespace

std::string RecordLines(const Inventory& inventory) {
  std::ostringstream out;
  for (const Family family : kAllFamilies) {
    const FamilyResult& result = inventory.ResultOf(family);
    out << NameOf(family) << ": " << NameOf(result.status) << '\n';
  }
  ShowAll(out, inventory.systems);
  ShowAll(out, inventory.firmware);
  ShowAll(out, inventory.components);
  ShowAll(out, inventory.sensors);
  ShowAll(out, inventory.leds);
  ShowAll(out, inventory.log_entries);
  ShowAll(out, inventory.network_interfaces);
  ShowAll(out, inventory.network_services);
  return out.str();
}

}  // namespace Kelvar::Test
