#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/machine/Variables.h"
#include "simulator/redfish/SyntheticCollection.h"

namespace Kelvar::Simulator {

/// The pages of a machine: the folder mirrors the paths, so that redfish/v1/Systems/index.json is the page of
/// /redfish/v1/Systems. Pages are served byte for byte, with the machine's variables in place of ${...}. Of a
/// collection,
///
/// - members may be in a list, members.json next to index.json, each with its "@odata.id", instead of in folders;
/// - "Members": "@all" becomes references to those and to the folders, in natural order, with their count;
/// - members that the page holds as whole objects are pages of their own too.
///
/// Lists of pages with any path may be in resources/*.json beside v1, written with templates (PageTemplate.h). The
/// links of "@all/" end in a slash.
///
/// Safe to read from any thread.
class ResourceTree {
 public:
  /// Reads the folder "redfish" of a machine. Throws std::runtime_error when it has no service root, or a page names a
  /// fact that there is not.
  ResourceTree(const std::filesystem::path& folder, const Variables& variables);

  /// Lets Find() take paths in any case. To be called before serving begins, after the other changes.
  void IgnoreCase();

  /// Gives every collection whose "@odata.type" holds `kind` that many members. To be called before serving begins.
  void Grow(std::string_view kind, std::size_t count);

  /// Puts what `change` gives in place of every page. To be called before Grow.
  void Change(const std::function<std::string(const std::string& path, const std::string& page)>& change);

  /// The page of a path, or nothing.
  std::optional<std::string> Find(std::string_view path) const;

  /// Calls for every page of the files.
  void ForEach(const std::function<void(const std::string& path, const std::string& page)>& visit) const;

 private:
  struct Synthetic {
    SyntheticCollection members;
    bool inlined;
  };

  void ReadLists(const std::filesystem::path& folder, const Variables& variables);
  void ReadFolder(const std::filesystem::path& folder, const Variables& variables);
  void FillInMembers(const std::string& path, std::string& page) const;
  void AddMembers(const std::string& path, std::string_view members);
  std::optional<std::string> FindExactly(std::string_view path) const;
  std::string SyntheticPage(const std::string& path, const Synthetic& synthetic) const;

  std::map<std::string, std::string, std::less<>> pages_;
  std::map<std::string, Synthetic, std::less<>> synthetic_;
  /// Paths by what they are in lower case; empty unless case is ignored.
  std::map<std::string, std::string, std::less<>> folded_;
  mutable std::mutex mutex_;
  mutable std::map<std::string, std::string, std::less<>> syntheticPages_;
};

}  // namespace Kelvar::Simulator
