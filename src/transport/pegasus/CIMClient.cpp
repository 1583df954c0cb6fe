#include <Pegasus/Client/CIMClient.h>

#include "EnumerateRequest.h"
#include "HttpTransport.h"
#include "ReplyParser.h"

namespace Pegasus {

namespace {

class ParserSink : public Detail::BodySink {
 public:
  explicit ParserSink(std::string messageId) : parser_(std::move(messageId)) {}
  void Take(std::string_view bytes) override { parser_.Feed(bytes); }
  Array<CIMInstance> Finish() { return parser_.Finish(); }

 private:
  Detail::ReplyParser parser_;
};

}  // namespace

struct CIMClient::Session : Detail::HttpTransport {
  using HttpTransport::HttpTransport;
};

CIMClient::CIMClient() = default;
CIMClient::~CIMClient() = default;

void CIMClient::setTimeout(Uint32 milliseconds) noexcept {
  timeout_ = milliseconds;
}

Uint32 CIMClient::getTimeout() const noexcept {
  return timeout_;
}

void CIMClient::connect(const String& host, const Uint32 port, const String& user, const String& password) {
  Open(host, port, nullptr, user, password);
}

void CIMClient::connect(const String& host, const Uint32 port, const SSLContext& context, const String& user,
                        const String& password) {
  Open(host, port, &context, user, password);
}

void CIMClient::Open(const String& host, Uint32 port, const SSLContext* tls, const String& user,
                     const String& password) {
  if (session_) {
    throw AlreadyConnectedException();
  }
  auto session = std::make_unique<Session>(host, port, tls, user, password);
  session->Connect(timeout_);
  session_ = std::move(session);
}

void CIMClient::disconnect() noexcept {
  session_.reset();
}

Array<CIMInstance> CIMClient::enumerateInstances(const CIMNamespaceName& nameSpace, const CIMName& className,
                                                 Boolean deepInheritance, Boolean localOnly, Boolean includeQualifiers,
                                                 Boolean includeClassOrigin, const CIMPropertyList& propertyList) {
  if (!session_) {
    throw NotConnectedException();
  }
  const Detail::EnumerateRequest request{std::to_string(nextMessageId_++),
                                         nameSpace,
                                         className,
                                         deepInheritance,
                                         localOnly,
                                         includeQualifiers,
                                         includeClassOrigin,
                                         propertyList};
  ParserSink reply(request.messageId);
  session_->Post(request.Headers(), request.Body(), timeout_, reply);
  return reply.Finish();
}

}  // namespace Pegasus
