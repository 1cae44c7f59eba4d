// What the subcommands do: ask, look, and tell.
// SPDX-License-Identifier: MIT
#pragma once

#include "session.h"

/// Carries out what was typed. Traces that were left behind are ended before, which is said on
/// standard error.
ExitStatus carryOut(const Session &session);
