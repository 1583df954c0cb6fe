#pragma once

namespace Kelvar::Simulator {

/// Adds RMCP+ cipher suite 17 (HMAC-SHA256, HMAC-SHA256-128, AES-CBC-128) to the suites that ipmi_sim serves.
void AddCipherSuite17();

/// Withdraws cipher suite 3 (HMAC-SHA1, HMAC-SHA1-96, AES-CBC-128).
void RemoveCipherSuite3();

}  // namespace Kelvar::Simulator
