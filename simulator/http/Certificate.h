#pragma once

#include <string>

namespace Kelvar::Simulator {

/// A self-signed certificate for localhost, 127.0.0.1 and ::1, with its key, both as PEM.
struct Certificate {
  std::string certificate;
  std::string key;
};

/// Makes a certificate with a fresh key. Throws std::runtime_error when libcrypto cannot.
Certificate MakeCertificate();

}  // namespace Kelvar::Simulator
