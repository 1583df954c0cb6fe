#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "simulator/machine/IdentityIndex.h"

namespace Kelvar::Simulator {

/// Masks what tells the identity of a machine in JSON pages, and what is a secret: values of members with a telling
/// name or of a telling form, and the same texts wherever else they are. One text always gets the same mask.
class Mask {
 public:
  /// Learns the texts of a page; all pages before the first is masked.
  void Learn(const std::string& page);

  /// The page, masked and written anew; numbers stay as they are written. Empty when it is not JSON.
  std::string Apply(const std::string& page);

  /// A path, as references to it are masked.
  std::string ApplyToPath(std::string_view path);

  /// The value of a member that tells an identity.
  std::string ApplyToValue(Identity kind, std::string_view value);

  /// "12 serial numbers, 1 UUID, ...".
  std::string Summary() const;

 private:
  std::string ApplyToText(std::string_view text);

  IdentityIndex words_;
  std::array<std::map<std::string, std::size_t, std::less<>>, kIdentityKinds> numbers_;
};

}  // namespace Kelvar::Simulator
