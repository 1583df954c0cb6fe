#include "module/reader/redfish/ErrorMessage.h"

#include "common/json/JsonDocument.h"
#include "module/reader/redfish/Values.h"

namespace Kelvar::Reader {

namespace {

constexpr std::size_t kMostErrorBody = std::size_t{64} << 10;

std::string TextOfError(JsonValue message) {
  const std::string text = MessageAt(message, "Message");
  return text.empty() ? TextAt(message, "MessageId") : text;
}

/// The first that says something. Some services write one message where a list belongs.
std::string FirstOfMessages(JsonValue messages) {
  if (messages.IsObject()) {
    return TextOfError(messages);
  }
  for (const JsonValue message : FirstOf(messages, kMostDetails)) {
    std::string text = TextOfError(message);
    if (!text.empty()) {
      return text;
    }
  }
  return {};
}

}  // namespace

std::string ErrorMessage(const std::string& body) {
  if (body.size() > kMostErrorBody || body.find('{') != body.find_first_not_of(" \t\r\n")) {
    return {};
  }
  const auto document = JsonDocument::ReadLeniently(body);
  const JsonValue root = document ? document->Root() : JsonValue();
  const JsonValue error = root["error"];
  std::string text = FirstOfMessages(error["@Message.ExtendedInfo"]);
  text = text.empty() ? FirstOfMessages(root["@Message.ExtendedInfo"]) : text;
  return text.empty() ? MessageAt(error, "message") : text;
}

}  // namespace Kelvar::Reader
