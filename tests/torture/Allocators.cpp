// The allocators that fail on demand. Plainly it is malloc and its sisters, which everything in the process uses.
// Sanitizers bring a malloc of their own: there it is operator new, and the hooks of libcurl and libcrypto.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include <curl/curl.h>
#include <openssl/crypto.h>

#include "torture/FailPoints.h"

using Kelvar::Test::CountBlocks;
using Kelvar::Test::FailKind;
using Kelvar::Test::MustFail;

namespace {

/// libcurl 7.88 frees the settings of a TLS session twice when their copy fails as the session is stored. On Debian
/// they are two paths, whose copies therefore never fail.
bool IsSpared(const char* text) {
  return std::strncmp(text, "/etc/ssl/", 9) == 0;
}

}  // namespace

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

namespace {

void* Allocate(std::size_t size) {
  void* block = MustFail(FailKind::Allocation) ? nullptr : std::malloc(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void* FailingMalloc(std::size_t size) {
  return MustFail(FailKind::Allocation) ? nullptr : std::malloc(size);
}

void* FailingRealloc(void* block, std::size_t size) {
  return MustFail(FailKind::Allocation) ? nullptr : std::realloc(block, size);
}

void* FailingCalloc(std::size_t count, std::size_t size) {
  return MustFail(FailKind::Allocation) ? nullptr : std::calloc(count, size);
}

char* FailingStrdup(const char* text) {
  return !IsSpared(text) && MustFail(FailKind::Allocation) ? nullptr : strdup(text);
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}

void* operator new[](std::size_t size) {
  return Allocate(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return FailingMalloc(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return FailingMalloc(size);
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete[](void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

namespace Kelvar::Test {

void HookAllocators() {
  CRYPTO_set_mem_functions([](std::size_t size, const char*, int) { return FailingMalloc(size); },
                           [](void* block, std::size_t size, const char*, int) { return FailingRealloc(block, size); },
                           [](void* block, const char*, int) { std::free(block); });
  curl_global_init_mem(CURL_GLOBAL_DEFAULT, FailingMalloc, std::free, FailingRealloc, FailingStrdup, FailingCalloc);
}

}  // namespace Kelvar::Test

#else

#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(std::size_t size);                     // NOLINT(bugprone-reserved-identifier): glibc's names
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, std::size_t size);       // NOLINT(bugprone-reserved-identifier)
void __libc_free(void* block);                             // NOLINT(bugprone-reserved-identifier)

void* malloc(std::size_t size) noexcept {
  if (MustFail(FailKind::Allocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  CountBlocks(1);
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  if (MustFail(FailKind::Allocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  CountBlocks(1);
  return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) noexcept {
  if (size != 0 && MustFail(FailKind::Allocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  CountBlocks((block == nullptr ? 1 : 0) - (size == 0 ? 1 : 0));
  return __libc_realloc(block, size);
}

void free(void* block) noexcept {
  CountBlocks(block == nullptr ? 0 : -1);
  __libc_free(block);
}

}  // extern "C"
#pragma GCC visibility pop

namespace {

char* SparingStrdup(const char* text) {
  if (!IsSpared(text)) {
    return strdup(text);
  }
  CountBlocks(1);
  const std::size_t size = std::strlen(text) + 1;
  return static_cast<char*>(std::memcpy(__libc_malloc(size), text, size));
}

}  // namespace

namespace Kelvar::Test {

void HookAllocators() {
  curl_global_init_mem(CURL_GLOBAL_DEFAULT, malloc, free, realloc, SparingStrdup, calloc);
}

}  // namespace Kelvar::Test

#endif
