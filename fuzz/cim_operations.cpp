// Every operation of the CIM backend and of the logs beside it, against a server that answers with the pieces of the
// input, which are separated by bytes of 0xFF, in turn. The first byte chooses the operation, by its place in the table
// of fixed operations, and the kind of server.

#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <kelvar/Log.h>

#include "fuzz/Check.h"
#include "module/nfw/inventory/BackendFactory.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"
#include "module/nfw/inventory/cim/zmcapp.h"
#include "tests/support/FixedOperations.h"
#include "transport/pegasus/HttpTransport.h"

using namespace Kelvar;

namespace {

std::vector<std::string> replies;
std::size_t next = 0;

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

}  // namespace

// Stands for the transport of the library, which the linker then leaves out.
namespace Pegasus::Detail {

HttpTransport::HttpTransport(const String& /*host*/, Uint32 /*port*/, const SSLContext* /*tls*/, const String& /*user*/,
                             const String& /*password*/) {}

void HttpTransport::Connect(Uint32 /*timeoutMs*/) {}

void HttpTransport::Post(const std::vector<std::string>& /*headers*/, std::string_view body, Uint32 /*timeoutMs*/,
                         BodySink& sink) {
  std::string reply = replies[next++ % replies.size()];
  const std::size_t id = body.find(" ID=\"");
  FUZZ_CHECK(id != std::string_view::npos);
  ReplaceAll(reply, "ID=\"1000\"", std::string(body.substr(id + 1, body.find('"', id + 5) - id)));
  sink.Take(reply);
}

}  // namespace Pegasus::Detail

namespace {

void Split(const std::uint8_t* data, std::size_t size) {
  replies.assign(1, {});
  next = 0;
  for (std::size_t index = 0; index < size; ++index) {
    if (data[index] == 0xFF) {
      replies.emplace_back();
    } else {
      replies.back().push_back(static_cast<char>(data[index]));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Kelvar::Log::SetMinLogLevel(0);
  const std::size_t place = size == 0 ? std::size(Test::kFixedOperations) : data[0] % 64;
  if (place >= std::size(Test::kFixedOperations)) {
    return 0;
  }
  Split(data + 1, size - 1);
  KelvarConnection::ConnectionInfo info;
  info.Host = "bmc";
  info.ConnectionCase = 2 + data[0] / 64 % 3U;
  BackendFactory parts;
  parts.primaryBackend = std::make_unique<NodeFirmwareInventoryImpCIM>(info, [](u32) {});
  parts.zmcApp = std::make_unique<zmcapp>(info, false, [](u32) {});
  const auto inventory = BackendFactory::MakeFacade(std::move(parts));
  const int code = Test::kFixedOperations[place].call(*inventory).result;
  FUZZ_CHECK(code == 0 || code == 1 || (code >= 7 && code <= 9) || code == 12 || code == 13 || code == 15);

  next = 0;
  zmcapp logs(info, false, [](u32) {});
  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> entries;
  const int read = logs.GetZMCAuditEventLog(entries);
  FUZZ_CHECK((read == 0) == !entries.empty() || read == 9 || read == 15);
  return 0;
}
