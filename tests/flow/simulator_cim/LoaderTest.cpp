#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/simulator_cim/CimWire.h"
#include "simulator/cim/RepositoryLoader.h"
#include "support/TemporaryFolder.h"

namespace Kelvar::Test {
namespace {

namespace fs = std::filesystem;
using namespace Simulator;
using testing::HasSubstr;

TEST(CimValues, AreBroughtIntoTheFormOfTheirType) {
  struct Case {
    Cim::Type type;
    std::string text;
    std::optional<std::string> canonical;
  };
  const Case cases[] = {
      {Cim::Type::Boolean, "true", "TRUE"},
      {Cim::Type::Boolean, "1", std::nullopt},
      {Cim::Type::Uint8, "255", "255"},
      {Cim::Type::Uint8, "256", std::nullopt},
      {Cim::Type::Uint16, "-1", std::nullopt},
      {Cim::Type::Sint8, "-128", "-128"},
      {Cim::Type::Sint32, "2147483648", std::nullopt},
      {Cim::Type::Uint64, "18446744073709551615", "18446744073709551615"},
      {Cim::Type::Uint32, "5 V", std::nullopt},
      {Cim::Type::Real64, "15", "1.5000000000000000e+01"},
      {Cim::Type::Real32, "-0.5", "-5.0000000e-01"},
      {Cim::Type::Datetime, "2026-03-14", "20260314000000.000000+000"},
      {Cim::Type::Datetime, "2026-03-14T08:09:10", "20260314080910.000000+000"},
      {Cim::Type::Datetime, "00000012010203.000000:000", "00000012010203.000000:000"},
      {Cim::Type::Datetime, "yesterday", std::nullopt},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(Cim::CanonicalText(test.type, test.text), test.canonical) << test.text;
  }
}

TEST(CimLoader, SaysWhatIsWrongInWhichFile) {
  struct Case {
    std::string text;
    std::string complaint;
  };
  const Case cases[] = {
      {"{", "T.json, at byte 1"},
      {"[]", "T.json: no object"},
      {R"({"superclass": "Nowhere"})", "no class \"Nowhere\" to derive from"},
      {R"({"properties": {"A": "uint17"}})", "no CIM type \"uint17\""},
      {R"({"properties": 5})", "expected an object \"properties\""},
      {R"({"instances": {}})", "expected a list \"instances\""},
      {R"({"instances": [{"A": 1}]})", "instance 0, A: declared neither"},
      {R"({"properties": {"A": "uint8"}, "instances": [{}, {"A": 300}]})", "1, A: \"300\" is not a valid uint8"},
      {R"({"properties": {"A": "string"}, "instances": [{"A": "\u001b[2J"}]})", "is not a valid string"},
      {R"({"properties": {"A": "string[]"}, "instances": [{"A": "x"}]})", "no list, though the property is an array"},
      {R"({"properties": {"A": "string"}, "instances": [{"A": "${nothing}"}]})", "no fact \"nothing\""},
      {R"({"properties": {"A": "reference"}, "instances": [{"A": {"reference": "X"}}]})",
       "a reference to a class that is not there"},
  };
  for (const Case& test : cases) {
    const TemporaryFolder folder;
    folder.Write("root/cimv2/T.json", test.text);
    try {
      Cim::LoadRepository(folder.Path(), "", Variables());
      FAIL() << test.text;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr("root/cimv2/T.json")) << test.text;
      EXPECT_THAT(error.what(), HasSubstr(test.complaint));
    }
  }
}

TEST(CimLoader, RefusesUnknownFlavoursAndClassesToCopy) {
  Machine toaster = ShippedMachine("full");
  toaster.cimFlavour = "toaster";
  EXPECT_THROW(CimService{toaster}, std::runtime_error);
  EXPECT_THROW(CimService(ShippedMachine("full"), {.counts = {{"CIM_Card", 10}}}), std::runtime_error);
}

}  // namespace
}  // namespace Kelvar::Test
