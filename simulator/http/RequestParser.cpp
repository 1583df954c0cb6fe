#include "simulator/http/RequestParser.h"

#include <exception>
#include <string>

#include <boost/beast/http/error.hpp>

namespace Kelvar::Simulator {

namespace http = boost::beast::http;

void SetLimits(RequestParser& parser) {
  constexpr std::uint32_t kHeaderLimit = 64 * 1024;
  constexpr std::uint64_t kBodyLimit = 16'777'216;
  parser.header_limit(kHeaderLimit);
  parser.body_limit(kBodyLimit);
}

HttpRequest TakeRequest(RequestParser& parser) {
  auto& message = parser.get();
  HttpRequest request;
  request.method = std::string(message.method_string());
  request.target = std::string(message.target());
  for (const auto& field : message) {
    request.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
  }
  request.keepAlive = message.keep_alive();
  request.body = std::move(message.body());
  return request;
}

std::optional<HttpResponse> RefuseUnreadable(const boost::system::error_code& error) {
  const bool isProtocolError = error.category() == make_error_code(http::error::bad_method).category() &&
                               error != http::error::end_of_stream && error != http::error::partial_message;
  if (!isProtocolError) {
    return std::nullopt;
  }
  HttpResponse refusal;
  refusal.status = error == http::error::body_limit ? 413 : error == http::error::header_limit ? 431 : 400;
  return refusal;
}

HttpRequest LastRequest() {
  HttpRequest request;
  request.keepAlive = false;
  return request;
}

HttpResponse AnswerSafely(const std::function<HttpResponse(const HttpRequest&)>& handler, const HttpRequest& request) {
  try {
    return handler(request);
  } catch (const std::exception&) {
    HttpResponse failed;
    failed.status = 500;
    return failed;
  }
}

}  // namespace Kelvar::Simulator
