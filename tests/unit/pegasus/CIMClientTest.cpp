#include <gtest/gtest.h>

#include <Pegasus/Client/CIMClient.h>

#include "support/ScriptedCimServer.h"

namespace Pegasus {
namespace {

using Kelvar::Test::CimHttpReply;
using Kelvar::Test::CimReplyXml;
using Kelvar::Test::ConnectionFault;
using Kelvar::Test::HttpReply;
using Kelvar::Test::ScriptedCimServer;

using std::chrono::milliseconds;

std::string Text(const String& text) {
  return std::string(text.View());
}

/// Class and message of what an action throws.
template <typename Action>
std::string Thrown(Action action) {
  try {
    action();
    return "nothing";
  } catch (const CIMClientHTTPErrorException& e) {
    return "HTTP " + std::to_string(e.getCode()) + ": " + Text(e.getMessage());
  } catch (const CIMException& e) {
    return "CIM " + std::to_string(e.getCode()) + ": " + Text(e.getMessage());
  } catch (const CIMClientMalformedHTTPException& e) {
    return "Malformed: " + Text(e.getMessage());
  } catch (const CIMClientXmlException& e) {
    return "XML: " + Text(e.getMessage());
  } catch (const CIMClientResponseException& e) {
    return "Response: " + Text(e.getMessage());
  } catch (const CannotConnectException& e) {
    return "CannotConnect: " + Text(e.getMessage());
  } catch (const InvalidLocatorException& e) {
    return "Locator: " + Text(e.getMessage());
  } catch (const ConnectionTimeoutException& e) {
    return "Timeout: " + Text(e.getMessage());
  } catch (const NotConnectedException& e) {
    return "NotConnected: " + Text(e.getMessage());
  } catch (const Exception& e) {
    return "other: " + Text(e.getMessage());
  }
}

class CIMClientTest : public testing::Test {
 protected:
  void Connect() { client.connect("127.0.0.1", server.Port(), "admin", "secret"); }
  Array<CIMInstance> Enumerate(const char* className = "CIM_X") {
    return client.enumerateInstances("root/cimv2", className);
  }
  std::string Failure() {
    return Thrown([this] { Enumerate(); });
  }

  struct FailingReply {
    HttpReply reply;
    std::string thrown;  ///< "%ID%" stands for the message ID
  };

  /// Each is told, is not repeated, and leaves a client that works.
  void ExpectFailures(const std::vector<FailingReply>& failing);

