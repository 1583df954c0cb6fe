#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include <kelvar/ConnectionInfo.h>

#include <Pegasus/Client/CIMClient.h>
#include <Pegasus/Client/CIMClientException.h>

#include "common/diagnostics/LoginGuard.h"

namespace Kelvar {

/// Pauses the calling thread.
using CIMPause = std::function<void(u32 milliseconds)>;

/// The connection to one CIM server: owns the client, connects it, and replaces it when it is dead. Used by one
/// thread at a time.
///
/// Results are 0 for success and 1 for failure. A connect makes up to three tries, with a pause of 10 seconds after
/// each failed one.
class CIMConnection {
 public:
  /// Connects. A failed connect leaves no client; exceptions of other libraries pass through.
  CIMConnection(const Pegasus::CIMNamespaceName& nameSpace, const KelvarConnection::ConnectionInfo& info,
                CIMPause pause = {});
  ~CIMConnection();
  CIMConnection(const CIMConnection&) = delete;
  CIMConnection& operator=(const CIMConnection&) = delete;

  /// Null when there is no client. A reconnect replaces it, so no caller keeps it.
  Pegasus::CIMClient* GetCIMClient() const noexcept { return client_.get(); }
  const Pegasus::CIMNamespaceName& GetNamespace() const noexcept { return namespace_; }

  /// What was in force where the connection was made.
  const KeptConnectionOptions& KeptOptions() const noexcept { return keptOptions_; }

  int InitCIMClient();
  /// Throws the client away and connects a new one.
  int ReconnectCIMClient();

 private:
  int ConnectCIMServer();
  int ConnectCIMClient(Pegasus::CIMClient& client);

  Pegasus::CIMNamespaceName namespace_;
  std::unique_ptr<Pegasus::CIMClient> client_;
  KelvarConnection::ConnectionInfo info_;
  CIMPause pause_;
  const KeptConnectionOptions keptOptions_ = KeptConnectionOptions::Current();
};

/// Enumerates with a time-out that stays in force on the client, reconnecting before when there is no client, and
/// after a CIM error to have one for the next operation. 0, or 1 with `instances` as they were, or 6 when the server
/// does not know the namespace.
int GetCIMArrayFromEnumerateInstances(Pegasus::CIMName className, CIMConnection& connection,
                                      Pegasus::Array<Pegasus::CIMInstance>& instances, u32 timeoutMs);

/// All instances of a class with the flags and the empty property list that this system always asks with.
/// The connection has a client. A request that may not be sent any more throws what a server would have replied.
Pegasus::Array<Pegasus::CIMInstance> EnumerateAll(const CIMConnection& connection,
                                                  const Pegasus::CIMNamespaceName& nameSpace,
                                                  const Pegasus::CIMName& className);

/// Property names, each with the text used when the instance lacks it.
using CIMPropertyMap = std::map<std::string, std::string>;

/// Fills the map with the property texts, translated through Values and ValueMap. No exception of the client library
/// gets out: a property that cannot be read is logged and keeps its text.
void GetPropertiesFromCIMInstance(const Pegasus::CIMInstance& instance, CIMPropertyMap& properties);
/// With `rawData` true, without the translation.
void GetPropertiesFromCIMInstance(const Pegasus::CIMInstance& instance, bool rawData, CIMPropertyMap& properties);

/// The trimmed text of a value, or the entry of Values for it where the property has both qualifiers.
std::string GetCIMPropertyValue(const Pegasus::CIMConstProperty& property);

/// Without blanks, tabs, form feeds, vertical tabs and line ends at both ends.
std::string TrimString(std::string text);

inline std::string ToText(const Pegasus::String& text) {
  return static_cast<const char*>(text.getCString());
}

}  // namespace Kelvar
