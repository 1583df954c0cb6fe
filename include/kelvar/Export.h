#pragma once

/// Marks what the shared library exports; everything else is hidden.
#if defined(__GNUC__) || defined(__clang__)
#define KELVAR_EXPORT __attribute__((visibility("default")))
#else
#define KELVAR_EXPORT
#endif
