#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include <Pegasus/Common/Exception.h>

#include "common/diagnostics/ConnectionLimits.h"

namespace Kelvar {

/// Appends copies of one working record, which repeats what an instance lacks, to a list. Bounds the texts of them
/// all: a reply that is itself within bounds could otherwise have a long one repeated until memory ends.
template <typename Record>
class RecordAppender {
 public:
  using TextField = std::string Record::*;
  /// No fewer than our client keeps of a reply.
  static constexpr std::size_t kMaxTextBytes = std::size_t{128} * 1024 * 1024;

  /// `texts` are the fields that count.
  RecordAppender(std::vector<Record>& list, std::span<const TextField> texts) noexcept : list_(list), texts_(texts) {}

  /// Throws an exception of the client library when the texts become too many; what was appended before stays.
  void operator()(const Record& record) {
    for (const TextField text : texts_) {
      textBytes_ += (record.*text).size();
    }
    if (textBytes_ > maxTextBytes_) {
      throw Pegasus::Exception(
          ("the records hold more than " + std::to_string(maxTextBytes_) + " bytes of text").c_str());
    }
    CheckRecordLimit(list_);
    list_.push_back(record);
  }

 private:
  std::vector<Record>& list_;
  const std::span<const TextField> texts_;
  const std::size_t maxTextBytes_ = ResponseLimit(kMaxTextBytes);
  std::size_t textBytes_ = 0;
};

}  // namespace Kelvar
