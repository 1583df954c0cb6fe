#include "support/ScriptedHttpServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "support/HttpWire.h"

namespace Kelvar::Test {

namespace {

/// A listening socket on an ephemeral loopback port.
int Listen(bool ipv6, u16& port) {
  const int listener = socket(ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_storage place{};
  socklen_t size = ipv6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  if (ipv6) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    std::memcpy(&place, &address, sizeof address);
  } else {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::memcpy(&place, &address, sizeof address);
  }
  auto* generic = reinterpret_cast<sockaddr*>(&place);
  if (listener < 0 || bind(listener, generic, size) != 0 || listen(listener, SOMAXCONN) != 0 ||
      getsockname(listener, generic, &size) != 0) {
    throw std::runtime_error("the test server cannot listen on loopback");
  }
  u16 networkOrder = 0;  // the port is at the same offset for both families
  std::memcpy(&networkOrder, reinterpret_cast<const char*>(&place) + 2, sizeof networkOrder);
  port = ntohs(networkOrder);
  return listener;
}

void ResetOnClose(int socket) {
  const linger now{1, 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

std::string Compose(const HttpReply& reply) {
  if (!reply.raw.empty()) {
    return reply.raw;
  }
  std::string text = "HTTP/1.1 " + std::to_string(reply.status) + " Scripted\r\n";
  for (const auto& [key, value] : reply.headers) {
    text.append(key).append(": ").append(value).append("\r\n");
  }
  if (reply.repeatCount == 0) {
    text += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
  }
  return text + "\r\n" + reply.body;
}

}  // namespace

std::string HttpRequest::Header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? "" : found->second;
}

ScriptedHttpServer::ScriptedHttpServer() : ScriptedHttpServer(Options{}) {}

ScriptedHttpServer::ScriptedHttpServer(Options options) : options_(options), listener_(Listen(options.ipv6, port_)) {
  if (options_.tls) {
    CertificatePem();
  }
  acceptThread_ = std::thread([this] { Accept(); });
}

ScriptedHttpServer::~ScriptedHttpServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    for (const auto& [number, socket] : openSockets_) {
      shutdown(socket, SHUT_RDWR);
    }
  }
  stopped_.notify_all();
  shutdown(listener_, SHUT_RDWR);
  acceptThread_.join();
  for (std::thread& thread : connectionThreads_) {
    thread.join();
  }
  close(listener_);
}

void ScriptedHttpServer::On(const std::string& target, std::vector<HttpReply> replies) {
  const std::lock_guard lock(mutex_);
  scripts_[target] = {std::move(replies), 0};
}

void ScriptedHttpServer::OnAnythingElse(std::function<HttpReply(const HttpRequest&)> handler) {
  const std::lock_guard lock(mutex_);
  fallback_ = std::move(handler);
}

void ScriptedHttpServer::FailConnections(ConnectionFault fault, int count) {
  const std::lock_guard lock(mutex_);
  fault_ = fault;
  faultsLeft_ = count;
}

std::string ScriptedHttpServer::BaseUrl() const {
  return std::string(options_.tls ? "https://" : "http://") + (options_.ipv6 ? "[::1]:" : "127.0.0.1:") +
         std::to_string(port_);
}

int ScriptedHttpServer::ConnectionCount() const {
  const std::lock_guard lock(mutex_);
  return connections_;
}

void ScriptedHttpServer::AwaitAllClosed() {
  std::unique_lock lock(mutex_);
  closed_.wait(lock, [this] { return openSockets_.empty(); });
}

std::vector<HttpRequest> ScriptedHttpServer::Requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<std::string> ScriptedHttpServer::Targets() const {
  std::vector<std::string> targets;
  for (const HttpRequest& request : Requests()) {
    targets.push_back(request.target);
  }
  return targets;
}

ConnectionFault ScriptedHttpServer::NextFault() {
  if (faultsLeft_ == 0) {
    return ConnectionFault::None;
  }
  --faultsLeft_;
  return fault_;
}

void ScriptedHttpServer::Accept() {
  // Writing to a closed connection must not end the test program, and must not hide that the client under test could.
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
  for (;;) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard lock(mutex_);
    if (stopping_ || socket < 0) {
      if (socket >= 0) {
        close(socket);
      }
      return;
    }
    const int immediately = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &immediately, sizeof immediately);
    const int number = ++connections_;
    openSockets_[number] = socket;
    connectionThreads_.emplace_back([this, socket, number, fault = NextFault()] { Serve(socket, number, fault); });
  }
}

void ScriptedHttpServer::Serve(int socket, int number, ConnectionFault fault) {
  if (fault == ConnectionFault::None) {
    const auto wire = options_.tls ? HttpWire::Tls(socket) : HttpWire::Plain(socket);
    if (wire) {
      Talk(*wire, number);
    }
  } else if (fault != ConnectionFault::CloseAtOnce && fault != ConnectionFault::ResetAtOnce) {
    char byte = 0;
    while (recv(socket, &byte, 1, 0) > 0 && fault == ConnectionFault::StaySilent) {
    }
  }
  const std::lock_guard lock(mutex_);
  if (fault == ConnectionFault::ResetAtOnce) {
    ResetOnClose(socket);
  }
  openSockets_.erase(number);
  close(socket);
  closed_.notify_all();
}

void ScriptedHttpServer::Talk(HttpWire& wire, int number) {
  while (auto request = wire.ReadRequest()) {
    request->connection = number;
    const HttpReply reply = Answer(*request);
    if (!Send(wire, reply)) {
      return;
    }
    if (reply.resetAfter) {
      const std::lock_guard lock(mutex_);
      ResetOnClose(openSockets_[number]);
    }
    if (reply.closeAfter || reply.resetAfter || reply.cutAfter) {
      Pause(reply.closePause);
      return;
    }
  }
}

HttpReply ScriptedHttpServer::Answer(const HttpRequest& request) {
  std::function<HttpReply(const HttpRequest&)> fallback;
  {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
    for (const std::string& key : {request.method + " " + request.target, request.target}) {
      const auto found = scripts_.find(key);
      if (found != scripts_.end() && !found->second.replies.empty()) {
        Script& script = found->second;
        return script.replies[std::min(script.next++, script.replies.size() - 1)];
      }
    }
    fallback = fallback_;
  }
  return fallback ? fallback(request) : HttpReply(404, "");
}

bool ScriptedHttpServer::Pause(std::chrono::milliseconds duration) {
  std::unique_lock lock(mutex_);
  return !stopped_.wait_for(lock, duration, [this] { return stopping_; });
}

bool ScriptedHttpServer::Send(HttpWire& wire, const HttpReply& reply) {
  if (reply.delay.count() > 0 && !Pause(reply.delay)) {
    return false;
  }
  std::string text = Compose(reply);
  if (reply.cutAfter && *reply.cutAfter < text.size()) {
    text.resize(*reply.cutAfter);
  }
  const std::size_t step = reply.dripBytes == 0 ? std::max<std::size_t>(text.size(), 1) : reply.dripBytes;
  for (std::size_t at = 0; at < text.size(); at += step) {
    if ((at > 0 && !Pause(reply.dripPause)) || !wire.Write(std::string_view(text).substr(at, step))) {
      return false;
    }
  }
  for (u64 round = 0; round < reply.repeatCount; ++round) {
    if (!wire.Write(reply.repeated)) {
      return false;
    }
  }
  return true;
}

}  // namespace Kelvar::Test
