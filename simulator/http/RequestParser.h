#pragma once

#include <functional>
#include <optional>

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include "simulator/http/HttpMessage.h"

namespace Kelvar::Simulator {

using RequestParser = boost::beast::http::request_parser<boost::beast::http::string_body>;

/// How large headers and body of a request may be.
void SetLimits(RequestParser& parser);

/// The request that has been read.
HttpRequest TakeRequest(RequestParser& parser);

/// The answer to what is not a request; nothing when reading went well, or the peer left.
std::optional<HttpResponse> RefuseUnreadable(const boost::system::error_code& error);

/// Stands for a request that could not be read: nothing follows it.
HttpRequest LastRequest();

/// What the handler answers, or a status of 500 when it throws.
HttpResponse AnswerSafely(const std::function<HttpResponse(const HttpRequest&)>& handler, const HttpRequest& request);

}  // namespace Kelvar::Simulator
