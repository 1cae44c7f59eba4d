// What changes on the phone, as a stream of events for a page (server-sent events, HTML standard).
// SPDX-License-Identifier: MIT
#pragma once

#include "client/service.h"
#include "request.h"

/// The answer to who cannot have the stream that @p request asks for, because of a wrong value or
/// because all of @p places are taken; status 0 when it can begin, which takes a place for the rest
/// of this process.
Answer streamRefusal(const WebRequest &request, int places);

/**
 * Writes events to standard output until the reader is gone or the bus is; a reader that takes
 * nothing for 20 s, or for as long as a call may take, is gone. Needs the application object. With
 * the query's "log" also the lines of that activity's log, those with the query's "grep".
 *
 * @return the exit status of the program
 */
int streamEvents(const WebRequest &request, const Caller &caller);
