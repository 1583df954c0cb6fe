#pragma once

#include <filesystem>
#include <string>

#include <rapidjson/document.h>

namespace Kelvar::Simulator::Cim {

/// Reads a file that holds one JSON object; numbers come as strings, in their own words. Throws std::runtime_error.
rapidjson::Document ReadJsonObject(const std::filesystem::path& file);

/// The text of a string, a number (in its own words), true or false; throws std::runtime_error for anything else.
std::string TextOf(const rapidjson::Value& value);

/// The members of an object, the elements of a list; throw std::runtime_error for anything else.
rapidjson::Value::ConstObject ObjectOf(const rapidjson::Value& value);
rapidjson::Value::ConstArray ListOf(const rapidjson::Value& value);

/// A member, or null when there is none or the value is no object.
const rapidjson::Value* Member(const rapidjson::Value& object, const char* name);

/// A member's text, or `fallback` when there is none.
std::string MemberText(const rapidjson::Value& object, const char* name, const std::string& fallback = {});

}  // namespace Kelvar::Simulator::Cim
