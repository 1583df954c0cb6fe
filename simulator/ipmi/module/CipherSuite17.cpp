#include "simulator/ipmi/module/CipherSuite17.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include <OpenIPMI/serv.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

// The tables of ipmi_sim's library: handlers by algorithm number, and the combinations that an open-session request
// may ask for. They have no header of their own.
extern "C" {
struct ValidCipherSuite {
  int authentication;
  int integrity;
  int confidentiality;
};
extern auth_handlers_t* auths[64];
extern integ_handlers_t* integs[64];
extern ValidCipherSuite valid_cipher_suites[];
}

namespace Kelvar::Simulator {

namespace {

constexpr int kRakpHmacSha256 = 3;
constexpr int kHmacSha256Truncated = 4;
constexpr int kAesCbc128 = 1;
constexpr std::size_t kKeyLength = 32;
constexpr std::size_t kIntegrityLength = 16;

using Key = std::array<unsigned char, kKeyLength>;

/// The session's own key fields hold 20 bytes, too few for this suite.
struct Keys {
  Key sessionIntegrity;
  Key k1;
};

std::array<Keys, MAX_SESSIONS + 1> keysBySession;

Keys& KeysOf(const session_t* session) {
  return keysBySession.at(static_cast<std::size_t>(session->handle));
}

Key Hmac(std::span<const unsigned char> key, std::span<const unsigned char> data) {
  Key digest{};
  unsigned int length = digest.size();
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), data.data(), data.size(), digest.data(), &length);
  return digest;
}

using Bytes = std::vector<unsigned char>;

void Append(Bytes& bytes, std::span<const unsigned char> more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

void AppendId(Bytes& bytes, std::uint32_t id) {
  for (int shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<unsigned char>(id >> shift));
  }
}

void AppendRoleAndUser(Bytes& bytes, const auth_data_t& data) {
  bytes.push_back(data.role);
  bytes.push_back(data.username_len);
  Append(bytes, {data.username, std::min<std::size_t>(data.username_len, sizeof data.username)});
}

std::span<const unsigned char> UserKey(const lanserv_data_t* lan, const session_t* session) {
  return lan->users[session->userid].pw;
}

void DeriveKeys(const lanserv_data_t* lan, session_t* session) {
  auth_data_t& data = session->auth_data;
  Bytes text;
  Append(text, data.rem_rand);
  Append(text, data.rand);
  AppendRoleAndUser(text, data);
  Keys& keys = KeysOf(session);
  keys.sessionIntegrity = Hmac(UserKey(lan, session), text);
  keys.k1 = Hmac(keys.sessionIntegrity, Bytes(20, 1));
  const Key k2 = Hmac(keys.sessionIntegrity, Bytes(20, 2));
  std::memcpy(data.k2, k2.data(), sizeof data.k2);
}

/// ipmi_sim has room for 24 bytes of the 32-byte code in a RAKP 2 message. The rest goes into the packet on its way
/// out, which is the next that its network side sends.
struct CutRakp2 {
  decltype(lanserv_data_t::send_out) sendOut = nullptr;
  std::array<unsigned char, 8> rest{};
};

CutRakp2 cutRakp2;

void SendWhole(lanserv_data_t* lan, const iovec* pieces, int count, void* address, int addressLength) {
  constexpr std::size_t kPayloadLengthAt = 14;
  Bytes packet;
  for (const iovec& piece : std::span(pieces, static_cast<std::size_t>(count))) {
    Append(packet, {static_cast<const unsigned char*>(piece.iov_base), piece.iov_len});
  }
  Append(packet, cutRakp2.rest);
  const std::size_t payloadLength = packet.size() - (kPayloadLengthAt + 2);
  packet.at(kPayloadLengthAt) = static_cast<unsigned char>(payloadLength);
  packet.at(kPayloadLengthAt + 1) = static_cast<unsigned char>(payloadLength >> 8);
  iovec whole{packet.data(), packet.size()};
  lan->send_out(lan, &whole, 1, address, addressLength);
}

