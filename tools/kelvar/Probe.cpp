#include "tools/kelvar/Probe.h"

#include <algorithm>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "common/text/Escape.h"
#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/JsonWriter.h"
#include "tools/kelvar/LogWatch.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/ProbeStep.h"
#include "tools/kelvar/Reader.h"
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
  Answer answer;
};

void Declare(CLI::App& app, ProbeOptions& options) {
  app.add_option("HOST", options.host, "Name or address")->required();
  app.add_option("--user", options.user, "Also try to log in as this user");
  DeclarePassword(app, options.password);
  DeclareConfig(app, options.config);
  app.add_option("--format", options.format, "table or json")
      ->check(CLI::IsMember({"table", "json"}))
      ->capture_default_str();
  app.add_option("--redfish-port", options.redfishPort, "Port of Redfish")->capture_default_str();
  app.add_option("--cim-port", options.cimPort, "Port of CIM over HTTP")->capture_default_str();
  app.add_option("--cim-https-port", options.cimHttpsPort, "Port of CIM over HTTPS")->capture_default_str();
  app.add_option("--ipmi-port", options.ipmiPort, "Port of IPMI (UDP)")->capture_default_str();
  app.add_option("--timeout", options.timeoutSeconds, "Seconds that each protocol has for a first answer")
      ->check(CLI::Range(1, 60))
      ->capture_default_str();
}

std::string Bracketed(const std::string& host) {
  return host.find(':') != std::string::npos && host.front() != '[' ? "[" + host + "]" : host;
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

Answer FirstAnswer(const Target& target, int timeoutSeconds) {
  const auto& info = target.info;
  if (target.protocol == Protocol::Ipmi) {
    return AskIpmi(info.Host, info.Port, timeoutSeconds);
  }
  const bool redfish = target.protocol == Protocol::Redfish;
  const bool tls = redfish || info.ConnectionType == 1;
  return AskHttp(fmt::format("{}://{}:{}{}", tls ? "https" : "http", Bracketed(info.Host), info.Port,
                             redfish ? "/redfish/v1/" : "/"),
                 timeoutSeconds);
}

/// Reads as little as shows whether the account is good.
Answer LogIn(const Target& target, LogWatch& log, const Answer& first) {
  const Report report = ReadTarget(target, std::nullopt, {{"system"}, false}, log);
  const std::string why = report.entries.empty() ? report.error : report.entries.front().why;
  switch (report.code) {
    case ExitCode::Complete:
    case ExitCode::Partial:
      return {ExitCode::Complete, "login", first.text + ", logged in"};
    case ExitCode::LoginRefused:
      return {report.code, "login", first.text + ", login refused"};
    default: {
      const bool suite = why.find("cipher suite refused") != std::string::npos;
      return {report.code, suite ? "suite" : "login", first.text + ", but reading failed: " + why};
    }
  }
}

/// As LogIn, with the other cipher suite when the first is refused.
Answer LogInBySuite(Target target, LogWatch& log, const Answer& first) {
  constexpr u32 otherSuite = 17;
  Answer answer = LogIn(target, log, first);
  if (answer.step == "suite") {
    target.info.RemoteSessionArgument = otherSuite;
    const Answer second = LogIn(target, log, first);
    answer = second.step == "suite" ? answer : second;
    if (second.code == ExitCode::Complete) {
      answer.text += " with cipher suite 17 alone: add ?suite=17";
    }
  }
  return answer;
}

void Run(Attempt& attempt, int timeoutSeconds, LogWatch& log) {
  attempt.answer = FirstAnswer(attempt.target, timeoutSeconds);
  if (attempt.answer.code == ExitCode::Complete && attempt.login) {
    attempt.answer = LogInBySuite(attempt.target, log, attempt.answer);
  }
}

std::string TableText(const std::vector<Attempt>& attempts) {
  std::size_t width = 0;
  for (const Attempt& attempt : attempts) {
    width = std::max(width, attempt.target.address.size());
  }
  std::string text;
  for (const Attempt& attempt : attempts) {
    const Answer& answer = attempt.answer;
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

int Probe(int argc, const char* const* argv) {
  CLI::App app("Tells which protocols a host answers, and why it does not answer the others.", "kelvar probe");
  ProbeOptions options;
  Declare(app, options);
  if (const std::optional<int> over = Parse(app, argc, argv)) {
    return *over;
  }
  std::vector<Attempt> attempts = AttemptsOn(options);
  FillAccounts(options, attempts);
  Output output;
  LogWatch log(0);
  std::vector<std::thread> threads;
  for (Attempt& attempt : attempts) {
    threads.emplace_back([&] { Run(attempt, options.timeoutSeconds, log); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  output.Write(options.format == "json" ? JsonText(options, attempts) : TableText(attempts));
  output.Finish();
  return static_cast<int>(Judge(attempts));
}

}  // namespace Kelvar::Tool
