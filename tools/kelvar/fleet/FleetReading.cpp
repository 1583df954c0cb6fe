#include "tools/kelvar/fleet/FleetReading.h"

#include <utility>

#include "tools/kelvar/LogView.h"

namespace Kelvar::Tool {

FleetReading::FleetReading(FleetParts& parts, std::size_t position, ListedTarget target)
    : TimedReading(*target.target, std::nullopt, ReadOptionsOf(parts.options, target.what),
                   parts.options.deadlineSeconds),
      parts_(parts),
      position_(position),
      target_(std::move(target)),
      account_(Accounts::KeyOf(*target_.target)) {}

void FleetReading::Run() {
  if (parts_.writer.Failed()) {
    Decline(NotTried(target_, ExitCode::Internal, "not tried: the reports cannot be written"));
    return;
  }
  if (parts_.accounts.IsRefused(account_)) {
    Decline(NotTried(target_, ExitCode::LoginRefused, "not tried: this account was refused before"));
    return;
  }
  LogView::NameThread(target_.name);
  TimedReading::Run();
  if (Whole().loginRefused) {
    parts_.accounts.Refuse(account_);
  }
}

void FleetReading::End(const Report& report) {
  parts_.writer.Write(position_, report);
  parts_.accounts.Leave(account_);
}

Report NotTried(const ListedTarget& target, ExitCode code, const std::string& why) {
  Report report;
  report.target = target.name;
  report.operations = target.operations;
  report.protocol = target.target ? target.target->protocol : report.protocol;
  report.start = std::chrono::system_clock::now();
  report.code = code;
  report.connection = code;
  report.error = why;
  return report;
}

}  // namespace Kelvar::Tool
