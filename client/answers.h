// Tells the service's successes from its failures, and what helps against the failures.
// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"

#include <QString>
#include <QVariantMap>

/*
 * The service answers with texts for a person. A success is "OK", contains "OK", or is one of the
 * texts below that do not; but a failure may contain "OK" as well, because it repeats what the
 * caller said or what a check before it answered. So an answer counts as a success only when it is
 * the very text that this request is answered with when it succeeds.
 */

/// Whether @p text says that @p request was carried out.
///
/// "No Log file to remove in ..." is a success: there is nothing left to delete. So is an answer
/// that announces a repaired facility file behind "OK". The lines of a log are a success whatever
/// they say; they end with a line feed, which no message does.
bool isSuccess(const Request &request, const QString &text);

/// Whether the map @p answer says that @p request was carried out: "value" is "0", or, for the
/// levels, at least one of them is known. What the settings service holds is never a failure.
bool isSuccess(const Request &request, const QVariantMap &answer);

/// Whether @p text says that the activity of @p request is not known.
bool isUnknownActivity(const Request &request, const QString &text);

/// What to type instead when the service answered @p request with the failure @p text; an empty
/// text when there is nothing to add to it. No line feed at the end.
QString hintFor(const Request &request, const QString &text);

/// What is wrong with the value of a setting, which the service takes without an answer; an empty
/// text when nothing can be seen. No line feed at the end.
QString hintForSetting(const Request &request);

/// What is wrong with the items of a request to set several levels, which the service answers
/// before it looks at them; an empty text when nothing can be seen. No line feed at the end.
QString hintForItems(const QString &items);
