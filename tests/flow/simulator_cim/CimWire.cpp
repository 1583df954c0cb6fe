#include "flow/simulator_cim/CimWire.h"

#include <sstream>

#include <expat.h>

#include "support/TestPlaces.h"

namespace Kelvar::Test {

Simulator::Machine ShippedMachine(const std::string& name) {
  return Simulator::LoadMachine(name, kMachineFolder);
}

std::string CimCall::Body() const {
  std::string path;
  std::istringstream parts(nameSpace);
  for (std::string part; std::getline(parts, part, '/');) {
    path += "<NAMESPACE NAME=\"" + part + "\"/>";
  }
  const std::string target =
      className.empty() ? "" : "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"" + className + "\"/></IPARAMVALUE>";
  return R"(<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0">)"
         R"(<MESSAGE ID="77" PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL NAME=")" +
         method + "\"><LOCALNAMESPACEPATH>" + path + "</LOCALNAMESPACEPATH>" + target + parameters +
         "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
}

std::vector<std::string> CimCall::Headers() const {
  std::vector<std::string> headers = {"Content-Type: application/xml; charset=utf-8", "CIMOperation: MethodCall",
                                      "CIMMethod: " + method, "CIMObject: " + nameSpace};
  if (trailers) {
    headers.emplace_back("TE: chunked, trailers");
  }
  return headers;
}

CimHost::CimHost(const Simulator::CimOptions& options, const Simulator::Machine& machine)
    : tls_(options.tls), service_(machine, options), port_(service_.Start(0)) {}

std::string CimHost::Url() const {
  return (tls_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_) + "/cimom";
}

Fetched CimHost::Call(const CimCall& call) {
  return Post(call.Body(), call.Headers());
}

Fetched CimHost::Post(const std::string& body, const std::vector<std::string>& headers) {
  CurlFetch::Settings settings;
  settings.user = "admin";
  settings.password = "kelvar-demo";
  settings.body = body;
  settings.headers = headers;
  return client_.Get(Url(), settings);
}

std::map<std::string, int> CountElements(const std::string& xml) {
  std::map<std::string, int> counts;
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetUserData(parser, &counts);
  XML_SetStartElementHandler(parser, [](void* user, const XML_Char* name, const XML_Char**) {
    ++(*static_cast<std::map<std::string, int>*>(user))[name];
  });
  if (XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), 1) != XML_STATUS_OK) {
    counts.clear();
    counts[std::string("error ") + XML_ErrorString(XML_GetErrorCode(parser))] = 1;
  }
  XML_ParserFree(parser);
  return counts;
}

}  // namespace Kelvar::Test
