#include "bench/cim/BenchServer.h"

#include <arpa/inet.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Kelvar::Bench {

namespace {

struct Property {
  const char* name;
  const char* type;
  std::string value;
};

void Append(CimReply& reply, const std::string& key, const std::vector<Property>& properties) {
  std::string& xml = reply.xml;
  xml += "<VALUE.NAMEDINSTANCE>\n<INSTANCENAME CLASSNAME=\"" + reply.className +
         "\">\n<KEYBINDING NAME=\"InstanceID\">\n<KEYVALUE VALUETYPE=\"string\">" + key +
         "</KEYVALUE>\n</KEYBINDING>\n</INSTANCENAME>\n<INSTANCE CLASSNAME=\"" + reply.className + "\">\n";
  reply.valueBytes += reply.className.size() + key.size() + sizeof(".InstanceID=\"\"") - 1;
  reply.nameBytes += reply.className.size();
  for (const Property& property : properties) {
    xml += std::string("<PROPERTY NAME=\"") + property.name + "\" TYPE=\"" + property.type + "\">\n<VALUE>" +
           property.value + "</VALUE>\n</PROPERTY>\n";
    reply.valueBytes += property.value.size();
    reply.nameBytes += std::string(property.name).size();
  }
  xml += "</INSTANCE>\n</VALUE.NAMEDINSTANCE>\n";
  ++reply.instances;
}

CimReply Finished(CimReply reply) {
  reply.xml =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n<MESSAGE ID=\"1000\" "
      "PROTOCOLVERSION=\"1.0\">\n<SIMPLERSP>\n<IMETHODRESPONSE NAME=\"EnumerateInstances\">\n<IRETURNVALUE>\n" +
      reply.xml + "</IRETURNVALUE>\n</IMETHODRESPONSE>\n</SIMPLERSP>\n</MESSAGE>\n</CIM>\n";
  return reply;
}

bool SendAll(int socket, const std::string& text) {
  for (std::size_t sent = 0; sent < text.size();) {
    const ssize_t count = send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) {
      return false;
    }
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

/// Requests come one at a time and end with their document.
void Talk(int socket, const std::string& head, const std::string& body) {
  std::string request;
  char buffer[4096];
  for (ssize_t count = 0; (count = recv(socket, buffer, sizeof buffer, 0)) > 0;) {
    request.append(buffer, static_cast<std::size_t>(count));
    if (request.find("</CIM>") != std::string::npos) {
      request.clear();
      if (!SendAll(socket, head) || !SendAll(socket, body)) {
        return;
      }
    }
  }
}

}  // namespace

CimReply LogEntries(std::size_t count) {
  CimReply reply;
  reply.className = "QEL_StandardMessageLogEntry";
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    Append(reply, "QEL:log:" + number,
           {{"EventSequenceNumber", "uint64", number},
            {"CreationTimeStamp", "datetime", "20260314120000.000000+000"},
            {"ElementName", "string", "Standard log entry " + number},
            {"EventID", "string", "0x80070114" + number},
            {"CommonEventID", "string", "FQXSPPW0009I"},
            {"Hidden", "boolean", "FALSE"},
            {"LogInstanceID", "string", "QEL:Standard log"},
            {"LogName", "string", "Standard log"},
            {"Message", "string", "The power supply " + number + " has lost its input &amp; redundancy is gone."},
            {"MessageID", "string", "PLAT0520"},
            {"PerceivedSeverity", "uint16", "6"},
            {"AuxiliaryData", "string", "sensor 0x" + number + ", state asserted"}});
  }
  return Finished(std::move(reply));
}

CimReply Sensors(std::size_t count) {
  CimReply reply;
  reply.className = "CIM_NumericSensor";
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    Append(reply, "QEL:sensor:" + number,
           {{"BaseUnits", "uint16", "2"},
            {"CurrentReading", "sint32", number},
            {"UnitModifier", "sint32", "-1"},
            {"LowerThresholdCritical", "sint32", "5"},
            {"LowerThresholdFatal", "sint32", "0"},
            {"LowerThresholdNonCritical", "sint32", "10"},
            {"CurrentState", "string", "Normal"},
            {"DeviceID", "string", "sensor " + number},
            {"Caption", "string", "DIMM " + number + " temperature"},
            {"Description", "string", "Temperature of the memory module in slot " + number},
            {"ElementName", "string", "DIMM " + number + " Temp"},
            {"HealthState", "uint16", "5"}});
  }
  return Finished(std::move(reply));
}

BenchServer::BenchServer(const CimReply& reply) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const raw = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, raw, size) != 0 || listen(listener, 8) != 0 || getsockname(listener, raw, &size) != 0) {
    throw std::runtime_error("cannot listen");
  }
  port_ = ntohs(address.sin_port);
  process_ = fork();
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string head =
        "HTTP/1.1 200 OK\r\nContent-Type: application/xml; charset=utf-8\r\nCIMOperation: MethodResponse\r\n"
        "Content-Length: " +
        std::to_string(reply.xml.size()) + "\r\n\r\n";
    while (true) {
      const int connection = accept(listener, nullptr, nullptr);
      Talk(connection, head, reply.xml);
      close(connection);
    }
  }
  close(listener);
}

BenchServer::~BenchServer() {
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

KelvarConnection::ConnectionInfo BenchServer::Info() const {
  KelvarConnection::ConnectionInfo info;
  info.Host = "127.0.0.1";
  info.Port = port_;
  info.UserName = "admin";
  info.Password = "kelvar-demo";
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_CIM_BMC;
  return info;
}

}  // namespace Kelvar::Bench
