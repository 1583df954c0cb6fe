// TLS and logins of the listener, by the built tool and curl.

#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/tool_serve/ServeRun.h"
#include "support/TestCertificates.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

// Of "secret" and "other", with the least cost.
constexpr const char* kSecret = "$2b$04$abcdefghijklmnopqrstuu2r9OfJnfCsdneAXAGHnS4UpFFP8WIrW";
constexpr const char* kOther = "$2y$04$abcdefghijklmnopqrstuu0HtfOlPbTiymk5tcV.3TsFPDd3SYZqu";

class WebConfig : public testing::Test {
 protected:
  WebConfig() { MakeCertificate(folder_, "server"); }

  std::string Write(const std::string& content) const { return folder_.Write("web.yml", content); }
  std::string Config(const std::string& web) const {
    return "[serve]\ntargets = [\"redfish://127.0.0.1:*\"]\nweb-config = \"" + Write(web) + "\"\n";
  }
  Words Trusting(const std::string& name, Words options = {}) const {
    options.insert(options.end(), {"--cacert", folder_ / (name + ".crt")});
    return options;
  }

  const TemporaryFolder folder_;
  const std::string tls_ = "tls_server_config:\n  cert_file: server.crt\n  key_file: server.key\n";
};

TEST_F(WebConfig, ServesTlsToThoseWhoLogIn) {
  ServeRun serve(Config(tls_ +
                        "http_server_config:\n  http2: false\n  headers:\n    Strict-Transport-Security: "
                        "max-age=60\n    X-Frame-Options: deny\nbasic_auth_users:\n  scrape: " +
                        kSecret + "\n  more: " + kOther + "\n"));
  EXPECT_THAT(serve.Url("/"), HasSubstr("https://127.0.0.1:"));
  for (const char* const path :
       {"/", "/metrics", "/-/healthy", "/-/ready", "/sd", "/probe?target=redfish://127.0.0.1:9"}) {
    const std::string refused = serve.Get(path, Trusting("server"));
    EXPECT_THAT(refused, testing::AllOf(HasSubstr("HTTP/1.1 401"), HasSubstr("WWW-Authenticate: Basic "))) << path;
    const std::string good = serve.Get(path, Trusting("server", {"-u", "scrape:secret"}));
    EXPECT_THAT(good, testing::AllOf(HasSubstr("HTTP/1.1 200"), HasSubstr("Strict-Transport-Security: max-age=60"),
                                     HasSubstr("X-Frame-Options: deny")))
        << path;
  }
  EXPECT_THAT(serve.Get("/", Trusting("server", {"-u", "more:other"})), HasSubstr("HTTP/1.1 200"));
  for (const char* const wrong : {"scrape:other", "scrape:", "scrape:secretx", "nobody:secret", "more:secret", ":"}) {
    EXPECT_THAT(serve.Get("/", Trusting("server", {"-u", wrong})), HasSubstr("HTTP/1.1 401")) << wrong;
  }
  for (const char* const odd : {"Basic", "Basic ", "Basic ====", "Basic c2NyYXBl",
                                "Bearer c2NyYXBlOnNlY3JldA==", "Basic !!!!", "Basic c2NyYXBlOnNlY3JldA"}) {
    EXPECT_THAT(serve.Get("/", Trusting("server", {"-H", std::string("Authorization: ") + odd})),
                HasSubstr("HTTP/1.1 401"))
        << odd;
  }
  EXPECT_THAT(serve.Get("/", {"-u", "scrape:secret"}), HasSubstr("self-signed certificate"));
  const std::string head = serve.Get("/", Trusting("server", {"--head"}));
  EXPECT_EQ(head.substr(head.find("\r\n\r\n") + 4), "");
  const std::string port = serve.Url("").substr(serve.Url("").rfind(':'));
  EXPECT_THAT(RunCommand({"curl", "-sS", "-i", "http://127.0.0.1" + port + "/"}).output, Not(HasSubstr("HTTP/1.1 2")));
  EXPECT_EQ(serve.Stop(), 0);
}

