#include "module/nfw/inventory/cim/CIMFailure.h"

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "module/nfw/inventory/cim/CIMRecord.h"

namespace Kelvar {

namespace {

CIMFailure Describe(CIMFailure::Kind kind, const Pegasus::Exception& exception) noexcept {
  CIMFailure failure{kind, {}, CauseOf(exception)};
  try {
    failure.message = ToText(exception.getMessage());
  } catch (...) {
  }
  return failure;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const CIMFailure& failure) {
  switch (failure.kind) {
    case CIMFailure::Http:
      return stream << " Catch CIMClientHTTPErrorException : " << failure.message;
    case CIMFailure::Cim:
      return stream << " Catch other CIM Exception : " << failure.message;
    case CIMFailure::Other:
      break;
  }
  return stream << " Catch other Exception";
}

void CIMFailure::AddGap(const char* operation) const noexcept {
  DiagnosticsRecorder::AddGap(GapKind::Failure, cause, operation, kind == Other ? "unknown error" : message);
}

CIMFailure CurrentCIMFailure() noexcept {
  try {
    throw;
  } catch (const Pegasus::CIMClientHTTPErrorException& exception) {
    return Describe(CIMFailure::Http, exception);
  } catch (const Pegasus::Exception& exception) {
    return Describe(CIMFailure::Cim, exception);
  } catch (...) {
    return {CIMFailure::Other, {}, FailureCause::None};
  }
}

}  // namespace Kelvar
