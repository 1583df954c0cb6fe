#pragma once

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <kelvar/Inventory.h>

#include "common/json/JsonDocument.h"
#include "module/reader/redfish/Fetcher.h"

namespace Kelvar::Reader {

/// Texts of log entries that have a message id alone, out of the message registries that the service itself holds. Each
/// registry is read once; what is not found leaves its entries as they are.
class MessageTexts {
 public:
  /// `list` is the path of the service's registries; empty where it has none.
  MessageTexts(Fetcher& fetcher, std::string list) : fetcher_(fetcher), list_(std::move(list)) {}

  /// Makes no request where every entry has a text.
  void Fill(std::vector<Model::LogEntry>& entries);

 private:
  /// A registry that entries name, by its prefix in lower case and the first two numbers of its version.
  using Name = std::pair<std::string, std::string>;
  struct Registry {
    std::unordered_map<std::string, std::vector<Model::LogEntry*>> entries;  ///< by the key of their message
    std::string path;
    int fit = 0;  ///< how well the version at the path fits
  };

  void Collect(std::vector<Model::LogEntry>& entries);
  void ReadList(const std::string& path, int page);
  void TakeList(JsonValue list, int page);
  void ReadFiles(bool all);
  void TakeFile(JsonValue file);
  void ReadRegistry(const std::string& path);
  void TakeMessages(const std::string& path, JsonValue messages);

  Fetcher& fetcher_;
  const std::string list_;
  std::map<Name, Registry> registries_;
  std::vector<std::string> files_;
  std::size_t bytes_ = 0;
};

}  // namespace Kelvar::Reader
