// Addresses of targets: what is read can be written and read again to the same, an address with a password is refused,
// and no refusal repeats the password.

#include "fuzz/AddressText.h"
#include "tools/kelvar/ExitCode.h"

using namespace Kelvar;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string address = Fuzz::WithSecrets(data, size);
  try {
    const Tool::Target target = Tool::ParseTarget(address);
    FUZZ_CHECK(target.address == address && !Fuzz::Shows(address, Fuzz::kSecret));
    Fuzz::CheckTarget(target);
  } catch (const Tool::ToolError& error) {
    FUZZ_CHECK(error.Code() == Tool::ExitCode::Usage);
    FUZZ_CHECK(!Fuzz::Shows(error.what(), Fuzz::kSecret));
  }
  return 0;
}
