#include "simulator/redfish/ResourceTree.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "simulator/http/HttpMessage.h"
#include "simulator/redfish/JsonBytes.h"
#include "simulator/redfish/PageTemplate.h"

namespace Kelvar::Simulator {

namespace {

std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    throw std::runtime_error("cannot read " + file.string());
  }
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Numbers by their value, all else by bytes.
bool NaturalOrder(const std::string& one, const std::string& other) {
  const auto isNumber = [](const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  };
  if (isNumber(one) && isNumber(other) && one.size() != other.size()) {
    return one.size() < other.size();
  }
  return one < other;
}

std::string References(const std::vector<std::string>& paths) {
  std::string references = "[";
  for (const std::string& path : paths) {
    references += references.size() > 1 ? ", " : "";
    references += "{\"@odata.id\": " + JsonText::Quote(path) + '}';
  }
  return references + ']';
}

std::string Fold(std::string_view path) {
  std::string folded(path);
  std::transform(folded.begin(), folded.end(), folded.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return folded;
}

std::string_view TypeOf(std::string_view page) {
  return JsonText::Member(page, "@odata.type").value_or("");
}

}  // namespace

ResourceTree::ResourceTree(const std::filesystem::path& folder, const Variables& variables) {
  ReadFolder(folder, variables);
  ReadLists(folder / "resources", variables);
  if (pages_.count("/redfish/v1") == 0) {
    throw std::runtime_error(folder.string() + ": no service root v1/index.json");
  }
  for (auto& [path, page] : pages_) {
    FillInMembers(path, page);
  }
  const auto files = pages_;
  for (const auto& [path, page] : files) {
    AddMembers(path, JsonText::Member(page, "Members").value_or(""));
  }
}

void ResourceTree::ReadFolder(const std::filesystem::path& folder, const Variables& variables) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const auto path =
        '/' + std::filesystem::relative(entry.path().parent_path(), folder.parent_path()).generic_string();
    if (entry.path().stem() == "index") {
      pages_[path] = variables.Expand(ReadFile(entry.path()), JsonText::Escape);
    } else if (entry.path().filename() == "members.json") {
      AddMembers(path, variables.Expand(ReadFile(entry.path()), JsonText::Escape));
    }
  }
}

void ResourceTree::ReadLists(const std::filesystem::path& folder, const Variables& variables) {
  if (!std::filesystem::exists(folder)) {
    return;
  }
  const auto addPage = [this](const std::string& path, const std::string& text) {
    if (!pages_.emplace(PercentDecode(path), text).second) {
      throw std::runtime_error("two pages of " + path);
    }
  };
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    try {
      ReadPages(variables.Expand(ReadFile(entry.path()), JsonText::Escape), addPage);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(entry.path().string() + ": " + error.what());
    }
  }
}

void ResourceTree::FillInMembers(const std::string& path, std::string& page) const {
  const auto members = JsonText::Member(page, "Members");
  if (members != "\"@all\"" && members != "\"@all/\"") {
    return;
  }
  const std::string end = *members == "\"@all/\"" ? "/" : "";
  std::vector<std::string> names;
  for (auto next = pages_.lower_bound(path + '/'); next != pages_.end() && next->first.starts_with(path + '/');
       ++next) {
    const std::string name = next->first.substr(path.size() + 1);
    if (name.find('/') == std::string::npos) {
      names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end(), NaturalOrder);
  std::transform(names.begin(), names.end(), names.begin(),
                 [&](const std::string& name) { return path + '/' + name + end; });
  page = JsonText::Replace(page, *members,
                           References(names) + ",\n  \"Members@odata.count\": " + std::to_string(names.size()));
}

void ResourceTree::AddMembers(const std::string& path, std::string_view members) {
  for (const std::string_view member : JsonText::Elements(members)) {
    auto id = JsonText::String(JsonText::Member(member, "@odata.id").value_or(""));
    if (id && id->starts_with(path + '/') && id->find('#') == std::string_view::npos &&
        !JsonText::Reference(member, 0)) {
      id->remove_suffix(id->ends_with('/') ? 1 : 0);
      pages_.emplace(PercentDecode(*id), member);
    }
  }
}

void ResourceTree::Grow(std::string_view kind, std::size_t count) {
  for (const auto& [path, page] : pages_) {
    const auto members = JsonText::Member(page, "Members");
    if (!members || TypeOf(page).find(kind) == std::string_view::npos) {
      continue;
    }
    bool inlined = false;
    std::vector<std::string> own;
    for (const std::string_view member : JsonText::Elements(*members)) {
      const auto reference = JsonText::Reference(member, 0);
      inlined = inlined || !reference;
      own.push_back(reference ? Find(*reference).value_or("") : std::string(member));
    }
    synthetic_.insert_or_assign(path, Synthetic{SyntheticCollection(path, own, count), inlined});
  }
}

void ResourceTree::Change(const std::function<std::string(const std::string&, const std::string&)>& change) {
  for (auto& [path, page] : pages_) {
    page = change(path, page);
  }
}

std::string ResourceTree::SyntheticPage(const std::string& path, const Synthetic& synthetic) const {
  std::string members = "[";
  for (std::size_t i = 0; i < synthetic.members.Size(); ++i) {
    members += i > 0 ? ",\n    " : "\n    ";
    members += synthetic.inlined ? synthetic.members.Page(i)
                                 : "{\"@odata.id\": " + JsonText::Quote(synthetic.members.Path(i)) + '}';
  }
  members += ']';
  std::string page = pages_.at(path);
  if (const auto count = JsonText::Member(page, "Members@odata.count")) {
    page = JsonText::Replace(page, *count, std::to_string(synthetic.members.Size()));
  }
  return JsonText::Replace(page, *JsonText::Member(page, "Members"), members);
}

void ResourceTree::IgnoreCase() {
  for (const auto& [path, page] : pages_) {
    folded_.emplace(Fold(path), path);
  }
}

std::optional<std::string> ResourceTree::Find(std::string_view path) const {
  // Links in pages may be encoded; paths are not.
  std::string decoded;
  if (path.find('%') != std::string_view::npos) {
    decoded = PercentDecode(path);
    path = decoded;
  }
  while (path.size() > 1 && path.ends_with('/')) {
    path.remove_suffix(1);
  }
  auto page = FindExactly(path);
  if (page || folded_.empty()) {
    return page;
  }
  const auto known = folded_.find(Fold(path));
  return known == folded_.end() ? std::nullopt : FindExactly(known->second);
}

std::optional<std::string> ResourceTree::FindExactly(std::string_view path) const {
  if (const auto synthetic = synthetic_.find(path); synthetic != synthetic_.end()) {
    const std::lock_guard lock(mutex_);
    const auto made = syntheticPages_.find(path);
    return made != syntheticPages_.end()
               ? made->second
               : syntheticPages_.emplace(path, SyntheticPage(synthetic->first, synthetic->second)).first->second;
  }
  if (const auto synthetic = synthetic_.find(path.substr(0, path.rfind('/'))); synthetic != synthetic_.end()) {
    return synthetic->second.members.Find(path);
  }
  const auto page = pages_.find(path);
  return page == pages_.end() ? std::nullopt : std::optional(page->second);
}

void ResourceTree::ForEach(const std::function<void(const std::string&, const std::string&)>& visit) const {
  for (const auto& [path, page] : pages_) {
    visit(path, page);
  }
}

}  // namespace Kelvar::Simulator
