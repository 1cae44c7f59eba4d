// Ends a program at a chosen step of its work, as a power failure would.
// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

namespace CutOff {

/// What became of a program that was run step by step.
struct Run
{
    int steps = 0; ///< the system calls it and what it started made to change files
    bool cut = false; ///< whether it was ended before its own end
    int status = -1; ///< the exit status; -1 when it was ended by a signal
};

/**
 * Runs the program @p command, an absolute path with arguments, under ptrace(2) to its end, or,
 * with
 * @p last, until it is to make its step number @p last (the first is 0): right before that step it
 * is killed with everything it has started. Counting steps instead of time makes the moment
 * independent of how busy the machine is. No other child of this process may run meanwhile.
 *
 * @return where it got to; no step and no exit status 0 where the kernel allows no tracing
 */
Run run(const QStringList &command, int last = -1);

} // namespace CutOff
