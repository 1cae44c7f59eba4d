// The destinations that the web page can send a log to.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/request.h"
#include "request.h"

#include <QJsonObject>

/// The request to the service for a change of destination that @p body asks for; @p wrong gets
/// status 0, or the answer to one that cannot be used. Nothing that a person types becomes part of
/// a syslog-ng text unless it is harmless there, and none of the kinds starts a program.
Request destinationRequest(const QJsonObject &body, Answer *wrong);
