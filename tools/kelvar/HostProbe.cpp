#include "tools/kelvar/HostProbe.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "common/text/Escape.h"
#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/HostProbe_Steps.h"
#include "tools/kelvar/JsonWriter.h"
#include "tools/kelvar/LogView.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/Reader.h"
#include "tools/kelvar/ServiceRoot.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

namespace {

struct ProbeOptions {
  std::string host;
  std::string user;
  PasswordSource password;
  std::string config;
  std::string format = "table";
  u16 redfishPort = 443;
  u16 cimPort = 5988;
  u16 cimHttpsPort = 5989;
  u16 ipmiPort = 623;
  int timeoutSeconds = 5;
};

/// One protocol of the host.
struct Attempt {
  Target target;
  bool login;  ///< an account is known
  ProbeAnswer answer;
};

constexpr const char* kFooter =
    "Examples\n"
    "  kelvar probe 192.0.2.10\n"
    "  kelvar probe --user admin --password-file secret 192.0.2.10\n"
    "  kelvar probe 127.0.0.1:8443";

void Declare(CLI::App& app, ProbeOptions& options) {
  app.add_option("HOST", options.host, "Name or address; with :PORT, every protocol is tried at that port")->required();
  app.add_option("--user", options.user, "Also try to log in as this user")->type_name("USER");
  DeclarePassword(app, options.password);
  DeclareConfig(app, options.config);
  app.add_option("--format", options.format, "Output format")
      ->check(CLI::IsMember({"table", "json"}))
      ->capture_default_str();
  app.add_option("--redfish-port", options.redfishPort, "Port of Redfish")->type_name("PORT")->capture_default_str();
  app.add_option("--cim-port", options.cimPort, "Port of CIM over HTTP")->type_name("PORT")->capture_default_str();
  app.add_option("--cim-https-port", options.cimHttpsPort, "Port of CIM over HTTPS")
      ->type_name("PORT")
      ->capture_default_str();
  app.add_option("--ipmi-port", options.ipmiPort, "Port of IPMI (UDP)")->type_name("PORT")->capture_default_str();
  app.add_option("--timeout", options.timeoutSeconds, "Time for each protocol's first response")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 60))
      ->capture_default_str();
  app.footer(kFooter);
}

/// HOST, or HOST:PORT for every protocol at that port.
void SplitPort(ProbeOptions& options) {
  if (options.host.find("://") != std::string::npos || options.host.find_first_of("/@") != std::string::npos) {
    throw ToolError(ExitCode::Usage,
                    "probe takes a host, such as 192.0.2.10 or 192.0.2.10:8443, not \"" + options.host + "\"");
  }
  const std::size_t colon = options.host.rfind(':');
  const bool bracketed = options.host.front() == '[' && colon != std::string::npos && options.host[colon - 1] == ']';
  if (colon == std::string::npos || (options.host.find(':') != colon && !bracketed)) {
    return;
  }
  const u16 port = ParseTarget("redfish://" + options.host).info.Port;
  options.redfishPort = options.cimPort = options.cimHttpsPort = options.ipmiPort = port;
  options.host.resize(colon);
}

std::vector<Attempt> AttemptsOn(const ProbeOptions& options) {
  const std::string host = Bracketed(options.host);
  std::vector<Attempt> attempts;
  const auto add = [&](const char* scheme, u16 port) {
    attempts.push_back({ParseTarget(fmt::format("{}://{}:{}", scheme, host, port)), false, {}});
  };
  add("redfish", options.redfishPort);
  add("cim+https", options.cimHttpsPort);
  add("cim+http", options.cimPort);
  add("ipmi", options.ipmiPort);
  return attempts;
}

/// Passwords are asked for here, before the attempts run side by side.
void FillAccounts(const ProbeOptions& options, std::vector<Attempt>& attempts) {
  const Config config = ConfigNamed(options.config);
  Credentials credentials(options.password, config);
  for (Attempt& attempt : attempts) {
    attempt.target.info.UserName = options.user;
    attempt.login = !options.user.empty() || config.AccountFor(attempt.target) != nullptr;
    if (attempt.login) {
      credentials.Fill(attempt.target);
    }
  }
}

ProbeAnswer FirstAnswer(const Target& target, int timeoutSeconds) {
  const auto& info = target.info;
  switch (target.protocol) {
    case Protocol::Ipmi:
      return ProbeIpmi(info.Host, info.Port, timeoutSeconds);
    case Protocol::Redfish:
      return ProbeRedfish(info.Host, info.Port, timeoutSeconds);
    case Protocol::Cim:
      return ProbeCim(info.Host, info.Port, info.ConnectionType == 1, timeoutSeconds);
  }
  return {};
}

