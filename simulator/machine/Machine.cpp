#include "simulator/machine/Machine.h"

#include <fstream>
#include <stdexcept>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>

namespace Kelvar::Simulator {

namespace {

std::string TextOf(const rapidjson::Value& object, const char* key) {
  const auto member = object.FindMember(key);
  if (member == object.MemberEnd() || !member->value.IsString()) {
    throw std::runtime_error(std::string("machine.json: no text \"") + key + '"');
  }
  return {member->value.GetString(), member->value.GetStringLength()};
}

std::filesystem::path FindFolder(const std::string& nameOrFolder, const std::filesystem::path& library) {
  for (const std::filesystem::path& candidate : {std::filesystem::path(nameOrFolder), library / nameOrFolder}) {
    if (std::filesystem::is_regular_file(candidate / "machine.json")) {
      return std::filesystem::absolute(candidate);
    }
  }
  throw std::runtime_error("no machine \"" + nameOrFolder + "\": neither a folder with a machine.json nor a name in " +
                           library.string());
}

}  // namespace

bool Machine::Accepts(const std::string& user, const std::string& password) const {
  for (const Account& account : accounts) {
    if (account.user == user && account.password == password) {
      return true;
    }
  }
  return false;
}

Machine LoadMachine(const std::string& nameOrFolder, const std::filesystem::path& library) {
  Machine machine;
  machine.folder = FindFolder(nameOrFolder, library);
  std::ifstream file(machine.folder / "machine.json");
  rapidjson::IStreamWrapper stream(file);
  rapidjson::Document document;
  document.ParseStream<rapidjson::kParseIterativeFlag>(stream);
  if (document.HasParseError() || !document.IsObject()) {
    throw std::runtime_error(std::string("machine.json: ") + rapidjson::GetParseError_En(document.GetParseError()));
  }
  machine.name = TextOf(document, "name");
  machine.description = TextOf(document, "description");
  const auto accounts = document.FindMember("accounts");
  if (accounts == document.MemberEnd() || !accounts->value.IsArray()) {
    throw std::runtime_error("machine.json: no list \"accounts\"");
  }
  for (const auto& account : accounts->value.GetArray()) {
    if (!account.IsObject()) {
      throw std::runtime_error("machine.json: an account that is no object");
    }
    machine.accounts.push_back({TextOf(account, "user"), TextOf(account, "password")});
  }
  return machine;
}

}  // namespace Kelvar::Simulator
