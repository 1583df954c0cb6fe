#include <kelvar/ConnectionOptions.h>

#include <utility>

#include "common/diagnostics/LoginGuard.h"
#include "common/text/Secret.h"

namespace Kelvar {

namespace {

thread_local const ConnectionOptionsScope* innermostOptions = nullptr;

}  // namespace

ConnectionOptionsScope::ConnectionOptionsScope(const ConnectionOptions& options)
    : options_(options),
      guard_(options.stop_after_refused_login ? std::make_shared<LoginGuard>() : nullptr),
      outer_(std::exchange(innermostOptions, this)) {}

ConnectionOptionsScope::ConnectionOptionsScope(const KeptConnectionOptions& keptOptions)
    : options_(keptOptions.options), guard_(keptOptions.guard), outer_(std::exchange(innermostOptions, this)) {}

ConnectionOptionsScope::~ConnectionOptionsScope() {
  innermostOptions = outer_;
  Text::WipeText(options_.ipmi_kg_key);
}

const ConnectionOptions& ConnectionOptionsScope::Current() noexcept {
  static const ConnectionOptions kDefaults;
  return innermostOptions != nullptr ? innermostOptions->options_ : kDefaults;
}

KeptConnectionOptions KeptConnectionOptions::Current() {
  KeptConnectionOptions keptOptions{ConnectionOptionsScope::Current(), CurrentGuard()};
  Text::WipeText(keptOptions.options.ipmi_kg_key);  // no use to who keeps them
  return keptOptions;
}

std::shared_ptr<LoginGuard> KeptConnectionOptions::CurrentGuard() noexcept {
  return innermostOptions != nullptr ? innermostOptions->guard_ : nullptr;
}

}  // namespace Kelvar
