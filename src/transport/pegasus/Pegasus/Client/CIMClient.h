#pragma once

#include <memory>

#include <kelvar/Diagnostics.h>

#include <Pegasus/Client/CIMClientException.h>
#include <Pegasus/Common/CIMInstance.h>
#include <Pegasus/Common/CIMPropertyList.h>
#include <Pegasus/Common/SSLContext.h>

namespace Pegasus {

/// Client of one CIM server: CIM-XML over HTTP or HTTPS with basic authentication.
///
/// Operations block until the reply has arrived or the time-out has passed, and throw classes of Exception. The
/// connection stays open between them; one that the server has closed meanwhile is opened anew, and a request that was
/// sent is never repeated. Reads only. One object serves one thread at a time.
class CIMClient {
 public:
  CIMClient();
  ~CIMClient();
  CIMClient(const CIMClient&) = delete;
  CIMClient& operator=(const CIMClient&) = delete;

  /// For a connect and for each operation as a whole; 20000 at start.
  void setTimeout(Uint32 milliseconds) noexcept;
  Uint32 getTimeout() const noexcept;

  /// Opens the connection. An IPv6 literal has no brackets. No request is made, so a wrong password shows in
  /// the first operation.
  void connect(const String& host, const Uint32 port, const String& user, const String& password);
  /// The same with TLS, handshake included.
  void connect(const String& host, const Uint32 port, const SSLContext& context, const String& user,
               const String& password);
  void disconnect() noexcept;

  /// What the last connect or operation met. Not part of the interface that other clients share.
  struct LastExchange {
    Kelvar::FailureCause cause = Kelvar::FailureCause::None;  ///< None too for what its exception tells by itself
    Uint64 bytes = 0;                                         ///< size of the reply's body, as far as it came
  };
  const LastExchange& getLastExchange() const noexcept { return last_; }

  /// All instances of the class and its subclasses. One request.
  Array<CIMInstance> enumerateInstances(const CIMNamespaceName& nameSpace, const CIMName& className,
                                        Boolean deepInheritance = true, Boolean localOnly = true,
                                        Boolean includeQualifiers = false, Boolean includeClassOrigin = false,
                                        const CIMPropertyList& propertyList = CIMPropertyList());

 private:
  struct Session;

  void Open(const String& host, Uint32 port, const SSLContext* tls, const String& user, const String& password);

  std::unique_ptr<Session> session_;
  LastExchange last_;
  Uint32 timeout_ = 20000;
  Uint32 nextMessageId_ = 1000;
};

}  // namespace Pegasus
