#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "transport/ipmi/AddressedCommands.h"

namespace Kelvar::Test {

using Bytes = std::vector<u8>;

Bytes BytesOf(std::string_view text);
Bytes operator+(Bytes left, const Bytes& right);

/// What a scripted service processor does with one command.
struct IpmiAnswer {
  int sent = 0;
  u8 completionCode = 0;
  Bytes data;
  std::optional<std::string> exception;  ///< text of an IpmiException
  bool otherException = false;
};

IpmiAnswer Reply(Bytes data);
IpmiAnswer Refuse(u8 completionCode);
/// No exchange took place; some transports leave another completion code than 0xFF behind.
IpmiAnswer NoExchange(u8 completionCode = 0xFF);
IpmiAnswer Throw(std::string text);
IpmiAnswer ThrowOther();

class ScriptedTransport;

/// A service processor in memory. Must outlive the transports that it hands out.
class ScriptedIpmi {
 public:
  using Handler = std::function<IpmiAnswer(const Bytes& request)>;

  /// Answers a command, with any data, or with exactly `data`. Later scripts win over earlier ones. The answers are
  /// given in turn, the last one from then on.
  void On(u8 netFn, u8 command, std::vector<IpmiAnswer> answers);
  void On(u8 netFn, u8 command, const Bytes& data, std::vector<IpmiAnswer> answers);
  void On(u8 netFn, u8 command, Handler handler);

  /// Serves a FRU device, which refuses reads that pass its end with 0xC9.
  void AddFRU(u8 device, Bytes contents);
  /// Adds a record to the sensor data record repository, after the others. A reservation is asked for and checked.
  void AddSDR(Bytes record);
  /// A FRU Device Locator record, as AddSDR takes it.
  static Bytes Locator(u8 device, std::string_view name);
  /// From the given number of Get SDR commands on the reservation is lost, once.
  void LoseReservationAfter(std::size_t reads) { loseReservationAfter_ = reads; }

  std::unique_ptr<ScriptedTransport> Transport();

  /// A satellite controller, or another logical unit; there is none before this is called.
  ScriptedIpmi& Elsewhere(u8 address, u8 lun = 0);
  /// Null for one that is not there.
  ScriptedIpmi* At(u8 address, u8 lun);

  /// So many of the commands that are sent ahead are answered each time; 0: the target bears one at a time.
  std::size_t answersAhead = 0;
  /// Changes what goes out over a transport to this one, also of controllers elsewhere.
  std::function<void(const IPMICOMMAND& command, IpmiAnswer& answer)> spoil;
  bool loggedOut = false;  ///< sessions are lost, and logins refused
  CONNECTIONSTATE connectState = IPMICONNECTED;
  std::optional<std::string> connectException;
  bool disconnectThrows = false;

  int connects = 0;
  int disconnects = 0;
  int transports = 0;  ///< alive
  std::vector<IPMICOMMAND> commands;

  /// Data of the commands of one kind, in order.
  std::vector<Bytes> Sent(u8 netFn, u8 command) const;

  IpmiAnswer Execute(const IPMICOMMAND& command);

 private:
  struct Rule {
    u8 netFn;
    u8 command;
    std::optional<Bytes> data;
    Handler handler;
  };

  IpmiAnswer ReadFRU(const Bytes& request) const;
  IpmiAnswer FRUAreaInfo(const Bytes& request) const;
  IpmiAnswer ReserveSDR();
  IpmiAnswer GetSDR(const Bytes& request);

  std::map<std::pair<u8, u8>, std::unique_ptr<ScriptedIpmi>> elsewhere_;
  std::vector<Rule> rules_;
  std::map<u8, Bytes> devices_;
  std::vector<Bytes> records_;
  u16 reservation_ = 0;
  std::size_t sdrReads_ = 0;
  std::optional<std::size_t> loseReservationAfter_;
};

/// A way to a ScriptedIpmi. A satellite that is not there is a command that was not handed on.
class ScriptedTransport final : public IpmiClientInterface, public Ipmi::AddressedCommands {
 public:
  explicit ScriptedTransport(ScriptedIpmi& target) : target_(target) { ++target_.transports; }
  ~ScriptedTransport() override { --target_.transports; }

  CONNECTIONSTATE connect() override;
  void disconnect() override;
  int send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) override {
    return SendTo({}, command, response, completionCode);
  }
  int SendTo(const Ipmi::ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
             u8& completionCode) override;
  void SendAhead(std::span<Ipmi::QueuedCommand> commands) override;
  bool IsLoggedOut() const noexcept override { return target_.loggedOut; }
  void setBlockLength(const u16& /*length*/) override {}

 private:
  ScriptedIpmi& target_;
};

}  // namespace Kelvar::Test
