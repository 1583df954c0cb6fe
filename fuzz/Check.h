#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the program, which the fuzzer takes as a finding, when a promise of the code under test is broken.
#define FUZZ_CHECK(condition) ((condition) ? void(0) : (std::fprintf(stderr, "broken: %s\n", #condition), std::abort()))
