#pragma once

#include <curl/curl.h>

#include <kelvar/Diagnostics.h>

namespace Kelvar::Http {

/// Why a transfer failed; None for CURLE_OK. `handle` has just run it.
FailureCause CauseOfTransfer(CURL* handle, CURLcode code) noexcept;

/// What an HTTP status means for the one who asked; None below 400.
FailureCause CauseOfStatus(long status) noexcept;

}  // namespace Kelvar::Http
