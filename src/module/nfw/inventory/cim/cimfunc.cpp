#include "module/nfw/inventory/cim/cimfunc.h"

#include <chrono>
#include <thread>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "common/text/Secret.h"
#include "module/nfw/inventory/cim/CIMRecord.h"

namespace Kelvar {

using KelvarConnection::ConnectionInfo;
using Pegasus::CIMClient;

namespace {

constexpr int kConnectTries = 3;
constexpr u32 kPauseMs = 10'000;
constexpr u32 kConnectTimeoutMs = 2'400'000;

constexpr int kUnknownNamespace = 6;

void SleepFor(u32 milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

bool IsCIMCase(u32 connectionCase) noexcept {
  return connectionCase >= KelvarConnection::CONNECTION_CASE_CIM_BMC &&
         connectionCase <= KelvarConnection::CONNECTION_CASE_CIM_OMC;
}

/// Our own client's texts can be wiped.
template <typename String>
String SecretOf(const std::string& text) {
  if constexpr (requires { String::Secret(text); }) {
    return String::Secret(text.c_str());
  } else {
    return text.c_str();
  }
}

/// Shortens the client's time-out to what the operation has left.
class ClientTimeout {
 public:
  explicit ClientTimeout(CIMClient& client) : client_(client), own_(client.getTimeout()) {
    client_.setTimeout(static_cast<u32>(OperationDeadline::Within(std::chrono::milliseconds(own_)).count()));
  }
  ~ClientTimeout() { client_.setTimeout(own_); }
  ClientTimeout(const ClientTimeout&) = delete;
  ClientTimeout& operator=(const ClientTimeout&) = delete;

 private:
  CIMClient& client_;
  const u32 own_;
};

void Connect(CIMClient& client, const ConnectionInfo& info, const Pegasus::SSLContext& context) {
  client.setTimeout(kConnectTimeoutMs);
  const ClientTimeout timeout(client);
  const Pegasus::String host = info.Host.c_str();
  const Pegasus::String user = info.UserName.c_str();
  const Pegasus::String password = SecretOf<Pegasus::String>(info.Password);
  if (info.ConnectionType == 1) {
    client.connect(host, info.Port, context, user, password);
  } else {
    client.connect(host, info.Port, user, password);
  }
}

/// Whether the client checks certificates as the options ask. Only our own does.
template <typename Client>
bool HonoursTlsOptions(const ConnectionOptions& options) {
  if constexpr (requires(Client client) { client.getLastExchange(); }) {
    return true;
  } else {
    return options.tls_ca_file.empty() && options.tls_pinned_fingerprint.empty();
  }
}

void LogConnectFailure(const Pegasus::Exception& exception) {
  KELVAR_LOG(1) << "Failed to connect remote cimserver with the reason: " << ToText(exception.getMessage());
}

/// Whether it is the class that the account may not read, not the account.
bool IsRefusedAlone(const Pegasus::Exception& exception) noexcept {
  constexpr u32 kUnauthorized = 401;
  const auto* const http = dynamic_cast<const Pegasus::CIMClientHTTPErrorException*>(&exception);
  return http == nullptr || http->getCode() != kUnauthorized;
}

}  // namespace

CIMConnection::CIMConnection(const Pegasus::CIMNamespaceName& nameSpace, const ConnectionInfo& info, CIMPause sleep)
    : namespace_(nameSpace), info_(info), pause_(sleep ? std::move(sleep) : CIMPause(SleepFor)) {
  InitCIMClient();
}

CIMConnection::~CIMConnection() {
  Text::WipeText(info_.Password);
}

int CIMConnection::InitCIMClient() {
  client_ = std::make_unique<CIMClient>();
  int result = 1;
  try {
    result = ConnectCIMServer();
  } catch (const Pegasus::Exception& exception) {
    LogConnectFailure(exception);
  } catch (...) {
    client_.reset();
    throw;
  }
  if (result != 0) {
    client_.reset();
  }
  return result;
}

int CIMConnection::ReconnectCIMClient() {
  client_.reset();
  return InitCIMClient();
}

int CIMConnection::ConnectCIMServer() {
  if (info_.Host.empty()) {
    KELVAR_LOG(1) << "Failed to connect remote cimserver due to invalid connection information. ";
    return 1;
  }
  return ConnectCIMClient(*client_);
}

int CIMConnection::ConnectCIMClient(CIMClient& client) {
  KELVAR_LOG(3) << "Connecting to " << info_.UserName << ":**********@" << info_.Host << ":" << info_.Port;
  KELVAR_LOG(4) << "connection case is " << info_.ConnectionCase;
  if (!IsCIMCase(info_.ConnectionCase)) {
    KELVAR_LOG(4) << "Connection case is not CIM, do not try to connect CIM server.";
    return 1;
  }
  if (info_.ConnectionType > 1) {
    KELVAR_LOG(1) << "Invalid connection type: " << info_.ConnectionType;
    return 0;
  }
  if (!HonoursTlsOptions<CIMClient>(keptOptions_.options)) {
    KELVAR_LOG(1) << "This CIM client cannot verify certificates as the options ask";
    return 1;
  }
  const Pegasus::SSLContext context(Pegasus::String::EMPTY, nullptr, Pegasus::String::EMPTY);
  const ConnectionOptionsScope scope = keptOptions_.Enter();
  CIMRecord record(client, "connect");
  for (int triesLeft = kConnectTries; triesLeft > 0; --triesLeft) {
    record.CountTry();
    try {
      Connect(client, info_, context);
      record.Connected();
      KELVAR_LOG(3) << "Cimserver connection succeeded ";
      return 0;
    } catch (const Pegasus::Exception& exception) {
      if (triesLeft == 1 || OperationDeadline::IsOver()) {
        record.Failed(exception);
        LogConnectFailure(exception);
        triesLeft = 1;
      }
    }
    const DiagnosticsWait noted("the connection failed, next try soon");
    pause_(kPauseMs);
  }
  return 1;
}

Pegasus::Array<Pegasus::CIMInstance> EnumerateAll(const CIMConnection& connection,
                                                  const Pegasus::CIMNamespaceName& nameSpace,
                                                  const Pegasus::CIMName& className) {
  const bool deepInheritance = true;
  const bool localOnly = true;
  const bool includeQualifiers = false;
  const bool includeClassOrigin = false;
  CIMClient& client = *connection.GetCIMClient();
  CIMRecord record(client, "enumerate " + ToText(className.getString()));
  LoginGuard* const guard = connection.KeptOptions().guard.get();
  try {
    record.CheckMaySend(guard);
    const ClientTimeout timeout(client);
    auto instances = client.enumerateInstances(nameSpace, className, deepInheritance, localOnly, includeQualifiers,
                                               includeClassOrigin, Pegasus::CIMPropertyList());
    record.Replied(instances.size());
    if (guard != nullptr) {
      guard->NoteAccepted();
    }
    return instances;
  } catch (const Pegasus::Exception& exception) {
    const bool refused = record.Failed(exception) == FailureCause::LoginRefused;
    if (refused && guard != nullptr && !(guard->IsAccepted() && IsRefusedAlone(exception))) {
      guard->NoteRefused();
    }
    throw;
  }
}

int GetCIMArrayFromEnumerateInstances(Pegasus::CIMName className, CIMConnection& connection,
                                      Pegasus::Array<Pegasus::CIMInstance>& instances, u32 timeoutMs) {
  KELVAR_LOG(3) << "Calling GetCIMArrayFromEnumerateInstances()";
  KELVAR_LOG(3) << "The value of class name is:" << ToText(className.getString());
  KELVAR_LOG(3) << "The value of cim namespace is:" << ToText(connection.GetNamespace().getString());
  if (connection.GetCIMClient() == nullptr) {
    KELVAR_LOG(3) << "The value of cim client is NULL,Now restart cimserver!";
    if (connection.ReconnectCIMClient() != 0) {
      return 1;
    }
    KELVAR_LOG(3) << "Restart cim server succeed,Now reconnect to cimserver!";
  }
  CIMClient* const client = connection.GetCIMClient();
  if (client == nullptr) {
    KELVAR_LOG(3) << "Reconnect to cimserver failed! cimcli quit!";
    return 1;
  }
  const auto logFailure = [&](const Pegasus::Exception& exception) {
    DiagnosticsRecorder::AddGap(GapKind::Failure, CauseOf(exception), ToText(className.getString()),
                                ToText(exception.getMessage()));
    KELVAR_LOG(1) << "Enumerate instances failed with the reason: " << ToText(exception.getMessage());
  };
  try {
    client->setTimeout(timeoutMs);
    instances = EnumerateAll(connection, connection.GetNamespace(), className);
    KELVAR_LOG(3) << "The size of ei_array is:" << instances.size();
    return 0;
  } catch (const Pegasus::CIMException& exception) {
    logFailure(exception);
    const bool unknownNamespace = exception.getCode() == Pegasus::CIM_ERR_INVALID_NAMESPACE;
    connection.ReconnectCIMClient();
    return unknownNamespace ? kUnknownNamespace : 1;
  } catch (const Pegasus::Exception& exception) {
    logFailure(exception);
    return 1;
  }
}

}  // namespace Kelvar
