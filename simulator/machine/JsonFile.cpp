#include "simulator/machine/JsonFile.h"

#include <fstream>
#include <stdexcept>

#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>

namespace Kelvar::Simulator::Json {

namespace {

[[noreturn]] void Wrong(const char* key, const char* wanted) {
  throw std::runtime_error(std::string("expected ") + wanted + " \"" + key + '"');
}

template <unsigned Flags>
rapidjson::Document Parse(const std::filesystem::path& file) {
  std::ifstream input(file);
  if (!input) {
    throw std::runtime_error("cannot read " + file.string());
  }
  rapidjson::IStreamWrapper stream(input);
  rapidjson::Document document;
  document.ParseStream<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag | Flags>(stream);
  if (document.HasParseError()) {
    throw std::runtime_error(file.string() + ", at byte " + std::to_string(document.GetErrorOffset()) + ": " +
                             rapidjson::GetParseError_En(document.GetParseError()));
  }
  if (!document.IsObject()) {
    throw std::runtime_error(file.string() + ": no object");
  }
  return document;
}

}  // namespace

rapidjson::Document ReadObject(const std::filesystem::path& file) {
  return Parse<rapidjson::kParseDefaultFlags>(file);
}

rapidjson::Document ReadObjectVerbatim(const std::filesystem::path& file) {
  return Parse<rapidjson::kParseNumbersAsStringsFlag>(file);
}

const rapidjson::Value* Find(const rapidjson::Value& object, const char* key) {
  if (!object.IsObject()) {
    Wrong(key, "an object with");
  }
  const auto member = object.FindMember(key);
  return member == object.MemberEnd() ? nullptr : &member->value;
}

std::string Text(const rapidjson::Value& object, const char* key) {
  const rapidjson::Value* value = Find(object, key);
  if (value == nullptr || !value->IsString()) {
    Wrong(key, "a text");
  }
  return {value->GetString(), value->GetStringLength()};
}

std::string Text(const rapidjson::Value& object, const char* key, const std::string& whenAbsent) {
  return Find(object, key) == nullptr ? whenAbsent : Text(object, key);
}

unsigned Number(const rapidjson::Value& object, const char* key) {
  const rapidjson::Value* value = Find(object, key);
  if (value == nullptr || !value->IsUint()) {
    Wrong(key, "a number");
  }
  return value->GetUint();
}

unsigned Number(const rapidjson::Value& object, const char* key, unsigned whenAbsent) {
  return Find(object, key) == nullptr ? whenAbsent : Number(object, key);
}

bool Flag(const rapidjson::Value& object, const char* key) {
  const rapidjson::Value* value = Find(object, key);
  return value != nullptr && value->IsTrue();
}

rapidjson::Value::ConstArray List(const rapidjson::Value& object, const char* key) {
  static const rapidjson::Value empty(rapidjson::kArrayType);
  const rapidjson::Value* value = Find(object, key);
  if (value == nullptr) {
    return empty.GetArray();
  }
  if (!value->IsArray()) {
    Wrong(key, "a list");
  }
  return value->GetArray();
}

std::vector<unsigned> Numbers(const rapidjson::Value& object, const char* key) {
  std::vector<unsigned> numbers;
  for (const auto& value : List(object, key)) {
    if (!value.IsUint()) {
      Wrong(key, "a list of numbers");
    }
    numbers.push_back(value.GetUint());
  }
  return numbers;
}

rapidjson::Value::ConstObject Members(const rapidjson::Value& object, const char* key) {
  static const rapidjson::Value empty(rapidjson::kObjectType);
  const rapidjson::Value* value = Find(object, key);
  if (value == nullptr) {
    return empty.GetObject();
  }
  if (!value->IsObject()) {
    Wrong(key, "an object");
  }
  return value->GetObject();
}

std::string Words(const rapidjson::Value& value) {
  if (value.IsBool()) {
    return value.GetBool() ? "true" : "false";
  }
  if (!value.IsString()) {
    throw std::runtime_error("a list, an object or null where a string, a number or a boolean is expected");
  }
  return {value.GetString(), value.GetStringLength()};
}

}  // namespace Kelvar::Simulator::Json
