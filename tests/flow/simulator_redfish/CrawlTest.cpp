// Crawls what a machine serves: every link leads somewhere, every value has the type that a real service gives.

#include <algorithm>
#include <deque>
#include <map>
#include <set>

#include <gtest/gtest.h>
#include <rapidjson/pointer.h>

#include "RedfishFixture.h"
#include "simulator/machine/JsonFile.h"
#include "support/TestPlaces.h"

namespace Kelvar::Simulator {
namespace {

using Words = std::map<std::string, std::set<std::string>>;

/// Whether a text is a date with time and zone.
bool IsTime(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
  return text == "0000-00-00T00:00:00Z" || text == "0000-00-00T00:00:00+00:00" || text == "0000-00-00T00:00:00-00:00";
}

/// Whether a value is of a type of property_types.json.
bool IsOf(const std::string& type, const rapidjson::Value& value) {
  const std::size_t orNull = type.find(" or null");
  const std::string kind = type.substr(0, orNull);
  return (orNull != std::string::npos && value.IsNull()) || (kind == "string" && value.IsString()) ||
         (kind == "time" && value.IsString() && IsTime(value.GetString())) || (kind == "integer" && value.IsInt64()) ||
         (kind == "number" && value.IsNumber()) || (kind == "real" && value.IsDouble()) ||
         (kind == "boolean" && value.IsBool()) || (kind == "array" && value.IsArray()) ||
         (kind == "object" && value.IsObject());
}

class Crawl : public testing::TestWithParam<const char*> {
 protected:
  Crawl() : redfish_(GetParam()) {
    const auto file = Json::ReadObject(Kelvar::Test::InTree("tests/flow/simulator_redfish/property_types.json"));
    for (const auto& [type, names] : file["types"].GetObject()) {
      for (const auto& name : names.GetArray()) {
        types_[name.GetString()].insert(type.GetString());
      }
    }
    for (const auto& [name, words] : file["enumerations"].GetObject()) {
      for (const auto& word : words.GetArray()) {
        enumerations_[name.GetString()].insert(word.GetString());
      }
    }
  }

  void Visit(const std::string& path) {
    const rapidjson::Document page = redfish_.Json(path);
    ASSERT_TRUE(page.IsObject()) << path;
    ASSERT_TRUE(page.HasMember("@odata.id") && page["@odata.id"].IsString()) << path;
    EXPECT_EQ(path, page["@odata.id"].GetString());
    ASSERT_TRUE(page.HasMember("@odata.type") && page.HasMember("Name")) << path;
    if (page.HasMember("Members")) {
      EXPECT_TRUE(page["Members"].IsArray() && page.HasMember("Members@odata.count")) << path;
      EXPECT_EQ(page["Members"].Size(), page["Members@odata.count"].GetUint()) << path;
    } else {
      ASSERT_TRUE(page.HasMember("Id") && page["Id"].IsString()) << path;
      const bool isRoot = path == "/redfish/v1";
      EXPECT_TRUE(isRoot || path.substr(path.rfind('/') + 1) == page["Id"].GetString()) << path;
    }
    Walk(page, page, path, "");
  }

  void Walk(const rapidjson::Document& page, const rapidjson::Value& value, const std::string& path,
            const std::string& parent) {
    if (value.IsArray()) {
      for (const auto& element : value.GetArray()) {
        Walk(page, element, path, parent);
      }
    }
    if (!value.IsObject()) {
      return;
    }
    for (const auto& [key, member] : value.GetObject()) {
      const std::string name = key.GetString();
      Check(path, parent, name, member);
      if (name == "@odata.id" && member.IsString()) {
        Follow(page, path, member.GetString());
      }
      Walk(page, member, path, name);
    }
  }

  void Check(const std::string& path, const std::string& parent, const std::string& name,
             const rapidjson::Value& value) {
    const auto& allowed = types_[name];
    EXPECT_TRUE(std::any_of(allowed.begin(), allowed.end(), [&](const auto& type) { return IsOf(type, value); }))
        << path << ": " << name;
    const std::string qualified = parent + '.' + name;
    const auto words = enumerations_.find(enumerations_.count(qualified) > 0 ? qualified : name);
    if (words != enumerations_.end() && value.IsString()) {
      EXPECT_TRUE(words->second.count(value.GetString()) > 0) << path << ": " << name << " " << value.GetString();
    }
  }

  /// Notes the page that a link leads to; where it leads into a page, that must be this one and have the place.
  void Follow(const rapidjson::Document& page, const std::string& path, const std::string& link) {
    const std::size_t hash = link.find('#');
    if (hash != std::string::npos && link.substr(0, hash) == path) {
      EXPECT_NE(rapidjson::Pointer(link.c_str() + hash + 1).Get(page), nullptr) << path << ": " << link;
    }
    if (const std::string target = link.substr(0, hash); seen_.insert(target).second) {
      waiting_.push_back(target);
    }
  }

  Kelvar::Test::RedfishFixture redfish_;
  Words types_;
  Words enumerations_;
  std::set<std::string> seen_{"/redfish/v1"};
  std::deque<std::string> waiting_{"/redfish/v1"};
};

INSTANTIATE_TEST_SUITE_P(Machines, Crawl, testing::Values("full", "amd"),
                         [](const auto& param) { return param.param; });

TEST_P(Crawl, FindsEveryPageAndNothingThatIsWrong) {
  while (!waiting_.empty()) {
    const std::string path = waiting_.front();
    waiting_.pop_front();
    Visit(path);
  }
  redfish_.Service().Tree().ForEach([this](const std::string& path, const std::string& /*page*/) {
    const bool isDocument = path == "/redfish" || path == "/redfish/v1/odata" || path == "/redfish/v1/$metadata";
    EXPECT_TRUE(isDocument || seen_.count(path) > 0) << path << " is linked from nowhere";
  });
  EXPECT_GT(seen_.size(), 40U);
}

}  // namespace
}  // namespace Kelvar::Simulator
