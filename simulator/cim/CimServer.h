#pragma once

#include <memory>
#include <string>

#include "simulator/cim/CimOperations.h"
#include "simulator/http/Fault.h"
#include "simulator/http/HttpMessage.h"
#include "simulator/machine/Machine.h"

namespace Kelvar::Simulator::Cim {

/// Answers CIM-XML over HTTP. May be called by several threads at a time.
///
/// Faults are looked up by operation (as their method) and by "namespace:class" (as their path), as in
/// `root/cimv2:CIM_NumericSensor` or `*:QEL_*`.
class CimServer {
 public:
  CimServer(const Machine& machine, std::shared_ptr<const Repository> repository, FaultTable& faults,
            SubstituteIdentity substitute = {})
      : machine_(machine), repository_(std::move(repository)), faults_(faults), substitute_(std::move(substitute)) {}

  HttpResponse Answer(const HttpRequest& http) const;

 private:
  HttpResponse AnswerOperation(const HttpRequest& http, Request request, std::optional<Fault> fault) const;

  const Machine& machine_;
  std::shared_ptr<const Repository> repository_;
  FaultTable& faults_;
  const SubstituteIdentity substitute_;
};

}  // namespace Kelvar::Simulator::Cim
