// Each change between two readings of the table.
// SPDX-License-Identifier: MIT
#include "changes.h"

#include "answers.h"

namespace {

const QString all = QStringLiteral("all");

} // namespace

Listing listActivities(const Caller &caller)
{
    Listing listing;
    listing.reply = caller.ask({Operation::ListDestinations, {}, 0});
    const QString text = listing.reply.answer.toString();
    listing.valid = !listing.reply.error.isValid() && isActivityTable(text);
    if (listing.valid) {
        listing.rows = parseActivityTable(text);
    }
    return listing;
}

QString destinationOf(const Request &request)
{
    const QString kind = request.words.value(1);
    const QString name = request.words.value(2);
    if (request.operation == Operation::RedirectToServer) {
        return kind + QStringLiteral("(\"") + name
            + QStringLiteral("\" port(%1))").arg(request.number);
    }
    if (request.operation != Operation::RedirectToSupport) {
        return kind;
    }
    if (kind == QLatin1String("usertty")) {
        return QStringLiteral("usertty(\"") + name + QStringLiteral("\")");
    }
    const QString ending = QStringLiteral(".log");
    return QStringLiteral("file(\"")
        + (kind == QLatin1String("flash") ? QStringLiteral("/log/flash/")
                                          : QStringLiteral("/var/log/"))
        + name + (name.endsWith(ending) ? QString() : ending) + QStringLiteral("\")");
}

Redirection redirectAndLook(const Caller &caller, const Request &request)
{
    Redirection result;
    const Listing before = listActivities(caller);
    if (before.reply.error.isValid()) {
        result.reply = before.reply;
        return result;
    }
    result.reply = caller.ask(request);
    result.answered
        = !result.reply.error.isValid() && isSuccess(request, result.reply.answer.toString());
    if (!result.answered) {
        return result;
    }
    const Listing after = listActivities(caller);
    result.looked = before.valid && after.valid;
    if (!result.looked) {
        return result;
    }
    const QString destination = destinationOf(request);
    const auto affected = [&request](const QString &activity) {
        return request.words.value(0) == all || activity == request.words.value(0);
    };
    for (const ActivityRow &row : after.rows) {
        if (affected(row.activity)) {
            const ActivityRow wanted = destination == QLatin1String("init")
                ? rowWithOwnDestination(row.activity)
                : rowWithDestination(row.activity, destination);
            (sameDestination(row, wanted) ? result.moved : result.refused).append(row);
        }
    }
    const QList<Difference> found = differences(before.rows, after.rows);
    for (const Difference &difference : found) {
        if (difference.what != QLatin1String("destination") || !affected(difference.activity)) {
            result.lost.append(difference);
        }
    }
    return result;
}

QList<LevelItem> levelItems(const QString &text)
{
    QString list = text;
    list.remove(QLatin1Char('{')).remove(QLatin1Char('}'));
    QList<LevelItem> items;
    const QStringList parts = list.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        const int colon = part.indexOf(QLatin1Char(':'));
        items.append(
            {colon < 0 ? part : part.left(colon), colon < 0 ? QString() : part.mid(colon + 1)});
    }
    return items;
}

LevelChanges setLevelsAndLook(const Caller &caller, const Request &request)
{
    LevelChanges result;
    result.reply = caller.ask(request);
    result.answered
        = !result.reply.error.isValid() && isSuccess(request, result.reply.answer.toMap());
    if (!result.answered) {
        return result;
    }
    const Listing listing = listActivities(caller);
    result.looked = listing.valid;
    if (!result.looked) {
        return result;
    }
    QList<LevelItem> items;
    const QList<LevelItem> asked = request.operation == Operation::ResetLevels
        ? QList<LevelItem> {{all, QStringLiteral("err")}}
        : levelItems(request.words.value(0));
    for (const LevelItem &item : asked) {
        if (item.activity != all) {
            items.append(item);
            continue;
        }
        for (const ActivityRow &row : listing.rows) {
            items.append({row.activity, item.level});
        }
    }
    for (int index = 0; index < items.size(); ++index) {
        const LevelItem &item = items.at(index);
        bool again = false; // whether a later item is for the same activity: that one counts
        for (int later = index + 1; later < items.size(); ++later) {
            again = again || items.at(later).activity == item.activity;
        }
        if (again) {
            continue;
        }
        const ActivityRow *const row = findActivity(listing.rows, item.activity);
        if (row != nullptr && row->level == item.level) {
            result.changed.append(*row);
            continue;
        }
        result.unchanged.append(item.activity);
        if (row == nullptr) {
            result.unknown.append(item.activity);
        }
    }
    return result;
}

QString obstacleForComment(const QList<ActivityRow> &rows, const QString &activity)
{
    const ActivityRow *const row = findActivity(rows, activity);
    if (row == nullptr) {
        return activity
            + QStringLiteral(" is no activity of this phone, so nothing takes its messages");
    }
    // A comment is a message of the level err; only emerg is stricter.
    return row->level == QLatin1String("emerg")
        ? QString(activity
                  + QStringLiteral(" is at emerg, and a comment is a message of the level err"))
        : QString();
}
