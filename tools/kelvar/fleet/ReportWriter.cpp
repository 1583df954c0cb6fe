#include "tools/kelvar/fleet/ReportWriter.h"

#include <utility>

namespace Kelvar::Tool {

std::size_t Counts::Failed() const {
  const auto complete = byCode.find(ExitCode::Complete);
  return answered - (complete == byCode.end() ? 0 : complete->second);
}

ReportWriter::ReportWriter(Output& output, Formatter formatter, const FleetOptions& options)
    : output_(output), formatter_(std::move(formatter)), ordered_(options.ordered) {
  if (!options.save.empty()) {
    saved_.emplace(options.save, !options.resume.empty());
  }
  output_.Write(formatter_.head);
}

void ReportWriter::Write(std::size_t position, const Report& report) {
  std::string text = formatter_.textOf(report);
  const std::string line = saved_ ? JsonLineOf(report) : std::string();
  const std::lock_guard<std::mutex> lock(mutex_);
  if (finished_) {
    return;
  }
  ++counts_.answered;
  ++counts_.byCode[report.code];
  Save(line);
  if (!ordered_) {
    Print(text);
    return;
  }
  early_.emplace(position, std::move(text));
  for (auto first = early_.begin(); first != early_.end() && first->first == next_; first = early_.begin()) {
    Print(first->second);
    early_.erase(first);
    ++next_;
  }
}

bool ReportWriter::Failed() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return failure_ != nullptr;
}

Counts ReportWriter::Counted() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return counts_;
}

void ReportWriter::Finish(const std::string& last) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [position, text] : early_) {  // of a run that is interrupted
    Print(text);
  }
  Print(last);
  finished_ = true;
  if (failure_) {
    std::rethrow_exception(failure_);
  }
  if (saved_) {
    saved_->Close();
  }
  output_.Write(formatter_.summary ? formatter_.summary() : formatter_.foot);
  output_.Finish();
}

void ReportWriter::Print(const std::string& text) {
  if (text.empty() || failure_) {
    return;
  }
  try {
    output_.Write(formatter_.eraser);
    output_.Write(any_ ? formatter_.separator : std::string());
    output_.Write(text);
    output_.Finish();  // at once, so that whoever ends this program keeps what was read
  } catch (...) {
    failure_ = std::current_exception();
  }
  any_ = true;
}

void ReportWriter::Save(const std::string& line) {
  if (line.empty() || failure_) {
    return;
  }
  try {
    saved_->Write(line);
  } catch (...) {
    failure_ = std::current_exception();
  }
}

}  // namespace Kelvar::Tool
