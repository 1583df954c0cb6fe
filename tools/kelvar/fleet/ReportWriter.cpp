#include "tools/kelvar/fleet/ReportWriter.h"

#include <utility>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/html/HtmlPage.h"

namespace Kelvar::Tool {

namespace {

std::string TableOf(const Report& report, Colour colour) {
  const char* const bold = colour == Colour::Always ? "\x1b[1m" : "";
  const char* const plain = colour == Colour::Always ? "\x1b[0m" : "";
  std::string error = Text::EscapeControl(report.error);
  error.insert(0, error.empty() ? "" : ": ");
  return fmt::format("{}== {}{}: {}{} ({:.1f} s)\n", bold, Text::EscapeControl(report.target), plain,
                     DescriptionOf(report.code), error, report.seconds) +
         TableText(report, colour);
}

}  // namespace

Rendering RenderingOf(const std::string& format, Colour colour) {
  if (format == "json") {
    return {"[\n", ",\n", "]\n", IndentedJsonText};
  }
  if (format == "csv") {
    return {CsvHead(), "", "", CsvText};
  }
  if (format == "table") {
    return {"", "\n", "", [colour](const Report& report) { return TableOf(report, colour); }};
  }
  if (format == "html") {
    const auto page = std::make_shared<HtmlPage>();
    Rendering rendering{HtmlPage::Head(), "", "", [page](const Report& report) { return page->SectionOf(report); }};
    rendering.summary = [page] { return page->Foot(); };
    return rendering;
  }
  return {"", "", "", JsonText};
}

std::size_t Counts::Failed() const {
  const auto complete = byCode.find(ExitCode::Complete);
  return answered - (complete == byCode.end() ? 0 : complete->second);
}

ReportWriter::ReportWriter(Output& output, Rendering rendering, const FleetOptions& options)
    : output_(output), rendering_(std::move(rendering)), ordered_(options.ordered) {
  if (!options.save.empty()) {
    saved_.emplace(options.save, !options.resume.empty());
  }
  output_.Write(rendering_.head);
}

void ReportWriter::Write(std::size_t position, const Report& report) {
  std::string text = rendering_.textOf(report);
  const std::string line = saved_ ? JsonText(report) : std::string();
  const std::lock_guard<std::mutex> lock(mutex_);
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
  Print(last);
  if (failure_) {
    std::rethrow_exception(failure_);
  }
  if (saved_) {
    saved_->Close();
  }
  output_.Write(rendering_.summary ? rendering_.summary() : rendering_.foot);
  output_.Finish();
}

void ReportWriter::Print(const std::string& text) {
  if (text.empty() || failure_) {
    return;
  }
  try {
    output_.Write(rendering_.eraser);
    output_.Write(any_ ? rendering_.separator : std::string());
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
