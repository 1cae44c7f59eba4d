// Texts, maps and tables for people, for pipes, and as JSON.
// SPDX-License-Identifier: MIT
#include "presentation.h"

#include "client/answers.h"
#include "client/words.h"
#include "json.h"
#include "tablelayout.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

const QString lineFeed = QStringLiteral("\n");

QString line(const QString &text)
{
    return text.isEmpty() || text.endsWith(QLatin1Char('\n')) ? text : QString(text + lineFeed);
}

/// The lines of a log, which a terminal breaks by itself.
QString shown(const QString &text, const Screen &screen)
{
    return line(screen.terminal ? visible(text) : text);
}

Presentation presentText(const Request &request, const QString &text, const Screens &screens)
{
    const bool success = isSuccess(request, text);
    const bool table = success && isActivityTable(text);
    Presentation presentation;
    presentation.status = success ? Done : Failed;
    if (screens.json) {
        presentation.output = table ? jsonText(rowsAsJson(parseActivityTable(text)),
                                               QJsonDocument::Indented, screens.output)
                                    : jsonText(QJsonObject {{QStringLiteral("ok"), success},
                                                            {QStringLiteral("text"), text}},
                                               QJsonDocument::Indented, screens.output);
    } else if (!success) {
        presentation.errors = shownText(text, screens.errors);
    } else if (table && screens.output.terminal) {
        presentation.output = formatActivityTable(parseActivityTable(text), screens.output);
    } else {
        presentation.output = request.operation == Operation::Defence
            ? shown(text, screens.output)
            : shownText(text, screens.output);
    }
    if (!success) {
        presentation.errors += hintLine(hintFor(request, text), screens.errors);
    }
    return presentation;
}

/// Each entry in a line: in columns on a terminal, otherwise with @p separator between them.
QString mapLines(const QVariantMap &map, QLatin1Char separator, const Screen &screen)
{
    int widest = 0;
    for (auto it = map.begin(); it != map.end(); ++it) {
        widest = std::max(widest, visible(it.key()).size());
    }
    QString lines;
    for (auto it = map.begin(); it != map.end(); ++it) {
        const QString value = it.value().toString();
        if (screen.terminal) {
            lines += visible(it.key()).leftJustified(widest + 2);
            lines += markedLevel(visible(value), 0, screen);
        } else {
            lines += it.key() + separator + value;
        }
        lines += lineFeed;
    }
    return lines;
}

/// Whether no setting of @p settings is set.
bool namesNothing(const QVariantMap &settings)
{
    return std::all_of(settings.begin(), settings.end(), [](const QVariant &value) {
        return value.toString() == QLatin1String("UNDEFINED");
    });
}

Presentation presentMap(const Request &request, const QVariantMap &answer, const Screens &screens)
{
    const bool success = isSuccess(request, answer);
    const QString text = answer.value(QStringLiteral("msg")).toString();
    Presentation presentation;
    presentation.status = success ? Done : Failed;
    const Screen &screen = success ? screens.output : screens.errors;
    QString &place = success ? presentation.output : presentation.errors;
    if (screens.json) {
        presentation.output = jsonText(QJsonObject::fromVariantMap(answer), QJsonDocument::Indented,
                                       screens.output);
    } else if (request.operation == Operation::GetLevels) {
        // The form that "levels set" takes.
        place = mapLines(answer, QLatin1Char(':'), screen);
    } else if (request.operation == Operation::ShowRemote && namesNothing(answer)) {
        place = QStringLiteral("no log server\n");
    } else if (request.operation == Operation::ShowRemote) {
        place = mapLines(answer, QLatin1Char('='), screen);
    } else {
        place = shownText(text, screen);
    }
    if (!success) {
        presentation.errors += hintLine(hintFor(request, text), screens.errors);
    } else if (request.operation == Operation::SetLevels) {
        presentation.errors += hintLine(hintForItems(request.words.value(0)), screens.errors);
    }
    return presentation;
}

} // namespace

QString shownText(const QString &text, const Screen &screen)
{
    return line(screen.terminal ? wrapped(visible(text), screen.width) : text);
}

QString hintLine(const QString &hint, const Screen &screen)
{
    return hint.isEmpty() ? QString() : shownText(QStringLiteral("Hint: ") + hint, screen);
}

Presentation present(const Request &request, const QVariant &answer, const Screens &screens)
{
    if (answer.type() == QVariant::Map) {
        return presentMap(request, answer.toMap(), screens);
    }
    if (answer.isValid()) {
        return presentText(request, answer.toString(), screens);
    }
    Presentation presentation;
    if (screens.json) {
        presentation.output = jsonText(
            QJsonObject {{QStringLiteral("ok"), true}, {QStringLiteral("text"), QString()}},
            QJsonDocument::Indented, screens.output);
    } else if (screens.errors.terminal) {
        presentation.errors = QStringLiteral(
            "The service has taken the value. What became of it: loggerctl redirect\n");
    }
    presentation.errors += hintLine(hintForSetting(request), screens.errors);
    return presentation;
}

QString presentChange(const QVariantMap &event, const QString &time, const Screens &screens)
{
    const QString activity = event.value(QStringLiteral("syslog_facility")).toString();
    const int number = event.value(QStringLiteral("syslog_level")).toInt();
    const QString level = levelWord(number);
    if (screens.json) {
        return jsonText(QJsonObject {{QStringLiteral("time"), time},
                                     {QStringLiteral("activity"), activity},
                                     {QStringLiteral("level"), level},
                                     {QStringLiteral("number"), number}},
                        QJsonDocument::Compact, screens.output);
    }
    const Screen &screen = screens.output;
    const QString start = time + QLatin1Char(' ');
    return screen.terminal ? QString(start + visible(activity) + QLatin1Char(' ')
                                     + markedLevel(level, 0, screen) + lineFeed)
                           : QString(start + activity + QLatin1Char(' ') + level + lineFeed);
}

QString presentMove(const ActivityRow &row, const QString &time, const Screens &screens)
{
    if (screens.json) {
        return jsonText(QJsonObject {{QStringLiteral("time"), time},
                                     {QStringLiteral("activity"), row.activity},
                                     {QStringLiteral("support"), row.support},
                                     {QStringLiteral("destination"), row.destination}},
                        QJsonDocument::Compact, screens.output);
    }
    return shown(time + QLatin1Char(' ') + row.activity + QStringLiteral(" -> ")
                     + destinationWords(row),
                 screens.output);
}

QString presentError(const QDBusError &error, const QString &service, bool timedOut, int seconds)
{
    QString reason;
    switch (error.type()) {
    case QDBusError::ServiceUnknown:
        reason = QStringLiteral("%1 is not on the bus: is it running? Start it and try again")
                     .arg(service);
        break;
    case QDBusError::AccessDenied:
        reason = QStringLiteral("the bus does not let this user call %1: try again as root, or as "
                                "a member of the group quorvix")
                     .arg(service);
        break;
    case QDBusError::UnknownObject: // it was ending, and had not begun with the call
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
        reason = timedOut
            ? QStringLiteral("no answer from %1 within %2 s: it may still be at work. Look again "
                             "later, or wait longer with --timeout")
                  .arg(service, QString::number(seconds))
            : QStringLiteral("%1 left the bus before it answered: look at its log, and try again")
                  .arg(service);
        break;
    case QDBusError::Disconnected:
    case QDBusError::NoServer:
        reason = QStringLiteral("no connection to the system bus: is the message bus running?");
        break;
    case QDBusError::UnknownMethod:
    case QDBusError::UnknownInterface:
        reason = QStringLiteral("%1 on this phone does not know this operation: is it older than "
                                "the console?")
                     .arg(service);
        break;
    default:
        reason = error.name().startsWith(QStringLiteral("org.freedesktop.DBus.Error.Spawn"))
            ? QStringLiteral("%1 could not be started by the bus: look at the system's log")
                  .arg(service)
            : QStringLiteral("%1 cannot be asked (%2): look at its log").arg(service, error.name());
        break;
    }
    return reason;
}
