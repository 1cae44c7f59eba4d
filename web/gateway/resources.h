// The resources of the web page: each reads or changes something by way of the service.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/activitytable.h"
#include "client/changes.h"
#include "client/service.h"
#include "request.h"

#include <QFile>
#include <QJsonObject>

/// Answers @p request, but for the stream of events. Blocks until the service has answered.
Answer answerTo(const WebRequest &request, const Caller &caller);

/// The answer of the resource "activities".
Answer activities(const Caller &caller);

/// The same for a table that is known already: @p rows, with the sizes of the logs as they are now.
QJsonObject activitiesAsJson(const QList<ActivityRow> &rows, const QJsonValue &remote);

/// The table, and when there is one, in @p remote, the settings of the remote log server: null when
/// the settings service does not answer within 2 s.
Listing listWithRemote(const Caller &caller, QJsonValue *remote);

/// The file that the messages of @p row go to; an empty text when they go elsewhere.
QString fileOf(const ActivityRow &row);

/// Below which directories logs are read, each with "/" at its end.
QStringList readableDirectories();

/// Puts the newest @p count lines of the first @p size bytes of @p file that are wanted by @p text
/// into @p object as "lines"; "searched" gets how many bytes were looked at, where that was not
/// enough to find them all: no more than 64 MB are.
void insertNewestLines(QJsonObject *object, QFile &file, qint64 size, int count,
                       const QString &text);
