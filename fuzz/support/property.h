// What a fuzz target says when the code under test breaks a promise.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <cstdlib>

namespace Fuzz {

/// Ends the process in a way that a fuzzing engine takes for a finding, unless @p holds.
inline void require(bool holds, const char *property, const char *file, int line)
{
    if (!holds) {
        static_cast<void>(std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, property));
        std::abort();
    }
}

} // namespace Fuzz

#define FUZZ_REQUIRE(condition)                                                                    \
    Fuzz::require(static_cast<bool>(condition), #condition, __FILE__, __LINE__)
