// Copies of sensor data records, in the process and in files.

#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "module/reader/ipmi/SdrCache.h"
#include "support/TemporaryFolder.h"

namespace Kelvar::Reader::Ipmi {
namespace {

using Test::TemporaryFolder;

const RecordCopy kCopy = {{2, 0x65B84C80, 0x65B84C00}, {{1, 2, 3}, {}, std::vector<u8>(300, 7)}};

TEST(Cache, IsDecodedOnlyWhenWholeAndOfTheSameKey) {
  const std::string bytes = EncodeCopy("key", kCopy);
  const auto copy = DecodeCopy("key", bytes);
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->stamp, kCopy.stamp);
  EXPECT_EQ(copy->records, kCopy.records);
  EXPECT_FALSE(DecodeCopy("other", bytes));
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    std::string changed = bytes;
    changed[at] = static_cast<char>(changed[at] ^ 1);
    EXPECT_FALSE(DecodeCopy("key", changed)) << at;
    EXPECT_FALSE(DecodeCopy("key", bytes.substr(0, at))) << at;
  }
}

TEST(Cache, HoldsWhileTheStampIsTheSame) {
  SdrCache::ClearProcess();
  const SdrCache cache("");
  EXPECT_FALSE(cache.Find("a", kCopy.stamp));
  cache.Store("a", kCopy);
  EXPECT_TRUE(cache.Find("a", kCopy.stamp));
  EXPECT_FALSE(cache.Find("b", kCopy.stamp));
  EXPECT_FALSE(cache.Find("a", {2, 0x65B84C81, 0x65B84C00}));
  EXPECT_FALSE(cache.Find("a", {3, 0x65B84C80, 0x65B84C00}));
}

TEST(Cache, AFileIsPrivateAndCheckedBeforeItIsUsed) {
  const TemporaryFolder folder;
  const std::string place = (folder.Path() / "cache").string();
  const SdrCache cache(place);
  cache.Store("a", kCopy);
  std::filesystem::path file;
  for (const auto& entry : std::filesystem::directory_iterator(place)) {
    file = entry.path();
  }
  struct stat status {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);

  const auto found = [&] {
    SdrCache::ClearProcess();
    return cache.Find("a", kCopy.stamp).has_value();
  };
  EXPECT_TRUE(found());
  ASSERT_EQ(chmod(file.c_str(), 0622), 0);
  EXPECT_FALSE(found()) << "others may have written it";
  ASSERT_EQ(chmod(file.c_str(), 0600), 0);
  EXPECT_TRUE(found());
  std::filesystem::rename(file, file.string() + ".real");
  std::filesystem::create_symlink(file.string() + ".real", file);
  EXPECT_FALSE(found()) << "a link";
  std::filesystem::remove(file);
  std::ofstream(file) << "rubbish";
  EXPECT_FALSE(found());
}

TEST(Cache, AFolderThatIsNotTheUsersOwnIsLeftAlone) {
  const TemporaryFolder folder;
  const auto place = folder.Path() / "cache";
  const auto found = [&] {
    SdrCache::ClearProcess();
    return SdrCache(place.string()).Find("a", kCopy.stamp).has_value();
  };
  SdrCache(place.string()).Store("a", kCopy);
  EXPECT_TRUE(found());
  ASSERT_EQ(chmod(place.c_str(), 0722), 0);
  EXPECT_FALSE(found()) << "others may write into it";
  ASSERT_EQ(chmod(place.c_str(), 0700), 0);
  std::filesystem::rename(place, folder.Path() / "real");
  std::filesystem::create_directory_symlink(folder.Path() / "real", place);
  EXPECT_FALSE(found()) << "a link";
  SdrCache(place.string()).Store("b", kCopy);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path() / "real"), {}), 1);
}

TEST(Cache, WithoutTimesACopyHoldsForADay) {
  using std::chrono::seconds;
  const TemporaryFolder folder;
  const auto start = std::chrono::system_clock::now();
  auto now = start;
  const SdrCache cache(folder.Path().string(), [&] { return now; });
  const RecordCopy timeless = {{2, 0, 0xFFFFFFFF}, {{1}}};
  cache.Store("timeless", timeless);
  cache.Store("a", kCopy);
  const struct {
    seconds age;
    bool held;
  } rows[] = {{seconds(1), true}, {seconds(86398), true}, {seconds(86400), false}, {seconds(-60), false}};
  for (const bool fromFile : {false, true}) {
    for (const auto& row : rows) {
      now = start + row.age;
      if (fromFile) {
        SdrCache::ClearProcess();
      }
      EXPECT_EQ(cache.Find("timeless", timeless.stamp).has_value(), row.held) << row.age.count() << fromFile;
      EXPECT_TRUE(cache.Find("a", kCopy.stamp)) << row.age.count() << fromFile;
    }
  }
  now = start;
  EXPECT_FALSE(cache.Find("timeless", {3, 0, 0xFFFFFFFF})) << "another number of records";
}

TEST(Cache, FilesOfNoUseAreRemovedAfterALongTime) {
  using std::chrono::hours;
  const TemporaryFolder folder;
  const std::string place = folder.Path().string();
  auto now = std::chrono::system_clock::now();
  const SdrCache cache(place, [&] { return now; });
  const auto files = [&] { return std::distance(std::filesystem::directory_iterator(place), {}); };
  for (const char* name : {"notes", "sdr-of-mine", "sdr-0123456789abcdefg"}) {
    std::ofstream(folder.Path() / name) << "not of the cache";
  }
  for (unsigned unfinished = 100; unfinished < 170; ++unfinished) {
    std::ofstream(folder.Path() / ("sdr-0123456789abcdef." + std::to_string(unfinished))) << "cut";
  }
  cache.Store("used", kCopy);
  cache.Store("forgotten", kCopy);
  now += hours(24 * 60);
  SdrCache::ClearProcess();
  EXPECT_TRUE(cache.Find("used", kCopy.stamp));
  cache.Store("new", kCopy);
  EXPECT_EQ(files(), 3 + 70 + 3);
  now += hours(24 * 31);
  cache.Store("new", kCopy);
  EXPECT_EQ(files(), 3 + 70 + 3 - 64) << "some at a time";
  cache.Store("new", kCopy);
  EXPECT_EQ(files(), 3 + 2);
  SdrCache::ClearProcess();
  EXPECT_TRUE(cache.Find("used", kCopy.stamp));
  EXPECT_FALSE(cache.Find("forgotten", kCopy.stamp));
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi
