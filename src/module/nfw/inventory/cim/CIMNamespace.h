#pragma once

#include <string>

#include <kelvar/ConnectionInfo.h>

namespace Kelvar {

/// The namespace of the service processor's classes on a target: that of one service processor on an ESXi host, else
/// the usual one.
std::string CIMNamespaceFor(const KelvarConnection::ConnectionInfo& info);

}  // namespace Kelvar
