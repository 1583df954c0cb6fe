#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelvar/RestClient.h>

#include <sstream>

#include "support/ScriptedHttpServer.h"

namespace Rest {
namespace {

using Kelvar::Test::ConnectionFault;
using Kelvar::Test::HttpReply;
using Kelvar::Test::ScriptedHttpServer;
using testing::HasSubstr;

/// A gzip stream of `runs` times 258 zero bytes in 13 bits each.
std::string GzipBomb(int runs) {
  std::string bytes("\x1f\x8b\x08\0\0\0\0\0\0\x03", 10);
  unsigned pending = 0;
  int count = 0;
  const auto put = [&](unsigned bits, int width) {
    pending |= bits << count;
    for (count += width; count >= 8; count -= 8) {
      bytes.push_back(static_cast<char>(pending & 0xFF));
      pending >>= 8;
    }
  };
  put(0b011, 3);       // last block, fixed codes
  put(0b00001100, 8);  // literal 0
  for (int run = 0; run < runs; ++run) {
    put(0b10100011, 8);  // length 258
    put(0, 5);           // distance 1
  }
  put(0, 7 + 8);
  return bytes;
}

TEST(RestClientHostileTest, BodiesBeyondTheBoundEndTheTransfer) {
  ScriptedHttpServer server;
  constexpr int kBound = 1 << 20;
  HttpReply exact{std::string(kBound, 'x')};
  HttpReply announced{std::string(kBound + 1, 'x')};
  HttpReply huge;
  huge.raw = "HTTP/1.1 200 OK\r\nContent-Length: 2147483648\r\n\r\nx";
  HttpReply endless;
  endless.raw = "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n";
  endless.repeated = std::string(65536, 'x');
  endless.repeatCount = 1u << 20;
  HttpReply bomb{GzipBomb(2 * kBound / 258)};
  bomb.headers = {{"Content-Encoding", "gzip"}};
  HttpReply smallBomb{GzipBomb(1000)};
  smallBomb.headers = bomb.headers;
  server.On("/exact", exact);
  server.On("/announced", announced);
  server.On("/huge", huge);
  server.On("/endless", endless);
  server.On("/bomb", bomb);
  server.On("/small-bomb", smallBomb);

  RestClient client;
  client.SetMaxBodyBytes(kBound);
  client.EnableCompression();
  EXPECT_EQ(client.Get(server.Url("/exact")).body.size(), std::size_t{kBound});
  EXPECT_EQ(client.Get(server.Url("/small-bomb")).body.size(), 258001u);
  for (const char* target : {"/announced", "/huge", "/endless", "/bomb"}) {
    const RestResponse response = client.Get(server.Url(target));
    EXPECT_EQ(response.curlCode, CURLE_WRITE_ERROR) << target;
    EXPECT_EQ(response.httpCode, -1) << target;
    EXPECT_THAT(response.body, HasSubstr("the body is larger than 1048576 bytes")) << target;
  }
}

TEST(RestClientHostileTest, WhatIsNoBodyEndsTheTransferToo) {
  const std::string head = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1";
  const std::string header = "X: " + std::string(4000, 'x') + "\r\n";
  const std::string extension = ';' + std::string(100'000, 'x');
  struct Case {
    std::string raw;
    std::string repeated;
  };
  const Case cases[] = {
      {head + "\r\nx\r\n0\r\n", header},
      {head, extension},
      {head, extension + "\r\nx\r\n1"},
  };
  for (const bool tls : {false, true}) {
    ScriptedHttpServer server({.tls = tls});
    server.On("/x", HttpReply("ok"));
    RestClient client;
    client.SetSkipTlsVerification(true);
    for (const Case& c : cases) {
      HttpReply endless;
      endless.raw = c.raw + c.repeated;
      endless.repeated = c.repeated;
      endless.repeatCount = 1'000'000;
      server.On("/endless", endless);
      EXPECT_EQ(client.Get(server.Url("/x")).body, "ok") << "the connection that the next transfer goes over";
      const RestResponse response = client.Get(server.Url("/endless"));
      EXPECT_EQ(response.curlCode, CURLE_ABORTED_BY_CALLBACK) << response.body;
      EXPECT_THAT(response.body, HasSubstr("the server keeps sending headers without a body"));
    }
  }
}

TEST(RestClientHostileTest, HeaderFloodsStayBounded) {
  ScriptedHttpServer server;
  HttpReply flood;
  flood.raw = "HTTP/1.1 200 OK\r\n";
  flood.repeated = "X-Flood: " + std::string(60000, 'x') + "\r\n";
  flood.repeatCount = 4000;
  server.On("/flood", flood);
  server.On("/x", HttpReply("ok"));
  RestClient client;
  const RestResponse response = client.Get(server.Url("/flood"));
  EXPECT_NE(response.curlCode, 0);
  EXPECT_LE(response.headers.size(), 3u);
  EXPECT_EQ(client.Get(server.Url("/x")).body, "ok");
}

TEST(RestClientHostileTest, AFailureAtAnyStageIsReportedAndLeavesNothingBehind) {
  for (const bool tls : {false, true}) {
    ScriptedHttpServer server({.tls = tls});
    server.On("/good", HttpReply("good"));
    RestClient client;
    client.SetSkipTlsVerification(true);
    const auto expectFailure = [&](const std::string& stage) {
      const RestResponse response = client.Get(server.Url("/bad"));
      EXPECT_NE(response.curlCode, 0) << stage;
      EXPECT_EQ(response.httpCode, -1) << stage;
      EXPECT_THAT(response.body, testing::Not(HasSubstr("partial"))) << stage;
      EXPECT_EQ(client.Get(server.Url("/good")).body, "good") << stage;
    };
    const auto newConnections = [&] {  // a kept connection would not meet the fault
      HttpReply last("good");
      last.closeAfter = true;
      server.On("/good", last);
      client.Get(server.Url("/good"));
    };
    for (const auto fault :
         {ConnectionFault::CloseAtOnce, ConnectionFault::ResetAtOnce, ConnectionFault::CloseAfterFirstBytes}) {
      newConnections();
      server.FailConnections(fault, 1);
      expectFailure("connection fault " + std::to_string(static_cast<int>(fault)));
    }
    HttpReply reply("partial body");
    for (const std::size_t cut : {1u, 10u, 20u, 50u}) {  // in the status line, in the headers, in the body
      reply.cutAfter = cut;
      server.On("/bad", reply);
      expectFailure("cut after " + std::to_string(cut));
    }
    reply.cutAfter.reset();
    reply.raw = "HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\npartial";
    reply.resetAfter = true;
    server.On("/bad", reply);
    expectFailure("reset");
  }
}

TEST(RestClientHostileTest, AConnectionClosedIdleIsOpenedAgain) {
  ScriptedHttpServer server({.tls = true});
  HttpReply reply("ok");
  reply.closeAfter = true;
  server.On("/x", reply);
  RestClient client;
  client.SetSkipTlsVerification(true);
  for (int round = 0; round < 3; ++round) {
    std::istringstream body("the whole body");
    EXPECT_EQ(client.PostStream(server.Url("/x"), body).body, "ok");
    EXPECT_EQ(server.Requests().back().body, "the whole body");
  }
}

TEST(RestClientHostileTest, TheTimeLimitHolds) {
  ScriptedHttpServer server;
  server.FailConnections(ConnectionFault::StaySilent, 1);
  RestClient client;
  client.SetTimeout(1);
  EXPECT_EQ(client.Get(server.Url("/x")).curlCode, CURLE_OPERATION_TIMEDOUT);
}

TEST(RestClientHostileTest, NothingButHttpIsFetched) {
  RestClient client;
  EXPECT_EQ(client.Get("file:///etc/hostname").curlCode, CURLE_UNSUPPORTED_PROTOCOL);
}

}  // namespace
}  // namespace Rest
