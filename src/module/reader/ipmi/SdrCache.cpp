#include "module/reader/ipmi/SdrCache.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr std::size_t kMostTargets = 1024;
constexpr std::size_t kMostFileBytes = std::size_t{4} << 20;
constexpr std::chrono::hours kForgotten(24 * 90);
constexpr std::string_view kFilePrefix = "sdr-";
constexpr char kMagic[] = "kelvar sensor data records 2\n";

std::mutex heldMutex;
std::map<std::string, RecordCopy>& HeldCopies() {
  static auto* const copies = new std::map<std::string, RecordCopy>();  // outlives threads at the end of the process
  return *copies;
}

std::optional<RecordCopy> Held(const std::string& key) {
  const std::lock_guard<std::mutex> lock(heldMutex);
  const auto held = HeldCopies().find(key);
  return held == HeldCopies().end() ? std::nullopt : std::optional<RecordCopy>(held->second);
}

void Hold(const std::string& key, const RecordCopy& copy) {
  const std::lock_guard<std::mutex> lock(heldMutex);
  auto& copies = HeldCopies();
  if (copies.size() >= kMostTargets && copies.count(key) == 0) {
    copies.erase(copies.begin());
  }
  copies[key] = copy;
}

/// FNV-1a
u64 Hash(const std::string& text) {
  u64 hash = 0xCBF29CE484222325;
  for (const char letter : text) {
    hash = (hash ^ static_cast<u8>(letter)) * 0x100000001B3;
  }
  return hash;
}

std::string HexOf(u64 number) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) {
    text += kDigits[(number >> shift) & 0x0F];
  }
  return text;
}

void AppendU16(std::string& bytes, unsigned number) {
  bytes.append({static_cast<char>(number), static_cast<char>(number >> 8)});
}

void AppendU32(std::string& bytes, u32 number) {
  AppendU16(bytes, number & 0xFFFF);
  AppendU16(bytes, number >> 16);
}

class File {
 public:
  explicit File(int descriptor) : descriptor_(descriptor) {}
  ~File() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int Descriptor() const noexcept { return descriptor_; }

 private:
  int descriptor_;
};

/// Makes a folder, and those above it that are missing, for this user alone.
bool MakeFolder(const std::string& path) {
  constexpr mode_t kOwner = 0700;
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
    mkdir(path.substr(0, end).c_str(), kOwner);
  }
  return mkdir(path.c_str(), kOwner) == 0 || errno == EEXIST;
}

/// Whether a path is a folder of this user that others cannot write to, and not a link to one.
bool IsOwnFolder(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & 022) == 0;
}

/// Nothing for a file that is not there or that another user may have written.
std::optional<std::string> ReadOwnFile(const std::string& path) {
  const File file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (file.Descriptor() < 0 || fstat(file.Descriptor(), &status) != 0) {
    return std::nullopt;
  }
  const bool own = S_ISREG(status.st_mode) && status.st_uid == geteuid() && (status.st_mode & 022) == 0;
  if (!own || status.st_size < 0 || static_cast<std::size_t>(status.st_size) > kMostFileBytes) {
    KELVAR_LOG(2) << "IPMI reading: " << path << " is not used: not an own file, writable by others, or too large";
    return std::nullopt;
  }
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t count = read(file.Descriptor(), bytes.data(), bytes.size());
  return count == status.st_size ? std::optional<std::string>(std::move(bytes)) : std::nullopt;
}

bool IsOlder(const struct stat& status, std::chrono::system_clock::time_point now, std::chrono::hours age) {
  return std::chrono::system_clock::from_time_t(status.st_mtime) + age < now;
}

/// That a file was of use, to the day.
void NoteUse(const std::string& path, std::chrono::system_clock::time_point now) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && IsOlder(status, now, std::chrono::hours(24))) {
    const timespec time{std::chrono::system_clock::to_time_t(now), 0};
    const timespec times[] = {time, time};
    (void)utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
  }
}

/// The name of a file of this cache, or of one that was not finished.
bool IsOurs(const std::string& name) {
  constexpr std::size_t kDigits = 16;
  const std::size_t end = kFilePrefix.size() + kDigits;
  return name.compare(0, kFilePrefix.size(), kFilePrefix) == 0 && name.size() >= end &&
         name.find_first_not_of("0123456789abcdef", kFilePrefix.size()) >= end &&
         (name.size() == end || name[end] == '.');
}

/// Files of this cache that were of no use for long, some at a time.
void RemoveForgotten(const std::string& folder, std::chrono::system_clock::time_point now) {
  constexpr unsigned kMostLookedAt = 4096;
  constexpr unsigned kMostRemoved = 64;
  unsigned lookedAt = 0;
  unsigned removed = 0;
  std::error_code error;
  for (std::filesystem::directory_iterator file(folder, error), end; !error && file != end; file.increment(error)) {
    const std::string path = file->path().string();
    struct stat status {};
    if (IsOurs(file->path().filename().string()) && lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_uid == geteuid() && IsOlder(status, now, kForgotten) && unlink(path.c_str()) == 0) {
      ++removed;
    }
    if (++lookedAt >= kMostLookedAt || removed >= kMostRemoved) {
      break;
    }
  }
  if (removed > 0) {
    KELVAR_LOG(3) << "IPMI reading: " << removed << " old files removed from " << folder;
  }
}

