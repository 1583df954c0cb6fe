// Product Info Area of a FRU device: the fields of any bytes, and the whole read over a service processor that answers
// with any bytes.

#include <kelvar/Log.h>

#include "common/text/FixedText.h"
#include "fuzz/Check.h"
#include "fuzz/StreamIpmi.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareSysVPDViaFRU.h"

using namespace Kelvar;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  const std::span<const u8> input(data, size);

  for (std::size_t position = 0; position < size;) {
    const std::size_t before = position;
    const FRUFieldText field = DecodeFRUField(input, position);
    FUZZ_CHECK(position > before && position <= size);
    FUZZ_CHECK(field.View().size() <= FRUFieldText::kLongest);
  }

  Fuzz::StreamIpmi client(input);
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  const int status = NodeFirmwareSysVPDViaFRU().GetSystemVPD(client, vpd);
  FUZZ_CHECK(status == 0 || (status == 1 && vpd.MachineType[0] == 0 && vpd.SerialNumber[0] == 0));
  FUZZ_CHECK(Text::FixedView(vpd.MachineType).size() < sizeof vpd.MachineType);
  FUZZ_CHECK(Text::FixedView(vpd.SerialNumber).size() < sizeof vpd.SerialNumber);
  return 0;
}
