#include "support/ScriptedCimServer.h"

#include <sstream>

namespace Kelvar::Test {

namespace {

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      case ' ':
        escaped += "&#32;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string ValueXml(const std::string& value) {
  return "<VALUE>" + Escaped(value) + "</VALUE>";
}

std::string PropertyXml(const CimProperty& property) {
  const bool isArray = property.type.ends_with("[]");
  const std::string type = property.type.substr(0, property.type.find('['));
  const std::string tag = isArray ? "PROPERTY.ARRAY" : "PROPERTY";
  std::string value;
  if (property.value && isArray) {
    std::istringstream elements(property.value->substr(1, property.value->size() - 2));
    for (std::string element; std::getline(elements, element, '|');) {
      value += ValueXml(element);
    }
    value = "<VALUE.ARRAY>" + value + "</VALUE.ARRAY>";
  } else if (property.value) {
    value = ValueXml(*property.value);
  }
  return "<" + tag + " NAME=\"" + property.name + "\" TYPE=\"" + type + "\">" + value + "</" + tag + ">";
}

/// The text between `before` and the next quote.
std::string Quoted(const std::string& text, const std::string& before, std::size_t from = 0) {
  const std::size_t start = text.find(before, from);
  return start == std::string::npos
             ? ""
             : text.substr(start + before.size(), text.find('"', start + before.size()) - start - before.size());
}

void Replace(std::string& text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
}

}  // namespace

std::string CimInstanceXml(const std::string& className, const std::vector<CimProperty>& properties) {
  std::string xml = "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"" + className +
                    "\"><KEYBINDING NAME=\"InstanceID\"><KEYVALUE VALUETYPE=\"string\">1</KEYVALUE></KEYBINDING>"
                    "</INSTANCENAME><INSTANCE CLASSNAME=\"" +
                    className + "\">";
  for (const CimProperty& property : properties) {
    xml += PropertyXml(property);
  }
  return xml + "</INSTANCE></VALUE.NAMEDINSTANCE>\n";
}

std::string CimReplyXml(const std::string& methodResponse) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"%ID%\" "
         "PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"EnumerateInstances\">" +
         methodResponse + "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";
}

HttpReply CimHttpReply(std::string xml) {
  HttpReply reply(std::move(xml));
  reply.headers = {{"Content-Type", "application/xml; charset=utf-8"}, {"CIMOperation", "MethodResponse"}};
  return reply;
}

ScriptedCimServer::ScriptedCimServer(ScriptedHttpServer::Options options)
    : fallback_(CimHttpReply(CimReplyXml("<IRETURNVALUE></IRETURNVALUE>"))), http_(options) {
  http_.OnAnythingElse([this](const HttpRequest& request) { return Answer(request); });
}

void ScriptedCimServer::OnClass(const std::string& className, const std::string& instances) {
  OnClassReply(className, CimHttpReply(CimReplyXml("<IRETURNVALUE>" + instances + "</IRETURNVALUE>")));
}

void ScriptedCimServer::OnClassError(const std::string& className, int code, const std::string& description) {
  OnClassReply(className, CimHttpReply(CimReplyXml("<ERROR CODE=\"" + std::to_string(code) + "\" DESCRIPTION=\"" +
                                                   description + "\"/>")));
}

void ScriptedCimServer::OnClassReply(const std::string& className, HttpReply reply) {
  const std::lock_guard lock(mutex_);
  replies_[className] = std::move(reply);
}

void ScriptedCimServer::OnAnyClassReply(HttpReply reply) {
  const std::lock_guard lock(mutex_);
  fallback_ = std::move(reply);
}

std::vector<ScriptedCimServer::Request> ScriptedCimServer::Requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

HttpReply ScriptedCimServer::Answer(const HttpRequest& request) {
  const std::lock_guard lock(mutex_);
  Request asked;
  for (std::size_t at = 0; (at = request.body.find("<NAMESPACE NAME=\"", at)) != std::string::npos; ++at) {
    asked.nameSpace += (asked.nameSpace.empty() ? "" : "/") + Quoted(request.body, "<NAMESPACE NAME=\"", at);
  }
  asked.className = Quoted(request.body, "<CLASSNAME NAME=\"");
  requests_.push_back(asked);
  const auto scripted = replies_.find(asked.className);
  HttpReply reply = scripted == replies_.end() ? fallback_ : scripted->second;
  const std::string id = Quoted(request.body, "MESSAGE ID=\"");
  Replace(reply.body, "%ID%", id);
  Replace(reply.raw, "%ID%", id);
  return reply;
}

}  // namespace Kelvar::Test
