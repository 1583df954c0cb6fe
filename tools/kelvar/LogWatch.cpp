#include "tools/kelvar/LogWatch.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>

#include <curl/curl.h>

#include <kelvar/Log.h>

#include "common/text/Escape.h"

namespace Kelvar::Tool {

namespace {

constexpr u32 failureLevel = 1;
constexpr u32 gapLevel = 2;
constexpr u32 traceLevel = 4;

constexpr std::string_view exchangeMark = "Exchange: ";  // in front of the records of the transports' requests

constexpr int tlsCodes[] = {CURLE_SSL_CONNECT_ERROR,    CURLE_SSL_ENGINE_NOTFOUND, CURLE_SSL_ENGINE_SETFAILED,
                            CURLE_SSL_CERTPROBLEM,      CURLE_SSL_CIPHER,          CURLE_PEER_FAILED_VERIFICATION,
                            CURLE_USE_SSL_FAILED,       CURLE_SSL_CACERT_BADFILE,  CURLE_SSL_SHUTDOWN_FAILED,
                            CURLE_SSL_CRL_BADFILE,      CURLE_SSL_ISSUER_ERROR,    CURLE_SSL_PINNEDPUBKEYNOTMATCH,
                            CURLE_SSL_INVALIDCERTSTATUS};

constexpr int connectionCodes[] = {CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_CONNECT, CURLE_OPERATION_TIMEDOUT,
                                   CURLE_GOT_NOTHING,          CURLE_SEND_ERROR,      CURLE_RECV_ERROR};

constexpr int notOfferedStatuses[] = {404, 405, 501};

/// The number behind a word such as "curlCode", which a blank or ": " follows.
std::optional<int> NumberBehind(std::string_view text, std::string_view word) {
  std::size_t at = text.find(word);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  at = std::min(text.find_first_not_of(": ", at + word.size()), text.size());
  int number = 0;
  const char* const end = text.data() + text.size();
  return std::from_chars(text.data() + at, end, number).ec == std::errc{} ? std::optional(number) : std::nullopt;
}

bool Has(std::string_view record, std::string_view text) {
  return record.find(text) != std::string_view::npos;
}

/// Records of level 2 also tell of properties that a target need not have: those are no gaps.
bool TellsOfGap(u32 level, std::string_view record) {
  return level == failureLevel ||
         (level == gapLevel && (Has(record, "Failed") || Has(record, "failed") || Has(record, "Catch")));
}

template <std::size_t N>
bool Contains(const int (&codes)[N], int code) {
  return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

/// The library runs on its caller's thread.
thread_local Findings current;
thread_local std::string threadName;

void Watch(u32 level, std::string_view record) {
  if (level == traceLevel && record.substr(0, exchangeMark.size()) == exchangeMark) {
    current.exchanges.emplace_back(record.substr(exchangeMark.size()));
  }
  if (!TellsOfGap(level, record)) {
    return;
  }
  ++current.gaps;
  if (current.why.empty()) {
    current.why = record;
  }
  if (!current.cause) {
    current.cause = CauseOf(record);
  }
}

}  // namespace

bool IsTlsFailure(int curlCode) {
  return Contains(tlsCodes, curlCode);
}

std::optional<ExitCode> CauseOf(std::string_view record) {
  constexpr int unauthorized = 401;
  const int httpCode = NumberBehind(record, "httpCode").value_or(0);
  if (Has(record, "IPMIAUTHFAIL") || Has(record, "HTTP Error (401") || Has(record, "CIM_ERR_ACCESS_DENIED") ||
      httpCode == unauthorized) {
    return ExitCode::LoginRefused;
  }
  const int curlCode = NumberBehind(record, "curlCode").value_or(CURLE_OK);
  const bool cimConnect = Has(record, "Failed to connect remote cimserver");
  if (IsTlsFailure(curlCode) || (cimConnect && Has(record, "SSL"))) {
    return ExitCode::Tls;
  }
  if (Contains(connectionCodes, curlCode) || cimConnect) {
    return ExitCode::Unreachable;
  }
  if (Contains(notOfferedStatuses, httpCode) || Has(record, "CIM_ERR_INVALID_CLASS") ||
      Has(record, "CIM_ERR_NOT_SUPPORTED")) {
    return ExitCode::Unsupported;
  }
  return std::nullopt;
}

LogWatch::LogWatch(u32 shownLevel, bool exchanges) {
  Log::SetMinLogLevel(std::max(shownLevel, exchanges ? traceLevel : gapLevel));
  Log::SetSink([shownLevel](u32 level, const char* file, int line, const std::string& text) {
    Watch(level, text);
    if (level <= shownLevel) {
      const char* const colon = threadName.empty() ? "" : ": ";
      std::fprintf(stderr, "%s%s%s:%d: %s\n", threadName.c_str(), colon, file, line,
                   Text::EscapeControl(text, "\n").c_str());
    }
  });
}

LogWatch::~LogWatch() {
  Log::SetSink(nullptr);
}

Findings LogWatch::Take() {
  return std::exchange(current, {});
}

void LogWatch::NameThread(const std::string& name) {
  threadName = Text::EscapeControl(name);
}

}  // namespace Kelvar::Tool
