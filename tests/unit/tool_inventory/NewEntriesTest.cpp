#include "tools/kelvar/inventory/NewEntries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Kelvar::Tool {
namespace {

using testing::ElementsAre;

Model::LogEntry Entry(const std::string& log, const std::string& id, const std::string& created = "") {
  Model::LogEntry entry;
  entry.log = log;
  entry.id = id;
  entry.created = created;
  return entry;
}

std::vector<std::string> IdsOf(const std::vector<Model::LogEntry>& entries) {
  std::vector<std::string> ids;
  for (const Model::LogEntry& entry : entries) {
    ids.push_back(entry.log + entry.id);
  }
  return ids;
}

TEST(NewEntries, AreThoseThatNoEarlierReadingHad) {
  NewEntries news;
  EXPECT_THAT(IdsOf(news.Take({Entry("a", "2"), Entry("a", "1"), Entry("b", "1")})), ElementsAre("a2", "a1", "b1"));
  EXPECT_THAT(IdsOf(news.Take({Entry("a", "3"), Entry("a", "2"), Entry("b", "2")})), ElementsAre("a3", "b2"));
  EXPECT_THAT(IdsOf(news.Take({Entry("a", "1")})), ElementsAre()) << "known although it was missing once";
  EXPECT_THAT(IdsOf(news.Take({Entry("a", "1", "2026-03-20T08:00:00Z")})), ElementsAre("a1"))
      << "a cleared log counts from the beginning again";
  EXPECT_THAT(IdsOf(news.Take({Entry("c", "9"), Entry("c", "9")})), ElementsAre("c9"));
}

TEST(NewEntries, MayBeMissingWhereALogIsNewUpToItsLimit) {
  NewEntries news;
  news.Take({Entry("a", "1"), Entry("b", "1")});
  EXPECT_FALSE(news.MayMissSome({}, 2));
  EXPECT_FALSE(news.MayMissSome({Entry("a", "2"), Entry("a", "1"), Entry("b", "2")}, 2));
  EXPECT_TRUE(news.MayMissSome({Entry("b", "1"), Entry("a", "3"), Entry("a", "2")}, 2));
}

TEST(NewEntries, StandInOrderOfTime) {
  const std::vector<Model::LogEntry> newestFirst = {Entry("a", "3", "2026-03-20T08:00:03Z"), Entry("a", "2"),
                                                    Entry("a", "1", "2026-03-20T08:00:01Z"),
                                                    Entry("b", "2", "2026-03-20T09:00:02+01:00"), Entry("b", "1")};
  EXPECT_THAT(IdsOf(InOrderOfTime(newestFirst)), ElementsAre("b1", "a1", "a2", "b2", "a3"));
}

}  // namespace
}  // namespace Kelvar::Tool
