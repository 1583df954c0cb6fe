// The system calls of this program, also those of the libraries that it loads, on their way to the C library.

#include <cerrno>

#include <dlfcn.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include "torture/FailPoints.h"

using Kelvar::Test::FailKind;
using Kelvar::Test::MustFail;

namespace {

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool Fails(int error) {
  if (!MustFail(FailKind::SocketCall)) {
    return false;
  }
  errno = error;
  return true;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  static auto* const real = Real<int(int, int, int)>("socket");
  return Fails(EMFILE) ? -1 : real(domain, type, protocol);
}

int connect(int handle, const sockaddr* address, socklen_t size) {
  static auto* const real = Real<int(int, const sockaddr*, socklen_t)>("connect");
  return Fails(ENETUNREACH) ? -1 : real(handle, address, size);
}

ssize_t send(int handle, const void* bytes, std::size_t size, int flags) {
  static auto* const real = Real<ssize_t(int, const void*, std::size_t, int)>("send");
  return Fails(ECONNRESET) ? -1 : real(handle, bytes, size, flags);
}

ssize_t recv(int handle, void* bytes, std::size_t size, int flags) {
  static auto* const real = Real<ssize_t(int, void*, std::size_t, int)>("recv");
  return Fails(ECONNRESET) ? -1 : real(handle, bytes, size, flags);
}

int poll(pollfd* entries, nfds_t count, int timeout) {
  static auto* const real = Real<int(pollfd*, nfds_t, int)>("poll");
  return Fails(ENOMEM) ? -1 : real(entries, count, timeout);
}

int setsockopt(int handle, int level, int name, const void* value, socklen_t size) noexcept {
  static auto* const real = Real<int(int, int, int, const void*, socklen_t)>("setsockopt");
  return Fails(ENOBUFS) ? -1 : real(handle, level, name, value, size);
}

int getsockopt(int handle, int level, int name, void* value, socklen_t* size) noexcept {
  static auto* const real = Real<int(int, int, int, void*, socklen_t*)>("getsockopt");
  return Fails(ENOBUFS) ? -1 : real(handle, level, name, value, size);
}

int getsockname(int handle, sockaddr* address, socklen_t* size) noexcept {
  static auto* const real = Real<int(int, sockaddr*, socklen_t*)>("getsockname");
  return Fails(ENOBUFS) ? -1 : real(handle, address, size);
}

int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found) {
  static auto* const real = Real<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
  return Fails(EIO) ? EAI_SYSTEM : real(host, service, hints, found);
}

}  // extern "C"
#pragma GCC visibility pop
