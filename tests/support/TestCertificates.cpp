#include "support/TestCertificates.h"

#include <stdexcept>
#include <vector>

#include "support/Command.h"

namespace Kelvar::Test {

namespace {

void Run(const std::vector<std::string>& words) {
  const CommandResult result = RunCommand(words);
  if (result.exitCode != 0) {
    throw std::runtime_error(result.errors);
  }
}

}  // namespace

void MakeCertificate(const TemporaryFolder& folder, const std::string& name, const std::string& signer) {
  const std::string certificate = folder / (name + ".crt");
  const std::string key = folder / (name + ".key");
  const std::vector<std::string> common{
      "openssl", "req",   "-newkey",     "ec",      "-pkeyopt", "ec_paramgen_curve:P-256",
      "-nodes",  "-subj", "/CN=" + name, "-keyout", key};
  std::vector<std::string> words = common;
  if (signer.empty()) {
    words.insert(words.end(), {"-x509", "-days", "2", "-addext", "subjectAltName=IP:127.0.0.1", "-out", certificate});
    return Run(words);
  }
  const std::string request = folder / (name + ".csr");
  words.insert(words.end(), {"-out", request});
  Run(words);
  Run({"openssl", "x509", "-req", "-in", request, "-CA", folder / (signer + ".crt"), "-CAkey",
       folder / (signer + ".key"), "-days", "2", "-out", certificate});
}

}  // namespace Kelvar::Test
