// Edits of one activity's or of all activities' lines, committed through writeToFile().
// SPDX-License-Identifier: MIT
#include "activityparser.h"
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "lineedit.h"
#include "loggerconfiglist.h"
#include "predefineddestination.h"
#include "textfile.h"

#include <QFile>

namespace {

/// The whole text with @p edit applied, as LoggerModule::modify() documents it.
QString editedText(const QStringList &lines, ConfigLineEdit edit)
{
    const QString marker = beginMarker(edit.activity);
    bool blockFound = false;
    bool editing = true;
    QString text;
    for (const QString &line : lines) {
        if (!blockFound) {
            edit.position = matchBlockMarker(marker, line);
            blockFound = edit.position >= 0;
        }
        if (blockFound && editing) {
            edit.line = line;
            if (rewriteLine(edit, text)) {
                editing = edit.activity.isEmpty();
                continue;
            }
        }
        text += line;
        text += QLatin1Char('\n');
    }
    return text;
}

/// The whole text with every listed activity on its predefined destination. The list comes from the
/// same lines, so one pass does; an activity without a block stops it.
/// @param blockOpen set to whether the last block that was found had no destination line
QString textWithPredefinedDestinations(const QStringList &lines,
                                       const QList<ActivityLevelEntry> &activities, bool *blockOpen)
{
    int index = 0;
    *blockOpen = false;
    QString text;
    for (const QString &line : lines) {
        if (!*blockOpen && index < activities.size()) {
            *blockOpen = matchBlockMarker(beginMarker(activities.at(index).facility), line) >= 0;
        }
        if (*blockOpen) {
            const QString &activity = activities.at(index).facility;
            ConfigLineEdit edit;
            edit.line = line;
            edit.key = QStringLiteral("destination d_") + activity + QStringLiteral(" {");
            edit.destination = predefinedDestination(activity, DefenceLog::OfAnyDefence);
            if (rewriteLine(edit, text)) {
                *blockOpen = false;
                ++index;
                continue;
            }
        }
        text += line;
        text += QLatin1Char('\n');
    }
    return text;
}

} // namespace

QString LoggerModule::modify(ConfigLineEdit edit, const QString &path)
{
    const QString refused = QStringLiteral("[modify] -- file configuration access error");
    const auto missing = [&] {
        logError(QStringLiteral("[modify] -- file: ") + path + QStringLiteral("doesn't exist"));
        return refused + path;
    };
    const auto notOpened = [&] {
        logError(QStringLiteral("[Method :modify()] -- access to : ") + path
                 + QStringLiteral(".conf not possible"));
        return refused + path;
    };
    QFile file(path);
    const auto open = [&file] {
        return file.isOpen() || openRegularFile(file, QIODevice::ReadOnly | QIODevice::Text);
    };

    // The restore only replaces an existing file: for a missing one it says no, and its log line.
    if (!file.exists() && !restoreConfigFile(path)) {
        return missing();
    }
    if (!open()) {
        if (!restoreConfigFile(path)) {
            return missing();
        }
        if (!open()) {
            return notOpened();
        }
    }
    file.close();
    if (!open()) {
        return notOpened();
    }
    QStringList lines;
    if (!readLines(file, &lines)) {
        return notOpened();
    }
    file.close();

    if (!writeToFile(editedText(lines, std::move(edit)), path)) {
        logError(QStringLiteral("[Method : modify()] -- File corrupted: ") + path
                 + QStringLiteral(" or not up to date with new values --")
                 + QStringLiteral("Temorary file : ") + path
                 + QStringLiteral(".tmp perhaps corrupted"));
        restoreConfigFile(path);
        return refused;
    }
    return QStringLiteral("OK");
}

bool LoggerModule::initConfigFile(const QString &path)
{
    LoggerConfigList list;
    const QList<ActivityLevelEntry> activities = list.readActivityInConfigFile(path);
    if (activities.isEmpty()) {
        logError(QStringLiteral("[initConfigFile]  -- empty activity list"));
        return false;
    }
    if (initializeLevelDestination(activities, path)
        == QLatin1String("file configuration access error")) {
        logError(QStringLiteral("Access to") + path + QStringLiteral("impossible"));
        return false;
    }
    return true;
}

QString LoggerModule::initializeLevelDestination(const QList<ActivityLevelEntry> &activities,
                                                 const QString &path)
{
    const QString refused
        = QStringLiteral("[initializeLevelDestination] -- file configuration access error");
    if (activities.isEmpty()) {
        return refused;
    }
    QFile file(path);
    if (!file.exists()) {
        logError(path + QStringLiteral(".conf does not exists"));
        return refused;
    }
    if (!openRegularFile(file, QIODevice::ReadWrite | QIODevice::Text)) {
        logError(QStringLiteral("Access problem to: ") + path);
        if (!restoreConfigFile(path)) {
            return QStringLiteral("[initializeLevelDestination] --file configuration access error");
        }
        if (!openRegularFile(file, QIODevice::ReadWrite | QIODevice::Text)) {
            return QStringLiteral("file configuration access error");
        }
    }
    QStringList lines;
    if (!readLines(file, &lines)) {
        return QStringLiteral("file configuration access error");
    }
    file.close();

    bool blockOpen = false;
    const QString text = textWithPredefinedDestinations(lines, activities, &blockOpen);
    if (!writeToFile(text, path)) {
        logError(QStringLiteral("Possible file corrupted: ") + path
                 + QStringLiteral(" or not up to date with new values --")
                 + QStringLiteral("Possible temporary file : ") + path
                 + QStringLiteral(".tmp perhaps corrupted"));
        return QStringLiteral("[modify] --file configuration access error") + path;
    }
    // The wrong way round, and long established: callers look for the access error only.
    return blockOpen ? QStringLiteral("OK") : QStringLiteral("No such an activity: ");
}
