// What an object over Redfish or CIM leaves in the memory of its process. libcurl's own copies, which it does not wipe,
// are kept out: its memory is wiped when it frees it.

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>

#include <kelvar/NodeFirmwareInventory.h>

#include "support/BmcSim.h"
#include "support/LogCapture.h"
#include "support/Loopback.h"
#include "support/MemoryScan.h"

namespace Kelvar::Test {
namespace {

void WipingFree(void* block) {
  if (block != nullptr) {
    explicit_bzero(block, malloc_usable_size(block));
    std::free(block);
  }
}

void* WipingRealloc(void* block, std::size_t size) {
  void* const larger = std::malloc(size);
  if (larger != nullptr && block != nullptr) {
    std::memcpy(larger, block, std::min(size, malloc_usable_size(block)));
    WipingFree(block);
  }
  return larger;
}

/// Made where the optimizer cannot keep it: character by character. Long enough that no text holds it in place.
std::string MakeSecret() {
  std::string text;
  text.reserve(32);
  for (char c = 0; c < 30; ++c) {
    text.push_back(static_cast<char>('a' + (c * 7 + 3) % 26));
  }
  return text;
}

/// Its basic authentication for the user "admin", without what depends on the length.
std::string Encoded(const std::string& password) {
  static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::string text = "admin:" + password;
  std::string encoded;
  for (std::size_t i = 0; i + 2 < text.size(); i += 3) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned>(static_cast<unsigned char>(text[i + k])); };
    const unsigned bits = byte(0) << 16 | byte(1) << 8 | byte(2);
    for (const unsigned shift : {18U, 12U, 6U, 0U}) {
      encoded.push_back(kDigits[bits >> shift & 63]);
    }
  }
  return encoded;
}

void Read(u32 connectionCase, u16 port, const HiddenText& password) {
  KelvarConnection::ConnectionInfo info = LoopbackInfo(connectionCase, port);
  info.UserName = "admin";
  info.Password = password.Reveal();
  {
    NodeFirmwareInventory inventory(info);
    std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
    inventory.GetNodeFirmwareBuildID(builds);
    std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST> log;
    inventory.GetZMCAuditLogDataViaREST(log);
  }
  explicit_bzero(info.Password.data(), info.Password.size());
}

TEST(Secrets, NothingOfOursStaysInMemory) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own memory cannot be read";
#endif
  ASSERT_EQ(curl_global_init_mem(CURL_GLOBAL_ALL, std::malloc, WipingFree, WipingRealloc, strdup, std::calloc),
            CURLE_OK);
  BmcSim simulator;
  const LogCapture log(0);
  std::string clear = MakeSecret();
  const HiddenText password(clear);
  std::string encoded = Encoded(clear);
  const HiddenText basic(encoded);
  explicit_bzero(clear.data(), clear.size());
  explicit_bzero(encoded.data(), encoded.size());
  ScribbleOverFreedMemory();
  const std::size_t before = password.CountInMemory() + basic.CountInMemory();
  for (const auto& [connectionCase, protocol] : {std::pair(KelvarConnection::CONNECTION_CASE_REDFISH, "redfish"),
                                                 std::pair(KelvarConnection::CONNECTION_CASE_CIM_BMC, "cim")}) {
    SCOPED_TRACE(protocol);
    for (const HiddenText* const secret : {&password, &basic}) {
      const FreedBlockWatch freed(*secret);
      Read(connectionCase, simulator.Port(protocol), password);
      EXPECT_EQ(freed.Count(), 0U);
    }
    EXPECT_LE(password.CountInMemory() + basic.CountInMemory(), before);
  }
}

}  // namespace
}  // namespace Kelvar::Test
