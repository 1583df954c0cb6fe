// The entries of a log: read in place, and by the property tree's parser, any text gives the same records and the same
// failure.

#include <tuple>
#include <vector>

#include <kelvar/Log.h>

#include "common/json/JsonText.h"
#include "common/json/JsonTree.h"
#include "fuzz/Check.h"
#include "module/nfw/inventory/redfish/RedfishLog.h"

using namespace Kelvar;

namespace {

using Record = MAINTLOGREDFISHDATA;

auto Fields(const Record& record) {
  return std::tie(record.RecordIndex, record.ZMCIndex, record.Source, record.EventSequenceNumber,
                  record.CreationTimeStamp, record.EventID, record.ElementName, record.Message, record.MessageID,
                  record.MessageArguments, record.PerceivedSeverity, record.AuxiliaryData, record.Hidden);
}

/// Whether the body could be read to its end.
bool Append(const std::string& body, bool argumentsRequired, std::vector<Record>& list) {
  try {
    AppendLogEntries(body, argumentsRequired, list);
    return true;
  } catch (const boost::property_tree::ptree_error&) {
    return false;
  }
}

/// The same object with one more member in front, whose name is escaped: it is not read in place.
std::string NotPlain(std::string body) {
  return body.insert(body.find('{') + 1, "\"\\u0078\":0,");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  const std::string body(data, data + size);
  const bool plain = IsPlainJson(body, {});
  const bool comparable = plain && JsonSlice::Root(body).IsObject() &&
                          body.find_first_not_of(" \t\r\n", body.find('{') + 1) != body.find('}');
  for (const bool argumentsRequired : {false, true}) {
    std::vector<Record> list;
    const bool whole = Append(body, argumentsRequired, list);
    for (std::size_t index = 0; index < list.size(); ++index) {
      FUZZ_CHECK(list[index].RecordIndex == index);
    }
    if (comparable) {
      const std::string other = NotPlain(body);
      FUZZ_CHECK(!IsPlainJson(other, {}));
      std::vector<Record> others;
      FUZZ_CHECK(Append(other, argumentsRequired, others) == whole && others.size() == list.size());
      for (std::size_t index = 0; index < list.size(); ++index) {
        FUZZ_CHECK(Fields(list[index]) == Fields(others[index]));
      }
    }
  }
  return 0;
}
