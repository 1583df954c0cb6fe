#include "tools/kelvar/fleet/Interruption.h"

#include <csignal>

#include <unistd.h>

namespace Kelvar::Tool {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM};

volatile std::sig_atomic_t caught = 0;

/// A second signal ends the program at once.
void Note(int signal) {
  if (caught != 0) {
    (void)std::signal(signal, SIG_DFL);
    (void)std::raise(signal);
  }
  caught = signal;
}

std::string Quoted(const std::string& word) {
  constexpr const char* kHarmless = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:=,@+%";
  if (!word.empty() && word.find_first_not_of(kHarmless) == std::string::npos) {
    return word;
  }
  std::string quoted = "'";
  for (const char letter : word) {
    quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
  }
  return quoted + "'";
}

}  // namespace

Interruption::Interruption() {
  struct sigaction action {};
  action.sa_handler = Note;  // without SA_RESTART: a prompt for a password ends too
  for (const int signal : kSignals) {
    sigaction(signal, &action, nullptr);
  }
}

Interruption::~Interruption() {
  for (const int signal : kSignals) {
    (void)std::signal(signal, SIG_DFL);
  }
}

bool Interruption::Pending() const {
  return caught != 0;
}

void Interruption::EndBySignal() const {
  constexpr int kSignalBase = 128;
  const int signal = caught;
  (void)std::signal(signal, SIG_DFL);
  (void)std::raise(signal);
  _exit(kSignalBase + signal);
}

bool Interruption::Overdue() {
  constexpr std::chrono::seconds kGrace{5};
  if (!Pending()) {
    return false;
  }
  const auto now = std::chrono::steady_clock::now();
  since_ = since_.value_or(now);
  return now - *since_ > kGrace;
}

std::string CommandToGoOn(const std::vector<std::string>& words, const std::string& saved) {
  std::string command = "kelvar";
  bool resumes = false;
  for (const std::string& word : words) {
    resumes = resumes || word.compare(0, 8, "--resume") == 0;
    command += word == "--force" ? "" : ' ' + Quoted(word);
  }
  return resumes ? command : command + " --resume " + Quoted(saved);
}

}  // namespace Kelvar::Tool
