// Parameters of LAN channels, and the controller's own data.

#include "fuzz/Check.h"
#include "module/reader/ipmi/CipherSuites.h"
#include "module/reader/ipmi/ControllerData.h"
#include "module/reader/ipmi/Dcmi.h"
#include "module/reader/ipmi/LanParameters.h"

using namespace Kelvar;
using namespace Kelvar::Reader::Ipmi;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const u8> input(data, size);
  FUZZ_CHECK(Ipv4Text(input).size() <= 15 && Ipv6Text(input).size() < 46);
  FUZZ_CHECK(MacText(input).empty() || MacText(input).size() == 17);
  FUZZ_CHECK(PrefixLengthOf(input).value_or(1) - 1 < 32);
  FUZZ_CHECK(VlanOf(input).value_or(1) - 1 < 0x0FFE);
  for (const bool dynamic : {false, true}) {
    if (const auto address = ParseIpv6Address(input, dynamic)) {
      FUZZ_CHECK(!address->address.empty() && address->prefix_length.value_or(1) - 1 < 128);
    }
  }
  FUZZ_CHECK(GuidText(input).empty() || GuidText(input).size() == 36);
  FUZZ_CHECK(ParseDeviceId(input).has_value() == (size >= 11));
  FUZZ_CHECK(ParseChassisStatus(input).has_value() == (size >= 3));
  FUZZ_CHECK(ParseCipherSuites(input).size() <= size / 2);
  FUZZ_CHECK(ParseSelfTest(input).text.size() < 300);
  FUZZ_CHECK(!ParseDcmiPower(input) || size >= 17);
  SystemInfoText text;
  const std::size_t half = size / 2;
  if (text.AddBlock(input.first(half)) && text.AddBlock(input.subspan(half))) {
    FUZZ_CHECK(text.Decode().size() <= 3UL * 255);
  }
  return 0;
}
