// One function for each kind of subcommand.
// SPDX-License-Identifier: MIT
#include "actions.h"

#include "client/answers.h"
#include "client/archivefile.h"
#include "client/changes.h"
#include "client/comparison.h"
#include "client/health.h"
#include "client/logfiles.h"
#include "logview.h"
#include "outcomes.h"
#include "tablelayout.h"
#include "watch.h"

#include <unistd.h>

namespace {

const QString all = QStringLiteral("all");

/// The session with @p activity as the activity of its request.
Session withActivity(Session session, const QString &activity)
{
    session.line.request.words[0] = activity;
    return session;
}

QString typedActivity(const Session &session)
{
    return session.line.request.words.value(0);
}

/// What a person may have meant, or where the names are to be seen.
QString nameHint(const QList<ActivityRow> &rows, const QString &name)
{
    const QString nearest = nearestActivity(rows, name);
    return nearest.isEmpty() ? QStringLiteral("The activities of this phone: loggerctl level")
                             : QStringLiteral("Did you mean '%1'?").arg(nearest);
}

ExitStatus unknownActivity(const Session &session, const QList<ActivityRow> &rows)
{
    Presentation presentation = presentProblem(
        QStringLiteral("there is no activity '%1'").arg(typedActivity(session)), session.screens);
    presentation.errors += hintLine(nameHint(rows, typedActivity(session)), session.screens.errors);
    return write(presentation);
}

/// Asks once and prints the answer.
ExitStatus askAndTell(const Session &session)
{
    const Reply reply = session.caller.ask(session.line.request);
    if (reply.error.isValid()) {
        return unreachable(session, reply);
    }
    return write(present(session.line.request, reply.answer, session.screens));
}

/// Prints why the list of activities cannot be had.
ExitStatus noListing(const Session &session, const Listing &listing)
{
    if (listing.reply.error.isValid()) {
        return unreachable(session, listing.reply);
    }
    return write(present({Operation::ListLevels, {}, 0}, listing.reply.answer, session.screens));
}

ExitStatus changeLevel(const Session &session)
{
    const Request &request = session.line.request;
    const Reply reply = session.caller.ask(request);
    if (reply.error.isValid()) {
        return unreachable(session, reply);
    }
    const QString text = reply.answer.toString();
    Presentation presentation = present(request, text, session.screens);
    if (!isUnknownActivity(request, text)) {
        return write(presentation);
    }
    const Listing listing = listActivities(session.caller);
    const QString activity = typedActivity(session);
    const QString meant = meantActivity(listing.rows, activity);
    if (!meant.isEmpty() && meant != activity) {
        return askAndTell(withActivity(session, meant));
    }
    presentation.errors
        = session.screens.json ? QString() : shownText(text, session.screens.errors);
    presentation.errors += hintLine(
        meant.isEmpty()
            ? nameHint(listing.rows, activity)
            : QStringLiteral("It is in the list of 'loggerctl level', but its level file is lost. "
                             "The file is made anew by: loggerctl level all %1, for all "
                             "activities, or /etc/init.d/autoConfigSyslog start")
                  .arg(request.words.value(1)),
        session.screens.errors);
    return write(presentation);
}

ExitStatus showLevel(const Session &session)
{
    const Listing listing = listActivities(session.caller);
    if (!listing.valid) {
        return noListing(session, listing);
    }
    const ActivityRow *const row
        = findActivity(listing.rows, meantActivity(listing.rows, typedActivity(session)));
    return row != nullptr ? write(presentRow(*row, session.screens))
                          : unknownActivity(session, listing.rows);
}

ExitStatus redirect(const Session &session)
{
    const Listing listing = listActivities(session.caller);
    if (listing.reply.error.isValid()) {
        return unreachable(session, listing.reply);
    }
    const QString meant = meantActivity(listing.rows, typedActivity(session));
    if (!meant.isEmpty() && meant != typedActivity(session)) {
        return redirect(withActivity(session, meant));
    }
    const Request &request = session.line.request;
    const Redirection result = redirectAndLook(session.caller, request);
    if (result.reply.error.isValid()) {
        return unreachable(session, result.reply);
    }
    Presentation presentation = presentRedirection(request, result, session.screens);
    const QString text = result.reply.answer.toString();
    if (isUnknownActivity(request, text)) {
        presentation.errors
            = (session.screens.json ? QString() : shownText(text, session.screens.errors))
            + hintLine(nameHint(listing.rows, typedActivity(session)), session.screens.errors);
    }
    return write(presentation);
}

ExitStatus setLevels(const Session &session)
{
    const LevelChanges changes = setLevelsAndLook(session.caller, session.line.request);
    if (changes.reply.error.isValid()) {
        return unreachable(session, changes.reply);
    }
    return write(presentLevelChanges(session.line.request, changes, session.screens));
}

ExitStatus comment(const Session &session)
{
    const Listing listing = listActivities(session.caller);
    if (listing.reply.error.isValid()) {
        return unreachable(session, listing.reply);
    }
    const QString meant = meantActivity(listing.rows, typedActivity(session));
    const QString activity = meant.isEmpty() ? typedActivity(session) : meant;
    const QString obstacle = listing.valid ? obstacleForComment(listing.rows, activity) : QString();
    if (obstacle.isEmpty()) {
        return askAndTell(withActivity(session, activity));
    }
    Presentation presentation = presentProblem(
        QStringLiteral("the comment was not written: ") + obstacle, session.screens);
    presentation.errors
        += hintLine(meant.isEmpty() ? nameHint(listing.rows, activity)
                                    : QStringLiteral("It takes comments after: loggerctl level ")
                            + activity + QStringLiteral(" err"),
                    session.screens.errors);
    return write(presentation);
}

ExitStatus deleteLogs(const Session &session)
{
    const Request &request = session.line.request;
    const bool flash = request.operation == Operation::DeleteLogs;
    const QList<LogFile> before = deletableLogFiles(flash);
    const QString question
        = QStringLiteral("Delete %1 (%2) in %3? There is no way back.")
              .arg(countText(before.size(), "log file", "log files"), sizeText(sizeOf(before)),
                   flash ? ramLogDirectory + QStringLiteral(" and ") + flashLogDirectory
                         : ramLogDirectory);
    // A word that the service refuses deletes nothing.
    const bool known = !flash || request.words.value(0) == QLatin1String("flash");
    if (known && !before.isEmpty() && !confirm(session, question)) {
        return Failed;
    }
    const Reply reply = session.caller.ask(request);
    if (reply.error.isValid()) {
        return unreachable(session, reply);
    }
    return write(presentDeletion(request, reply.answer.toString(), removedLogFiles(before),
                                 session.screens));
}

/// How many lines the defence log has; -1 when that is not known.
int defenceLines(const Caller &caller)
{
    const Request request {Operation::Defence, {QStringLiteral("size")}, 0};
    const QString text = caller.ask(request).answer.toString();
    return isSuccess(request, text) ? text.section(QLatin1Char(':'), -1).toInt() : -1;
}

ExitStatus defence(const Session &session)
{
    const Request &request = session.line.request;
    if (request.words.value(0) != QLatin1String("delete")) {
        return askAndTell(session);
    }
    const int before = defenceLines(session.caller);
    if (before > 0 && request.number > 0
        && !confirm(session,
                    QStringLiteral("Delete the newest %1 of %2 lines of %3? There is no way back.")
                        .arg(QString::number(std::min(request.number, before)),
                             QString::number(before), defenceLogPath))) {
        return Failed;
    }
    const Reply reply = session.caller.ask(request);
    if (reply.error.isValid()) {
        return unreachable(session, reply);
    }
    const int after = defenceLines(session.caller);
    return write(presentTrimming(request, reply.answer.toString(), before, after, session.screens));
}

ExitStatus archive(const Session &session)
{
    std::function<void(qint64, qint64)> progress;
    bool begun = false;
    if (session.screens.errors.terminal) {
        progress = [&begun](qint64 elapsed, qint64 bytes) {
            begun = true;
            writeAll(STDERR_FILENO,
                     QStringLiteral("\rpacking: %1 s, %2   ")
                         .arg(QString::number(elapsed / 1000), sizeText(bytes))
                         .toUtf8());
        };
    }
    const Archive result = archiveAndLook(session.caller, progress);
    if (begun) {
        writeAll(STDERR_FILENO, "\r                              \r");
    }
    if (result.reply.error.isValid()) {
        return unreachable(session, result.reply);
    }
    const QString problem = result.done() && !session.line.file.isEmpty()
        ? copyArchive(session.line.file)
        : QString();
    return write(presentArchive(result, problem, session.screens));
}

ExitStatus factoryReset(const Session &session)
{
    if (!confirm(session,
                 QStringLiteral("Put all levels back to err and all logs to their own files?"))) {
        return Failed;
    }
    const Reply reply = session.caller.ask(session.line.request);
    if (reply.error.isValid()) {
        return unreachable(session, reply);
    }
    const Listing listing = listActivities(session.caller);
    if (!listing.valid) {
        return noListing(session, listing);
    }
    QList<ActivityRow> left;
    for (const ActivityRow &row : listing.rows) {
        if (!isInitial(row)) {
            left.append(row);
        }
    }
    return write(presentFactoryReset(left, session.screens));
}

} // namespace

