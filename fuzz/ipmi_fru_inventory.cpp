// FRU devices by their own format.

#include "fuzz/Check.h"
#include "module/reader/ipmi/FruInventory.h"

using namespace Kelvar;
using namespace Kelvar::Reader::Ipmi;

namespace {

void CheckText(const std::string& text) {
  FUZZ_CHECK(text.size() <= 2UL * 63 && text.find('\0') == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const FruInventory fru = ParseFru(std::span<const u8>(data, size));
  FUZZ_CHECK(fru.faults.size() <= 8 + kMostMultiRecords);
  if (fru.chassis) {
    CheckText(fru.chassis->serialNumber);
  }
  if (fru.board) {
    for (const std::string* text : {&fru.board->manufacturer, &fru.board->productName, &fru.board->serialNumber,
                                    &fru.board->partNumber, &fru.board->fileId}) {
      CheckText(*text);
    }
    FUZZ_CHECK(fru.board->manufactured.empty() || fru.board->manufactured.size() == 20);
  }
  if (fru.product) {
    CheckText(fru.product->productName);
    for (const std::string& text : fru.product->custom) {
      CheckText(text);
    }
  }
  FUZZ_CHECK(!fru.records.systemGuid || fru.records.systemGuid->size() == 16);
  return 0;
}
