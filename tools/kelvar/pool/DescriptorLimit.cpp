#include "tools/kelvar/pool/DescriptorLimit.h"

#include <algorithm>

#include <sys/resource.h>

namespace Kelvar::Tool {

std::uint64_t RaiseDescriptorLimit(std::uint64_t wanted) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t before = limit.rlim_cur;
  limit.rlim_cur = std::max<rlim_t>(before, std::min<rlim_t>(wanted, limit.rlim_max));
  return setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before;
}

}  // namespace Kelvar::Tool
