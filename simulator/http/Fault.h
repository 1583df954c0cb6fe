#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Kelvar::Simulator {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

/// One thing that a service does wrong, as data. FaultTable tells how it is written.
struct Fault {
  enum class End { Keep, Close, Truncate, Reset, Hang };

  std::string name;
  std::string path = "*";
  std::string method;
  std::uint64_t skip = 0;
  std::uint64_t times = 0;

  std::optional<unsigned> status;
  HeaderList headers;
  std::optional<std::string> body;
  std::uint64_t repeat = 1;
  bool gzip = false;
  bool chunked = false;
  bool endless = false;
  std::optional<std::string> contentLength;
  std::uint64_t headerFlood = 0;
  std::uint64_t trailerFlood = 0;
  std::uint64_t chunkExtension = 0;
  std::uint64_t garbage = 0;
  std::optional<std::string> cimError;
  std::optional<std::string> messageId;

  std::chrono::milliseconds delay{0};
  std::uint64_t dripBytes = 0;
  std::chrono::milliseconds dripInterval{0};
  std::optional<std::uint64_t> cut;
  std::optional<std::uint64_t> cutBody;
  End end = End::Keep;
};

/// The faults of one service, with how often each has struck. Safe to use from any thread.
///
/// A fault is written as `PATH key=value key=value ...`, values with blanks in double quotes, or as a JSON object of
/// the same keys with "path" beside them. PATH is matched against what is asked for, percent-decoded, with the query
/// only when PATH holds a "?" or ends in "*"; "*" stands for any text. The first fault that matches and is not used up
/// applies. Keys:
///
///     name=TEXT           in a file: applies only in a run that switches this name on; may be that of several faults
///     method=GET          this method only
///     skip=N times=N      let N requests through first; apply N times, 0 is for ever
///     status=N            this status; the body becomes empty, unless `body` says otherwise
///     header="Name: text" this header, in place of one of the same name; may be repeated (in JSON a list)
///     redirect=URL        302 with this Location
///     body=TEXT repeat=N  this text N times as the body (repeat alone: the body itself N times)
///     gzip=1              the body compressed, asked for or not
///     chunked=1           chunks instead of a length
///     endless=1           the body again and again until the client leaves
///     content-length=TEXT this text as the length, whatever the body has; "none" leaves the header out
///     header-flood=N      N more headers of 1 KiB each
///     trailer-flood=N     in chunks, with N trailers of 1 KiB each
///     chunk-extension=N   in chunks, each with an extension of N bytes
///     garbage=N           N bytes that are not HTTP in place of the whole answer
///     cim-error="CODE TEXT"   this CIM status instead of what the operation gives
///     message-id=TEXT     this message identifier instead of the request's, in CIM-XML
///     delay=MS            wait before the first byte
///     drip-bytes=N drip-ms=MS   send N bytes at a time with this pause between them
///     cut=N, cut-body=N   stop after N bytes of the answer, or of its body
///     end=close|truncate|reset|hang   what becomes of the connection afterwards: an orderly end (after a cut the
///                         default), an end without the TLS closing, a reset, or silence until the client leaves
///
/// PATH "@accept" applies when a connection has been accepted, before any TLS, "@tls" when the handshake is done; they
/// take skip, times, delay, garbage and end.
class FaultTable {
 public:
  FaultTable() = default;

  /// Adds a fault from its text form. Throws std::invalid_argument with a text for people.
  void Add(std::string_view text);

  /// Adds the list "faults" of a JSON file; a file that is not there adds nothing. Throws std::runtime_error.
  void AddFile(const std::filesystem::path& file);

  /// Adds what is `wanted` in this run and a file, in this order of precedence: faults in text form, and
  /// names of faults of the file. Throws std::invalid_argument or std::runtime_error.
  void Load(const std::vector<std::string>& wanted, const std::filesystem::path& file);

  /// The fault that applies to a request, counting the request. `subject` is the target, or "@accept" or "@tls".
  std::optional<Fault> Match(std::string_view method, std::string_view subject);

 private:
  struct Entry {
    Fault fault;
    bool on = true;
    std::uint64_t met = 0;
  };

  void SwitchOn(const std::string& name);

  std::mutex mutex_;
  std::vector<Entry> entries_;
};

/// Whether `text` is `pattern`, in which each "*" stands for any text.
bool MatchesPattern(std::string_view pattern, std::string_view text);

}  // namespace Kelvar::Simulator
