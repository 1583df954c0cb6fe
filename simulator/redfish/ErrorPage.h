#pragma once

#include <string_view>

#include "simulator/http/HttpMessage.h"

namespace Kelvar::Simulator {

enum class RedfishError {
  ResourceMissing,
  NoValidSession,
  WrongCredentials,
  MethodNotAllowed,
  QueryNotSupported,
  QueryParameterValue,
  MalformedJson,
  ODataVersion,
  SessionLimitExceeded,
};

/// The answer for an error: its status, and an error object with the message of the base registry. `argument` is what
/// the message names, such as the path or the query parameter.
HttpResponse ErrorPage(RedfishError error, std::string_view argument = {});

}  // namespace Kelvar::Simulator
