// A file of the cache of sensor data records: what is taken is written again to the same bytes. The input is also
// sealed with the right start and checksum, so that the fields themselves are reached.

#include <cstdint>
#include <string>

#include "fuzz/Check.h"
#include "module/reader/ipmi/SdrCache.h"

using namespace Kelvar::Reader::Ipmi;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string key = "192.0.2.1:623 65100 700 4.19";
  const std::string input(data, data + size);
  const auto whole = DecodeCopy(key, input);
  FUZZ_CHECK(!whole || EncodeCopy(key, *whole) == input);
  const std::string sealed = SealCopy(key, input);
  const auto copy = DecodeCopy(key, sealed);
  FUZZ_CHECK(!copy || EncodeCopy(key, *copy) == sealed);
  FUZZ_CHECK(!DecodeCopy("other", sealed));
  return 0;
}
