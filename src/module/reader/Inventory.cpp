#include <kelvar/Inventory.h>

namespace Kelvar::Model {

namespace {

constexpr std::array<const char*, kFamilyCount> kFamilies = {"system", "firmware", "components", "sensors",
                                                             "leds",   "logs",     "network"};
constexpr std::array<const char*, 4> kHealths = {"unknown", "ok", "warning", "critical"};
constexpr std::array<const char*, 5> kStatuses = {"not_asked", "complete", "partial", "absent", "failed"};

template <typename Value, std::size_t Count>
const char* NameIn(const std::array<const char*, Count>& names, Value value) noexcept {
  const auto index = static_cast<std::size_t>(value);
  return index < Count ? names[index] : names[0];
}

}  // namespace

const char* NameOf(Family family) noexcept {
  return NameIn(kFamilies, family);
}

const char* NameOf(Health health) noexcept {
  return NameIn(kHealths, health);
}

const char* NameOf(FamilyStatus status) noexcept {
  return NameIn(kStatuses, status);
}

}  // namespace Kelvar::Model
