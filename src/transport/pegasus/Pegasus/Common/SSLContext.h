#pragma once

#include <Pegasus/Common/Exception.h>

namespace Pegasus {

class SSLCertificateInfo;

typedef Boolean(SSLCertificateVerifyFunction)(SSLCertificateInfo& certificate);

/// How TLS connections check the server. An empty trust store accepts every certificate; otherwise it names a file or
/// folder of accepted ones. The host name is never checked.
class SSLContext {
 public:
  /// Throws SSLException for a verification callback, which this client does not call.
  SSLContext(const String& trustStore, SSLCertificateVerifyFunction* verify, const String& randomFile = String::EMPTY);
  SSLContext(const SSLContext&) = default;
  SSLContext& operator=(const SSLContext&) = delete;

  String getTrustPath() const { return trustStore_; }

 private:
  String trustStore_;
};

}  // namespace Pegasus
