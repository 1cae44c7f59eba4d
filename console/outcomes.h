// Turns what a look behind the service's answer has found into what is printed and the exit status.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/archivefile.h"
#include "client/changes.h"
#include "client/comparison.h"
#include "client/health.h"
#include "client/logfiles.h"
#include "presentation.h"

/*
 * Each of these is for an answer that came; what is to be said when none came is presentError()'s.
 * As JSON, the object has what the service answered, "ok", and what was found.
 */

/// One row of the table, as one line.
Presentation presentRow(const ActivityRow &row, const Screens &screens);

/// What became of @p request, a redirection.
Presentation presentRedirection(const Request &request, const Redirection &redirection,
                                const Screens &screens);

/// What became of @p request, a change of several levels.
Presentation presentLevelChanges(const Request &request, const LevelChanges &changes,
                                 const Screens &screens);

/// What became of an archive, and of its copy: @p copyProblem says why none was made, when one was
/// wanted.
Presentation presentArchive(const Archive &archive, const QString &copyProblem,
                            const Screens &screens);

/// What became of @p request, a deletion of log files. @p removed are those that are gone.
Presentation presentDeletion(const Request &request, const QString &text,
                             const QList<LogFile> &removed, const Screens &screens);

/// What became of @p request, a removal of lines of the defence log. @p before and @p after are the
/// numbers of lines; -1 when they are not known.
Presentation presentTrimming(const Request &request, const QString &text, int before, int after,
                             const Screens &screens);

/// What became of a factory reset. @p left are the activities that are not as they came.
Presentation presentFactoryReset(const QList<ActivityRow> &left, const Screens &screens);

/// How logging is on this phone. @p version is that of the console, and with it of the package.
Presentation presentHealth(const Health &health, const QString &version, const Screens &screens);

/// Whether all of @p places agree: @p disagreements says where they do not.
Presentation presentComparison(const ActivityPlaces &places,
                               const QList<Disagreement> &disagreements, const Screens &screens);

/// A failure of the console's own, with nothing from the service: @p problem is a sentence without
/// "loggerctl: " and without a full stop.
Presentation presentProblem(const QString &problem, const Screens &screens);
