// Records of the system event log, with and without the record of their sensor. The first 16 bytes are the entry, the
// others a sensor data record.

#include "fuzz/Check.h"
#include "module/reader/ipmi/EventTime.h"
#include "module/reader/ipmi/SelRecord.h"

using namespace Kelvar;
using namespace Kelvar::Reader::Ipmi;

namespace {

void CheckDescription(const SelRecord& record, const SensorRecord* sensor) {
  const SelText text = DescribeRecord(record, sensor);
  FUZZ_CHECK(!text.message.empty() && text.message.size() < 1000);
  FUZZ_CHECK(text.message.find('\0') == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const u8> input(data, size);
  const auto record = ParseSelRecord(input);
  FUZZ_CHECK(record.has_value() == (size >= kSelRecordSize));
  if (!record) {
    return 0;
  }
  CheckDescription(*record, nullptr);
  if (const auto timestamp = record->Timestamp()) {
    const std::string time = TimeText(*timestamp, UtcOffsetOf(record->id));
    FUZZ_CHECK(time.empty() || time.size() == 20 || time.size() == 25);
    FUZZ_CHECK(time.empty() || SecondsOf(time) == UtcSecondsOf(*timestamp, UtcOffsetOf(record->id)));
  }
  const auto sdr = ParseSdrRecord(input.subspan(kSelRecordSize));
  if (sdr && std::holds_alternative<std::vector<SensorRecord>>(sdr->body)) {
    CheckDescription(*record, &std::get<std::vector<SensorRecord>>(sdr->body).front());
  }
  return 0;
}
