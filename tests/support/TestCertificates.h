#pragma once

#include <string>

#include "support/TemporaryFolder.h"

namespace Kelvar::Test {

/// Makes a certificate for 127.0.0.1 that signs itself, or that another one of these signs, with its key: NAME.crt and
/// NAME.key in the folder. Throws std::runtime_error.
void MakeCertificate(const TemporaryFolder& folder, const std::string& name, const std::string& signer = {});

}  // namespace Kelvar::Test
