// Lists of targets: each line is a target or an error, which repeats no password, and what was read can be written as
// lines that are read to the same.

#include <sstream>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "fuzz/AddressText.h"
#include "tools/kelvar/fleet/TargetList.h"

using namespace Kelvar;
using Tool::ListedTarget;

namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void WriteText(Writer& writer, const std::string& text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void WriteGiven(Writer& writer, const char* key, const std::string& text) {
  if (!text.empty()) {
    writer.Key(key);
    WriteText(writer, text);
  }
}

std::string LineOf(const ListedTarget& listed) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  WriteGiven(writer, "target", listed.name);
  WriteGiven(writer, "user", listed.target->info.UserName);
  WriteGiven(writer, "password-file", listed.password.file);
  WriteGiven(writer, "password-command", listed.password.command);
  writer.Key("what");
  writer.StartArray();
  for (const std::string& word : listed.what) {
    WriteText(writer, word);
  }
  writer.EndArray();
  writer.EndObject();
  return {buffer.GetString(), buffer.GetSize()};
}

void CheckSame(const ListedTarget& one, const ListedTarget& other) {
  FUZZ_CHECK(one.name == other.name && one.what == other.what && one.error.empty() == other.error.empty());
  FUZZ_CHECK(other.target && one.target->address == other.target->address);
  FUZZ_CHECK(one.target->info.Host == other.target->info.Host && one.target->info.Port == other.target->info.Port);
  FUZZ_CHECK(one.target->info.UserName == other.target->info.UserName);
  FUZZ_CHECK(one.password.file == other.password.file && one.password.command == other.password.command);
}

void Check(const ListedTarget& listed) {
  FUZZ_CHECK(!listed.name.empty() && (listed.target || !listed.error.empty()));
  const bool inWords = std::any_of(listed.what.begin(), listed.what.end(),
                                   [](const std::string& word) { return Fuzz::Shows(word, Fuzz::kSecret); });
  FUZZ_CHECK(!Fuzz::Shows(listed.name, Fuzz::kSecret));
  FUZZ_CHECK(inWords || !Fuzz::Shows(listed.error, Fuzz::kSecret));
  FUZZ_CHECK(listed.password.file.empty() || listed.password.command.empty() || !listed.error.empty());
  FUZZ_CHECK(!listed.password.text);
  if (listed.target) {
    FUZZ_CHECK(listed.target->address == listed.name);
    std::istringstream line(LineOf(listed));
    const auto again = Tool::ReadTargetList(line, {});
    FUZZ_CHECK(again.size() == 1);
    CheckSame(listed, again.front());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = Fuzz::WithSecrets(data, size);
  std::istringstream lines(text);
  const auto list = Tool::ReadTargetList(lines, {"firmware"});
  FUZZ_CHECK(list.size() <= static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
  for (const ListedTarget& listed : list) {
    Check(listed);
  }
  return 0;
}
