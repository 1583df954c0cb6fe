#include <kelvar/ConnectionOptions.h>

#include <utility>

#include "common/text/Secret.h"

namespace Kelvar {

namespace {

thread_local const ConnectionOptionsScope* innermostScope = nullptr;

}  // namespace

ConnectionOptionsScope::ConnectionOptionsScope(const ConnectionOptions& options)
    : options_(options), outer_(std::exchange(innermostScope, this)) {}

ConnectionOptionsScope::~ConnectionOptionsScope() {
  innermostScope = outer_;
  Text::WipeText(options_.ipmi_kg_key);
}

const ConnectionOptions& ConnectionOptionsScope::Current() noexcept {
  static const ConnectionOptions defaults;
  return innermostScope != nullptr ? innermostScope->options_ : defaults;
}

}  // namespace Kelvar
