#include "simulator/fleet/FleetModel.h"

#include <charconv>
#include <stdexcept>

#include "simulator/cim/CimService.h"
#include "simulator/machine/JsonFile.h"
#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

FleetDifference ReadDifference(const rapidjson::Value& json, const Variables& variables) {
  FleetDifference difference;
  difference.every = Json::Number(json, "every", 1);
  difference.at = Json::Number(json, "at", 0);
  if (difference.at >= difference.every) {
    throw std::runtime_error("\"at\" is not below \"every\"");
  }
  for (const auto& [path, text] : Json::Members(json, "facts")) {
    difference.variables[path.GetString()] = variables.Expand(Json::Words(text));
  }
  for (const auto& place : Json::List(json, "without")) {
    difference.without.push_back(Json::Words(place));
  }
  return difference;
}

std::size_t IndexAtEnd(const std::string& place, std::size_t start) {
  std::size_t index = 0;
  const auto [end, error] = std::from_chars(place.data() + start, place.data() + place.size(), index);
  if (error != std::errc() || end != place.data() + place.size()) {
    throw std::runtime_error("no place of one thing: \"" + place + '"');
  }
  return index;
}

/// The page without the element that "PAGE#/MEMBER/INDEX" names.
std::string Without(const std::string& page, const std::string& place) {
  const std::size_t hash = place.find("#/");
  const std::size_t slash = place.rfind('/');
  const std::string member = place.substr(hash + 2, slash - hash - 2);
  const std::size_t dropped = IndexAtEnd(place, slash + 1);
  const auto array = JsonText::Member(page, member);
  if (!array) {
    throw std::runtime_error("there is no \"" + place + "\" to leave out");
  }
  std::string kept;
  std::size_t index = 0;
  for (const std::string_view element : JsonText::Elements(*array)) {
    if (index++ != dropped) {
      kept.append(kept.empty() ? "[" : ", ").append(element);
    }
  }
  return JsonText::Replace(page, *array, (kept.empty() ? "[" : kept) + "]");
}

/// Drops the instance that "NAMESPACE:CLASS#INDEX" names, when there is one.
void Drop(const std::string& place, Cim::Repository& repository) {
  const std::size_t colon = place.find(':');
  const std::size_t hash = place.rfind('#');
  if (colon == std::string::npos || hash == std::string::npos) {
    throw std::runtime_error("no place of one thing: \"" + place + '"');
  }
  const std::size_t index = IndexAtEnd(place, hash + 1);
  const auto space = repository.namespaces.find(place.substr(0, colon));
  Cim::Class* of =
      space == repository.namespaces.end() ? nullptr : space->second.Find(place.substr(colon + 1, hash - colon - 1));
  if (of != nullptr && index < of->instances.size()) {
    of->instances.erase(of->instances.begin() + static_cast<std::ptrdiff_t>(index));
    of->count = of->instances.size();
  }
}

template <class Visit>
void ForEachText(Cim::Instance& instance, Visit& visit) {
  for (Cim::Property& property : instance.properties) {
    visit(property.name, property.raw);
    for (auto& item : property.value.items) {
      if (item) {
        visit(property.name, *item);
      }
    }
  }
}

template <class Visit>
void ForEachText(Cim::Repository& repository, Visit visit) {
  for (auto& [name, space] : repository.namespaces) {
    for (const auto& entry : space.Classes()) {
      for (Cim::Instance& instance : space.Find(entry.first)->instances) {
        ForEachText(instance, visit);
      }
    }
  }
}

}  // namespace

FleetModel::FleetModel(const Machine& machine)
    : machine_(std::make_shared<const Machine>(machine)), variables_(Variables::Load(machine.folder / "machine.json")) {
  const std::filesystem::path file = machine.folder / "machine.json";
  const rapidjson::Document document = Json::ReadObject(file);
  try {
    for (const auto& json : Json::List(document, "fleet")) {
      differences_.push_back(ReadDifference(json, variables_));
    }
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file.string() + ": \"fleet\": " + error.what());
  }
  words_.Collect(document);
}

std::shared_ptr<const RedfishData> FleetModel::Redfish(std::size_t machine) {
  const Combination combination = CombinationOf(machine);
  auto& data = redfish_[combination];
  return data ? data : data = LoadRedfish(combination);
}

std::shared_ptr<const Cim::Repository> FleetModel::Cim(std::size_t machine) {
  const Combination combination = CombinationOf(machine);
  auto& data = cim_[combination];
  return data ? data : data = LoadCim(combination);
}

FleetModel::Combination FleetModel::CombinationOf(std::size_t machine) const {
  Combination combination;
  for (const FleetDifference& difference : differences_) {
    combination.push_back(difference.Concerns(machine));
  }
  return combination;
}

Variables FleetModel::VariablesOf(const Combination& combination) const {
  Variables variables = variables_;
  for (std::size_t i = 0; i < combination.size(); ++i) {
    for (const auto& [path, text] : differences_[i].variables) {
      if (combination[i]) {
        variables.Set(path, text);
      }
    }
  }
  return variables;
}

std::vector<std::string> FleetModel::LacksOf(const Combination& combination) const {
  std::vector<std::string> lacks;
  for (std::size_t i = 0; i < combination.size(); ++i) {
    if (combination[i]) {
      lacks.insert(lacks.end(), differences_[i].without.begin(), differences_[i].without.end());
    }
  }
  return lacks;
}

std::shared_ptr<const RedfishData> FleetModel::LoadRedfish(const Combination& combination) const {
  const std::vector<std::string> lacks = LacksOf(combination);
  return LoadRedfishData(*machine_, VariablesOf(combination), [&](ResourceTree& tree) {
    IdentityIndex words = words_;
    tree.ForEach([&words](const std::string&, const std::string& page) {
      rapidjson::Document document;
      if (!document.Parse<rapidjson::kParseIterativeFlag>(page.c_str()).HasParseError()) {
        words.Collect(document);
      }
    });
    tree.Change([&](const std::string& path, const std::string& page) {
      std::string changed = page;
      const std::string placesHere = path + '#';
      for (const std::string& place : lacks) {
        changed = place.starts_with(placesHere) ? Without(changed, place) : changed;
      }
      return MarkJson(changed, words);
    });
  });
}

std::shared_ptr<const Cim::Repository> FleetModel::LoadCim(const Combination& combination) const {
  Cim::Repository repository = LoadCimData(*machine_, VariablesOf(combination));
  for (const std::string& place : LacksOf(combination)) {
    if (!place.starts_with('/')) {
      Drop(place, repository);
    }
  }
  IdentityIndex words = words_;
  ForEachText(repository, [&words](const std::string& property, std::string& text) {
    if (const auto kind = IdentityOfKey(property)) {
      words.Add(*kind, text);
    }
  });
  ForEachText(repository, [&words](const std::string&, std::string& text) { text = Mark(text, words); });
  return std::make_shared<const Cim::Repository>(std::move(repository));
}

}  // namespace Kelvar::Simulator
