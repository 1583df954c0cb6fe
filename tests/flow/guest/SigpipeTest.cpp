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

/// What the host program sees: whether the signal came, or was left to come.
int RunHostProgram(const std::string& url) {
  std::signal(SIGPIPE, SIG_DFL);
  SetBlocked(SIG_UNBLOCK);
  WriteToNobody(url);
  SetBlocked(SIG_BLOCK);
  WriteToNobody(url);
  const bool left = IsPending(SIGPIPE);
  raise(SIGPIPE);
  WriteToNobody(url);
  return left || !IsPending(SIGPIPE) ? 1 : 0;
}

TEST(Sigpipe, NeverReachesTheHostProgram) {
  for (const bool tls : {false, true}) {
    int urls[2];
    ASSERT_EQ(pipe(urls), 0);
    // Forked before the server has threads: what one of them holds at that moment would be held for ever in the child.
    const pid_t child = fork();
    if (child == 0) {
      std::string url(256, '\0');
      const ssize_t length = read(urls[0], url.data(), url.size());
      url.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
      _exit(url.empty() ? 2 : RunHostProgram(url));
    }
    ScriptedHttpServer server({.tls = tls});
    HttpReply reset("ok");
    reset.resetAfter = true;
    server.On("/reset", reset);
    const std::string url = server.BaseUrl();
    EXPECT_EQ(write(urls[1], url.data(), url.size()), static_cast<ssize_t>(url.size()));
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << tls;
    close(urls[0]);
    close(urls[1]);
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
