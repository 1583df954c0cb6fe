#include "simulator/record/Recorder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fmt/format.h>

#include "simulator/record/Mask.h"
#include "simulator/record/RedfishWalk.h"
#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

namespace fs = std::filesystem;

// The account of a recorded machine is that of all machines.
constexpr const char* kMachineJson = R"({{
  "name": {},
  "description": "Recorded from a live service",
  "accounts": [
    {{"user": "admin", "password": "kelvar-demo"}}
  ],
  "facts": {{}}
}}
)";

std::string Password(const RecordOptions& options) {
  if (options.passwordFile.empty()) {
    const char* password = std::getenv("KELVAR_PASSWORD");
    return password == nullptr ? "" : password;
  }
  std::ifstream file(options.passwordFile);
  std::string line;
  if (!file || !(std::getline(file, line) || file.eof())) {
    throw std::runtime_error("cannot read " + options.passwordFile);
  }
  return line;
}

/// "https://HOST[:PORT]" alone.
std::string ServiceOf(std::string url) {
  while (url.ends_with('/')) {
    url.pop_back();
  }
  const std::size_t host = url.find("://");
  const bool isHttp = url.starts_with("https://") || url.starts_with("http://");
  if (!isHttp || host + 3 == url.size() || url.find_first_of("/?#@", host + 3) != std::string::npos) {
    throw std::runtime_error("\"" + url + "\" is not a service: expected https://HOST or https://HOST:PORT");
  }
  return url;
}

void MakeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error || !fs::is_directory(folder)) {
    throw std::runtime_error("cannot make " + folder.string());
  }
  if (!fs::is_empty(folder)) {
    throw std::runtime_error(folder.string() + " is not empty");
  }
}

void WriteFile(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream output(file, std::ios::binary);
  output << text;
  if (!output.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

std::size_t WritePages(const WalkResult& walk, const fs::path& folder, Mask& mask) {
  constexpr std::size_t kMostBytes = 1'073'741'824;
  std::size_t bytes = 0;
  std::size_t written = 0;
  for (const auto& [path, page] : walk.pages) {
    const std::string text = mask.Apply(page);
    // a masked path is a path still: masks hold no slash
    const auto masked = MirroredPath(mask.ApplyToPath(path));
    bytes += text.size();
    if (masked && !text.empty() && bytes <= kMostBytes) {
      WriteFile(folder / fs::path(*masked).relative_path() / "index.json", text);
      ++written;
    }
  }
  return written;
}

}  // namespace

std::string Record(const RecordOptions& options) {
  const fs::path folder = options.folder;
  HttpFetch fetch(ServiceOf(options.url), options.user, Password(options));
  MakeFolder(folder);
  const WalkResult walk = WalkRedfish(fetch, options.mostPages);
  Mask mask;
  for (const auto& [path, page] : walk.pages) {
    mask.Learn(page);
  }
  const std::size_t written = WritePages(walk, folder, mask);
  const fs::path named = fs::absolute(folder).lexically_normal();
  const std::string name = named.filename().empty() ? named.parent_path().filename() : named.filename();
  WriteFile(folder / "machine.json", fmt::format(kMachineJson, JsonText::Quote(name)));
  return fmt::format("{} pages in {}; masked: {}; left out: {}", written, options.folder, mask.Summary(),
                     walk.leftOut + walk.pages.size() - written);
}

}  // namespace Kelvar::Simulator