  ScriptedCimServer server;
  CIMClient client;
};

const std::string kEmptyReply = CimReplyXml("<IRETURNVALUE/>");

void CIMClientTest::ExpectFailures(const std::vector<FailingReply>& failing) {
  Connect();
  client.setTimeout(300);
  int id = 1000;
  for (const auto& [reply, thrown] : failing) {
    SCOPED_TRACE(thrown);
    server.OnClassReply("CIM_X", reply);
    std::string expected = thrown;
    if (const std::size_t at = expected.find("%ID%"); at != std::string::npos) {
      expected.replace(at, 4, std::to_string(id));
    }
    EXPECT_EQ(Failure(), expected);
    EXPECT_EQ(server.Requests().size(), static_cast<std::size_t>(id - 999)) << "no request is repeated";
    server.OnClassReply("CIM_X", CimHttpReply(kEmptyReply));
    EXPECT_NO_THROW(Enumerate("CIM_Other")) << "the next call works, on a new connection where needed";
    id += 2;
  }
}

const char* const kInstance = "<INSTANCE CLASSNAME=\"CIM_X\"/>";

HttpReply Chunked(const std::vector<std::string>& chunks, const std::string& trailers) {
  HttpReply reply;
  reply.raw =
      "HTTP/1.1 200 OK\r\nContent-Type: application/xml\r\nCIMOperation: MethodResponse\r\n"
      "Transfer-Encoding: chunked\r\n\r\n";
  for (const std::string& chunk : chunks) {
    char size[16];
    snprintf(size, sizeof size, "%zx\r\n", chunk.size());
    reply.raw += size + chunk + "\r\n";
  }
  reply.raw += "0\r\n" + trailers + "\r\n";
  return reply;
}

TEST_F(CIMClientTest, AsksAsTheProtocolSays) {
  Connect();
  EXPECT_EQ(server.Http().Requests().size(), 0U) << "connect makes no request";
  Enumerate();
  CIMPropertyList list(Array<CIMName>(std::vector<CIMName>{"A", "B"}.data(), 2));
  client.enumerateInstances("/qel/zmc1/cimv2", "CIM_Y", false, false, true, true, list);

  const auto requests = server.Http().Requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(server.Http().ConnectionCount(), 1);
  EXPECT_EQ(requests[0].method + " " + requests[0].target, "POST /cimom");
  EXPECT_EQ(requests[0].Header("content-type"), "application/xml; charset=utf-8");
  EXPECT_EQ(requests[0].Header("te"), "chunked, trailers");
  EXPECT_EQ(requests[0].Header("cimoperation"), "MethodCall");
  EXPECT_EQ(requests[0].Header("cimmethod"), "EnumerateInstances");
  EXPECT_EQ(requests[0].Header("cimobject"), "root%2Fcimv2");
  EXPECT_EQ(requests[0].Header("authorization"), "Basic YWRtaW46c2VjcmV0");
  EXPECT_EQ(requests[0].Header("expect"), "");
  EXPECT_EQ(
      requests[0].body,
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1000\" "
      "PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"EnumerateInstances\"><LOCALNAMESPACEPATH>"
      "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME=\"ClassName\">"
      "<CLASSNAME NAME=\"CIM_X\"/></IPARAMVALUE></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>\n");
  EXPECT_EQ(requests[1].Header("cimobject"), "qel%2Fzmc1%2Fcimv2");
  EXPECT_NE(requests[1].body.find("MESSAGE ID=\"1001\""), std::string::npos);
  for (const char* parameter :
       {"\"DeepInheritance\"><VALUE>FALSE", "\"LocalOnly\"><VALUE>FALSE", "\"IncludeQualifiers\"><VALUE>TRUE",
        "\"IncludeClassOrigin\"><VALUE>TRUE", "\"PropertyList\"><VALUE.ARRAY><VALUE>A</VALUE><VALUE>B</VALUE>"}) {
    EXPECT_NE(requests[1].body.find(parameter), std::string::npos) << parameter;
  }
}

TEST_F(CIMClientTest, ReadsEveryFormOfReply) {
  const std::string xml = CimReplyXml("<IRETURNVALUE>" + std::string(kInstance) + "</IRETURNVALUE>");
  HttpReply dripping = CimHttpReply(xml);
  dripping.dripBytes = 7;
  dripping.dripPause = milliseconds(0);
  HttpReply untilClose;
  untilClose.raw = "HTTP/1.0 200 OK\r\ncimoperation: MethodResponse\r\n\r\n" + xml;
  untilClose.closeAfter = true;
  HttpReply continued = CimHttpReply(xml);
  continued.raw = "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nCIMOperation: MethodResponse\r\nContent-Length: " +
                  std::to_string(xml.size()) + "\r\n\r\n" + xml;
  for (const HttpReply& reply : {CimHttpReply(xml), dripping, untilClose, continued,
                                 Chunked({xml.substr(0, 5), xml.substr(5)}, "CIMStatusCode: 0\r\n")}) {
    server.OnClassReply("CIM_X", reply);
    client.disconnect();
    Connect();
    EXPECT_EQ(Enumerate().size(), 1U) << reply.raw;
  }
}

TEST_F(CIMClientTest, TellsBadHeadsApart) {
  HttpReply unauthorized(401, "<html>" + std::string(10'000, ' '));
  HttpReply cimError(400, "");
  cimError.headers = {{"CIMError", "unsupported-operation"}, {"PGErrorDetail", "no%20way"}};
  HttpReply brokenOff;
  brokenOff.raw = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 100\r\n\r\n";
  brokenOff.closeAfter = true;
  HttpReply withoutEnd = brokenOff;  // the connection stays open, and the body never comes
  withoutEnd.closeAfter = false;
  HttpReply noOperation = CimHttpReply(kEmptyReply);
  noOperation.headers.pop_back();
  HttpReply badType = CimHttpReply(kEmptyReply);
  badType.headers[0].second = "text/html";
  ExpectFailures({
      {unauthorized, "HTTP 401: HTTP Error (401 Scripted)."},
      {cimError, "HTTP 400: HTTP Error (400 Scripted): CIMError = \"unsupported-operation\" Detail = \"no way\"."},
      {brokenOff, "HTTP 401: HTTP Error (401 Unauthorized)."},
      {withoutEnd, "HTTP 401: HTTP Error (401 Unauthorized)."},
      {noOperation, "Malformed: Missing CIMOperation HTTP header"},
      {badType, "Malformed: Bad Content-Type HTTP header; text/html"},
  });
}

TEST_F(CIMClientTest, TellsBrokenConnectionsApart) {
  HttpReply closed;
  closed.raw = "HTTP/1.1 ";
  closed.closeAfter = true;
  HttpReply reset = CimHttpReply(kEmptyReply);
  reset.cutAfter = 40;
  HttpReply notHttp;
  notHttp.raw = "SSH-2.0-OpenSSH_9.2\r\n";
  notHttp.closeAfter = true;
  HttpReply tooShort;
  tooShort.raw = "HTTP/1.1 200 OK\r\nCIMOperation: MethodResponse\r\nContent-Length: 5000\r\n\r\n" + kEmptyReply;
  tooShort.closeAfter = true;
  HttpReply slow = CimHttpReply(kEmptyReply);
  slow.delay = milliseconds(2000);
  ExpectFailures({
      {reset, "Malformed: Connection closed by CIM Server."},
      {closed, "Malformed: Connection closed by CIM Server."},
      {tooShort, "Malformed: Connection closed by CIM Server."},
      {notHttp, "Malformed: Malformed HTTP response message."},
      {slow, "Timeout: connection timed out"},
  });
}

TEST_F(CIMClientTest, TellsBadAndRefusingMessagesApart) {
  ExpectFailures({
      {CimHttpReply("junk"), "XML: Validation error: on line 1: syntax error"},
      {CimHttpReply(""), "XML: Validation error: on line 1: no element found"},
      {CimHttpReply("<CIM><MESSAGE ID=\"1\"/></CIM>"),
       "Response: Mismatched response message ID:  Got \"1\", expected \"%ID%\"."},
      {CimHttpReply(CimReplyXml("<ERROR CODE=\"2\" DESCRIPTION=\"denied\"/>")), "CIM 2: denied"},
      {Chunked({kEmptyReply.substr(0, 60)},
               "CIMStatusCode: 3\r\nCIMStatusCodeDescription: no%20such%20namespace%3\r\n"),
       "CIM 3: no such namespace%3"},
      {Chunked({}, "CIMStatusCode: 5\r\n"), "CIM 5: CIM_ERR_INVALID_CLASS"},
      {Chunked({}, "CIMStatusCode: 51\r\n"), "CIM 51: Unrecognized CIM status code \"51\""},
      {CimHttpReply(CimReplyXml("<ERROR CODE=\"-1\"/>")), "CIM -1: Unrecognized CIM status code \"-1\""},
  });
}

TEST_F(CIMClientTest, AServerThatClosesAfterEachReplyGetsANewConnectionEachTime) {
  for (const milliseconds pause : {milliseconds(0), milliseconds(3)}) {
    HttpReply reply = CimHttpReply(CimReplyXml("<IRETURNVALUE></IRETURNVALUE>"));
    reply.closeAfter = true;
    reply.closePause = pause;
    server.OnAnyClassReply(reply);
    // On a busy machine the server can close later than the client looks: that costs one request, not every second one.
    int failed = 5;
    for (int tries = 0; tries < 20 && failed > 0; ++tries) {
      const std::size_t before = server.Requests().size();
      client.disconnect();
      Connect();
      failed = 0;
      for (int request = 0; request < 5; ++request) {
        failed += Thrown([this] { Enumerate(); }) == "nothing" ? 0 : 1;
      }
      EXPECT_LE(failed, 1);
      EXPECT_LE(server.Requests().size(), before + 5) << "none is sent twice";
    }
    EXPECT_EQ(failed, 0) << "closed after " << pause.count() << " ms";
  }
}

TEST_F(CIMClientTest, ReopensAnIdleConnectionButNeverRepeatsARequest) {
  HttpReply thenClosed = CimHttpReply(CimReplyXml("<IRETURNVALUE/>"));
  thenClosed.closeAfter = true;
  server.OnAnyClassReply(thenClosed);
  Connect();
  Enumerate();
  server.Http().AwaitAllClosed();
  EXPECT_NO_THROW(Enumerate()) << "closed while idle";
  EXPECT_EQ(server.Http().ConnectionCount(), 2);

  HttpReply dropped;
  dropped.raw = " ";
  dropped.cutAfter = 0;
  server.OnClassReply("CIM_X", CimHttpReply(CimReplyXml("<IRETURNVALUE/>")));
  server.OnClassReply("CIM_Dropped", dropped);
  server.Http().AwaitAllClosed();
  Enumerate();
  const std::size_t before = server.Requests().size();
  EXPECT_EQ(Thrown([this] { Enumerate("CIM_Dropped"); }), "Malformed: Connection closed by CIM Server.");
  EXPECT_EQ(server.Requests().size(), before + 1) << "sent over a kept connection, and closed without an answer";
}

TEST_F(CIMClientTest, ConnectTellsWhyItFails) {
  const auto port = [](const ScriptedCimServer& s) { return std::to_string(s.Port()); };
  EXPECT_EQ(Failure(), "NotConnected: not connected");
  Kelvar::u16 deadPort = 0;
  {
    ScriptedCimServer gone;
    deadPort = gone.Port();
  }
  EXPECT_EQ(Thrown([&] { client.connect("127.0.0.1", deadPort, "", ""); }),
            "CannotConnect: Cannot connect to 127.0.0.1:" + std::to_string(deadPort) + ". Connection failed.");
  for (const char* host : {"host.invalid", "", "evil/path", "user@host", "a b"}) {
    EXPECT_EQ(Thrown([&] { client.connect(host, 5988, "", ""); }),
              "Locator: Invalid locator: " + std::string(host) + ":5988");
  }
  Connect();
  EXPECT_EQ(Thrown([&] { Connect(); }), "other: already connected");
  EXPECT_EQ(client.getTimeout(), 20000U);

  ScriptedCimServer plain;
  CIMClient secure;
  const SSLContext trusting(String::EMPTY, nullptr);
  plain.Http().FailConnections(ConnectionFault::CloseAfterFirstBytes, 1);
  EXPECT_EQ(Thrown([&] { secure.connect("127.0.0.1", plain.Port(), trusting, "", ""); }),
            "CannotConnect: Cannot connect to 127.0.0.1:" + port(plain) + ". Connection failed.");
  plain.Http().FailConnections(ConnectionFault::StaySilent, 1);
  secure.setTimeout(100);
  EXPECT_EQ(Thrown([&] { secure.connect("127.0.0.1", plain.Port(), trusting, "", ""); }),
            "Timeout: connection timed out");
}

TEST_F(CIMClientTest, SpeaksTlsAndIpv6) {
  ScriptedCimServer secure(Kelvar::Test::ScriptedHttpServer::Options{.tls = true, .ipv6 = true});
  secure.OnClass("CIM_X", kInstance);
  CIMClient trusting;
  trusting.connect("::1", secure.Port(), SSLContext(String::EMPTY, nullptr), "a", "b");
  EXPECT_EQ(secure.Http().ConnectionCount(), 1) << "the handshake belongs to connect";
  EXPECT_EQ(trusting.enumerateInstances("root/cimv2", "CIM_X").size(), 1U);
  EXPECT_EQ(secure.Http().ConnectionCount(), 1);
  CIMClient wary;
  EXPECT_THROW(wary.connect("::1", secure.Port(), SSLContext("/dev/null", nullptr), "a", "b"), CannotConnectException);
  EXPECT_THROW(SSLContext(String::EMPTY, [](SSLCertificateInfo&) { return true; }), SSLException);
}

TEST_F(CIMClientTest, EndlessRepliesEnd) {
  HttpReply endless = CimHttpReply("");
  endless.raw = "HTTP/1.1 200 OK\r\nCIMOperation: MethodResponse\r\n\r\n<CIM><A ";
  endless.repeated = std::string(4096, 'x');
  endless.repeatCount = 1'000'000;
  server.OnClassReply("CIM_X", endless);
  Connect();
  EXPECT_EQ(Failure(), "XML: Validation error: on line 1: a token of more than 262144 bytes");

  const std::string header = "X: " + std::string(4000, 'x') + "\r\n";
  const std::string interim = "HTTP/1.1 100 Continue\r\n" + header + "\r\n";
  const std::string trailer = Chunked({}, "X: x\r\n").raw;
  const std::pair<std::string, std::string> heads[] = {
      {"HTTP/1.1 200 OK\r\n", header}, {interim, interim}, {trailer.substr(0, trailer.size() - 2), header}};
  for (const auto& [start, repeated] : heads) {
    endless.raw = start;
    endless.repeated = repeated;
    server.OnClassReply("CIM_X", endless);
    EXPECT_EQ(Failure(), "Malformed: HTTP headers of more than 262144 bytes.") << start;
  }
  endless.raw = "HTTP/1.1 200 OK\r\nCIMOperation: MethodResponse\r\nTransfer-Encoding: chunked\r\n\r\n1";
  for (const char* between : {"", "\r\n \r\n1"}) {
    endless.repeated = ';' + std::string(100'000, 'x') + between;
    server.OnClassReply("CIM_X", endless);
    EXPECT_EQ(Failure(), "Malformed: HTTP response message that comes to no end.") << between;
  }
}

TEST(CIMNames, AreCheckedAndCompareWithoutCase) {
  EXPECT_EQ(CIMName("ElementName"), CIMName("elementname"));
  EXPECT_EQ(Text(CIMNamespaceName("/root/cimv2").getString()), "root/cimv2");
  for (const char* name : {"", "1a", "a b", "a-b", "a/b", "a\"b"}) {
    EXPECT_EQ(Thrown([&] { CIMName{name}; }), "other: The CIM name is not valid: " + std::string(name));
  }
  for (const char* name : {"", "/", "root//cimv2", "root/", "a b"}) {
    EXPECT_EQ(Thrown([&] { CIMNamespaceName{name}; }), "other: invalid CIM namespace name: " + std::string(name));
  }
  EXPECT_EQ(String("abc").find("bc"), 1U);
  EXPECT_EQ(String("abc").find("x"), PEG_NOT_FOUND);
  Array<String> one;
  one.append("first");
  const Array<String> copy = one;
  one[0] = "changed";
  EXPECT_EQ(copy[0], "first") << "a copy keeps what it had";
}

}  // namespace
}  // namespace Pegasus
