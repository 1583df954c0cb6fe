#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "transport/ipmi/WireBytes.h"

namespace Kelvar::Ipmi {

/// One combination of algorithms for an RMCP+ session.
struct CipherSuite {
  u8 id;
  u8 authentication;
  u8 integrity;
  u8 confidentiality;
  const char* digest;         ///< libcrypto's name of the hash in all keyed hashes of the suite
  std::size_t digestSize;     ///< bytes; also the size of the key exchange codes
  std::size_t integritySize;  ///< bytes of the truncated hash after packets and of the last key exchange code
};

/// RAKP-HMAC-SHA1, HMAC-SHA1-96, AES-CBC-128.
inline constexpr CipherSuite kSuite3{3, 1, 1, 1, "SHA1", 20, 12};
/// RAKP-HMAC-SHA256, HMAC-SHA256-128, AES-CBC-128.
inline constexpr CipherSuite kSuite17{17, 3, 4, 1, "SHA256", 32, 16};

/// All of them, best first.
inline constexpr const CipherSuite* kCipherSuites[] = {&kSuite17, &kSuite3};

/// Suites to try, best first: the one of that number, all for a number that none has.
std::vector<const CipherSuite*> SuitesFor(std::size_t number);

/// Numbers of the suites in the joined records of Get Channel Cipher Suites, OEM suites left out. A record cut short
/// or with an unknown start ends the list.
std::vector<u8> DecodeSuiteRecords(ByteView records);

}  // namespace Kelvar::Ipmi
