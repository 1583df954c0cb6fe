#include <kelvar/ConnectionOptions.h>
#include <kelvar/Diagnostics.h>
#include <kelvar/RestClient.h>

#include <gmock/gmock.h>
#include <ctime>

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <filesystem>

#include "common/deadline/OperationDeadline.h"
#include "support/ScriptedHttpServer.h"
#include "support/TemporaryFolder.h"

namespace Rest {
namespace {

using Kelvar::ConnectionOptions;
using Kelvar::ConnectionOptionsScope;
using Kelvar::FailureCause;
using Kelvar::Test::HttpReply;
using Kelvar::Test::ScriptedHttpServer;
using Kelvar::Test::TemporaryFolder;

std::unique_ptr<RestClient> MakeClient(const ConnectionOptions& options) {
  const ConnectionOptionsScope scope(options);
  auto client = std::make_unique<RestClient>();
  client->SetBasicAuth("user", "wrong");
  return client;
}

ConnectionOptions Stopping() {
  ConnectionOptions options;
  options.stop_after_refused_login = true;
  return options;
}

/// SHA-256 of the scripted servers' certificate.
std::string Fingerprint() {
  const std::string pem = ScriptedHttpServer::CertificatePem();
  BIO* const bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  X509* const certificate = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  X509_digest(certificate, EVP_sha256(), digest, &size);
  X509_free(certificate);
  BIO_free(bio);
  std::string text;
  for (unsigned int i = 0; i < size; ++i) {
    char byte[4];
    std::snprintf(byte, sizeof byte, "%s%02X", i == 0 ? "" : ":", digest[i]);
    text += byte;
  }
  return text;
}

TEST(ConnectionOptionsTest, OneRefusedLoginEndsWhatTheScopeMade) {
  ScriptedHttpServer server;
  server.On("/x", HttpReply(401, "no"));
  std::unique_ptr<RestClient> first;
  std::unique_ptr<RestClient> second;
  {
    const ConnectionOptionsScope scope(Stopping());
    first = std::make_unique<RestClient>();
    second = std::make_unique<RestClient>();
    const auto unaffected = MakeClient({});
    unaffected->Get(server.Url("/x"));
  }
  first->SetBasicAuth("user", "wrong");
  second->SetBasicAuth("user", "wrong");
  EXPECT_EQ(first->Get(server.Url("/x")).body, "no");
  ASSERT_EQ(server.Requests().size(), 2u);
  Kelvar::Diagnostics diagnostics;
  const Kelvar::DiagnosticsScope scope(diagnostics);
  for (RestClient* const client : {first.get(), second.get()}) {
    const RestResponse response = client->Get(server.Url("/y"));
    EXPECT_EQ(response.curlCode, 0);
    EXPECT_EQ(response.httpCode, 401);
  }
  EXPECT_EQ(server.Requests().size(), 2u) << "nothing more is sent";
  EXPECT_EQ(diagnostics.Cause(), FailureCause::LoginRefused);
  EXPECT_EQ(diagnostics.Exchanges().front().transmissions, 0u);
  MakeClient(Stopping())->Get(server.Url("/x"));
  EXPECT_EQ(server.Requests().size(), 3u) << "another scope, another guard";
}

TEST(ConnectionOptionsTest, TrustsTheCertificateThatTheOptionsName) {
  ScriptedHttpServer server({.tls = true});
  server.On("/x", HttpReply("ok"));
  const std::string url = "https://localhost:" + std::to_string(server.Port()) + "/x";
  const TemporaryFolder folder;
  folder.Write("ca.pem", ScriptedHttpServer::CertificatePem());
  folder.Write("empty.pem", "");
  const std::string pin = Fingerprint();
  std::string bare = pin;
  std::erase(bare, ':');
  std::string other = pin;
  other[0] = other[0] == '0' ? '1' : '0';
  struct Case {
    std::string caFile;
    std::string pinned;
    const char* verifiedBy;  ///< null: not trusted
  };
  const Case cases[] = {
      {"", "", "none"},
      {"", pin, "pin"},
      {"", bare, "pin"},
      {"ca.pem", "", "ca"},
      {"ca.pem", pin, "pin_and_ca"},
      {"", other, nullptr},
      {"", "12:34", nullptr},
      {"", pin + "00", nullptr},
      {"", "x" + pin, nullptr},
      {"ca.pem", other, nullptr},
      {"empty.pem", "", nullptr},
      {"empty.pem", pin, nullptr},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.caFile + " " + one.pinned);
    ConnectionOptions options;
    options.tls_ca_file = one.caFile.empty() ? "" : (folder.Path() / one.caFile).string();
    options.tls_pinned_fingerprint = one.pinned;
    const auto client = MakeClient(options);
    client->SetSkipTlsVerification(true);
    Kelvar::Diagnostics met;
    const Kelvar::DiagnosticsScope scope(met);
    const RestResponse response = client->Get(url);
    const bool trusted = one.verifiedBy != nullptr;
    EXPECT_EQ(response.body == "ok", trusted) << response.body;
    EXPECT_EQ(response.cause, trusted ? FailureCause::None : FailureCause::Tls);
    EXPECT_EQ(std::string(met.Tls().version).substr(0, 4), trusted ? "TLSv" : "");
    EXPECT_STREQ(NameOf(met.Tls().verification), trusted ? one.verifiedBy : "none");
    constexpr std::int64_t kDay = 86400;  // that the certificate holds from the start of the program
    const std::int64_t inOneDay = std::time(nullptr) + kDay;
    EXPECT_NEAR(static_cast<double>(met.Tls().certificate_end), trusted ? static_cast<double>(inOneDay) : 0, 120);
  }
}

TEST(ConnectionOptionsTest, TheOperationsTimeCutsAndWithholdsRequests) {
  ScriptedHttpServer server;
  HttpReply late("late");
  late.delay = std::chrono::seconds(20);
  server.On("/late", late);
  server.On("/x", HttpReply("ok"));
  RestClient client;
  client.SetTimeout(120);
  const Kelvar::OperationDeadline deadline(1);
  const Kelvar::OperationDeadline inner(0);
  EXPECT_EQ(client.Get(server.Url("/x")).body, "ok");
  EXPECT_EQ(client.Get(server.Url("/late")).curlCode, CURLE_OPERATION_TIMEDOUT);
  const RestResponse response = client.Get(server.Url("/x"));
  EXPECT_EQ(response.curlCode, CURLE_OPERATION_TIMEDOUT);
  EXPECT_EQ(response.cause, FailureCause::Deadline);
  EXPECT_EQ(server.Requests().size(), 2u);
}

TEST(ConnectionOptionsTest, OfAnErrorDocumentLittleIsKept) {
  ScriptedHttpServer server;
  server.On("/x", {HttpReply(500, std::string(3'000'000, 'x')), HttpReply("ok")});
  RestClient client;
  EXPECT_EQ(client.Get(server.Url("/x")).body, std::string(65'536, 'x'));
  EXPECT_EQ(client.Get(server.Url("/x")).body, "ok");
  EXPECT_EQ(server.ConnectionCount(), 1);
}

TEST(ConnectionOptionsDeathTest, TheEnvironmentChoosesNothing) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process in which libcurl has not looked around yet
  const TemporaryFolder folder;
  const std::string keys = (folder.Path() / "keys").string();
  setenv("SSLKEYLOGFILE", keys.c_str(), 0);  // the child, which begins the test anew, keeps the one of its parent
  for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
    setenv(name, "http://127.0.0.1:9", 1);
  }
  const auto read = [] {
    ScriptedHttpServer server({.tls = true});
    server.On("/x", HttpReply("ok"));
    RestClient client;
    client.SetSkipTlsVerification(true);
    client.SetProxy("", "", "");
    std::exit(client.Get(server.Url("/x")).body == "ok" ? 0 : 1);
  };
  EXPECT_EXIT(read(), testing::ExitedWithCode(0), "");
  EXPECT_TRUE(!std::filesystem::exists(keys) || std::filesystem::file_size(keys) == 0) << "no key is written";
  for (const char* name : {"SSLKEYLOGFILE", "http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
    unsetenv(name);
  }
}

}  // namespace
}  // namespace Rest
