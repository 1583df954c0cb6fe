#include "common/process/Descriptors.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Kelvar {

int AboveStandardStreams(int descriptor) noexcept {
  if (descriptor < 0 || descriptor > STDERR_FILENO) {
    return descriptor;
  }
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int reason = errno;
  close(descriptor);
  errno = reason;
  return moved;
}

StandardStreamsTaken::StandardStreamsTaken() noexcept {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    if (fcntl(number, F_GETFD) >= 0 || errno != EBADF) {
      continue;
    }
    const int placeholder = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (placeholder > STDERR_FILENO) {  // somebody else was faster
      close(placeholder);
    } else if (placeholder >= 0) {
      held_[count_++] = placeholder;
    }
  }
}

StandardStreamsTaken::~StandardStreamsTaken() {
  while (count_ > 0) {
    close(held_[--count_]);
  }
}

}  // namespace Kelvar
