#pragma once

#include <cstddef>
#include <istream>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Simulator {

using Bytes = std::vector<u8>;

/// A command and where it goes.
struct Request {
  u8 netFn = 0;
  u8 command = 0;
  std::span<const u8> data;
  u8 address = 0x20;
  u8 lun = 0;
};

/// How the reply of a satellite controller comes: after the acknowledgement, before it, or inside of it.
enum class Bridging : u8 { AckFirst, ReplyFirst, Embedded };

/// What happens to the requests that match. A rule without a reply lets the standard command answer, and may change
/// that answer.
struct Rule {
  u8 netFn = 0;
  u8 command = 0;
  u8 address = 0x20;                      ///< of the controller that is asked
  std::optional<u8> lun;                  ///< nothing stands for any
  std::vector<std::optional<u8>> prefix;  ///< of the request's data; nothing stands for any byte
  unsigned skip = 0;                      ///< so many matches are let through first
  unsigned times = std::numeric_limits<unsigned>::max();
  unsigned delayMs = 0;
  bool silent = false;
  std::optional<Bytes> reply;  ///< completion code and data
  std::optional<std::size_t> truncate;
  std::vector<std::pair<std::size_t, Bytes>> patches;  ///< offset in completion code and data, new bytes

  bool Matches(const Request& request) const;
  /// Changes the answer of a standard command.
  void Alter(Bytes& answer) const;
};

/// What the OEM module knows of one machine, read from a text of one entry a line:
///
///   rule NETFN COMMAND PREFIX [at=ADDRESS] [lun=N] [skip=N] [times=N] [delay=MS] [silent] [reply=HEX] [truncate=N]
///        [patch=OFFSET:HEX]
///   satellite ADDRESS ack-first|reply-first|embedded
///   store OFFSET HEX        bytes of the VPD store
///   path PATH HEX           value of a configuration path
///   fru ID HEX              contents of a FRU device
///   record ID LENGTH        length of a record of the sensor data repository
///   event ID HEX            time stamp of an entry of the event log
///   suites 3,17             RMCP+ cipher suites served
///   session-timeout SECONDS
///   latency MS              before every answer, one after the other
///   delay MS                of every datagram on its way to the client
///
/// Numbers are decimal but for NETFN and COMMAND. PREFIX is "-" or hexadecimal with ".." for any byte.
class ReplyTable {
 public:
  /// Throws std::runtime_error that names the line.
  explicit ReplyTable(std::istream& text);

  /// The first rule that applies now, or null; counts its use.
  const Rule* Take(const Request& request);

  /// Nothing for the address of a controller that is not a satellite of its own kind.
  std::optional<Bridging> BridgingOf(u8 address) const;

  /// Completion code and data of the commands that read the stores; nothing for any other. Of Read FRU Data these are
  /// the requests that ask for more than ipmi_sim is able to give in one answer.
  std::optional<Bytes> Read(u8 netFn, u8 command, std::span<const u8> data) const;

  /// Takes from ipmi_sim's answer to Get SDR what follows the end of the record: it hands out six bytes of its
  /// memory there.
  void CutToRecord(u8 netFn, u8 command, std::span<const u8> request, Bytes& answer) const;

  /// Puts the time of an entry into ipmi_sim's answer to Get SEL Entry: it stamps entries with its own clock.
  void StampEvent(u8 netFn, u8 command, Bytes& answer) const;

  bool ServesSuite(unsigned suite) const;
  std::optional<unsigned> SessionTimeout() const { return sessionTimeout_; }
  unsigned LatencyMs() const { return latencyMs_; }
  unsigned DelayMs() const { return delayMs_; }

 private:
  Bytes ReadStore(std::span<const u8> request) const;
  Bytes ReadPath(std::span<const u8> request) const;
  std::optional<Bytes> ReadLongFru(std::span<const u8> request) const;
  void ReadLine(const std::string& line);

  std::vector<Rule> rules_;
  std::map<std::size_t, u8> store_;
  std::map<std::string, Bytes> paths_;
  std::map<unsigned, Bytes> fruDevices_;
  std::map<unsigned, std::size_t> recordLengths_;
  std::map<unsigned, Bytes> eventTimes_;
  std::vector<unsigned> suites_ = {3, 17};
  std::optional<unsigned> sessionTimeout_;
  unsigned latencyMs_ = 0;
  unsigned delayMs_ = 0;
  std::map<u8, Bridging> satellites_;
};

}  // namespace Kelvar::Simulator
