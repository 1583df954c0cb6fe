#include "simulator/machine/Machine.h"

#include <stdexcept>

#include "simulator/machine/JsonFile.h"

namespace Kelvar::Simulator {

namespace {

std::filesystem::path FindFolder(const std::string& nameOrFolder, const std::filesystem::path& library) {
  for (const std::filesystem::path& candidate : {std::filesystem::path(nameOrFolder), library / nameOrFolder}) {
    if (std::filesystem::is_regular_file(candidate / "machine.json")) {
      return std::filesystem::absolute(candidate);
    }
  }
  throw UsageError("no machine \"" + nameOrFolder + "\": neither a folder with a machine.json nor a name in " +
                   library.string());
}

}  // namespace

std::vector<std::string> Machine::FaultsOf(const std::string& protocol) const {
  const std::string prefix = protocol + ':';
  std::vector<std::string> names;
  for (const std::string& fault : faults) {
    if (fault.compare(0, prefix.size(), prefix) == 0) {
      names.push_back(fault.substr(prefix.size()));
    }
  }
  return names;
}

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
  const std::filesystem::path file = machine.folder / "machine.json";
  const rapidjson::Document document = Json::ReadObject(file);
  try {
    machine.name = Json::Text(document, "name");
    machine.description = Json::Text(document, "description");
    for (const auto& account : Json::List(document, "accounts")) {
      machine.accounts.push_back({Json::Text(account, "user"), Json::Text(account, "password")});
    }
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file.string() + ": " + error.what());
  }
  return machine;
}

}  // namespace Kelvar::Simulator
