#include <kelvar/ConnectionOptions.h>
#include <kelvar/Diagnostics.h>

#include "common/deadline/OperationDeadline.h"
#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

class ExchangesTest : public CimFixture {
 protected:
  /// Reads LEDs over a connection of its own.
  void Read(const KelvarConnection::ConnectionInfo& info) {
    const DiagnosticsScope scope(diagnostics);
    std::vector<KelvarNfw::INDICATORLEDS> leds;
    Facade(info)->GetZMCIndicatorLED(leds);
  }

  Diagnostics diagnostics;
};

TEST_F(ExchangesTest, RecordsWhatCameAndWhatItMeans) {
  struct Case {
    HttpReply reply;
    int status;
    FailureCause cause;
    bool understood;
    std::string response;
  };
  using Cause = FailureCause;
  const auto error = [](int code) {
    return CimHttpReply(CimReplyXml("<ERROR CODE=\"" + std::to_string(code) + "\" DESCRIPTION=\"no\"/>"));
  };
  const Case cases[] = {
      {CimHttpReply(CimReplyXml("<IRETURNVALUE></IRETURNVALUE>")), 0, Cause::None, true, "0 instances"},
      {error(2), 2, Cause::LoginRefused, true, "CIM status 2: no"},
      {error(5), 5, Cause::NotOffered, true, "CIM status 5: no"},
      {error(1), 1, Cause::BadData, true, "CIM status 1: no"},
      {HttpError(401), 401, Cause::LoginRefused, false, "HTTP Error (401 Scripted)."},
      {HttpError(404), 404, Cause::NotOffered, false, "HTTP Error (404 Scripted)."},
      {HttpReply("<html></html>"), -1, Cause::NotSuchService, false, "Missing CIMOperation HTTP header"},
      {CimHttpReply("<html></html>"), -1, Cause::NotSuchService, false,
       "Semantic error: on line 1: the root element is not CIM"},
      {CimHttpReply("<CIM"), -1, Cause::BadData, false, "Validation error: on line 1: unclosed token"},
      {CimHttpReply("<CIM " + std::string(300'000, 'x')), -1, Cause::TooLarge, false,
       "Validation error: on line 1: a token of more than 262144 bytes"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(&one - cases);
    diagnostics.Clear();
    server.OnClassReply("CIM_IndicatorLED", one.reply);
    Read(Info());
    ASSERT_EQ(diagnostics.Exchanges().size(), 2u);
    EXPECT_EQ(diagnostics.Exchanges().front().request, "connect");
    EXPECT_EQ(diagnostics.Exchanges().front().response, "connected");
    const DiagnosticExchange& exchange = diagnostics.Exchanges().back();
    EXPECT_EQ(exchange.protocol, "cim");
    EXPECT_EQ(exchange.request, "enumerate CIM_IndicatorLED");
    EXPECT_EQ(exchange.response, one.response);
    EXPECT_EQ(exchange.status, one.status);
    EXPECT_STREQ(NameOf(exchange.cause), NameOf(one.cause));
    EXPECT_EQ(diagnostics.ServiceUnderstood(), one.understood);
  }
  EXPECT_GT(diagnostics.BytesReceived(), 262'144u);
}

TEST_F(ExchangesTest, AServerThatClosesWithoutAReplyIsNotAnotherService) {
  HttpReply dropped;
  dropped.raw = " ";
  dropped.cutAfter = 0;
  server.OnClassReply("CIM_IndicatorLED", dropped);
  Read(Info());
  ASSERT_EQ(diagnostics.Gaps().size(), 1u);
  EXPECT_STREQ(NameOf(diagnostics.Gaps().front().cause), "unreachable");
  EXPECT_STREQ(NameOf(diagnostics.Cause()), "unreachable");
}

TEST_F(ExchangesTest, OneRefusedLoginEndsAllOperationsOfAScope) {
  server.OnAnyClassReply(HttpError(401));
  std::unique_ptr<NFI> facade;
  {
    ConnectionOptions options;
    options.stop_after_refused_login = true;
    const ConnectionOptionsScope scope(options);
    facade = Facade();
  }
  const DiagnosticsScope scope(diagnostics);
  std::vector<KelvarNfw::INDICATORLEDS> leds;
  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> log;
  EXPECT_EQ(facade->GetZMCIndicatorLED(leds), 1);
  EXPECT_EQ(facade->GetZMCIndicatorLED(leds), 1);
  facade->GetZMCAuditLogDataViaCIM(log);
  facade->GetZMCMessageLogDataCIM(log, 0);
  EXPECT_EQ(server.Requests().size(), 1u);
  EXPECT_STREQ(NameOf(diagnostics.Cause()), "login_refused");
  EXPECT_EQ(diagnostics.Exchanges().back().transmissions, 0u);
}

TEST_F(ExchangesTest, TheOperationsTimeCutsAndWithholdsRequests) {
  HttpReply late = CimHttpReply(CimReplyXml("<IRETURNVALUE></IRETURNVALUE>"));
  late.delay = std::chrono::seconds(20);
  server.OnClassReply("QEL_Chassis", late);
  ConnectionOptions options;
  options.operation_limit_seconds = 1;
  const ConnectionOptionsScope optionsScope(options);
  const auto facade = Facade();
  const DiagnosticsScope scope(diagnostics);
  KelvarAgentless::ComputerSystem system;
  EXPECT_EQ(facade->GetHardwareInfoComputerSystem(system), 9);
  const OperationDeadline over(1);
  std::vector<KelvarNfw::INDICATORLEDS> leds;
  server.OnClassReply("CIM_IndicatorLED", late);
  EXPECT_EQ(facade->GetZMCIndicatorLED(leds), 9);
  EXPECT_EQ(facade->GetZMCIndicatorLED(leds), 9);
  EXPECT_EQ(server.Requests().size(), 2u);
  EXPECT_STREQ(NameOf(diagnostics.Exchanges().back().cause), "deadline");
}

TEST_F(ExchangesTest, RecordsAConnectWithItsTries) {
  struct Case {
    std::string host;
    u32 connectionType;  ///< 1: TLS
    const char* cause;
  };
  for (const Case& one : {Case{"no-such-host.invalid", 0, "unreachable"}, Case{"127.0.0.1", 1, "tls"}}) {
    diagnostics.Clear();
    KelvarConnection::ConnectionInfo info = Info();
    info.Host = one.host;
    info.ConnectionType = one.connectionType;
    server.Http().FailConnections(ConnectionFault::CloseAfterFirstBytes, 6);
    Read(info);
    ASSERT_GE(diagnostics.Exchanges().size(), 1u);
    EXPECT_EQ(diagnostics.Exchanges().front().transmissions, 3u);
    EXPECT_STREQ(NameOf(diagnostics.Cause()), one.cause);
  }
}

TEST_F(ExchangesTest, ReadsNoMoreThanTheOptionsAllow) {
  const std::string led =
      R"(<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME="a"/><INSTANCE CLASSNAME="a"><PROPERTY )"
      R"(NAME="ElementName" TYPE="string"><VALUE>led</VALUE></PROPERTY></INSTANCE></VALUE.NAMEDINSTANCE>)";
  server.OnClassReply("CIM_IndicatorLED",
                      CimHttpReply(CimReplyXml("<IRETURNVALUE>" + led + led + led + "</IRETURNVALUE>")));
  for (const auto& [records, bytes, read] :
       {std::tuple(0U, 0U, 3U), std::tuple(3U, 2000000U, 3U), std::tuple(2U, 0U, 2U), std::tuple(0U, 300U, 0U)}) {
    ConnectionOptions options;
    options.record_limit = records;
    options.response_limit_bytes = bytes;
    const ConnectionOptionsScope scope(options);
    std::vector<KelvarNfw::INDICATORLEDS> leds;
    EXPECT_EQ(Facade()->GetZMCIndicatorLED(leds) == 0, read == 3U);
    EXPECT_EQ(leds.size(), read);
  }
}

}  // namespace
}  // namespace Kelvar::Test
