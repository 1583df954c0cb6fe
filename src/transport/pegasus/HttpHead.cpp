#include "transport/pegasus/HttpHead.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>

#include <Pegasus/Client/CIMClientException.h>

#include "transport/pegasus/PercentEncoding.h"

namespace Pegasus::Detail {

namespace {

bool HasPrefixNoCase(std::string_view text, std::string_view prefix) noexcept {
  return text.size() >= prefix.size() && strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

std::string_view CodeOf(std::string_view status) noexcept {
  return status.substr(0, status.find(' '));
}

[[noreturn]] void ThrowHttpError(const HttpHead& head) {
  const auto text = [](const std::string& value) { return String(std::string_view(value)); };
  throw CIMClientHTTPErrorException(text(head.status), text(head.cimError), text(head.detail));
}

}  // namespace

void HttpHead::AddLine(std::string_view line) {
  line = line.substr(0, line.find_last_not_of(" \t\r\n") + 1);
  complete = complete || line.empty();
  const std::size_t separator = line.find_first_of(": ");
  if (HasPrefixNoCase(line, "HTTP/")) {
    *this = HttpHead();
    fromHttp = true;
    status = separator == std::string_view::npos ? "" : line.substr(separator + 1);
    return;
  }
  if (separator == std::string_view::npos || line[separator] != ':') {
    return;
  }
  const std::string_view name = line.substr(0, separator);
  const std::size_t start = std::min(line.find_first_not_of(" \t", separator + 1), line.size());
  const std::string_view value = line.substr(start);
  const auto is = [&](std::string_view wanted) {
    return name.size() == wanted.size() && HasPrefixNoCase(name, wanted);
  };
  if (is("CIMOperation")) {
    hasOperation = true;
  } else if (is("Content-Type")) {
    contentType = value;
  } else if (is("CIMError")) {
    cimError = PercentDecoded(value);
  } else if (is("PGErrorDetail")) {
    detail = PercentDecoded(value);
  } else if (is("CIMStatusCode")) {
    cimStatusCode = value;
  } else if (is("CIMStatusCodeDescription")) {
    cimStatusDescription = PercentDecoded(value);
  }
}

void HttpHead::CheckStatus() const {
  const bool isInterim = status.substr(0, 1) == "1";
  if (complete && !isInterim && CodeOf(status) != "200") {
    ThrowHttpError(*this);
  }
}

void HttpHead::Check() const {
  if (!fromHttp) {
    throw CIMClientMalformedHTTPException("Malformed HTTP response message.");
  }
  if (!complete) {
    throw CIMClientMalformedHTTPException("Connection closed by CIM Server.");
  }
  if (CodeOf(status) != "200") {
    ThrowHttpError(*this);
  }
  CheckTrailers();
  if (!hasOperation) {
    throw CIMClientMalformedHTTPException("Missing CIMOperation HTTP header");
  }
  if (contentType && !HasPrefixNoCase(*contentType, "text/xml") && !HasPrefixNoCase(*contentType, "application/xml")) {
    throw CIMClientMalformedHTTPException(
        String(std::string_view("Bad Content-Type HTTP header; " + contentType.value())));
  }
}

void HttpHead::CheckTrailers() const {
  if (!cimStatusCode.empty() && cimStatusCode != "0") {
    throw CIMException(static_cast<CIMStatusCode>(std::clamp(std::atoi(cimStatusCode.c_str()), 1, 0xFFFF)),
                       String(std::string_view(cimStatusDescription)));
  }
}

}  // namespace Pegasus::Detail
