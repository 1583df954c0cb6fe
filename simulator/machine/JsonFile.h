#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <rapidjson/document.h>

namespace Kelvar::Simulator::Json {

// Reading of a machine's data files. Everything throws std::runtime_error with a text for people when the data are
// not as they should be.

/// The object that the file holds.
rapidjson::Document ReadObject(const std::filesystem::path& file);

/// The same with every number as a text, just as it is written.
rapidjson::Document ReadObjectVerbatim(const std::filesystem::path& file);

/// A member, or null when there is none.
const rapidjson::Value* Find(const rapidjson::Value& object, const char* key);

std::string Text(const rapidjson::Value& object, const char* key);
std::string Text(const rapidjson::Value& object, const char* key, const std::string& whenAbsent);
unsigned Number(const rapidjson::Value& object, const char* key);
unsigned Number(const rapidjson::Value& object, const char* key, unsigned whenAbsent);
bool Flag(const rapidjson::Value& object, const char* key);

/// The elements of a list of numbers; none when it is absent.
std::vector<unsigned> Numbers(const rapidjson::Value& object, const char* key);

/// The elements of a list; none when it is absent.
rapidjson::Value::ConstArray List(const rapidjson::Value& object, const char* key);

/// The members of an object; none when it is absent.
rapidjson::Value::ConstObject Members(const rapidjson::Value& object, const char* key);

/// The value itself as a text: a text or a boolean.
std::string Words(const rapidjson::Value& value);

}  // namespace Kelvar::Simulator::Json
