#include "module/nfw/inventory/cim/MessageLogEntry.h"

#include <array>
#include <boost/lexical_cast.hpp>

#include "module/nfw/inventory/cim/CIMFields.h"

namespace Kelvar {

using Entry = KelvarNfw::ZMCMESSAGELOGDATA;
using Pegasus::CIMValue;

namespace {

constexpr int kCommonEventID = 3;

/// Words of the DMTF property PerceivedSeverity.
constexpr std::array kSeverities = {
    "Unknown", "Other", "Information", "Degraded/Warning", "Minor", "Major", "Critical", "Fatal/NonRecoverable",
};
static_assert(kSeverities.size() == 8);

void ReadHidden(const CIMValue& value, Entry& entry) {
  Pegasus::Boolean hidden = false;
  value.get(hidden);
  entry.Hidden = hidden;
}

void ReadArguments(const CIMValue& value, Entry& entry) {
  entry.MessageArguments.clear();
  const Pegasus::Array<Pegasus::String> arguments = ReadStrings(value);
  for (Pegasus::Uint32 i = 0; i < arguments.size(); ++i) {
    if (arguments[i].size() == 0) {
      continue;
    }
    if (!entry.MessageArguments.empty()) {
      entry.MessageArguments += '^';
    }
    entry.MessageArguments += ToText(arguments[i]);
  }
}

void ReadSeverity(const CIMValue& value, Entry& entry) {
  const int number = value.isNull() ? 0 : boost::lexical_cast<int>(ToText(value.toString()));
  const bool known = number >= 0 && static_cast<std::size_t>(number) < kSeverities.size();
  entry.PerceivedSeverity = known ? kSeverities[static_cast<std::size_t>(number)] : "DMTF Reserved";
}

constexpr CIMField<Entry> kHead[] = {
    {"EventSequenceNumber", kText<&Entry::EventSequenceNumber>},
    {"CreationTimeStamp", kText<&Entry::CreationTimeStamp>},
    {"ElementName", kText<&Entry::ElementName>},
};

constexpr CIMField<Entry> kEvent[] = {{"EventID", kText<&Entry::EventID>}};
constexpr CIMField<Entry> kCommonEvent[] = {{"CommonEventID", kText<&Entry::EventID>}};

constexpr CIMField<Entry> kTail[] = {
    {"Hidden", {ReadHidden, nullptr}, "No \"Hidden\" property. "},
    {"LogInstanceID", kText<&Entry::LogInstanceID>},
    {"LogName", kText<&Entry::LogName>},
    {"Message", kText<&Entry::Message>},
    {"MessageID", kText<&Entry::MessageID>},
    {"MessageArguments", {ReadArguments, &Entry::MessageArguments}},
    {"PerceivedSeverity", {ReadSeverity, &Entry::PerceivedSeverity}},
    {"AuxiliaryData", kText<&Entry::AuxiliaryData>, "No auxiliary_data property"},
};

constexpr auto kTexts = TextsOf(kHead, kEvent, kCommonEvent, kTail);

}  // namespace

std::span<const MessageLogText> MessageLogTexts() noexcept {
  return kTexts.View();
}

void ReadMessageLogEntry(const Pegasus::CIMInstance& instance, int selector, Entry& entry) {
  ReadCIMFields(instance, kHead, entry);
  ReadCIMFields(instance, selector == kCommonEventID ? kCommonEvent : kEvent, entry);
  ReadCIMFields(instance, kTail, entry);
}

}  // namespace Kelvar
