#include "simulator/cim/RepositoryLoader.h"

#include <map>
#include <stdexcept>
#include <vector>

#include "simulator/cim/ClassReader.h"
#include "simulator/machine/JsonFile.h"

namespace Kelvar::Simulator::Cim {

namespace {

namespace fs = std::filesystem;

/// File of each class.
using ClassFiles = std::map<std::string, fs::path, NameLess>;
using SpaceFiles = std::map<std::string, ClassFiles, NameLess>;

constexpr const char* kServerFile = "server.json";

/// Runs `step` and puts the file's name before what it complains about.
template <typename Step>
void Within(const fs::path& file, Step step) {
  try {
    step();
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file.string() + ": " + error.what());
  }
}

bool IsClassFile(const fs::directory_entry& entry) {
  return entry.is_regular_file() && entry.path().extension() == ".json";
}

ClassFiles FilesIn(const fs::path& folder) {
  ClassFiles found;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (IsClassFile(entry)) {
      found[entry.path().stem().string()] = entry.path();
    }
  }
  return found;
}

SpaceFiles FindFiles(const fs::path& folder) {
  SpaceFiles found;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const fs::path& file = entry.path();
    if (IsClassFile(entry) && file.parent_path() != folder) {
      found[fs::relative(file.parent_path(), folder).generic_string()][file.stem().string()] = file;
    }
  }
  return found;
}

void Include(const rapidjson::Value& server, SpaceFiles& files) {
  for (const auto& [name, description] : Json::Members(server, "namespaces")) {
    ClassFiles& own = files[name.GetString()];
    for (const rapidjson::Value& from : Json::List(description, "include")) {
      const ClassFiles& others = files[Json::Words(from)];
      own.insert(others.begin(), others.end());
    }
  }
}

/// Whether a list holds the name; an entry with a trailing "*" stands for a prefix.
bool Lists(const rapidjson::Value& object, const char* key, const std::string& wanted) {
  for (const rapidjson::Value& entry : Json::List(object, key)) {
    const std::string name = Json::Words(entry);
    if (name == wanted || (name.ends_with('*') && wanted.starts_with(name.substr(0, name.size() - 1)))) {
      return true;
    }
  }
  return false;
}

void Narrow(const rapidjson::Value& server, const std::string& flavour, Repository& repository) {
  const rapidjson::Value* flavours = Json::Find(server, "flavours");
  const rapidjson::Value* wanted = flavours == nullptr ? nullptr : Json::Find(*flavours, flavour.c_str());
  if (wanted == nullptr) {
    throw std::runtime_error("no flavour \"" + flavour + '"');
  }
  if (Json::Find(*wanted, "namespaces") != nullptr) {
    std::erase_if(repository.namespaces, [&](const auto& space) { return !Lists(*wanted, "namespaces", space.first); });
  }
  for (auto& [name, space] : repository.namespaces) {
    space.Narrow([&](const Class& of) { return Lists(*wanted, "hide", of.name); },
                 [&](const Class& of) { return Lists(*wanted, "empty", of.name); });
  }
}

struct Source {
  fs::path file;
  rapidjson::Document document;
};

/// Classes that say nothing of their own declaration have that of the schema, which adds all of its other classes.
void Declare(const std::map<std::string, Source, NameLess>& own, const ClassFiles& schema, Namespace& space) {
  const auto add = [&space](const std::string& name, const fs::path& file, const rapidjson::Value& document) {
    Within(file, [&] {
      Class declared;
      declared.name = name;
      ReadDeclaration(document, declared);
      space.Add(std::move(declared));
    });
  };
  for (const auto& [name, file] : schema) {
    add(name, file, Json::ReadObjectVerbatim(file));
  }
  for (const auto& [name, source] : own) {
    const bool declares =
        Json::Find(source.document, "superclass") != nullptr || Json::Find(source.document, "properties") != nullptr;
    if (declares || space.Find(name) == nullptr) {
      add(name, source.file, source.document);
    }
  }
}

Namespace LoadNamespace(const ClassFiles& files, const ClassFiles& schema, const Variables& variables) {
  std::map<std::string, Source, NameLess> own;
  for (const auto& [name, file] : files) {
    own.emplace(name, Source{file, Json::ReadObjectVerbatim(file)});
  }
  Namespace space;
  Declare(own, schema, space);
  for (const auto& entry : own) {
    const auto& [name, source] = entry;
    Class& of = *space.Find(name);
    Within(source.file, [&variables, &space, &of, &document = source.document] {
      if (!of.superclass.empty() && space.Find(of.superclass) == nullptr) {
        throw std::runtime_error("no class \"" + of.superclass + "\" to derive from");
      }
      ReadInstances(document, space, variables, of);
    });
  }
  return space;
}

}  // namespace

Repository LoadRepository(const fs::path& folder, const std::string& flavour, const Variables& variables) {
  if (!fs::is_directory(folder)) {
    throw std::runtime_error("no CIM data: " + folder.string() + " is not a folder");
  }
  SpaceFiles files = FindFiles(folder);
  const fs::path serverPath = folder / kServerFile;
  rapidjson::Document server(rapidjson::kObjectType);
  ClassFiles schema;
  if (fs::exists(serverPath)) {
    server = Json::ReadObjectVerbatim(serverPath);
    Within(serverPath, [&] {
      Include(server, files);
      if (const std::string path = Json::Text(server, "schema", ""); !path.empty()) {
        schema = FilesIn(folder / path);
      }
    });
  }
  Repository repository;
  for (const auto& [name, classFiles] : files) {
    repository.namespaces.emplace(name, LoadNamespace(classFiles, schema, variables));
  }
  if (!flavour.empty()) {
    Within(serverPath, [&] { Narrow(server, flavour, repository); });
  }
  return repository;
}

}  // namespace Kelvar::Simulator::Cim
