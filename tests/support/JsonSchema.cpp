#include "support/JsonSchema.h"

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

#include "support/TemporaryFolder.h"

namespace Kelvar::Test {

std::string Breach(const std::string& schemaFile, const std::string& text) {
  rapidjson::Document schemaText;
  rapidjson::Document document;
  if (schemaText.Parse(ContentOf(schemaFile).c_str()).HasParseError()) {
    return "no schema: " + schemaFile;
  }
  if (document.Parse(text.c_str()).HasParseError()) {
    return "no JSON: " + text;
  }
  const rapidjson::SchemaDocument schema(schemaText);
  rapidjson::SchemaValidator validator(schema);
  if (document.Accept(validator)) {
    return "";
  }
  rapidjson::StringBuffer place;
  validator.GetInvalidDocumentPointer().StringifyUriFragment(place);
  return std::string(place.GetString()) + ": " + validator.GetInvalidSchemaKeyword();
}

}  // namespace Kelvar::Test
