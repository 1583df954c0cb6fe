#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>

#include <kelvar/ConnectionInfo.h>

#include "support/ScriptedHttpServer.h"

namespace Kelvar::Test {

/// How a service misbehaves.
struct TreeManners {
  bool sessions = true;
  int sessionStatus = 201;       ///< of a new session; another one gives none
  const char* sessionHost = "";  ///< before the path in Location; null: the body alone names the session
  bool relativeLocation = false;
  bool namesSession = true;  ///< else neither does, and only the list of sessions has it
  int busySessions = 0;      ///< so many requests to open and to close one are answered with 503
  int forgetAfter = 0;       ///< requests after which all sessions are forgotten, over and over; 0: never
  bool takesBasic = true;
  int expandStatus = 0;  ///< of a request with $expand; 0: the query is ignored
  bool rootNeedsLogin = false;
};

/// A Redfish service out of a table of resources, with sessions and basic authentication, that can be told to
/// misbehave. The account is that of LoopbackInfo().
class RedfishTree {
 public:
  explicit RedfishTree(TreeManners manners = {});

  /// A resource; `json` is its whole body.
  void Put(const std::string& path, const std::string& json);
  /// A collection of links.
  void PutCollection(const std::string& path, const std::vector<std::string>& members);
  /// A reply with its own status, headers or fault.
  void Reply(const std::string& path, HttpReply reply);
  /// All resources of a file: an object of paths and bodies, a line for each.
  void Load(const std::string& file);

  KelvarConnection::ConnectionInfo Target() const;
  ScriptedHttpServer& Server() { return server_; }
  int OpenSessions() const { return openSessions_; }
  int Count(const std::string& method) const;
  /// How often the account was sent: in a new session, or with a request.
  int Logins() const;
  /// What it replies by itself.
  HttpReply Answer(const HttpRequest& request);

 private:
  HttpReply OpenSession(const HttpRequest& request);
  std::string ListSessions() const;
  bool IsAllowed(const HttpRequest& request);

  const TreeManners manners_;
  std::mutex mutex_;
  std::map<std::string, HttpReply> replies_;
  std::map<std::string, std::string> tokens_;  ///< path of the session -> token
  std::atomic<int> openSessions_{0};
  int served_ = 0;
  int made_ = 0;
  int busyPosts_ = 0;
  int busyDeletes_ = 0;
  ScriptedHttpServer server_{{.tls = true}};
};

}  // namespace Kelvar::Test
