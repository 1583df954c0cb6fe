#pragma once

#include <sys/types.h>

#include <string>

#include <kelvar/ConnectionInfo.h>

namespace Kelvar::Bench {

/// Instances of a class as a server writes them, and what their own strings take.
struct CimReply {
  std::string className;
  std::string xml;
  std::size_t instances = 0;
  std::size_t valueBytes = 0;  ///< texts of values and paths
  std::size_t nameBytes = 0;   ///< names of properties and classes
};

CimReply LogEntries(std::size_t count);
CimReply Sensors(std::size_t count);

/// A process of its own that answers every request with the reply, under the message ID 1000 of a client's first one.
class BenchServer {
 public:
  explicit BenchServer(const CimReply& reply);
  ~BenchServer();
  BenchServer(const BenchServer&) = delete;
  BenchServer& operator=(const BenchServer&) = delete;

  u16 Port() const { return port_; }
  KelvarConnection::ConnectionInfo Info() const;

 private:
  pid_t process_ = -1;
  u16 port_ = 0;
};

}  // namespace Kelvar::Bench
