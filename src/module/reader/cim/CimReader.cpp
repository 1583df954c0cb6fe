#include "module/reader/cim/CimReader.h"

namespace Kelvar::Reader {

void ReadCim(const ReadRequest& request, Model::Inventory& inventory) {
  for (const Model::Family family : request.families) {
    inventory.ResultOf(family) = {Model::FamilyStatus::Failed, FailureCause::NotOffered,
                                  "the reader does not read CIM yet"};
  }
}

}  // namespace Kelvar::Reader
