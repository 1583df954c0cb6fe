#include "transport/ipmi/CipherSuite.h"

#include <iterator>

#include "common/text/ByteReader.h"

namespace Kelvar::Ipmi {

std::vector<const CipherSuite*> SuitesFor(std::size_t number) {
  for (const CipherSuite* suite : kCipherSuites) {
    if (number == suite->id) {
      return {suite};
    }
  }
  return {std::begin(kCipherSuites), std::end(kCipherSuites)};
}

std::vector<u8> DecodeSuiteRecords(ByteView records) {
  constexpr u8 kStandard = 0xC0;
  constexpr u8 kOem = 0xC1;
  constexpr u8 kAlgorithmBits = 0xC0;  // algorithm bytes have the tags 0, 1 and 2 in them, starts of records 3
  std::vector<u8> suites;
  Text::ByteReader reader(records);
  while (reader.Remaining() > 0) {
    const u8 start = reader.U8();
    if (start != kStandard && start != kOem) {
      break;
    }
    const u8 id = reader.U8();
    reader.Skip(start == kOem ? 3 : 0);
    if (!reader.Ok()) {
      break;
    }
    if (start == kStandard) {
      suites.push_back(id);
    }
    while (reader.Remaining() > 0 && (records[reader.Position()] & kAlgorithmBits) != kAlgorithmBits) {
      reader.Skip(1);
    }
  }
  return suites;
}

}  // namespace Kelvar::Ipmi
