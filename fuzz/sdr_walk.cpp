// Sensor data records: one reply of any bytes, and the walk over a service processor that answers with any bytes.

#include <kelvar/Log.h>

#include "fuzz/Check.h"
#include "fuzz/StreamIpmi.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareIPMIFRUFunc.h"

using namespace Kelvar;

namespace {

void CheckText(const std::string& text) {
  FUZZ_CHECK(text.size() <= 300 && text.find('\0') == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  const std::span<const u8> input(data, size);

  SDRHeader header;
  FUZZ_CHECK(DecodeSDRHeader(input, header) == (size >= (size > 5 && input[5] == 0x11 ? 17U : 6U)));
  std::string text;
  FUZZ_CHECK(DecodeSDRString(input, text) == (size >= 3));
  CheckText(text);

  Fuzz::StreamIpmi client(input);
  std::vector<IPMIFRULocator> locators;
  const int status = IPMIRequestFRULocator().IPMIGetSDREntry(locators, client);
  FUZZ_CHECK(status == IPMIRequestFRULocator::StatusOK || status == IPMIRequestFRULocator::StatusFail);
  FUZZ_CHECK(locators.size() * (17 + 2 + 3 + 2) <= size);
  for (const IPMIFRULocator& locator : locators) {
    CheckText(locator.IDString);
  }
  return 0;
}
