#include "simulator/cim/CimService.h"

#include <stdexcept>

#include "simulator/cim/RepositoryLoader.h"

namespace Kelvar::Simulator {

namespace {

void Multiply(const std::string& className, std::size_t count, Cim::Repository& repository) {
  bool found = false;
  for (auto& [name, space] : repository.namespaces) {
    Cim::Class* of = space.Find(className);
    if (of != nullptr && !of->instances.empty()) {
      of->count = count;
      found = true;
    }
  }
  if (!found) {
    throw std::runtime_error("no class " + className + " that has instances to copy");
  }
}

std::shared_ptr<const Cim::Repository> Load(const Machine& machine, const CimOptions& options) {
  const Facts facts = Facts::Load(machine.folder / "machine.json");
  Cim::Repository repository = Cim::LoadRepository(machine.folder / "cim", options.flavour, facts);
  for (const auto& [className, count] : options.counts) {
    Multiply(className, count, repository);
  }
  return std::make_shared<const Cim::Repository>(std::move(repository));
}

}  // namespace

CimService::CimService(const Machine& machine, const CimOptions& options) : machine_(machine) {
  faults_.AddFile(machine_.folder / "cim" / "faults.json");
  server_ = std::make_unique<Cim::CimServer>(machine_, Load(machine_, options), faults_);
  HttpServer::Options http;
  http.tls = options.tls;
  http.connectionFault = [this](std::string_view stage) { return faults_.Strike({}, stage); };
  http_ = std::make_unique<HttpServer>(http, [this](const HttpRequest& request) { return server_->Answer(request); });
}

}  // namespace Kelvar::Simulator
