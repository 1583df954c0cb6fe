// What an IPMI object leaves in the memory of its process.

#include <cstring>

#include <gtest/gtest.h>

#include <kelvar/ConnectionOptions.h>
#include <kelvar/NodeFirmwareInventory.h>

#include "support/IpmiSim.h"
#include "support/LogCapture.h"
#include "support/MemoryScan.h"

namespace Kelvar::Test {
namespace {

using SessionKind = ConnectionOptions::IpmiSession;

/// Made where the optimizer cannot keep it: character by character.
std::string MakeSecret(char first) {
  std::string text;
  text.reserve(32);
  for (char c = 0; c < 16; ++c) {
    text.push_back(static_cast<char>(c == 0 ? first : 'a' + (c * 7 + first) % 26));
  }
  return text;
}

void Wipe(std::string& text) {
  explicit_bzero(text.data(), text.size());
}

void Read(u16 port, const HiddenText& password, const HiddenText& key, SessionKind kind, bool expectOpen) {
  ConnectionOptions options;
  options.ipmi_session = kind;
  options.ipmi_kg_key = kind == SessionKind::RmcpPlus ? key.Reveal() : "";
  KelvarConnection::ConnectionInfo info;
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_IPMI_LAN;
  info.Host = "127.0.0.1";
  info.Port = port;
  info.UserName = "admin";
  info.Password = password.Reveal();
  {
    const ConnectionOptionsScope scope(options);
    NodeFirmwareInventory inventory(info);
    std::vector<OtherSystemVPD> list;
    EXPECT_EQ(inventory.GetNodeOtherSystemVPD(list), expectOpen ? 15 : 1);
  }
  Wipe(info.Password);
  Wipe(options.ipmi_kg_key);
}

TEST(IpmiSecrets, NothingStaysInMemory) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own memory cannot be read";
#endif
  const HiddenText password(MakeSecret('P'));
  const HiddenText key(MakeSecret('K'));
  const LogCapture log(0);
  for (const SessionKind kind : {SessionKind::RmcpPlus, SessionKind::Ipmi15Md5, SessionKind::Ipmi15Password}) {
    SCOPED_TRACE(static_cast<int>(kind));
    std::unique_ptr<IpmiSim> server;
    {
      IpmiSimConfig config;
      config.users = {{"admin", password.Reveal()}};
      config.lanLines = {"bmc_key \"" + key.Reveal() + "\""};
      server = std::make_unique<IpmiSim>(config);
      Wipe(config.users[0].password);
      Wipe(config.lanLines[0]);
    }
    ScribbleOverFreedMemory();
    const std::size_t passwords = password.CountInMemory();
    const std::size_t keys = key.CountInMemory();
    for (const HiddenText* secret : {&password, &key}) {
      const FreedBlockWatch freed(*secret);
      Read(server->Port(), password, key, kind, true);
      EXPECT_EQ(freed.Count(), 0U);
    }
    EXPECT_LE(password.CountInMemory(), passwords);
    EXPECT_LE(key.CountInMemory(), keys);
    Read(FreeUdpPort("127.0.0.1"), password, key, kind, false);
    EXPECT_LE(password.CountInMemory(), passwords);
    EXPECT_EQ(passwords + keys, 0U) << "the test itself leaves copies";
  }
}

}  // namespace
}  // namespace Kelvar::Test
