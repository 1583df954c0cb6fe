#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace Kelvar {

template <typename Signature>
class FunctionRef;

/// Something that can be called, for as long as the call lasts that it is an argument of. Unlike std::function it needs
/// no memory, so that making one cannot fail where no exception clause is in force yet.
template <typename Result, typename... Arguments>
class FunctionRef<Result(Arguments...)> {
 public:
  FunctionRef() noexcept = default;

  template <typename Function>
  requires(!std::is_same_v<std::remove_cvref_t<Function>, FunctionRef>) FunctionRef(const Function& function)
  noexcept  // NOLINT(google-explicit-constructor): stands for any callable
      : object_(std::addressof(function)), call_([](const void* object, Arguments... arguments) -> Result {
          return (*static_cast<const Function*>(object))(std::forward<Arguments>(arguments)...);
        }) {}

  explicit operator bool() const noexcept { return call_ != nullptr; }
  Result operator()(Arguments... arguments) const { return call_(object_, std::forward<Arguments>(arguments)...); }

 private:
  const void* object_ = nullptr;
  Result (*call_)(const void* object, Arguments... arguments) = nullptr;
};

}  // namespace Kelvar
