#include "tools/kelvar/RawResource.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>

#include <curl/curl.h>
#include <fmt/format.h>
#include <rapidjson/document.h>
#include <CLI/CLI.hpp>

#include "common/http/TlsTrust.h"
#include "common/text/Escape.h"
#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/Demo.h"
#include "tools/kelvar/JsonWriter.h"
#include "tools/kelvar/Options.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/ServiceRoot.h"

namespace Kelvar::Tool {

namespace {

constexpr std::size_t kMostBytes = std::size_t{64} * 1024 * 1024;
constexpr double kMsPerSecond = 1000;
constexpr long kUnauthorized = 401;
constexpr long kForbidden = 403;
constexpr long kNotFound = 404;
constexpr long kFirstError = 400;

struct RawOptions {
  std::string target;
  std::string path;
  Options connection;
};

using Handle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

std::size_t Collect(const char* bytes, std::size_t size, std::size_t count, void* to) noexcept {
  try {
    auto& text = *static_cast<std::string*>(to);
    if (text.size() + size * count > kMostBytes) {
      return 0;
    }
    text.append(bytes, size * count);
    return size * count;
  } catch (...) {
    return 0;
  }
}

/// Redirects are not followed: they could lead the account elsewhere.
void SetUp(CURL* handle, const std::string& url, const Target& target, const RawOptions& options) {
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, std::lround(options.connection.deadlineSeconds * kMsPerSecond));
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
  curl_easy_setopt(handle, CURLOPT_USERNAME, target.info.UserName.c_str());
  curl_easy_setopt(handle, CURLOPT_PASSWORD, target.info.Password.c_str());
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Collect);
}

ExitCode CodeOf(CURLcode failure) {
  const bool tls = failure == CURLE_SSL_CONNECT_ERROR || failure == CURLE_PEER_FAILED_VERIFICATION ||
                   failure == CURLE_SSL_CACERT_BADFILE;
  return tls ? ExitCode::Tls : failure == CURLE_WRITE_ERROR ? ExitCode::BadData : ExitCode::Unreachable;
}

ExitCode CodeOf(long status) {
  if (status == kUnauthorized || status == kForbidden) {
    return ExitCode::LoginRefused;
  }
  if (status == kNotFound) {
    return ExitCode::Unsupported;
  }
  return status >= kFirstError ? ExitCode::BadData : ExitCode::Complete;
}

std::string Fetch(const Target& target, const RawOptions& options, ExitCode& code) {
  Http::TlsTrust trust(options.connection.reader.connection);  // before the handle, which asks it
  const Handle handle(curl_easy_init(), curl_easy_cleanup);
  if (!handle) {
    throw ToolError(ExitCode::Internal, "out of memory");
  }
  const std::string url = fmt::format("https://{}:{}{}", Bracketed(target.info.Host), target.info.Port, options.path);
  std::string body;
  SetUp(handle.get(), url, target, options);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &body);
  const CURLcode unable = trust.Apply(handle.get());
  const CURLcode failure = unable != CURLE_OK ? unable : curl_easy_perform(handle.get());
  if (failure != CURLE_OK) {
    throw ToolError(CodeOf(failure), options.path + ": " + curl_easy_strerror(failure));
  }
  long status = 0;
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
  code = CodeOf(status);
  if (code != ExitCode::Complete) {
    PrintError(fmt::format("{}: HTTP {}", options.path, status));
  }
  return body;
}

/// JSON over several lines, in ASCII; any other text with its control characters escaped.
std::string Shown(const std::string& path, const std::string& body, ExitCode& code) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(body.data(), body.size());
  if (document.HasParseError()) {
    if (code == ExitCode::Complete) {
      PrintError(path + ": the response is not JSON");
      code = ExitCode::BadData;
    }
    return Text::EscapeControl(body, "\n") + '\n';
  }
  JsonBuffer buffer;
  IndentedJson writer(buffer);
  writer.SetIndent(' ', 2);
  document.Accept(writer);
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

int Show(const RawOptions& options) {
  if (options.path.empty() || options.path.front() != '/') {
    throw ToolError(ExitCode::Usage, "a path must begin with /, such as /redfish/v1/Systems");
  }
  if (std::any_of(options.path.begin(), options.path.end(), [](char one) { return one <= ' ' || one > '~'; })) {
    throw ToolError(ExitCode::Usage, "a path must be printable ASCII; write other characters as %XX");
  }
  std::optional<DemoMachine> demo;
  if (DemoMachine::Names(options.target)) {
    demo.emplace(options.target);
  }
  Target target = demo ? demo->Address() : ParseTarget(options.target);
  if (target.protocol != Protocol::Redfish) {
    throw ToolError(ExitCode::Usage, "raw reads Redfish resources; use redfish://HOST");
  }
  if (!demo) {
    Credentials(options.connection.password, ConfigNamed(options.connection.config)).Fill(target);
  }
  Output output;
  ExitCode code = ExitCode::Complete;
  const std::string body = Fetch(target, options, code);
  output.Write(Shown(options.path, body, code));
  output.Finish();
  return static_cast<int>(code);
}

}  // namespace

int RawMain(int argc, const char* const* argv) {
  CLI::App app("Prints one Redfish resource as JSON.", "kelvar raw");
  RawOptions options;
  app.add_option("TARGET", options.target, "redfish://[USER@]HOST[:PORT] or demo:")->required();
  app.add_option("PATH", options.path, "Path of the resource, such as /redfish/v1/Systems")->required();
  DeclareConnection(app, options.connection);
  DeclarePassword(app, options.connection.password);
  DeclareConfig(app, options.connection.config);
  app.footer(
      "Examples\n"
      "  kelvar raw demo: /redfish/v1/\n"
      "  kelvar raw redfish://admin@192.0.2.10 /redfish/v1/Systems | jq .Members");
  if (const std::optional<int> over = Parse(app, argc, argv)) {
    return *over;
  }
  return Show(options);
}

}  // namespace Kelvar::Tool
