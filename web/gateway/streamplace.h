// How many streams of events there may be at once.
// SPDX-License-Identifier: MIT
#pragma once

constexpr int usualStreams = 32; ///< each is a process, with about 3 MB of its own

/**
 * Takes one of @p places for this process, which keeps it to its end, whatever that end is.
 *
 * The places are locks (fcntl(2), open file descriptions) on bytes of the program's own file, which
 * only root and the web server's group can open. Where there are no such locks there is no limit.
 *
 * @return false when all are taken
 */
bool takeStreamPlace(int places);
