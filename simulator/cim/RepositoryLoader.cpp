#include "simulator/cim/RepositoryLoader.h"

#include <map>
#include <stdexcept>
#include <vector>

#include "simulator/cim/ClassReader.h"
#include "simulator/cim/JsonFile.h"

namespace Kelvar::Simulator::Cim {

namespace {

namespace fs = std::filesystem;

/// File of each class.
using ClassFiles = std::map<std::string, fs::path, NameLess>;
using SpaceFiles = std::map<std::string, ClassFiles, NameLess>;

constexpr const char* serverFile = "server.json";

/// Runs `step` and puts the file's name before what it complains about.
template <typename Step>
void Within(const fs::path& file, Step step) {
  try {
    step();
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file.string() + ": " + error.what());
  }
}

SpaceFiles FindFiles(const fs::path& folder) {
  SpaceFiles found;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const fs::path& file = entry.path();
    if (entry.is_regular_file() && file.extension() == ".json" && file.parent_path() != folder) {
      found[fs::relative(file.parent_path(), folder).generic_string()][file.stem().string()] = file;
    }
  }
  return found;
}

void Include(const rapidjson::Value& server, SpaceFiles& files) {
  const rapidjson::Value* spaces = Member(server, "namespaces");
  if (spaces == nullptr) {
    return;
  }
  for (const auto& [name, description] : ObjectOf(*spaces)) {
    ClassFiles& own = files[name.GetString()];
    if (const rapidjson::Value* included = Member(description, "include")) {
      for (const rapidjson::Value& from : ListOf(*included)) {
        const ClassFiles& others = files[TextOf(from)];
        own.insert(others.begin(), others.end());
      }
    }
  }
}

/// Whether a list of class names holds the name; an entry with a trailing "*" stands for a prefix.
bool Lists(const rapidjson::Value& list, const std::string& className) {
  for (const rapidjson::Value& entry : ListOf(list)) {
    const std::string name = TextOf(entry);
    if (name == className || (name.ends_with('*') && className.starts_with(name.substr(0, name.size() - 1)))) {
      return true;
    }
  }
  return false;
}

void Narrow(const rapidjson::Value& server, const std::string& flavour, Repository& repository) {
  const rapidjson::Value* flavours = Member(server, "flavours");
  const rapidjson::Value* wanted = flavours == nullptr ? nullptr : Member(*flavours, flavour.c_str());
  if (wanted == nullptr) {
    throw std::runtime_error("no flavour \"" + flavour + '"');
  }
  if (const rapidjson::Value* spaces = Member(*wanted, "namespaces")) {
    std::erase_if(repository.namespaces, [&](const auto& space) { return !Lists(*spaces, space.first); });
  }
  if (const rapidjson::Value* hidden = Member(*wanted, "hide")) {
    for (auto& [name, space] : repository.namespaces) {
      space.RemoveIf([&](const Class& of) { return Lists(*hidden, of.name); });
    }
  }
}

Namespace LoadNamespace(const ClassFiles& files, const Facts& facts) {
  std::vector<std::pair<std::string, rapidjson::Document>> documents;
  Namespace space;
  for (const auto& [name, file] : files) {
    Within(file, [&, &className = name, &path = file] {
      documents.emplace_back(className, ReadJsonObject(path));
      space.Add(ReadClass(className, documents.back().second));
    });
  }
  for (const auto& [name, document] : documents) {
    Within(files.at(name), [&, &className = name, &json = document] {
      Class& of = *space.Find(className);
      if (!of.superclass.empty() && space.Find(of.superclass) == nullptr) {
        throw std::runtime_error("no class \"" + of.superclass + "\" to derive from");
      }
      ReadInstances(json, space, facts, of);
    });
  }
  return space;
}

}  // namespace

Repository LoadRepository(const fs::path& folder, const std::string& flavour, const Facts& facts) {
  if (!fs::is_directory(folder)) {
    throw std::runtime_error("no CIM data: " + folder.string() + " is no folder");
  }
  SpaceFiles files = FindFiles(folder);
  const fs::path serverPath = folder / serverFile;
  rapidjson::Document server(rapidjson::kObjectType);
  if (fs::exists(serverPath)) {
    Within(serverPath, [&] {
      server = ReadJsonObject(serverPath);
      Include(server, files);
    });
  }
  Repository repository;
  for (const auto& [name, classFiles] : files) {
    repository.namespaces.emplace(name, LoadNamespace(classFiles, facts));
  }
  if (!flavour.empty()) {
    Within(serverPath, [&] { Narrow(server, flavour, repository); });
  }
  return repository;
}

}  // namespace Kelvar::Simulator::Cim
