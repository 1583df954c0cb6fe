// Headers and trailers of CIM replies: lines of any bytes, and what they are taken for.

#include <string_view>

#include <Pegasus/Client/CIMClientException.h>

#include "fuzz/Check.h"
#include "transport/pegasus/HttpHead.h"

using Pegasus::Detail::HttpHead;

namespace {

bool IsReadable(const HttpHead& head) {
  try {
    head.Check();
    return true;
  } catch (const Pegasus::Exception& exception) {
    FUZZ_CHECK(exception.getMessage().size() != 0 || !head.cimStatusCode.empty());
    return false;
  }
}

bool HasError(const HttpHead& head) {
  try {
    head.CheckTrailers();
    return false;
  } catch (const Pegasus::CIMException& exception) {
    FUZZ_CHECK(exception.getCode() != Pegasus::CIM_ERR_SUCCESS);
    return true;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  HttpHead head;
  std::string_view input(reinterpret_cast<const char*>(data), size);
  while (!input.empty()) {
    const std::size_t end = std::min(input.find('\n'), input.size() - 1) + 1;
    head.AddLine(input.substr(0, end));
    input.remove_prefix(end);
    // Values are no longer than what they were read from, and keep no line end.
    for (const std::string* value : {&head.status, &head.cimStatusCode, &head.cimError, &head.detail}) {
      FUZZ_CHECK(value->size() <= size);
    }
    FUZZ_CHECK(head.status.find('\n') == std::string::npos && head.cimStatusCode.find('\n') == std::string::npos);
  }
  const bool error = HasError(head);
  FUZZ_CHECK(!IsReadable(head) || (head.fromHttp && head.complete && head.hasOperation && !error));
  return 0;
}