TEST_F(WebConfig, AsksForClientCertificates) {
  MakeCertificate(folder_, "authority");
  MakeCertificate(folder_, "client", "authority");
  MakeCertificate(folder_, "stranger");
  const auto with = [&](const std::string& name) {
    return Trusting("server", {"--cert", folder_ / (name + ".crt"), "--key", folder_ / (name + ".key")});
  };
  const struct {
    const char* type;
    bool none, stranger, client;
  } kinds[] = {{"RequireAndVerifyClientCert", false, false, true},
               {"VerifyClientCertIfGiven", true, false, true},
               {"RequireAnyClientCert", false, true, true},
               {"RequestClientCert", true, true, true}};
  const auto letIn = [](bool good) {
    return good ? testing::Matcher<std::string>(HasSubstr("HTTP/1.1 200")) : Not(HasSubstr("HTTP/1.1"));
  };
  for (const auto& kind : kinds) {
    ServeRun serve(Config(tls_ + "  client_ca_file: authority.crt\n  client_auth_type: " + kind.type + "\n"));
    EXPECT_THAT(serve.Get("/metrics", Trusting("server")), letIn(kind.none)) << kind.type;
    EXPECT_THAT(serve.Get("/metrics", with("stranger")), letIn(kind.stranger)) << kind.type;
    EXPECT_THAT(serve.Get("/metrics", with("client")), letIn(kind.client)) << kind.type;
  }
}

TEST_F(WebConfig, BoundsVersionsAndCiphers) {
  ServeRun serve(Config(tls_ + "  max_version: TLS12\n  curve_preferences: [CurveP256]\n"
                               "  cipher_suites: [TLS_ECDHE_ECDSA_WITH_AES_128_GCM_SHA256]\n"));
  const std::string cipher = "ECDHE-ECDSA-AES256-GCM-SHA384";
  EXPECT_THAT(serve.Get("/metrics", Trusting("server")), HasSubstr("HTTP/1.1 200"));
  EXPECT_THAT(serve.Get("/metrics", Trusting("server", {"--tlsv1.3"})), Not(HasSubstr("HTTP/1.1")));
  EXPECT_THAT(serve.Get("/metrics", Trusting("server", {"--ciphers", cipher})), Not(HasSubstr("HTTP/1.1")));
}

TEST_F(WebConfig, IsReadAnewWithTheRest) {
  const Words reload{"-X", "POST", "-u", "scrape:secret"};
  ServeRun serve(Config(tls_ + "basic_auth_users: {scrape: " + kSecret + "}\n"));
  EXPECT_THAT(serve.Get("/-/reload", Trusting("server", {"-X", "POST"})), HasSubstr("HTTP/1.1 401"));
  const std::string old = ContentOf(folder_ / "server.crt");
  MakeCertificate(folder_, "server");
  EXPECT_THAT(serve.Get("/-/reload", Trusting("server", reload)), HasSubstr("certificate")) << "still the old one";
  folder_.Write("old.crt", old);
  EXPECT_THAT(serve.Get("/-/reload", Trusting("old", reload)), HasSubstr("HTTP/1.1 200"));
  EXPECT_THAT(serve.Get("/metrics", Trusting("server", {"-u", "scrape:secret"})), HasSubstr("HTTP/1.1 200"));
  Write(tls_ + "basic_auth_users: {scrape: " + kOther + "}\nextra: 1\n");
  EXPECT_THAT(serve.Get("/-/reload", Trusting("server", reload)),
              testing::AllOf(HasSubstr("HTTP/1.1 500"), HasSubstr("line 5: unknown key extra")));
  EXPECT_THAT(serve.Get("/metrics", Trusting("server", {"-u", "scrape:secret"})), HasSubstr("HTTP/1.1 200"));
  Write(tls_ + "basic_auth_users: {scrape: " + kOther + "}\n");
  EXPECT_THAT(serve.Get("/-/reload", Trusting("server", reload)), HasSubstr("HTTP/1.1 200"));
  EXPECT_THAT(serve.Get("/metrics", Trusting("server", {"-u", "scrape:secret"})), HasSubstr("HTTP/1.1 401"));
}

