#include <Pegasus/Client/CIMClient.h>

#include "common/diagnostics/ConnectionLimits.h"
#include "transport/pegasus/EnumerateRequest.h"
#include "transport/pegasus/HttpTransport.h"
#include "transport/pegasus/ReplyParser.h"

namespace Pegasus {

using Kelvar::FailureCause;

namespace {

class ParserSink : public Detail::BodySink {
 public:
  ParserSink(std::string messageId, const Detail::ReplyLimits& limits) : parser_(std::move(messageId), limits) {}
  void Take(std::string_view bytes) override {
    bytes_ += bytes.size();
    parser_.Feed(bytes);
  }
  Uint64 Bytes() const noexcept { return bytes_; }
  Array<CIMInstance> Finish() { return parser_.Finish(); }

 private:
  Detail::ReplyParser parser_;
  Uint64 bytes_ = 0;
};

/// Those of a connection that is made now.
Detail::ReplyLimits LimitsNow() {
  Detail::ReplyLimits limits;
  limits.bytes = Kelvar::ResponseLimit(limits.bytes);
  limits.keptBytes = Kelvar::ResponseLimit(limits.keptBytes);
  limits.pathBytes = Kelvar::ResponseLimit(limits.pathBytes);
  return limits;
}

}  // namespace

struct CIMClient::Session : Detail::HttpTransport {
  using HttpTransport::HttpTransport;
  const Detail::ReplyLimits limits = LimitsNow();
};

namespace {

FailureCause CauseOf(const Exception& exception, const Detail::HttpTransport& transport) noexcept {
  if (dynamic_cast<const Detail::ReplyTooLargeException*>(&exception) != nullptr) {
    return FailureCause::TooLarge;
  }
  const bool isForeign = dynamic_cast<const Detail::ForeignReplyException*>(&exception) != nullptr;
  return isForeign ? FailureCause::NotSuchService : transport.Cause();
}

}  // namespace

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
  last_ = {};
  auto session = std::make_unique<Session>(host, port, tls, user, password);
  try {
    session->Connect(timeout_);
  } catch (const Exception&) {
    last_.cause = session->Cause();
    throw;
  }
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
  ParserSink reply(request.messageId, session_->limits);
  last_ = {};
  try {
    session_->Post(request.Headers(), request.Body(), timeout_, reply);
    Array<CIMInstance> instances = reply.Finish();
    last_.bytes = reply.Bytes();
    return instances;
  } catch (const Exception& exception) {
    last_ = {CauseOf(exception, *session_), reply.Bytes()};
    throw;
  }
}

}  // namespace Pegasus
