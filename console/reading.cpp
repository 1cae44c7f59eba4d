// Counts and checks of words; their meaning is left to the service.
// SPDX-License-Identifier: MIT
#include "reading.h"

#include "client/words.h"

#include <limits>

namespace {

Reading accept(Operation operation, const QStringList &words = {}, int number = 0)
{
    return {Request {operation, words, number}, QString()};
}

Reading refuse(const QString &problem)
{
    return {std::nullopt, problem};
}

Reading wrongCount(const QStringList &arguments)
{
    if (arguments.isEmpty()) {
        return refuse(QStringLiteral("arguments are missing"));
    }
    return refuse(
        arguments.size() == 1
            ? QStringLiteral("it cannot be used with just one argument")
            : QStringLiteral("it cannot be used with %1 arguments").arg(arguments.size()));
}

} // namespace

Reading readNothing(Operation operation, const QStringList &arguments)
{
    return arguments.isEmpty() ? accept(operation)
                               : refuse(QStringLiteral("it takes no arguments"));
}

Reading readOne(Operation operation, const QStringList &arguments)
{
    return arguments.size() == 1 ? accept(operation, arguments) : wrongCount(arguments);
}

Reading readLevel(const QStringList &arguments)
{
    switch (arguments.size()) {
    case 0:
        return accept(Operation::ListLevels);
    case 1:
        return arguments.first() == QLatin1String("all") ? accept(Operation::ListLevels)
                                                         : accept(Operation::ShowLevel, arguments);
    case 2:
        return accept(Operation::ChangeLevel, arguments);
    default:
        return wrongCount(arguments);
    }
}

Reading readRedirect(const QStringList &arguments)
{
    switch (arguments.size()) {
    case 0:
        return accept(Operation::ListDestinations);
    case 2:
        return accept(Operation::Redirect, arguments);
    case 3:
        return accept(Operation::RedirectToSupport, arguments);
    case 4: {
        bool isNumber = false;
        const int port = arguments.at(3).toInt(&isNumber);
        return isNumber ? accept(Operation::RedirectToServer, arguments.mid(0, 3), port)
                        : refuse(QStringLiteral("the port '%1' is not a number from 1 to 65535")
                                     .arg(arguments.at(3)));
    }
    default:
        return wrongCount(arguments);
    }
}

Reading readDelete(const QStringList &arguments)
{
    switch (arguments.size()) {
    case 0:
        return accept(Operation::DeleteRamLogs);
    case 1:
        return accept(Operation::DeleteLogs, arguments);
    default:
        return wrongCount(arguments);
    }
}

Reading readLevels(const QStringList &arguments)
{
    const QString word = arguments.value(0);
    const QStringList others = arguments.mid(1);
    if (word == QLatin1String("get")) {
        return readNothing(Operation::GetLevels, others);
    }
    if (word == QLatin1String("reset")) {
        return readNothing(Operation::ResetLevels, others);
    }
    if (word == QLatin1String("set")) {
        return others.isEmpty() ? refuse(QStringLiteral("'set' needs items such as qvxsipua:debug"))
                                : accept(Operation::SetLevels, {others.join(QLatin1Char(','))});
    }
    if (arguments.isEmpty()) {
        return refuse(QStringLiteral("one of the words get, set and reset is missing"));
    }
    const QString nearest = nearestWord(
        word, {QStringLiteral("get"), QStringLiteral("set"), QStringLiteral("reset")});
    return refuse(
        QStringLiteral("'%1' is none of the words get, set and reset").arg(word)
        + (nearest.isEmpty() ? QString() : QStringLiteral(". Did you mean '%1'?").arg(nearest)));
}

Reading readDefence(const QStringList &arguments)
{
    if (arguments.size() != 2) {
        return wrongCount(arguments);
    }
    bool isNumber = false;
    const int position = arguments.at(0).toInt(&isNumber);
    return isNumber ? accept(Operation::Defence, arguments.mid(1), position)
                    : refuse(QStringLiteral("'%1' is not a number of lines from 0 to %2")
                                 .arg(arguments.at(0))
                                 .arg(std::numeric_limits<int>::max()));
}

Reading readComment(const QStringList &arguments)
{
    if (arguments.size() < 2) {
        return wrongCount(arguments);
    }
    return accept(Operation::Comment, {arguments.at(0), arguments.mid(1).join(QLatin1Char(' '))});
}

Reading readLog(const QStringList &arguments)
{
    return arguments.size() == 1 ? accept(Operation::ReadLog, arguments) : wrongCount(arguments);
}

Reading readTrace(const QStringList &arguments)
{
    const QString level = arguments.value(1, QStringLiteral("debug"));
    if (arguments.isEmpty() || arguments.size() > 2) {
        return wrongCount(arguments);
    }
    if (arguments.first() == QLatin1String("all")) {
        return refuse(QStringLiteral("one activity is traced at a time, not all"));
    }
    if (!levelNames().contains(level)) {
        const QString nearest = nearestWord(level, levelNames());
        return refuse(QStringLiteral("'%1' is no level; a level is one of ").arg(level)
                      + levelNames().join(QStringLiteral(", "))
                      + (nearest.isEmpty() ? QString()
                                           : QStringLiteral(". Did you mean '%1'?").arg(nearest)));
    }
    return accept(Operation::Trace, {arguments.first(), level});
}
