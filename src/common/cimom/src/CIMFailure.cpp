#include "common/cimom/src/CIMFailure.h"

#include "common/cimom/src/cimfunc.h"

namespace Kelvar {

std::string CIMFailure::LogText() const {
  switch (kind) {
    case Http:
      return " Catch CIMClientHTTPErrorException : " + message;
    case Cim:
      return " Catch other CIM Exception : " + message;
    case Other:
      break;
  }
  return " Catch other Exception";
}

CIMFailure CurrentCIMFailure() {
  try {
    throw;
  } catch (const Pegasus::CIMClientHTTPErrorException& exception) {
    return {CIMFailure::Http, ToText(exception.getMessage())};
  } catch (const Pegasus::Exception& exception) {
    return {CIMFailure::Cim, ToText(exception.getMessage())};
  } catch (...) {
    return {CIMFailure::Other, {}};
  }
}

}  // namespace Kelvar
