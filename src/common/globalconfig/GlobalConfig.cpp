#include <kelvar/GlobalConfig.h>

#include <map>
#include <mutex>

namespace Kelvar {

namespace {

struct Settings {
  std::mutex mutex;
  std::map<std::string, int> values;
};

Settings& TheSettings() {
  static auto* settings = new Settings();
  return *settings;
}

}  // namespace

int GetGlobalConfigValue(const std::string& name, int defaultValue) {
  Settings& settings = TheSettings();
  const std::lock_guard<std::mutex> lock(settings.mutex);
  const auto found = settings.values.find(name);
  return found != settings.values.end() ? found->second : defaultValue;
}

void SetGlobalConfigValue(const std::string& name, int value) {
  Settings& settings = TheSettings();
  const std::lock_guard<std::mutex> lock(settings.mutex);
  settings.values[name] = value;
}

}  // namespace Kelvar
