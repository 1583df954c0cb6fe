// The configuration file: it is refused as declared, or what was read can be written as a file that is read to the
// same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fuzz/Check.h"
#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/ExitCode.h"

using namespace Kelvar;
using Tool::Config;

namespace {

/// A file without a name, which only its owner may use.
class PrivateFile {
 public:
  PrivateFile() : file_(memfd_create("config", MFD_CLOEXEC)) { FUZZ_CHECK(fchmod(file_, S_IRUSR | S_IWUSR) == 0); }
  ~PrivateFile() { close(file_); }
  PrivateFile(const PrivateFile&) = delete;
  PrivateFile& operator=(const PrivateFile&) = delete;

  Config Read(const void* content, std::size_t size) const {
    FUZZ_CHECK(ftruncate(file_, 0) == 0 && pwrite(file_, content, size, 0) == static_cast<ssize_t>(size));
    return Tool::ReadConfig("/proc/self/fd/" + std::to_string(file_));
  }

 private:
  int file_;
};

std::string Quoted(const std::string& text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string quoted = "\"";
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte < ' ' || byte == 0x7F || letter == '"' || letter == '\\') {
      quoted.append("\\u00").append({kDigits[byte >> 4], kDigits[byte & 15]});
    } else {
      quoted.push_back(letter);
    }
  }
  return quoted + '"';
}

std::string Line(const char* key, const std::string& text) {
  return text.empty() ? "" : std::string(key) + " = " + Quoted(text) + "\n";
}

std::string Line(const char* key, const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) {
    list += Quoted(text) + ",";
  }
  return std::string(key) + " = [" + list + "]\n";
}

std::string TextOf(const Config& config) {
  std::string text = "[serve]\nlisten = " + Quoted(config.serve.listen) + "\n" + Line("targets", config.serve.targets) +
                     Line("targets-file", config.serve.targetsFile) + Line("web-config", config.serve.webConfig) +
                     "max-in-flight = " + std::to_string(config.serve.maxInFlight) +
                     "\ntimeout = " + std::to_string(config.serve.timeoutSeconds) + "\n";
  for (const Config::Account& account : config.accounts) {
    text += "[[account]]\n" + Line("host", account.host) + Line("protocol", account.protocol) +
            Line("user", account.user) + Line("password-file", account.password.file) +
            Line("password-command", account.password.command);
    text += account.password.text ? "password = " + Quoted(*account.password.text) + "\n" : "";
  }
  for (const Config::Module& module : config.modules) {
    text += "[[module]]\n" + Line("name", module.name) + Line("what", module.what);
    text += module.maxAgeSeconds == 0 ? "" : "max-age = " + std::to_string(module.maxAgeSeconds) + "\n";
  }
  return text;
}

void CheckAccount(const Config& config, const Config::Account& account) {
  const Tool::PasswordSource& password = account.password;
  const int sources = !password.file.empty() + !password.command.empty() + password.text.has_value();
  FUZZ_CHECK(sources <= 1 && password.Given() == (sources == 1));
  for (const Tool::Protocol protocol : {Tool::Protocol::Ipmi, Tool::Protocol::Redfish, Tool::Protocol::Cim}) {
    Tool::Target target{"", protocol, {}};
    target.info.Host = "bmc-1.example";
    target.info.UserName = account.user;
    const Config::Account* const found = config.AccountFor(target);
    const bool fitsAll = account.host.empty() && (account.protocol.empty() || account.protocol == WordOf(protocol));
    FUZZ_CHECK(found == nullptr ? !fitsAll : found <= &account || !fitsAll);
    FUZZ_CHECK(found == nullptr || found->protocol.empty() || found->protocol == WordOf(protocol));
    FUZZ_CHECK(found == nullptr || found->user.empty() || account.user.empty() || found->user == account.user);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const PrivateFile kFile;
  Config config;
  try {
    config = kFile.Read(data, size);
  } catch (const Tool::ToolError& error) {
    FUZZ_CHECK(error.Code() == Tool::ExitCode::Usage && *error.what() != 0);
    return 0;
  }
  const std::string text = TextOf(config);
  FUZZ_CHECK(TextOf(kFile.Read(text.data(), text.size())) == text);
  FUZZ_CHECK(config.serve.maxInFlight >= 1 && config.serve.timeoutSeconds >= 1);
  for (const Config::Account& account : config.accounts) {
    CheckAccount(config, account);
  }
  for (const Config::Module& module : config.modules) {
    FUZZ_CHECK(!module.name.empty());
  }
  return 0;
}