extern "C" {

void SendRakp2(lanserv_data_t* lan, iovec* pieces, int count, void* address, int addressLength) {
  lan->send_out = cutRakp2.sendOut;
  try {
    SendWhole(lan, pieces, count, address, addressLength);
  } catch (...) {
    lan->send_out(lan, pieces, count, address, addressLength);
  }
}

int InitAuthentication(lanserv_data_t* /*lan*/, session_t* session) {
  session->auth_data.akey_len = kKeyLength;
  session->auth_data.integ_len = kIntegrityLength;
  return 0;
}

int SetRakp2(lanserv_data_t* lan, session_t* session, unsigned char* data, unsigned int* length,
             unsigned int maxLength) {
  constexpr std::size_t kRoom = kKeyLength - sizeof cutRakp2.rest;
  if (*length + kRoom > maxLength) {
    return E2BIG;
  }
  const auth_data_t& own = session->auth_data;
  Bytes text;
  AppendId(text, session->rem_sid);
  AppendId(text, session->sid);
  Append(text, own.rem_rand);
  Append(text, own.rand);
  Append(text, {lan->guid, 16});
  AppendRoleAndUser(text, own);
  const Key code = Hmac(UserKey(lan, session), text);
  std::memcpy(data + *length, code.data(), kRoom);
  *length += kRoom;
  std::copy(code.begin() + kRoom, code.end(), cutRakp2.rest.begin());
  cutRakp2.sendOut = lan->send_out;
  lan->send_out = SendRakp2;
  DeriveKeys(lan, session);
  return 0;
}

int CheckRakp3(lanserv_data_t* lan, session_t* session, unsigned char* data, unsigned int* length) {
  constexpr std::size_t kFixedLength = 8;
  if (*length < kFixedLength + kKeyLength) {
    return E2BIG;
  }
  const auth_data_t& own = session->auth_data;
  Bytes text;
  Append(text, own.rand);
  AppendId(text, session->rem_sid);
  AppendRoleAndUser(text, own);
  const Key code = Hmac(UserKey(lan, session), text);
  *length -= static_cast<unsigned int>(code.size());
  return CRYPTO_memcmp(data + *length, code.data(), code.size()) == 0 ? 0 : EINVAL;
}

int SetRakp4(lanserv_data_t* lan, session_t* session, unsigned char* data, unsigned int* length,
             unsigned int maxLength) {
  if (*length + kIntegrityLength > maxLength) {
    return E2BIG;
  }
  Bytes text;
  Append(text, session->auth_data.rem_rand);
  AppendId(text, session->sid);
  Append(text, {lan->guid, 16});
  const Key code = Hmac(KeysOf(session).sessionIntegrity, text);
  std::memcpy(data + *length, code.data(), kIntegrityLength);
  *length += kIntegrityLength;
  return 0;
}

int InitIntegrity(lanserv_data_t* /*lan*/, session_t* session) {
  session->auth_data.integ_len = kIntegrityLength;
  return 0;
}

void CleanUpIntegrity(lanserv_data_t* /*lan*/, session_t* session) {
  KeysOf(session) = {};
}

/// The code covers everything after the four bytes of the RMCP header.
int AddIntegrity(lanserv_data_t* /*lan*/, session_t* session, unsigned char* packet, unsigned int* length,
                 unsigned int size) {
  constexpr unsigned int kHeaderLength = 4;
  if (*length < kHeaderLength || *length + kIntegrityLength > size) {
    return E2BIG;
  }
  const Key code = Hmac(KeysOf(session).k1, {packet + kHeaderLength, *length - kHeaderLength});
  std::memcpy(packet + *length, code.data(), kIntegrityLength);
  *length += kIntegrityLength;
  return 0;
}

int CheckIntegrity(lanserv_data_t* /*lan*/, session_t* session, msg_t* message) {
  if (message->len < kIntegrityLength) {
    return E2BIG;
  }
  const std::size_t covered = message->len - kIntegrityLength;
  const Key code = Hmac(KeysOf(session).k1, {message->data, covered});
  return CRYPTO_memcmp(message->data + covered, code.data(), kIntegrityLength) == 0 ? 0 : EINVAL;
}

}  // extern "C"

auth_handlers_t authentication{InitAuthentication, SetRakp2, CheckRakp3, SetRakp4};
integ_handlers_t integrity{InitIntegrity, CleanUpIntegrity, AddIntegrity, CheckIntegrity};

ValidCipherSuite* Find(const ValidCipherSuite& wanted) {
  for (ValidCipherSuite* suite = valid_cipher_suites; suite->authentication >= 0; ++suite) {
    if (suite->authentication == wanted.authentication && suite->integrity == wanted.integrity &&
        suite->confidentiality == wanted.confidentiality) {
      return suite;
    }
  }
  return nullptr;
}

constexpr ValidCipherSuite kSuite3{1, 1, kAesCbc128};
constexpr ValidCipherSuite kSuite17{kRakpHmacSha256, kHmacSha256Truncated, kAesCbc128};
constexpr ValidCipherSuite kXrc4Suites[] = {{2, 3, 2}, {2, 3, 3}};

}  // namespace

void AddCipherSuite17() {
  auths[kRakpHmacSha256] = &authentication;
  integs[kHmacSha256Truncated] = &integrity;
  // The list has no room for one more: an xRC4 suite, which nothing speaks, makes way.
  if (ValidCipherSuite* place = Find(kXrc4Suites[0])) {
    *place = kSuite17;
  }
}

void RemoveCipherSuite3() {
  if (ValidCipherSuite* place = Find(kSuite3)) {
    *place = kXrc4Suites[1];
  }
}

}  // namespace Kelvar::Simulator