ExitStatus carryOut(const Session &session)
{
    const Operation operation = session.line.request.operation;
    settle(session);
    switch (operation) {
    case Operation::ChangeLevel:
        return changeLevel(session);
    case Operation::ShowLevel:
        return showLevel(session);
    case Operation::Redirect:
    case Operation::RedirectToSupport:
    case Operation::RedirectToServer:
        return redirect(session);
    case Operation::SetLevels:
    case Operation::ResetLevels:
        return session.line.noWait ? askAndTell(session) : setLevels(session);
    case Operation::Comment:
        return comment(session);
    case Operation::DeleteRamLogs:
    case Operation::DeleteLogs:
        return deleteLogs(session);
    case Operation::Defence:
        return defence(session);
    case Operation::Archive:
        return archive(session);
    case Operation::FactoryReset:
        return factoryReset(session);
    case Operation::Status:
        return write(presentHealth(lookAtHealth(session.caller), QStringLiteral(LOGGERCTL_VERSION),
                                   session.screens));
    case Operation::Check: {
        const ActivityPlaces places = lookAtActivityPlaces();
        return write(presentComparison(places, disagreementsOf(places), session.screens));
    }
    case Operation::Watch:
        return watch(session);
    case Operation::ReadLog:
        return showLog(session);
    case Operation::Trace:
        return trace(session);
    default:
        return askAndTell(session);
    }
}
