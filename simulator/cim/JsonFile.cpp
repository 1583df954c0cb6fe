#include "simulator/cim/JsonFile.h"

#include <fstream>
#include <stdexcept>

#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>

namespace Kelvar::Simulator::Cim {

rapidjson::Document ReadJsonObject(const std::filesystem::path& file) {
  std::ifstream input(file);
  rapidjson::IStreamWrapper stream(input);
  rapidjson::Document document;
  document.ParseStream<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag |
                       rapidjson::kParseValidateEncodingFlag>(stream);
  if (document.HasParseError()) {
    throw std::runtime_error("offset " + std::to_string(document.GetErrorOffset()) + ": " +
                             rapidjson::GetParseError_En(document.GetParseError()));
  }
  if (!document.IsObject()) {
    throw std::runtime_error("no JSON object");
  }
  return document;
}

std::string TextOf(const rapidjson::Value& value) {
  if (value.IsBool()) {
    return value.GetBool() ? "true" : "false";
  }
  if (!value.IsString()) {
    throw std::runtime_error("a list, an object or null where a text, a number or a boolean is wanted");
  }
  return {value.GetString(), value.GetStringLength()};
}

rapidjson::Value::ConstObject ObjectOf(const rapidjson::Value& value) {
  if (!value.IsObject()) {
    throw std::runtime_error("no object where one is wanted");
  }
  return value.GetObject();
}

rapidjson::Value::ConstArray ListOf(const rapidjson::Value& value) {
  if (!value.IsArray()) {
    throw std::runtime_error("no list where one is wanted");
  }
  return value.GetArray();
}

const rapidjson::Value* Member(const rapidjson::Value& object, const char* name) {
  if (!object.IsObject()) {
    return nullptr;
  }
  const auto found = object.FindMember(name);
  return found == object.MemberEnd() ? nullptr : &found->value;
}

std::string MemberText(const rapidjson::Value& object, const char* name, const std::string& fallback) {
  const rapidjson::Value* member = Member(object, name);
  return member == nullptr ? fallback : TextOf(*member);
}

}  // namespace Kelvar::Simulator::Cim
