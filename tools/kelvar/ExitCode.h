#pragma once

#include <stdexcept>
#include <string>

#include <kelvar/Diagnostics.h>
#include <kelvar/NodeFirmwareInventory.h>

namespace Kelvar::Tool {

/// What the program's end tells a script. The values are fixed.
enum class ExitCode : int {
  Complete = 0,
  Internal = 1,
  Usage = 2,
  Unreachable = 10,
  LoginRefused = 11,
  Tls = 12,
  BadData = 13,
  Unsupported = 14,
  Partial = 20,
  SomeFailed = 21,
  Different = 22,
};

/// Ends the program with a text for people and a code.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

/// The exit code that the result of one operation stands for when it delivered nothing.
ExitCode ExitCodeOf(NodeFirmwareInventory::INVENTORYRETURNCODE result);

/// The exit code of a failure with a cause.
ExitCode ExitCodeOf(FailureCause cause);

/// The code's name for programs, such as "complete" or "login_refused".
const char* NameOf(ExitCode code);

/// What a code means, as a short English phrase for people.
const char* DescriptionOf(ExitCode code);

/// The exit code of several: the common one, or partial when they differ and something was delivered.
ExitCode Combine(ExitCode first, ExitCode second);

}  // namespace Kelvar::Tool
