#include "support/SmallStack.h"

#include <stdexcept>

#include <pthread.h>

namespace Kelvar::Test {

void OnSmallStack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  pthread_t thread{};
  const auto run = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  const int failure = pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work));
  pthread_attr_destroy(&attributes);
  if (failure != 0) {
    throw std::runtime_error("no thread");
  }
  pthread_join(thread, nullptr);
}

}  // namespace Kelvar::Test
