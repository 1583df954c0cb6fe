#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Reader::Ipmi {

/// What tells whether copies of records still hold: Get SDR Repository Info.
struct RepositoryStamp {
  u16 count = 0;
  u32 added = 0;   ///< time of the last addition
  u32 erased = 0;  ///< time of the last erasure
  bool operator==(const RepositoryStamp&) const = default;
  /// The target keeps no times: only the number of records could tell a change.
  bool IsTimeless() const noexcept;
};

/// Records as they came, in the order of their chain.
struct RecordCopy {
  RepositoryStamp stamp;
  std::vector<std::vector<u8>> records;
  std::chrono::sys_seconds read{};  ///< set by SdrCache::Store()
};

/// Copies of sensor data repositories: in the process, and in a folder where one is named. Any thread.
///
/// `key` names target, manufacturer, product and firmware. A copy holds while the target's stamp is the same; where
/// the stamp has no times, for a day at most. A file has mode 0600 and a checksum; one that is not wholly valid, or
/// that others may have written, is ignored; so is a folder of others or a link. Failures to write are logged. Files
/// that were of no use for 90 days are removed, at most 64 with each file that is written.
class SdrCache {
 public:
  using Now = std::function<std::chrono::system_clock::time_point()>;

  explicit SdrCache(std::string folder, Now now = std::chrono::system_clock::now)
      : folder_(std::move(folder)), now_(std::move(now)) {}

  std::optional<RecordCopy> Find(const std::string& key, const RepositoryStamp& stamp) const;
  void Store(const std::string& key, RecordCopy copy) const;
  /// Forgets what the process holds.
  static void ClearProcess();

 private:
  bool Holds(const RecordCopy& copy, const RepositoryStamp& stamp) const;
  std::string FileOf(const std::string& key) const;

  std::string folder_;
  Now now_;
};

/// The contents of a file, and back. Nothing for bytes that are not wholly valid or belong to another key.
std::string EncodeCopy(const std::string& key, const RecordCopy& copy);
std::optional<RecordCopy> DecodeCopy(const std::string& key, const std::string& bytes);

/// The contents of a file around stamp and records that are encoded already.
std::string SealCopy(const std::string& key, const std::string& body);

}  // namespace Kelvar::Reader::Ipmi
