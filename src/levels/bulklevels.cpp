// Parsing of the activity table and of the bulk text.
// SPDX-License-Identifier: MIT
#include "bulklevels.h"

#include "syslogconf/activityparser.h"

#include <QRegExp>

namespace {

const QString bluetoothActivity = QStringLiteral("qvxbtmgr");

/// Whether phones of this model have the Bluetooth manager.
bool hasBluetooth(const QString &phoneModel)
{
    return !phoneModel.isEmpty() && phoneModel != QLatin1String("PX21A")
        && phoneModel != QLatin1String("PX25A");
}

} // namespace

QStringList reportedActivities()
{
    return {QStringLiteral("qvxaudio"), QStringLiteral("qvxsipua"),
            QStringLiteral("Platform"), QStringLiteral("SettingsManager"),
            QStringLiteral("sipmmi"),   QStringLiteral("Telephony"),
            bluetoothActivity};
}

QMap<QString, QString> levelsFromTable(QString table)
{
    // QRegExp's idea of white space takes in all of Unicode's, as trimmed() does.
    const QRegExp whiteSpace(QStringLiteral("\\s+"));
    table.remove(activityTableHeader());
    table.replace(QRegExp(QStringLiteral("\\n")), QStringLiteral(";"));
    table.replace(whiteSpace, QStringLiteral(" "));

    QMap<QString, QString> levels;
    const QStringList rows = table.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString &row : rows) {
        QString columns = row.trimmed();
        columns.replace(whiteSpace, QStringLiteral(";"));
        const QStringList column = columns.split(QLatin1Char(';'), Qt::SkipEmptyParts);
        if (column.size() >= 2) {
            levels.insert(column.at(0), column.at(1));
        }
    }
    return levels;
}

QVariantMap reportedLevels(const QMap<QString, QString> &levels, const QString &phoneModel)
{
    QVariantMap reported;
    const QStringList activities = reportedActivities();
    for (const QString &activity : activities) {
        reported.insert(activity, levels.value(activity, QStringLiteral("")));
    }
    if (!hasBluetooth(phoneModel)) {
        reported.remove(bluetoothActivity);
    }
    return reported;
}

QStringList bulkLevelItems(QString text)
{
    text.remove(QLatin1Char('{'));
    text.remove(QLatin1Char('}'));
    return text.split(QLatin1Char(','), Qt::SkipEmptyParts);
}

QStringList changedItems(const QStringList &items, const QVariantMap &current)
{
    QStringList unchanged;
    for (auto level = current.cbegin(); level != current.cend(); ++level) {
        unchanged.append(level.key() + QLatin1Char(':') + level.value().toString());
    }
    QStringList changed;
    for (const QString &item : items) {
        if (!unchanged.contains(item)) {
            changed.append(item);
        }
    }
    return changed;
}

QVariantMap resultMap(bool success, const QString &message)
{
    return {{QStringLiteral("value"), success ? QStringLiteral("0") : QStringLiteral("1")},
            {QStringLiteral("msg"), message}};
}
