// The resources of the web page: each reads or changes something by way of the service.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/activitytable.h"
#include "client/service.h"
#include "request.h"

#include <QByteArrayList>
#include <QJsonArray>

/// Answers @p request, but for the stream of events. Blocks until the service has answered.
Answer answerTo(const WebRequest &request, const Caller &caller);

/// The answer of the resource "activities".
Answer activities(const Caller &caller);

/// The same for a table that is known already: @p rows, with the sizes of the logs as they are now.
QJsonObject activitiesAsJson(const QList<ActivityRow> &rows, const QJsonValue &remote);

/// The settings of the remote log server, null when the settings service does not answer.
QJsonValue remoteAsJson(const Caller &caller);

/// The file that the messages of @p row go to; an empty text when they go elsewhere.
QString fileOf(const ActivityRow &row);

/// Below which directories logs are read, each with "/" at its end.
QStringList readableDirectories();

/// The lines of a log as JSON texts.
QJsonArray linesAsJson(const QByteArrayList &lines);