TEST_F(WebConfig, ThatIsWrongIsRefusedWithItsLine) {
  MakeCertificate(folder_, "another");
  const Words bad[] = {
      {"a: [\n", "line 2: invalid YAML"},
      {"- a\n", "line 1: the file must be a mapping"},
      {"tls_server_config:\n  cert_file: server.crt\n", "line 1: tls_server_config needs cert_file and key_file"},
      {"tls_server_config: {}\n", "needs cert_file and key_file"},
      {tls_ + "  client_allowed_sans: []\n", "line 4: unknown key client_allowed_sans"},
      {tls_ + "  key_file: server.key\n", "line 4: a key is given twice"},
      {tls_ + "  min_version: TLS11\n", "line 4: min_version must be one of TLS12, TLS13"},
      {tls_ + "  min_version: TLS13\n  max_version: TLS12\n", "line 1: min_version is above max_version"},
      {tls_ + "  client_auth_type: Verify\n", "line 4: client_auth_type must be one of NoClientCert, "},
      {tls_ + "  client_auth_type: RequireAndVerifyClientCert\n", "needs client_ca_file"},
      {tls_ + "  client_ca_file: server.crt\n", "line 4: client_ca_file needs client_auth_type"},
      {tls_ + "  client_auth_type: RequestClientCert\n  client_ca_file: none\n", "none: cannot be read"},
      {tls_ + "  cipher_suites: [TLS_RSA_WITH_RC4_128_SHA]\n", "line 4: unknown or weak cipher suite"},
      {"tls_server_config:\n  cert_file: server.key\n  key_file: server.key\n", "line 2: cert_file "},
      {"tls_server_config:\n  cert_file: another.crt\n  key_file: server.key\n", "line 3: key_file "},
      {"http_server_config: {http2: true}\n", "http2 must be false"},
      {"http_server_config:\n  headers:\n    Server: x\n", "line 3: this header is not one that can be set"},
      {"http_server_config:\n  headers:\n    X-Frame-Options: \"a\\r\\nb: c\"\n", "line 3: the value of a header"},
      {"basic_auth_users:\n  a: secret\n", "line 2: a password must be hashed by bcrypt"},
      {"basic_auth_users:\n  a: " + std::string(kSecret).replace(4, 2, "31") + "\n",
       "line 2: a password must be hashed"},
      {"basic_auth_users:\n  \"a:b\": " + std::string(kSecret) + "\n", "line 2: a user's name"},
      {"basic_auth_users: [a]\n", "line 1: basic_auth_users must be a mapping"},
      {"{}\n---\n{}\n", "a second document"},
  };
  for (const Words& one : bad) {
    const std::string file = folder_.Write("config.toml", Config(one[0]));
    const CommandResult result = RunCommand({"timeout", "10", kToolProgram, "serve", "--config", file});
    EXPECT_EQ(result.exitCode, 2) << one[0];
    EXPECT_THAT(result.errors, testing::AllOf(HasSubstr("web configuration "), HasSubstr(one[1]))) << one[0];
    EXPECT_THAT(result.errors, Not(HasSubstr("secret\n")));
  }
  const std::string file = folder_.Write("config.toml", "[serve]\ntargets = [\"ipmi://h\"]\n");
  EXPECT_THAT(RunCommand({"timeout", "10", kToolProgram, "serve", "--config", file, "--web-config", "/none"}).errors,
              HasSubstr("web configuration /none: No such file"));
}

}  // namespace
}  // namespace Kelvar::Test