/// A new file takes the place of the old one as a whole.
bool WriteOwnFile(const std::string& path, const std::string& bytes) {
  std::string temporary = path + ".XXXXXX";
  const File file(mkostemp(temporary.data(), O_CLOEXEC));  // mode 0600
  if (file.Descriptor() < 0) {
    return false;
  }
  if (write(file.Descriptor(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
      rename(temporary.c_str(), path.c_str()) == 0) {
    return true;
  }
  const int error = errno;
  unlink(temporary.c_str());
  errno = error;
  return false;
}

}  // namespace

bool RepositoryStamp::IsTimeless() const noexcept {
  constexpr u32 kUnspecified = 0xFFFFFFFF;
  const auto none = [](u32 time) { return time == 0 || time == kUnspecified; };
  return none(added) && none(erased);
}

bool SdrCache::Holds(const RecordCopy& copy, const RepositoryStamp& stamp) const {
  constexpr std::chrono::hours kTimelessAge(24);
  if (copy.stamp != stamp) {
    return false;
  }
  const auto now = now_();
  return !stamp.IsTimeless() || (copy.read <= now && now - copy.read < kTimelessAge);
}

std::optional<RecordCopy> SdrCache::Find(const std::string& key, const RepositoryStamp& stamp) const {
  if (auto copy = Held(key); copy && Holds(*copy, stamp)) {
    return copy;
  }
  if (folder_.empty()) {
    return std::nullopt;
  }
  const auto bytes = IsOwnFolder(folder_) ? ReadOwnFile(FileOf(key)) : std::nullopt;
  auto copy = bytes ? DecodeCopy(key, *bytes) : std::nullopt;
  if (!copy || !Holds(*copy, stamp)) {
    return std::nullopt;
  }
  NoteUse(FileOf(key), now_());
  Hold(key, *copy);
  return copy;
}

void SdrCache::Store(const std::string& key, RecordCopy copy) const {
  copy.read = std::chrono::floor<std::chrono::seconds>(now_());
  Hold(key, copy);
  if (folder_.empty()) {
    return;
  }
  if (!MakeFolder(folder_)) {
    KELVAR_LOG(2) << "IPMI reading: folder " << folder_ << ": " << std::strerror(errno);
    return;
  }
  if (!IsOwnFolder(folder_)) {
    KELVAR_LOG(2) << "IPMI reading: folder " << folder_ << " is not used: not an own folder, or writable by others";
    return;
  }
  if (!WriteOwnFile(FileOf(key), EncodeCopy(key, copy))) {
    KELVAR_LOG(2) << "IPMI reading: no copy of sensor data records in " << folder_ << ": " << std::strerror(errno);
  }
  NoteUse(FileOf(key), now_());  // the file system may have another clock
  RemoveForgotten(folder_, now_());
}

void SdrCache::ClearProcess() {
  const std::lock_guard<std::mutex> lock(heldMutex);
  HeldCopies().clear();
}

std::string SdrCache::FileOf(const std::string& key) const {
  return folder_ + "/" + std::string(kFilePrefix) + HexOf(Hash(key));
}

std::string SealCopy(const std::string& key, const std::string& body) {
  const std::string bytes = kMagic + key + "\n" + body;
  return bytes + HexOf(Hash(bytes));
}

std::string EncodeCopy(const std::string& key, const RecordCopy& copy) {
  std::string bytes;
  AppendU16(bytes, copy.stamp.count);
  AppendU32(bytes, copy.stamp.added);
  AppendU32(bytes, copy.stamp.erased);
  AppendU32(bytes, static_cast<u32>(copy.read.time_since_epoch().count()));
  AppendU16(bytes, static_cast<unsigned>(copy.records.size()));
  for (const std::vector<u8>& record : copy.records) {
    AppendU16(bytes, static_cast<unsigned>(record.size()));
    bytes.append(record.begin(), record.end());
  }
  return SealCopy(key, bytes);
}

std::optional<RecordCopy> DecodeCopy(const std::string& key, const std::string& bytes) {
  constexpr std::size_t kHashSize = 16;
  const std::string start = kMagic + key + "\n";
  if (bytes.size() < start.size() + kHashSize || bytes.compare(0, start.size(), start) != 0) {
    return std::nullopt;
  }
  const std::string hashed = bytes.substr(0, bytes.size() - kHashSize);
  if (bytes.substr(hashed.size()) != HexOf(Hash(hashed))) {
    return std::nullopt;
  }
  const std::vector<u8> body(hashed.begin() + static_cast<std::ptrdiff_t>(start.size()), hashed.end());
  Text::ByteReader reader(body);
  RecordCopy copy;
  copy.stamp.count = reader.U16();
  copy.stamp.added = reader.U32();
  copy.stamp.erased = reader.U32();
  copy.read = std::chrono::sys_seconds(std::chrono::seconds(reader.U32()));
  const std::size_t count = reader.U16();
  for (std::size_t index = 0; index < count && reader.Ok(); ++index) {
    const auto record = reader.Bytes(reader.U16());
    copy.records.emplace_back(record.begin(), record.end());
  }
  return reader.Ok() && reader.Remaining() == 0 ? std::optional<RecordCopy>(std::move(copy)) : std::nullopt;
}

}  // namespace Kelvar::Reader::Ipmi
