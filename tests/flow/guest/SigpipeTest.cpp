// SIGPIPE is the host program's: nothing of the library raises it, takes it or changes how it is handled.

#include <kelvar/RestClient.h>

#include <csignal>
#include <sstream>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/process/SigpipeGuard.h"
#include "support/ScriptedHttpServer.h"

namespace Kelvar::Test {
namespace {

bool IsPending(int signal) {
  sigset_t pending;
  return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

void SetBlocked(int how) {
  sigset_t sigpipe;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  pthread_sigmask(how, &sigpipe, nullptr);
}

/// Requests whose server is gone by the time that a request, a body or the end of TLS is written.
void WriteToNobody(const std::string& url) {
  for (int round = 0; round < 5; ++round) {
    Rest::RestClient client;
    client.SetSkipTlsVerification(true);
    client.Get(url + "/reset");
    std::istringstream body(std::string(4 << 20, 'x'));
    client.PostStream(url + "/reset", body);
    client.Get(url + "/reset");
  }
}

TEST(Sigpipe, NeverReachesTheHostProgram) {
  for (const bool tls : {false, true}) {
    ScriptedHttpServer server({.tls = tls});
    HttpReply reset("ok");
    reset.resetAfter = true;
    server.On("/reset", reset);
    const pid_t child = fork();
    if (child == 0) {
      std::signal(SIGPIPE, SIG_DFL);
      SetBlocked(SIG_UNBLOCK);
      WriteToNobody(server.BaseUrl());
      SetBlocked(SIG_BLOCK);
      WriteToNobody(server.BaseUrl());
      const bool left = IsPending(SIGPIPE);
      raise(SIGPIPE);
      WriteToNobody(server.BaseUrl());
      _exit(left || !IsPending(SIGPIPE) ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << tls;
  }
}

/// For releases of libcurl that let it through.
TEST(Sigpipe, IsTakenFromAForeignWriter) {
  const auto isBlocked = [] {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, SIGPIPE) == 1;
  };
  SetBlocked(SIG_UNBLOCK);
  {
    const SigpipeGuard outer;
    const SigpipeGuard guard;
    raise(SIGPIPE);
  }
  EXPECT_FALSE(isBlocked());
  SetBlocked(SIG_BLOCK);
  raise(SIGPIPE);
  {
    const SigpipeGuard guard;
    raise(SIGPIPE);
  }
  EXPECT_TRUE(isBlocked());
  EXPECT_TRUE(IsPending(SIGPIPE)) << "it waited before";
  std::signal(SIGPIPE, SIG_IGN);  // takes it away
  std::signal(SIGPIPE, SIG_DFL);
  SetBlocked(SIG_UNBLOCK);
}

}  // namespace
}  // namespace Kelvar::Test
