#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/ScriptedHttpServer.h"

namespace Kelvar::Test {

/// One property of a scripted instance. A value "[a|b]" of an array type ("string[]") is written element by element.
struct CimProperty {
  std::string name;
  std::string type;
  std::optional<std::string> value;  ///< none: a null property
};

/// VALUE.NAMEDINSTANCE of a class. Values are escaped.
std::string CimInstanceXml(const std::string& className, const std::vector<CimProperty>& properties);

/// A whole reply around the content of IMETHODRESPONSE; "%ID%" stands for the message ID.
std::string CimReplyXml(const std::string& methodResponse);

/// What a server needs to reply `xml`.
HttpReply CimHttpReply(std::string xml);

/// A CIM server that answers EnumerateInstances from a script, each class with its own content. Classes without a
/// script have no instances. Answers carry the message ID of their request.
class ScriptedCimServer {
 public:
  struct Request {
    std::string nameSpace;
    std::string className;
  };

  explicit ScriptedCimServer(ScriptedHttpServer::Options options = {});

  /// Instances, one after the other.
  void OnClass(const std::string& className, const std::string& instances);
  void OnClassError(const std::string& className, int code, const std::string& description);
  /// Any reply at all; "%ID%" in it becomes the message ID.
  void OnClassReply(const std::string& className, HttpReply reply);
  /// The same for every class without a script.
  void OnAnyClassReply(HttpReply reply);

  u16 Port() const { return http_.Port(); }
  std::vector<Request> Requests() const;
  ScriptedHttpServer& Http() { return http_; }

 private:
  HttpReply Answer(const HttpRequest& request);

  mutable std::mutex mutex_;
  std::map<std::string, HttpReply> replies_;
  HttpReply fallback_;
  std::vector<Request> requests_;
  ScriptedHttpServer http_;
};

}  // namespace Kelvar::Test
