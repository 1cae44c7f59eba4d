// What changes on the phone, as a stream of events for a page (server-sent events, HTML standard).
// SPDX-License-Identifier: MIT
#pragma once

#include "client/service.h"
#include "request.h"

/**
 * Writes events to standard output until the reader is gone or the bus is. Needs the application
 * object. With the query's "log" also the lines of that activity's log, those with the query's
 * "grep".
 *
 * @return the exit status of the program
 */
int streamEvents(const WebRequest &request, const Caller &caller);