/// Reads as little as shows whether the account is good.
ProbeAnswer LogIn(const Target& target, const ProbeAnswer& first) {
  const Report report = ReadTarget(target, std::nullopt, {.what = {"system"}, .operations = true});
  switch (report.code) {
    case ExitCode::Complete:
    case ExitCode::Partial:
      return {ExitCode::Complete, "login", first.text + ", logged in"};
    case ExitCode::LoginRefused:
      return {report.code, "login", first.text + ", login refused"};
    case ExitCode::Unsupported:
      if (report.connection == ExitCode::Complete) {
        return {ExitCode::Complete, "login", first.text + ", logged in"};
      }
      [[fallthrough]];
    default:
      return {report.code, "login", first.text + ", but reading failed: " + ReasonOf(report)};
  }
}

/// As LogIn, with the other cipher suite of IPMI when there is no session with the first.
ProbeAnswer LogInBySuite(Target target, const ProbeAnswer& first) {
  constexpr u32 kOtherSuite = 17;
  ProbeAnswer answer = LogIn(target, first);
  const bool decided = answer.code == ExitCode::Complete || answer.code == ExitCode::LoginRefused;
  if (target.protocol != Protocol::Ipmi || decided) {
    return answer;
  }
  target.info.RemoteSessionArgument = kOtherSuite;
  ProbeAnswer second = LogIn(target, first);
  if (second.code == ExitCode::LoginRefused) {
    return second;
  }
  if (second.code == ExitCode::Complete) {
    answer = second;
    answer.text += " with cipher suite 17 alone: add ?suite=17";
  }
  return answer;
}

/// One after the other: several wrong logins can lock an account.
void LogInEverywhere(std::vector<Attempt>& attempts) {
  std::set<std::pair<std::string, std::string>> refused;
  for (Attempt& attempt : attempts) {
    if (attempt.answer.code != ExitCode::Complete || !attempt.login) {
      continue;
    }
    const std::pair account(attempt.target.info.UserName, attempt.target.info.Password);
    if (refused.count(account) != 0) {
      attempt.answer = {ExitCode::LoginRefused, "login", attempt.answer.text + ", login not tried: refused before"};
      continue;
    }
    attempt.answer = LogInBySuite(attempt.target, attempt.answer);
    if (attempt.answer.code == ExitCode::LoginRefused) {
      refused.insert(account);
    }
  }
}

std::string TableText(const std::vector<Attempt>& attempts) {
  std::size_t width = 0;
  for (const Attempt& attempt : attempts) {
    width = std::max(width, attempt.target.address.size());
  }
  std::string text;
  for (const Attempt& attempt : attempts) {
    const ProbeAnswer& answer = attempt.answer;
    const bool yes = answer.code == ExitCode::Complete;
    text += fmt::format("{:{}}  {}  {}\n", attempt.target.address, width, yes ? "yes" : "no ",
                        Text::EscapeControl((yes ? "" : answer.step + ": ") + answer.text));
  }
  return text;
}

std::string JsonText(const ProbeOptions& options, const std::vector<Attempt>& attempts) {
  JsonBuffer buffer;
  IndentedJson writer(buffer);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  WriteMember(writer, "host", options.host);
  writer.Key("protocols");
  writer.StartArray();
  for (const Attempt& attempt : attempts) {
    writer.StartObject();
    WriteMember(writer, "target", attempt.target.address);
    WriteMember(writer, "status", NameOf(attempt.answer.code));
    WriteMember(writer, "step", attempt.answer.step);
    WriteMember(writer, "text", attempt.answer.text);
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

ExitCode Judge(const std::vector<Attempt>& attempts) {
  ExitCode code = ExitCode::Unreachable;
  for (const Attempt& attempt : attempts) {
    if (attempt.answer.code == ExitCode::Complete) {
      return ExitCode::Complete;
    }
    code = std::max(code, attempt.answer.code);
  }
  return code;
}

}  // namespace

int ProbeHost(int argc, const char* const* argv) {
  CLI::App app("Shows which protocols a host answers, and why it does not answer the others.", "kelvar probe");
  ProbeOptions options;
  Declare(app, options);
  if (const std::optional<int> over = Parse(app, argc, argv)) {
    return *over;
  }
  SplitPort(options);
  std::vector<Attempt> attempts = AttemptsOn(options);
  FillAccounts(options, attempts);
  Output output;
  const LogView log(0);
  std::vector<std::thread> threads;
  threads.reserve(attempts.size());
  for (Attempt& attempt : attempts) {
    threads.emplace_back([&] { attempt.answer = FirstAnswer(attempt.target, options.timeoutSeconds); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  LogInEverywhere(attempts);
  output.Write(options.format == "json" ? JsonText(options, attempts) : TableText(attempts));
  output.Finish();
  return static_cast<int>(Judge(attempts));
}

}  // namespace Kelvar::Tool
