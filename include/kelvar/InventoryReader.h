#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/ConnectionOptions.h>
#include <kelvar/Diagnostics.h>
#include <kelvar/Export.h>
#include <kelvar/Inventory.h>

namespace Kelvar {

/// How a target is read.
struct InventoryReaderOptions {
  /// Bound of one Read() in seconds, everything included; 0: only the bounds of its requests.
  double deadline_seconds = 120;
  /// Redfish: requests under way at a time, 1 to 16.
  u32 requests_at_once = 4;
  /// Redfish: how to log in.
  enum class Authentication : u8 {
    Automatic,  ///< a session where the service has them and more than a few requests are expected, else basic
    Session,    ///< always a session
    Basic,      ///< basic authentication with each request
  };
  Authentication authentication = Authentication::Automatic;  ///< how to log in
  /// Redfish: the session of one Read() stays open for the next one; the destructor closes it. A session that the
  /// service has ended meanwhile is replaced by a new one.
  bool keep_session = false;
  /// Most entries of each log; 0: all, within the library's bounds. Over Redfish, entries that are listed as links are
  /// requested from the newest on, and further pages are not when the pages run from newest to oldest.
  u32 log_limit = 0;
  /// Log entries created before this time (ISO 8601) are left out; empty: none are. Over Redfish it saves requests as
  /// `log_limit` does; a log ends after four entries in a row that are older.
  std::string log_since;
  /// Order of log entries within a log; the target's own order otherwise.
  bool newest_first = false;
  /// Redfish: most resources of one reading, 1 to 20000.
  u32 resource_limit = 20000;
  /// IPMI over the network: sensor data records are kept in the process, and used again while the target's own time
  /// stamps are unchanged; for a target without them for a day, while firmware and number of records are unchanged.
  bool sdr_cache = true;
  /// IPMI: folder for copies of these records that outlive the process. It and missing folders above it are made with
  /// mode 0700, files with mode 0600; links, and files and folders that others may have written, are ignored. Empty:
  /// no copies.
  std::string sdr_cache_folder;
  /// TLS, IPMI session and the like.
  ConnectionOptions connection;
};

/// Reads the inventory of one target into the model, over the protocol that ConnectionInfo names, by the public
/// standards: Redfish by its links, IPMI by its records, CIM by the fixed operations' classes.
///
/// One object serves one thread at a time, except Cancel(); objects are independent. Only the constructor throws, when
/// memory is lacking.
class KELVAR_EXPORT InventoryReader {
 public:
  /// Makes no request.
  explicit InventoryReader(const KelvarConnection::ConnectionInfo& info, InventoryReaderOptions options = {});
  /// Closes a session that `keep_session` left open: one request, two at most, of 5 s each.
  ~InventoryReader();
  InventoryReader(const InventoryReader&) = delete;
  InventoryReader& operator=(const InventoryReader&) = delete;

  /// Reads `families`; each has a result of its own. What was read before a failure or the deadline is returned. After
  /// a refused login nothing more is sent with these credentials, in this call and in later ones. A Host that cannot be
  /// one, or an unknown ConnectionCase, is Unreachable without a request. A session that was opened is closed before it
  /// returns, unless `keep_session` is set.
  Model::Inventory Read(const std::vector<Model::Family>& families);
  /// All families.
  Model::Inventory Read();

  /// Bound of every later Read() in seconds, in place of `deadline_seconds`. Makes no request.
  void SetDeadline(double seconds) noexcept;

  /// The Read() that is under way ends as at its deadline, and every later one at once. Over Redfish that takes at
  /// most a second, over CIM until the operation under way ends, over IPMI until the commands under way do. Any thread.
  void Cancel() noexcept;

  /// Requests, gaps and causes of the last Read().
  const Diagnostics& LastDiagnostics() const noexcept;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace Kelvar
