#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "simulator/machine/IdentityWords.h"

namespace Kelvar::Simulator {

// What a fleet shares holds marks where its machines differ: ${path} for a fact, and marks of Mark() for words.

/// The text with a mark for each serial number, asset tag, UUID, MAC address and host name in it.
std::string Mark(std::string_view text, const IdentityWords& words);

/// The same within the strings of a JSON text, paths left out.
std::string MarkJson(std::string_view json, const IdentityWords& words);

/// A word as the machine with this number has it: of the same kind, and no other machine's.
std::string Vary(Identity kind, std::string_view word, std::size_t machine);

/// Puts what one machine says in place of all marks.
class FleetIdentity {
 public:
  using FactTexts = std::map<std::string, std::string, std::less<>>;

  FleetIdentity(std::size_t machine, std::shared_ptr<const FactTexts> facts)
      : machine_(machine), facts_(std::move(facts)) {}

  std::string operator()(std::string_view text) const;

 private:
  std::size_t machine_;
  std::shared_ptr<const FactTexts> facts_;
};

}  // namespace Kelvar::Simulator
