// Sentences and JSON for what was found.
// SPDX-License-Identifier: MIT
#include "outcomes.h"

#include "client/answers.h"
#include "json.h"
#include "tablelayout.h"

namespace {

const QString separator = QStringLiteral(", ");
constexpr qint64 givenUpAfter = 29000; // ms; the service gives an archive 30 s

QString said(const QString &sentence, const Screen &screen)
{
    return shownText(QStringLiteral("loggerctl: ") + sentence, screen);
}

QString jsonLine(const QJsonObject &object, const Screens &screens)
{
    return jsonText(object, QJsonDocument::Indented, screens.output);
}

QString differenceText(const Difference &difference)
{
    if (difference.what == QLatin1String("activity")) {
        return difference.activity
            + (difference.after.isEmpty() ? QStringLiteral(": is gone")
                                          : QStringLiteral(": is new"));
    }
    return difference.activity + QStringLiteral(": ") + difference.what + QLatin1Char(' ')
        + difference.before + QStringLiteral(" -> ") + difference.after;
}

/// Why a redirection that was answered as done is not.
QString redirectionProblem(const Redirection &redirection)
{
    if (!redirection.looked) {
        return QStringLiteral("the list of activities cannot be read, so nobody knows whether the "
                              "log goes there");
    }
    QStringList places;
    for (const ActivityRow &row : redirection.refused) {
        places.append(row.activity + QStringLiteral(" goes to ") + destinationWords(row));
    }
    return QStringLiteral("syslog-ng refused this destination, and the configuration's backup is "
                          "in place again: ")
        + places.join(separator);
}

QString dateText(const QDateTime &time)
{
    return time.isValid() ? time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
                          : QStringLiteral("?");
}

QString acceptanceText(Acceptance acceptance)
{
    switch (acceptance) {
    case Acceptance::Accepted:
        return QStringLiteral("accepted");
    case Acceptance::Refused:
        return QStringLiteral("refused");
    case Acceptance::Missing:
        return QStringLiteral("missing");
    case Acceptance::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}

QJsonObject roomAsJson(const Room &room)
{
    return {{QStringLiteral("directory"), room.directory},
            {QStringLiteral("free"), static_cast<double>(room.free)},
            {QStringLiteral("total"), static_cast<double>(room.total)}};
}

QString roomText(const Room &room)
{
    return room.total > 0 ? sizeText(room.free) + QStringLiteral(" of ") + sizeText(room.total)
            + QStringLiteral(" free for ") + room.directory
                          : QString(QStringLiteral("unknown for ") + room.directory);
}

QString remoteText(const Health &health)
{
    if (!health.settingsKnown) {
        return QStringLiteral("the settings service does not answer");
    }
    if (!hasLogServer(health.remote)) {
        return QStringLiteral("none");
    }
    const auto value = [&health](const char *name) {
        return health.remote.value(QLatin1String(name)).toString();
    };
    return value("LogRemoteServerProtocol") + QLatin1Char(' ') + value("LogRemoteServerAddress")
        + QLatin1Char(' ') + value("LogRemoteServerPort");
}

QString traceText(const TraceNote &note)
{
    return note.activity + QStringLiteral(" at ") + note.level + QStringLiteral(" by ") + note.user
        + QStringLiteral(" until ")
        + QDateTime::fromMSecsSinceEpoch(note.until).toString(QStringLiteral("HH:mm:ss"))
        + QStringLiteral(", then ") + note.former + QStringLiteral(" again");
}

QJsonObject healthAsJson(const Health &health, const QString &version, const QStringList &problems)
{
    QJsonArray traces;
    for (const TraceNote &note : health.traces) {
        traces.append(QJsonDocument::fromJson(noteText(note)).object());
    }
    const auto moment = [](const QDateTime &time) {
        return time.isValid() ? QJsonValue(time.toUTC().toString(Qt::ISODate)) : QJsonValue();
    };
    return {
        {QStringLiteral("ok"), problems.isEmpty()},
        {QStringLiteral("problems"), QJsonArray::fromStringList(problems)},
        {QStringLiteral("service"),
         QJsonObject {{QStringLiteral("running"), health.serviceRuns},
                      {QStringLiteral("version"), version},
                      {QStringLiteral("since"), moment(health.serviceSince)},
                      {QStringLiteral("replaced"), health.serviceReplaced}}},
        {QStringLiteral("syslog"),
         QJsonObject {{QStringLiteral("running"), health.daemonRuns},
                      {QStringLiteral("process"), static_cast<double>(health.daemonProcess)},
                      {QStringLiteral("since"), moment(health.daemonSince)},
                      {QStringLiteral("configuration"), acceptanceText(health.configuration)},
                      {QStringLiteral("backup"), acceptanceText(health.backup)}}},
        {QStringLiteral("levelFiles"),
         QJsonObject {
             {QStringLiteral("lost"), QJsonArray::fromStringList(health.lostLevelFiles)},
             {QStringLiteral("invalid"), QJsonArray::fromStringList(health.invalidLevelFiles)}}},
        {QStringLiteral("changed"), rowsAsJson(health.changed)},
        {QStringLiteral("remote"), QJsonObject::fromVariantMap(health.remote)},
        {QStringLiteral("ram"), roomAsJson(health.ram)},
        {QStringLiteral("flash"), roomAsJson(health.flash)},
        {QStringLiteral("traces"), traces}};
}

} // namespace

Presentation presentProblem(const QString &problem, const Screens &screens)
{
    Presentation presentation;
    presentation.status = Failed;
    if (screens.json) {
        presentation.output = jsonLine(
            {{QStringLiteral("ok"), false}, {QStringLiteral("problem"), problem}}, screens);
    }
    presentation.errors = said(problem, screens.errors);
    return presentation;
}

Presentation presentRow(const ActivityRow &row, const Screens &screens)
{
    Presentation presentation;
    const QStringList words {row.activity, row.level, row.support, row.destination};
    if (screens.json) {
        presentation.output = jsonLine(rowAsJson(row), screens);
    } else if (screens.output.terminal) {
        presentation.output = formatActivityTable({row}, screens.output, false);
    } else {
        presentation.output = words.join(QLatin1Char(' ')) + QLatin1Char('\n');
    }
    return presentation;
}

Presentation presentRedirection(const Request &request, const Redirection &redirection,
                                const Screens &screens)
{
    const QString text = redirection.reply.answer.toString();
    if (!redirection.answered || redirection.done()) {
        Presentation presentation = present(request, text, screens);
        if (redirection.done() && !redirection.lost.isEmpty()) {
            QStringList lost;
            for (const Difference &difference : redirection.lost) {
                lost.append(differenceText(difference));
            }
            presentation.errors += said(
                QStringLiteral("also changed meanwhile: ") + lost.join(separator), screens.errors);
        }
        return presentation;
    }
    Presentation presentation = presentProblem(redirectionProblem(redirection), screens);
    QStringList lost;
    for (const Difference &difference : redirection.lost) {
        lost.append(QStringLiteral("  ") + differenceText(difference));
    }
    if (!lost.isEmpty()) {
        presentation.errors += shownText(QStringLiteral("The backup has changed this too:\n")
                                             + lost.join(QLatin1Char('\n')),
                                         screens.errors);
    }
    if (screens.json) {
        presentation.output
            = jsonLine({{QStringLiteral("ok"), false},
                        {QStringLiteral("text"), text},
                        {QStringLiteral("problem"), redirectionProblem(redirection)},
                        {QStringLiteral("refused"), rowsAsJson(redirection.refused)},
                        {QStringLiteral("lost"), differencesAsJson(redirection.lost)}},
                       screens);
    }
    return presentation;
}

Presentation presentLevelChanges(const Request &request, const LevelChanges &changes,
                                 const Screens &screens)
{
    const QVariantMap answer = changes.reply.answer.toMap();
    if (!changes.answered) {
        return present(request, answer, screens);
    }
    Presentation presentation;
    presentation.status = changes.done() ? Done : Failed;
    QJsonObject levels;
    QVariantMap lines;
    for (const ActivityRow &row : changes.changed) {
        levels.insert(row.activity, row.level);
        lines.insert(row.activity, row.level);
    }
    if (screens.json) {
        QJsonObject object = QJsonObject::fromVariantMap(answer);
        object.insert(QStringLiteral("ok"), changes.done());
        object.insert(QStringLiteral("levels"), levels);
        object.insert(QStringLiteral("unchanged"), QJsonArray::fromStringList(changes.unchanged));
        object.insert(QStringLiteral("unknown"), QJsonArray::fromStringList(changes.unknown));
        presentation.output = jsonLine(object, screens);
    } else if (!lines.isEmpty()) {
        presentation = present({Operation::GetLevels, {}, 0}, lines, screens);
        presentation.status = changes.done() ? Done : Failed;
    }
    if (!changes.looked) {
        presentation.errors += said(QStringLiteral("the list of activities cannot be read, so "
                                                   "nobody knows whether the levels changed"),
                                    screens.errors);
        return presentation;
    }
    QStringList left;
    for (const QString &activity : changes.unchanged) {
        left.append(activity
                    + (changes.unknown.contains(activity)
                           ? QStringLiteral(" (no activity of this phone)")
                           : QString()));
    }
    if (!left.isEmpty()) {
        presentation.errors
            += said(QStringLiteral("not at the level asked for: ") + left.join(separator),
                    screens.errors)
            + hintLine(request.operation == Operation::SetLevels
                           ? hintForItems(request.words.value(0))
                           : QStringLiteral("What is in place now: loggerctl level"),
                       screens.errors);
    }
    return presentation;
}

Presentation presentArchive(const Archive &archive, const QString &copyProblem,
                            const Screens &screens)
{
    const QVariantMap answer = archive.reply.answer.toMap();
    QString problem;
    if (!copyProblem.isEmpty()) {
        problem = QStringLiteral("no copy was made: ") + copyProblem;
    } else if (!archive.answered) {
        problem = answer.value(QStringLiteral("msg")).toString();
    } else if (!archive.published || (archive.readable && !archive.complete)) {
        problem = archive.elapsed >= givenUpAfter
            ? QStringLiteral("no archive was made: packing took longer than 30 s and was given up. "
                             "There is less to pack after: loggerctl delete")
            : QStringLiteral("no whole archive was made, or not the web server's link to it: ")
                + archiveLink;
    }
    Presentation presentation;
    presentation.status = problem.isEmpty() ? Done : Failed;
    if (screens.json) {
        QJsonObject object = QJsonObject::fromVariantMap(answer);
        object.insert(QStringLiteral("ok"), problem.isEmpty());
        object.insert(QStringLiteral("tries"), archive.tries);
        if (archive.done()) {
            object.insert(QStringLiteral("path"), archivePath);
            if (archive.readable) {
                object.insert(QStringLiteral("size"), static_cast<double>(archive.size));
                object.insert(QStringLiteral("files"), archive.files);
            }
        }
        if (!problem.isEmpty()) {
            object.insert(QStringLiteral("problem"), problem);
        }
        presentation.output = jsonLine(object, screens);
    } else if (archive.done()) {
        QString what = archivePath + QStringLiteral(": ");
        if (!archive.readable) {
            what += QStringLiteral("this user may not read it");
        } else {
            what += sizeText(archive.size) + separator + countText(archive.files, "file", "files");
        }
        presentation.output
            = shownText(answer.value(QStringLiteral("msg")).toString(), screens.output)
            + shownText(what, screens.output);
    }
    if (!archive.answered && !screens.json) {
        presentation.errors = shownText(problem, screens.errors);
    } else if (!problem.isEmpty()) {
        presentation.errors = said(problem, screens.errors);
    }
    if (!archive.answered) {
        presentation.errors += hintLine(QStringLiteral("Tried %1 times. A log grew each time while "
                                                       "it was packed, or the disk is full: "
                                                       "loggerctl status")
                                            .arg(archive.tries),
                                        screens.errors);
    }
    return presentation;
}

Presentation presentDeletion(const Request &request, const QString &text,
                             const QList<LogFile> &removed, const Screens &screens)
{
    Presentation presentation = present(request, text, screens);
    if (presentation.status != Done) {
        return presentation;
    }
    QJsonArray array;
    QString lines;
    for (const LogFile &file : removed) {
        array.append(QJsonObject {{QStringLiteral("path"), file.path},
                                  {QStringLiteral("size"), static_cast<double>(file.size)}});
        lines += shownText(QStringLiteral("  ") + file.path + QStringLiteral(" (")
                               + sizeText(file.size) + QLatin1Char(')'),
                           screens.output);
    }
    if (screens.json) {
        presentation.output = jsonLine({{QStringLiteral("ok"), true},
                                        {QStringLiteral("text"), text},
                                        {QStringLiteral("removed"), array}},
                                       screens);
    } else {
        presentation.output += lines;
    }
    return presentation;
}

Presentation presentTrimming(const Request &request, const QString &text, int before, int after,
                             const Screens &screens)
{
    Presentation presentation = present(request, text, screens);
    if (presentation.status != Done || before < 0 || after < 0) {
        return presentation;
    }
    const bool notice = request.number > before;
    if (screens.json) {
        presentation.output = jsonLine({{QStringLiteral("ok"), true},
                                        {QStringLiteral("text"), text},
                                        {QStringLiteral("before"), before},
                                        {QStringLiteral("after"), after},
                                        {QStringLiteral("notice"), notice}},
                                       screens);
        return presentation;
    }
    presentation.output += shownText(
        notice
            ? QString(QStringLiteral("It had only ") + countText(before, "line", "lines")
                      + QStringLiteral(". Instead of them it holds the notice \"Only %1 lines in "
                                       "file : Defence.log \".")
                            .arg(before))
            : countText(after, "line is left.", "lines are left."),
        screens.output);
    return presentation;
}

Presentation presentFactoryReset(const QList<ActivityRow> &left, const Screens &screens)
{
    if (left.isEmpty()) {
        Presentation presentation;
        presentation.output = screens.json
            ? jsonLine({{QStringLiteral("ok"), true}}, screens)
            : shownText(QStringLiteral("Every activity is at err and logs to its own file."),
                        screens.output);
        return presentation;
    }
    QStringList names;
    for (const ActivityRow &row : left) {
        names.append(row.activity + QLatin1Char(' ') + row.level + QLatin1Char(' ')
                     + destinationWords(row));
    }
    return presentProblem(QStringLiteral("not as they came: ") + names.join(separator), screens);
}

Presentation presentHealth(const Health &health, const QString &version, const Screens &screens)
{
    const QStringList problems = problemsOf(health);
    Presentation presentation;
    presentation.status = problems.isEmpty() ? Done : Failed;
    if (screens.json) {
        presentation.output = jsonLine(healthAsJson(health, version, problems), screens);
        return presentation;
    }
    constexpr int width = 15;
    QString &output = presentation.output;
    const auto line = [&](const char *name, const QString &value) {
        output += shownText(QString::fromLatin1(name).leftJustified(width) + value, screens.output);
    };
    const auto names = [](const QStringList &lost, const QStringList &invalid) {
        QStringList words;
        for (const QString &name : lost) {
            words.append(name + QStringLiteral(" (lost)"));
        }
        for (const QString &name : invalid) {
            words.append(name + QStringLiteral(" (invalid)"));
        }
        return words.isEmpty() ? QStringLiteral("good") : words.join(separator);
    };
    line("LoggerModule",
         health.serviceRuns
             ? version + QStringLiteral(", runs since ") + dateText(health.serviceSince)
             : QStringLiteral("does not answer"));
    line("syslog-ng",
         health.daemonRuns ? QStringLiteral("process %1, runs since ").arg(health.daemonProcess)
                 + dateText(health.daemonSince)
                           : QStringLiteral("does not run"));
    line("configuration",
         acceptanceText(health.configuration) + QStringLiteral(" by syslog-ng, its backup ")
             + acceptanceText(health.backup));
    if (health.listed) {
        line("level files", names(health.lostLevelFiles, health.invalidLevelFiles));
    }
    line("log server", remoteText(health));
    line("RAM", roomText(health.ram));
    line("flash", roomText(health.flash));
    for (const TraceNote &note : health.traces) {
        line("trace", traceText(note));
    }
    if (health.listed && health.changed.isEmpty()) {
        line("activities", QStringLiteral("all at err and on their own files"));
    } else if (health.listed) {
        output
            += shownText(QStringLiteral("Not at err, or not on their own files:"), screens.output);
        output += formatActivityTable(health.changed, screens.output, false);
    }
    if (problems.isEmpty()) {
        output += QStringLiteral("All is well.\n");
    }
    for (const QString &problem : problems) {
        output += shownText(QStringLiteral("PROBLEM: ") + problem, screens.output);
    }
    return presentation;
}

Presentation presentComparison(const ActivityPlaces &places,
                               const QList<Disagreement> &disagreements, const Screens &screens)
{
    Presentation presentation;
    presentation.status = disagreements.isEmpty() ? Done : Failed;
    const auto activitiesOf = [](const QByteArray &configuration) {
        QStringList names;
        const QList<ActivityBlock> blocks = blocksOf(configuration);
        for (const ActivityBlock &block : blocks) {
            names.append(block.activity);
        }
        return names;
    };
    const QStringList table = activitiesOf(places.table.value_or(QByteArray()));
    const QStringList live = activitiesOf(places.configuration.content);
    const QStringList backup = activitiesOf(places.backup.content);
    const QStringList files = places.levelFiles.keys();
    if (screens.json) {
        QJsonArray array;
        for (const Disagreement &disagreement : disagreements) {
            array.append(QJsonObject {{QStringLiteral("activity"), disagreement.activity},
                                      {QStringLiteral("text"), disagreement.text},
                                      {QStringLiteral("remedy"), disagreement.remedy}});
        }
        presentation.output
            = jsonLine({{QStringLiteral("ok"), disagreements.isEmpty()},
                        {QStringLiteral("table"), QJsonArray::fromStringList(table)},
                        {QStringLiteral("configuration"), QJsonArray::fromStringList(live)},
                        {QStringLiteral("backup"), QJsonArray::fromStringList(backup)},
                        {QStringLiteral("levelFiles"), QJsonArray::fromStringList(files)},
                        {QStringLiteral("differences"), array}},
                       screens);
        return presentation;
    }
    constexpr int width = 15;
    const auto line = [&](const char *name, const QStringList &activities) {
        presentation.output
            += shownText(QString::fromLatin1(name).leftJustified(width)
                             + countText(activities.size(), "activity", "activities"),
                         screens.output);
    };
    line("table", table);
    line("configuration", live);
    line("backup", backup);
    line("level files", files);
    if (disagreements.isEmpty()) {
        presentation.output += QStringLiteral("All agree.\n");
    }
    for (const Disagreement &disagreement : disagreements) {
        presentation.output += shownText(QStringLiteral("DIFFERENCE: ") + disagreement.text
                                             + QStringLiteral(". ") + disagreement.remedy,
                                         screens.output);
    }
    return presentation;
}
