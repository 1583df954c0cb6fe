// The client against a bare program of libcurl and expat that only counts elements, over one and the same reply.
#include <curl/curl.h>
#include <expat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <Pegasus/Client/CIMClient.h>

#include "bench/cim/BenchServer.h"
#include "bench/cim/Measure.h"

namespace {

using namespace Kelvar::Bench;

void XMLCALL CountElement(void* count, const char*, const char**) {
  ++*static_cast<std::size_t*>(count);
}

std::size_t Feed(char* bytes, std::size_t one, std::size_t count, void* parser) {
  XML_Parse(static_cast<XML_Parser>(parser), bytes, static_cast<int>(one * count), XML_FALSE);
  return one * count;
}

void CountBare(Kelvar::u16 port) {
  std::size_t elements = 0;
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetUserData(parser, &elements);
  XML_SetStartElementHandler(parser, CountElement);
  CURL* const handle = curl_easy_init();
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/cimom";
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "<CIM></CIM>");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Feed);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, parser);
  if (curl_easy_perform(handle) != CURLE_OK || elements < 10) {
    std::abort();
  }
  curl_easy_cleanup(handle);
  XML_ParserFree(parser);
}

void Enumerate(Kelvar::u16 port, const CimReply& reply) {
  Pegasus::CIMClient client;
  client.connect("127.0.0.1", port, "admin", "kelvar-demo");
  const auto instances = client.enumerateInstances("root/cimv2", reply.className.c_str());
  if (instances.size() != reply.instances) {
    std::abort();
  }
}

void Row(const BenchOptions& options, const char* name, const CimReply& reply) {
  const BenchServer server(reply);
  const Cost bare = Measure([&] { CountBare(server.Port()); });
  const Cost ours = Measure([&] { Enumerate(server.Port(), reply); });
  const auto values = static_cast<double>(reply.valueBytes);
  const auto names = static_cast<double>(reply.nameBytes);
  const auto count = static_cast<double>(reply.instances);
  // What both need for the transfer alone does not count as memory of the instances.
  const double memory = ours.peakBytes - bare.peakBytes;
  std::printf("%-8s %9zu %9.1f %9.1f %9.2f %9.2f %11.2f %15.2f\n", name, reply.instances, bare.seconds * 1e3,
              ours.seconds * 1e3, ours.seconds / bare.seconds, ours.seconds / count * 1e6, memory / values,
              memory / (values + names));
  options.Print({std::string("CIM enumeration, ") + std::to_string(reply.instances) + " x " + name, "libcurl + expat",
                 ToSpent(ours), ToSpent(bare)});
}

}  // namespace

int main(int argc, char** argv) {
  const BenchOptions options(argc, argv);
  std::printf("%-8s %9s %9s %9s %9s %9s %11s %15s\n", "reply", "instances", "bare ms", "ours ms", "time", "us each",
              "mem/values", "mem/all strings");
  const std::size_t largest = options.Quick() ? 10'000 : 100'000;
  for (const std::size_t count : {1'000U, 10'000U, 100'000U}) {
    if (count <= largest) {
      Row(options, "log", LogEntries(count));
      Row(options, "sensors", Sensors(count));
    }
  }
  std::puts("goals: time at most 2, mem at most 1.5, us each the same in every row of a reply");
  return 0;
}
