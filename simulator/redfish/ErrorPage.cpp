#include "simulator/redfish/ErrorPage.h"

#include <array>

#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

struct Message {
  unsigned status;
  std::string_view key;
  std::string_view before;
  std::string_view after;
  std::string_view resolution;
};

/// In the order of RedfishError; the argument goes between `before` and `after`.
constexpr std::array<Message, 9> kMessages{{
    {404, "ResourceMissingAtURI", "The resource at the URI '", "' was not found.",
     "Place a valid resource at the URI or correct the URI and resubmit the request."},
    {401, "NoValidSession", "There is no valid session established with the implementation.", "",
     "Establish a session before attempting any operations."},
    {401, "ResourceAtUriUnauthorized", "While accessing the resource at '",
     "', the service received an authorization error: invalid user name or password.",
     "Ensure that the appropriate access is provided for the service in order for it to access the URI."},
    {405, "OperationNotAllowed", "The HTTP method is not allowed on the resource at '", "'.", "None."},
    {501, "QueryNotSupported", "The query parameter '", "' is not supported by the implementation.",
     "Remove the query parameters and resubmit the request if the operation failed."},
    {400, "QueryParameterValueFormatError", "The value of the query parameter '",
     "' is of a different format than the parameter can accept.",
     "Correct the value for the query parameter in the request and resubmit the request if the operation failed."},
    {400, "MalformedJSON", "The request body submitted was malformed JSON and could not be parsed by the service.", "",
     "Ensure that the request body is valid JSON and resubmit the request."},
    {412, "HeaderInvalid", "Header '", "' is invalid.", "Ensure that the request header is valid."},
    {503, "SessionLimitExceeded",
     "The session establishment failed due to the number of simultaneous sessions exceeding the limit of the "
     "implementation.",
     "",
     "Reduce the number of other sessions before trying to establish the session or increase the limit of simultaneous "
     "sessions, if supported."},
}};

}  // namespace

HttpResponse ErrorPage(RedfishError error, std::string_view argument) {
  const Message& message = kMessages.at(static_cast<std::size_t>(error));
  std::string words(message.before);
  std::string arguments;
  if (!message.after.empty()) {
    words.append(argument).append(message.after);
    arguments = JsonText::Quote(argument);
  }
  const std::string text = JsonText::Quote(words);
  const std::string id = JsonText::Quote("Base.1.15.0." + std::string(message.key));
  HttpResponse response;
  response.status = message.status;
  response.body = R"({"error": {"code": )" + id + R"(, "message": )" + text +
                  R"(, "@Message.ExtendedInfo": [{"@odata.type": "#Message.v1_1_2.Message", "MessageId": )" + id +
                  R"(, "Message": )" + text + R"(, "MessageArgs": [)" + arguments +
                  R"(], "MessageSeverity": "Critical", "Resolution": )" + JsonText::Quote(message.resolution) + "}]}}";
  return response;
}

}  // namespace Kelvar::Simulator
