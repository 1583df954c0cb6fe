#include <kelvar/RestClient.h>

namespace Rest {

RestClientInterface::~RestClientInterface() = default;

int RestClientInterface::CheckResponse(const RestResponse& /*response*/) {
  return 0;
}

}  // namespace Rest
