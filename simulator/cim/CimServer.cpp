#include "simulator/cim/CimServer.h"

#include <charconv>
#include <utility>

#include <fmt/format.h>

namespace Kelvar::Simulator::Cim {

namespace {

constexpr const char* kXmlType = "application/xml; charset=\"utf-8\"";

HttpResponse Refuse(unsigned status, HeaderList headers) {
  HttpResponse response;
  response.status = status;
  response.headers = std::move(headers);
  return response;
}

HttpResponse Refuse(const ProtocolError& error) {
  return Refuse(error.status, {{"CIMError", error.cimError}});
}

bool IsAuthorized(const Machine& machine, const HttpRequest& http) {
  const auto login = BasicCredentials(http);
  return login && machine.Accepts(login->user, login->password);
}

std::string HeaderOf(const HttpRequest& http, std::string_view name) {
  const std::string* value = FindHeader(http.headers, name);
  return value == nullptr ? std::string() : *value;
}

/// Whether the headers are those of an operation, and tell the same as the body.
std::optional<ProtocolError> CheckHeaders(const HttpRequest& http, const Request& request) {
  if (HeaderOf(http, "CIMOperation") != "MethodCall") {
    return ProtocolError{400, "unsupported-operation"};
  }
  if (!SameName(PercentDecode(HeaderOf(http, "CIMMethod")), request.method) ||
      !SameName(PercentDecode(HeaderOf(http, "CIMObject")), request.nameSpace)) {
    return ProtocolError{400, "header-mismatch"};
  }
  return std::nullopt;
}

std::string PercentEncode(std::string_view text) {
  std::string encoded;
  for (const char c : text) {
    const bool plain =
        (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '.' || c == '-';
    encoded += plain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return encoded;
}

/// From "CODE TEXT".
CimError ErrorOf(const std::string& text) {
  CimError error;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), error.code).ptr;
  error.description = text.substr(std::min(text.size(), static_cast<std::size_t>(end - text.data()) + 1));
  return error;
}

/// An error reaches a client that takes trailers after an empty body, as from servers that stream.
void PutError(const Request& request, const CimError& error, bool takesTrailers, HttpResponse& response) {
  if (!takesTrailers) {
    response.body = ErrorReply(request, error);
    return;
  }
  response.chunked = true;
  response.headers.emplace_back("Trailer", "CIMStatusCode, CIMStatusCodeDescription");
  response.trailers = {{"CIMStatusCode", std::to_string(error.code)},
                       {"CIMStatusCodeDescription", PercentEncode(error.description)}};
}

/// Pieces end between instances, so that no word is cut.
Producer Substituted(Producer shared, const SubstituteIdentity& substitute) {
  return [shared = std::move(shared), &substitute](std::string& piece) {
    std::string fresh;
    const bool more = shared(fresh);
    piece += substitute(fresh);
    return more;
  };
}

/// Whether a fault works on the whole text of a body.
bool WantsWholeBody(const Fault& fault) {
  return fault.gzip || fault.repeat != 1 || fault.contentLength.has_value();
}

}  // namespace

HttpResponse CimServer::Answer(const HttpRequest& http) const {
  if (http.method != "POST") {
    return Refuse(405, {{"Allow", "POST"}});
  }
  if (!IsAuthorized(machine_, http)) {
    return Refuse(401, {{"WWW-Authenticate", "Basic realm=\"kelvar-bmcsim\""}});
  }
  ParsedRequest parsed = ParseRequest(http.body);
  if (!parsed.error) {
    parsed.error = CheckHeaders(http, parsed.request);
  }
  if (parsed.error) {
    return Refuse(*parsed.error);
  }
  Request& request = parsed.request;
  std::optional<Fault> fault = faults_.Match(request.method, request.nameSpace + ':' + request.className);
  return AnswerOperation(http, std::move(request), std::move(fault));
}

HttpResponse CimServer::AnswerOperation(const HttpRequest& http, Request request, std::optional<Fault> fault) const {
  const bool takesTrailers = HeaderOf(http, "TE").find("trailers") != std::string::npos;
  bool stream = takesTrailers;
  if (fault) {
    request.messageId = fault->messageId.value_or(request.messageId);
    request.endless = std::exchange(fault->endless, fault->endless && fault->body);
    stream = request.endless || (stream && !WantsWholeBody(*fault));
  }
  Outcome outcome;
  if (fault && fault->cimError) {
    outcome.error = ErrorOf(*fault->cimError);
  } else {
    outcome = Perform(repository_, request);
  }
  if (substitute_ && outcome.body) {
    outcome.body = Substituted(std::move(outcome.body), substitute_);
  }
  HttpResponse response;
  response.headers = {{"Content-Type", kXmlType}, {"CIMOperation", "MethodResponse"}};
  response.fault = std::move(fault);
  if (outcome.error) {
    PutError(request, *outcome.error, takesTrailers, response);
  } else if (stream) {
    response.source = std::move(outcome.body);
  } else {
    while (outcome.body(response.body)) {
    }
  }
  return response;
}

}  // namespace Kelvar::Simulator::Cim
