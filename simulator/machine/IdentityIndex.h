#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

namespace Kelvar::Simulator {

/// What a text that belongs to one machine alone is.
enum class Identity { Serial, AssetTag, Uuid, Mac, HostName, Address, User, Secret };

constexpr std::size_t kIdentityKinds = 8;

/// Whose identity the value of a JSON member of this name is, if any: "SerialNumber", "UUID", "MACAddress".
std::optional<Identity> IdentityOfKey(std::string_view key);

/// Whether a value says that there is none, such as "", "N/A" or "Unknown".
bool IsPlaceholder(std::string_view value);

/// The texts by which one machine is known, gathered from its data so that each is found wherever it is.
class IdentityIndex {
 public:
  /// Adds the values of members with a telling name, anywhere within.
  void Collect(const rapidjson::Value& json);

  /// Adds one; what is too short to be looked for is passed over.
  void Add(Identity kind, std::string_view word);

  /// The text with each word, the longest first and whatever its case, replaced by what `replacement` gives. Numbers
  /// and identifiers are found within other words and in paths too; names, which may be everyday words, only as whole
  /// words outside of paths.
  using Replacement = std::function<std::string(Identity kind, std::string_view word)>;
  std::string Replace(std::string_view text, const Replacement& replacement) const;

 private:
  using Words = std::map<std::string, Identity, std::less<>>;  // in lower case
  Words::const_iterator LongestAt(std::string_view text) const;

  Words words_;
  std::size_t longest_ = 0;
};

}  // namespace Kelvar::Simulator
