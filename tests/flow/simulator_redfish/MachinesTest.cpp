// Machines in shapes of several manufacturers: a crawl with libcurl finds the pages, the links that lead nowhere and
// the oddities that tests/data/machines lists, and no others.

#include <algorithm>
#include <deque>
#include <filesystem>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RedfishFixture.h"
#include "simulator/machine/JsonFile.h"
#include "support/TestPlaces.h"

namespace Kelvar::Simulator {
namespace {

std::vector<std::string> MachineNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(Kelvar::Test::kExpectations)) {
    names.push_back(entry.path().stem().string());
  }
  return names;
}

/// The path of a link, without a place in the page, decoded, and without a slash at its end.
std::string PageOf(std::string link) {
  link.resize(std::min(link.find('#'), link.size()));
  link = PercentDecode(link);
  if (link.ends_with('/')) {
    link.pop_back();
  }
  return link;
}

class Machines : public testing::TestWithParam<std::string> {
 protected:
  void Crawl() {
    while (!waiting_.empty()) {
      const std::string path = waiting_.front();
      waiting_.pop_front();
      std::string target = path;
      if (const std::size_t hash = target.find('#'); hash != std::string::npos) {
        target.replace(hash, 1, "%23");
      }
      const rapidjson::Document page = redfish_.Json(target);
      if (!page.IsObject()) {
        dead_.push_back(path);
        continue;
      }
      ++pages_;
      Inspect(path, page);
    }
  }

  void Inspect(const std::string& path, const rapidjson::Document& page) {
    ASSERT_TRUE(page.HasMember("@odata.id") && page.HasMember("@odata.type")) << path;
    const std::string own = PageOf(page["@odata.id"].GetString());
    const bool isLaterPage = path.find('?') != std::string::npos;
    otherCase_ += own == path.substr(0, path.find('?')) ? 0U : 1U;
    reached_.insert(own);
    const bool counts = page.HasMember("Members@odata.count") && page["Members@odata.count"].IsUint();
    const bool lies = page.HasMember("Members") && !isLaterPage && !page.HasMember("Members@odata.nextLink") &&
                      (!counts || page["Members@odata.count"].GetUint() != page["Members"].Size());
    if (lies) {
      wrongCounts_.push_back(path);
    }
    Follow(page);
  }

  void Follow(const rapidjson::Value& value) {
    if (value.IsArray()) {
      for (const auto& element : value.GetArray()) {
        Follow(element);
      }
    }
    if (!value.IsObject()) {
      return;
    }
    for (const auto& [key, member] : value.GetObject()) {
      const std::string name = key.GetString();
      const bool isLink =
          name == "@odata.id" || name == "DataSourceUri" || name == "Uri" || name == "Members@odata.nextLink";
      const std::string target = isLink && member.IsString() ? PageOf(member.GetString()) : std::string();
      if (!target.empty() && seen_.insert(target).second) {
        waiting_.push_back(target);
      }
      Follow(member);
    }
  }

  Kelvar::Test::RedfishFixture redfish_{GetParam()};
  std::set<std::string> seen_{"/redfish/v1"};
  std::deque<std::string> waiting_{"/redfish/v1"};
  std::set<std::string> reached_;
  std::size_t pages_ = 0;
  std::size_t otherCase_ = 0;
  std::vector<std::string> dead_;
  std::vector<std::string> wrongCounts_;
};

INSTANTIATE_TEST_SUITE_P(All, Machines, testing::ValuesIn(MachineNames()), [](const auto& param) {
  std::string name = param.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

std::vector<std::string> Texts(const rapidjson::Value& list) {
  std::vector<std::string> texts;
  for (const auto& text : list.GetArray()) {
    texts.emplace_back(text.GetString());
  }
  return texts;
}

TEST_P(Machines, LinkTheirPagesAndLeadNowhereWhereItIsMeant) {
  const auto expected = Json::ReadObject(std::string(Kelvar::Test::kExpectations) + "/" + GetParam() + ".json");
  const auto& crawl = expected["crawl"];
  Crawl();
  EXPECT_EQ(pages_, crawl["pages"].GetUint());
  EXPECT_EQ(otherCase_, crawl["other_case"].GetUint());
  EXPECT_THAT(dead_, testing::UnorderedElementsAreArray(Texts(crawl["dead"])));
  EXPECT_THAT(wrongCounts_, testing::UnorderedElementsAreArray(Texts(crawl["wrong_counts"])));
  redfish_.Service().Tree().ForEach([this](const std::string& path, const std::string& /*page*/) {
    EXPECT_TRUE(reached_.count(path) > 0) << path << " is linked from nowhere";
  });
}

}  // namespace
}  // namespace Kelvar::Simulator
