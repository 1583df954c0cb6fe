#include "transport/pegasus/EnumerateRequest.h"

#include "transport/pegasus/PercentEncoding.h"

namespace Pegasus::Detail {

namespace {

void AppendFlag(std::string_view name, bool value, bool protocolDefault, std::string& body) {
  if (value != protocolDefault) {
    body.append("<IPARAMVALUE NAME=\"").append(name).append("\"><VALUE>");
    body.append(value ? "TRUE" : "FALSE").append("</VALUE></IPARAMVALUE>");
  }
}

// Names of classes, namespaces and properties are legal, and so need no escaping.
void AppendNamespace(std::string_view nameSpace, std::string& body) {
  body += "<LOCALNAMESPACEPATH>";
  while (true) {
    const std::size_t slash = nameSpace.find('/');
    body.append("<NAMESPACE NAME=\"").append(nameSpace.substr(0, slash)).append("\"/>");
    if (slash == std::string_view::npos) {
      break;
    }
    nameSpace.remove_prefix(slash + 1);
  }
  body += "</LOCALNAMESPACEPATH>";
}

void AppendProperties(const CIMPropertyList& properties, std::string& body) {
  if (properties.isNull()) {
    return;
  }
  body += "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY>";
  for (Uint32 i = 0; i < properties.size(); ++i) {
    body.append("<VALUE>").append(properties[i].getString().View()).append("</VALUE>");
  }
  body += "</VALUE.ARRAY></IPARAMVALUE>";
}

}  // namespace

std::vector<std::string> EnumerateRequest::Headers() const {
  return {
      "Content-Type: application/xml; charset=utf-8",
      "Accept:",
      "Expect:",
      "TE: chunked, trailers",
      "CIMOperation: MethodCall",
      "CIMMethod: EnumerateInstances",
      "CIMObject: " + PercentEncoded(nameSpace.getString().View()),
  };
}

std::string EnumerateRequest::Body() const {
  std::string body =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
      "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"" +
      messageId + "\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"EnumerateInstances\">";
  AppendNamespace(nameSpace.getString().View(), body);
  body += "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"";
  body.append(className.getString().View()).append("\"/></IPARAMVALUE>");
  AppendFlag("DeepInheritance", deepInheritance, true, body);
  AppendFlag("LocalOnly", localOnly, true, body);
  AppendFlag("IncludeQualifiers", includeQualifiers, false, body);
  AppendFlag("IncludeClassOrigin", includeClassOrigin, false, body);
  AppendProperties(properties, body);
  return body + "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>\n";
}

}  // namespace Pegasus::Detail
