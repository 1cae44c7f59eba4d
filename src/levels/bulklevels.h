// Levels of several activities at once, as programs read and set them: texts and maps.
// SPDX-License-Identifier: MIT
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/// The activities that are reported, in order.
QStringList reportedActivities();

/**
 * Level names by activity, read from the table that LoggerConfigList::activityTable() gives. A
 * later row wins; a row of fewer than two columns counts for nothing.
 */
QMap<QString, QString> levelsFromTable(QString table);

/**
 * The reported activities with their levels; an activity that @p levels does not have has an empty
 * one. "qvxbtmgr" is left out on phones without that part.
 * @param phoneModel the phone's model, empty when it is not known
 */
QVariantMap reportedLevels(const QMap<QString, QString> &levels, const QString &phoneModel);

/// The items of a text such as "{qvxsipua:debug,Telephony:warning}": without braces and empty
/// items, and otherwise as they stand.
QStringList bulkLevelItems(QString text);

/// The @p items that ask for another level than the one in @p current.
QStringList changedItems(const QStringList &items, const QVariantMap &current);

/// A map for the caller: "value" is "0" for @p success and "1" else, "msg" the @p message.
QVariantMap resultMap(bool success, const QString &message);
