#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Pegasus::Detail {

/// Gathers the parts of an object path and writes it as text.
class ObjectPathBuilder {
 public:
  static constexpr std::size_t kMaxBytes = std::size_t{1024} * 1024;

  std::string host;
  std::string className;
  /// Of the key that is being read.
  std::string keyName;

  void AddNamespacePart(std::string_view part);
  /// Adds `keyName`; `valueType` is that of KEYVALUE, or "reference". False, and nothing added, when the path would
  /// be longer than `kMaxBytes`.
  bool AddKey(std::string_view valueType, std::string_view value);
  std::size_t KeyCount() const noexcept { return keys_.size(); }
  void Clear() noexcept;

  /// [//host/][namespace:]Class[.Key=value,...]
  void AppendTo(std::string& text);
  /// Class[.Key=value,...]
  void AppendModelPathTo(std::string& text);

 private:
  struct Key {
    std::string name;
    std::string value;
  };

  std::string nameSpace_;
  std::vector<Key> keys_;
  std::size_t keyBytes_ = 0;
};

}  // namespace Pegasus::Detail
