#include "tools/kelvar/LogWatch.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <mutex>
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

constexpr int unauthorized = 401;
constexpr int notOfferedStatuses[] = {404, 405, 501};

constexpr std::string_view cimConnectFailure = "Failed to connect remote cimserver";

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

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

/// The number behind `word` in front of a text, else 0.
int NumberInFront(std::string_view text, std::string_view word) {
  return StartsWith(text, word) ? NumberBehind(text, word).value_or(0) : 0;
}

/// Why a request over CIM failed, by what came in place of instances.
ExitCode CauseOfCimAnswer(std::string_view answer) {
  constexpr int accessDenied = 2;
  constexpr int notOffered[] = {5, 7};  // no such class, not supported
  constexpr std::string_view unanswered[] = {"Connection closed by CIM Server.", "connection timed out",
                                             "Cannot connect to ", "Invalid locator: ", "not connected"};
  const int status = NumberInFront(answer, "CIM status");
  const int httpCode = NumberInFront(answer, "HTTP Error (");
  if (status == accessDenied || httpCode == unauthorized) {
    return ExitCode::LoginRefused;
  }
  if (Contains(notOffered, status) || Contains(notOfferedStatuses, httpCode)) {
    return ExitCode::Unsupported;
  }
  const bool isUnanswered = std::any_of(std::begin(unanswered), std::end(unanswered),
                                        [&](std::string_view start) { return StartsWith(answer, start); });
  return isUnanswered ? ExitCode::Unreachable : ExitCode::BadData;
}

/// The library runs on its caller's thread.
thread_local Findings current;
thread_local std::string threadName;
thread_local bool hushed = false;
thread_local std::string failedConnect;  ///< the last connect over CIM, if it failed

void AddGap(std::string_view record, std::optional<ExitCode> cause) {
  ++current.gaps;
  if (current.why.empty()) {
    current.why = record;
  }
  if (!current.cause) {
    current.cause = cause;
  }
}

void WatchExchange(std::string_view exchange) {
  constexpr std::string_view arrow = " -> ";
  const std::size_t at = exchange.find(arrow);
  const std::string_view answer = exchange.substr(std::min(at, exchange.size() - arrow.size()) + arrow.size());
  if (StartsWith(exchange, "CIM connect ")) {
    failedConnect = answer == "connected" ? std::string_view() : exchange;  // one of several tries
  } else if (StartsWith(exchange, "CIM ")) {
    const std::size_t behindCount = std::min(answer.find_first_not_of("0123456789"), answer.size());
    if (answer.substr(behindCount) != " instances") {
      AddGap(exchange, CauseOfCimAnswer(answer));
    }
  }
}

void Watch(u32 level, std::string_view record, bool keepExchanges) {
  if (level == traceLevel && StartsWith(record, exchangeMark)) {
    const std::string_view exchange = record.substr(exchangeMark.size());
    if (keepExchanges) {
      current.exchanges.emplace_back(exchange);
    }
    WatchExchange(exchange);
  } else if (TellsOfGap(level, record)) {
    const bool connects = Has(record, cimConnectFailure) && !failedConnect.empty();
    const std::string_view telling = connects ? failedConnect : record;
    const auto cause = CauseOf(telling);
    AddGap(telling, connects ? cause.value_or(ExitCode::Unreachable) : cause);
  }
}

/// How much of the log the library writes.
class Level {
 public:
  void SetUsual(u32 level) {
    const std::lock_guard<std::mutex> lock(mutex_);
    usual_ = level;
    Apply();
  }
  void AddTrace(int watchers) {
    const std::lock_guard<std::mutex> lock(mutex_);
    traceWatchers_ += watchers;
    Apply();
  }

 private:
  void Apply() const { Log::SetMinLogLevel(traceWatchers_ > 0 ? traceLevel : usual_); }

  std::mutex mutex_;
  u32 usual_ = failureLevel;
  int traceWatchers_ = 0;
};

Level& TheLevel() {
  static Level level;
  return level;
}

}  // namespace

TraceWatch::TraceWatch() {
  TheLevel().AddTrace(1);
}

TraceWatch::~TraceWatch() {
  TheLevel().AddTrace(-1);
}

bool IsTlsFailure(int curlCode) {
  return Contains(tlsCodes, curlCode);
}

std::optional<ExitCode> CauseOf(std::string_view record) {
  const int httpCode = NumberBehind(record, "httpCode").value_or(0);
  if (Has(record, "IPMIAUTHFAIL") || httpCode == unauthorized) {
    return ExitCode::LoginRefused;
  }
  const int curlCode = NumberBehind(record, "curlCode").value_or(CURLE_OK);
  const bool cimConnect = Has(record, cimConnectFailure);
  if (IsTlsFailure(curlCode) || (cimConnect && Has(record, "SSL"))) {
    return ExitCode::Tls;
  }
  if (Contains(connectionCodes, curlCode) || cimConnect) {
    return ExitCode::Unreachable;
  }
  if (Contains(notOfferedStatuses, httpCode)) {
    return ExitCode::Unsupported;
  }
  return std::nullopt;
}

LogWatch::LogWatch(u32 shownLevel, bool exchanges) {
  TheLevel().SetUsual(std::max(shownLevel, exchanges ? traceLevel : gapLevel));
  Log::SetSink([shownLevel, exchanges](u32 level, const char* file, int line, const std::string& text) {
    Watch(level, text, exchanges);
    if (level <= shownLevel && !(hushed && shownLevel == failureLevel)) {
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

void LogWatch::Hush(bool hush) {
  hushed = hush;
}

void LogWatch::NameThread(const std::string& name) {
  threadName = Text::EscapeControl(name);
}

}  // namespace Kelvar::Tool
