// The web configuration file: it is refused as declared, or what was read keeps the rules of the format.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/Check.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/serve/TargetsFile.h"
#include "tools/kelvar/serve/WebConfigFile.h"

using namespace Kelvar;
using namespace Kelvar::Tool::Serve;

namespace {

/// A file without a name.
class File {
 public:
  File() : file_(memfd_create("web", MFD_CLOEXEC)) {}
  ~File() { close(file_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  std::string With(const void* content, std::size_t size) const {
    FUZZ_CHECK(ftruncate(file_, 0) == 0 && pwrite(file_, content, size, 0) == static_cast<ssize_t>(size));
    return "/proc/self/fd/" + std::to_string(file_);
  }

 private:
  int file_;
};

bool IsPlain(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char one) { return one >= ' ' && one <= '~'; });
}

template <class Read>
void Attempt(Read read) {
  try {
    read();
  } catch (const Tool::ToolError& error) {
    FUZZ_CHECK(error.Code() == Tool::ExitCode::Usage);
    FUZZ_CHECK(std::string(error.what()).find(": line ") != std::string::npos);
  }
}

void CheckTls(const WebConfigFile::Tls& tls) {
  FUZZ_CHECK(!tls.certificate.text.empty() && !tls.key.text.empty());
  FUZZ_CHECK(tls.lowestVersion >= 12 && tls.lowestVersion <= tls.highestVersion && tls.highestVersion <= 13);
  const bool verified = tls.client == ClientCertificate::Verified || tls.client == ClientCertificate::VerifiedIfGiven;
  FUZZ_CHECK(!verified || !tls.clientCa.text.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const File kFile;
  const std::string path = kFile.With(data, size);
  Attempt([&] {
    const WebConfigFile config = ReadWebConfigFile(path);
    if (config.hasTls) {
      CheckTls(config.tls);
    }
    for (const auto& [name, value] : config.headers) {
      FUZZ_CHECK(!name.empty() && IsPlain(name) && IsPlain(value));
    }
    for (const auto& [user, hash] : config.users) {
      FUZZ_CHECK(!user.empty() && user.find(':') == std::string::npos && IsBcryptHash(hash) && IsPlain(hash));
    }
  });
  Attempt([&] {
    for (const TargetGroup& group : ReadTargetsFile(path)) {
      FUZZ_CHECK(std::all_of(group.targets.begin(), group.targets.end(), IsPlain));
    }
  });
  return 0;
}
