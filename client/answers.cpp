// The texts of the service's successes, and hints for its failures.
// SPDX-License-Identifier: MIT
#include "answers.h"

#include "activitytable.h"
#include "words.h"

#include <algorithm>

namespace {

const QString all = QStringLiteral("all");
const QString ok = QStringLiteral("OK");
const QString undefined = QStringLiteral("UNDEFINED"); // as the settings service says it

/// Whether @p text is all digits, with a sign before them or not.
bool isNumber(const QString &text)
{
    const int first = text.startsWith(QLatin1Char('-')) ? 1 : 0;
    return text.size() > first && std::all_of(text.begin() + first, text.end(), [](QChar c) {
               return c >= QLatin1Char('0') && c <= QLatin1Char('9');
           });
}

bool isNumberBetween(const QString &text, const QString &before, const QString &after)
{
    return text.startsWith(before) && text.endsWith(after)
        && isNumber(text.mid(before.size(), text.size() - before.size() - after.size()));
}

/// The answers of the check of @p activity that let an operation go on.
QStringList goodChecks(const QString &activity)
{
    const QString repaired = QStringLiteral("OK  -- but configuration file was corrupted : ")
        + activity
        + QStringLiteral(" restored to predefined values -- use level or redirect command to "
                         "verify your log config ");
    return {ok, repaired, QString(QLatin1Char(' ') + repaired)};
}

bool endsWithGoodCheck(const QString &text, const QString &activity)
{
    const QStringList checks = goodChecks(activity);
    return std::any_of(checks.begin(), checks.end(),
                       [&text](const QString &check) { return text.endsWith(check); });
}

bool isLevelChanged(const QString &text, const QString &activity, const QString &level)
{
    if (activity == all) {
        if (level == QLatin1String("restore")) {
            return text == QLatin1String("level restore succcess");
        }
        const QString name = level == QLatin1String("init") ? QStringLiteral("err") : level;
        return text == QStringLiteral("All levels changed to ") + name + QStringLiteral(" value ");
    }
    const QString start = QStringLiteral("Level ") + level + QStringLiteral(" for facility : ")
        + activity + QLatin1Char(' ');
    return text.startsWith(start) && goodChecks(activity).contains(text.mid(start.size()));
}

/// What the answer to a redirection of @p activity begins with when it succeeded.
QString redirected(const QString &activity)
{
    return activity == all
        ? QStringLiteral("All facilities redirected to : ")
        : QStringLiteral("[REDIRECT] Activity : ") + activity + QStringLiteral(" redirect to : ");
}

bool isRedirected(const QString &text, const QString &activity, const QString &destination)
{
    if (activity != all) {
        return text == redirected(activity) + destination;
    }
    return text
        == (destination == QLatin1String("init")
                ? QStringLiteral("All facilities redirected to predefined values ")
                : redirected(all) + destination + QLatin1Char(' '));
}

bool isDeleted(const QString &text, const QString &directories)
{
    return text == QStringLiteral("All logs files removed in ") + directories + QLatin1Char('.')
        || text == QStringLiteral("No Log file to remove in ") + directories;
}

bool isDefenceAnswer(const QString &text, const QString &todo)
{
    if (todo == QLatin1String("size")) {
        return isNumberBetween(
            text, QStringLiteral("[DEFENCE] Total messages saved in flash sector:"), QString());
    }
    if (todo == QLatin1String("delete")) {
        return isNumberBetween(text, QStringLiteral("[DEFENCE] delete "),
                               QStringLiteral(" lines OK"));
    }
    return todo == QLatin1String("read") && (text.isEmpty() || text.endsWith(QLatin1Char('\n')));
}

QString levelHint(const Request &request)
{
    const QString level = request.words.value(1);
    if (request.words.value(0) != all && level == QLatin1String("init")) {
        return QStringLiteral("The initial level is err: loggerctl level ") + request.words.value(0)
            + QStringLiteral(" err");
    }
    if (request.words.value(0) != all && level == QLatin1String("restore")) {
        return QStringLiteral("Only all activities together can be restored: loggerctl level all "
                              "restore");
    }
    const QString nearest = nearestWord(level, levelNames());
    return QStringLiteral("A level is one of ") + levelNames().join(QStringLiteral(", "))
        + (nearest.isEmpty() ? QString() : QStringLiteral(". Did you mean '%1'?").arg(nearest));
}

bool isProtocol(const QString &word)
{
    return word == QLatin1String("udp") || word == QLatin1String("tcp");
}

/// What to type when @p word alone was given as the destination of @p activity but is only the
/// beginning of one, or mistyped; an empty text when it resembles nothing.
QString shortForm(const QString &activity, const QString &word)
{
    const QString start = QStringLiteral("loggerctl redirect ") + activity + QLatin1Char(' ');
    if (word.startsWith(QLatin1Char('/')) && !word.contains(QLatin1Char('\''))
        && !word.contains(QLatin1Char('"'))) {
        return QStringLiteral("A path goes into a text of syslog-ng: ") + start
            + QStringLiteral("'file(\"") + word + QStringLiteral("\")'");
    }
    const QString ram = QStringLiteral("ram");
    const QString flash = QStringLiteral("flash");
    const QString usertty = QStringLiteral("usertty");
    const QString console = QStringLiteral("V24");
    QStringList words {ram, flash, usertty, QStringLiteral("udp"), QStringLiteral("tcp"), console};
    if (activity == all) {
        words.append(QStringLiteral("init"));
    }
    const QString meant = nearestWord(word, words);
    if (meant.isEmpty()) {
        return {};
    }
    QString argument;
    if (meant == ram || meant == flash) {
        argument = QStringLiteral(" sip");
    } else if (meant == usertty) {
        argument = QStringLiteral(" root");
    } else if (isProtocol(meant)) {
        argument = QStringLiteral(" 10.1.2.3 514");
    }
    return QStringLiteral("Example: ") + start + meant + argument;
}

QString redirectHint(const Request &request, const QString &text)
{
    const QString activity = request.words.value(0);
    const QString word = request.words.value(1);
    if (text.startsWith(QStringLiteral("Not a valid support type"))) {
        if (isProtocol(word)) {
            // The address, without a port that stands behind it as in "10.1.2.3:514".
            const QString address = request.words.value(2).section(QLatin1Char(':'), 0, 0);
            return QStringLiteral("A log server needs a port: loggerctl redirect ") + activity
                + QLatin1Char(' ') + word + QLatin1Char(' ') + address + QStringLiteral(" 514");
        }
        const QString nearest = nearestWord(
            word, {QStringLiteral("ram"), QStringLiteral("flash"), QStringLiteral("usertty")});
        return nearest.isEmpty()
            ? QStringLiteral("Example: loggerctl redirect ") + activity + QStringLiteral(" ram sip")
            : QStringLiteral("Did you mean '%1'?").arg(nearest);
    }
    if (text.startsWith(QStringLiteral("Not a valid file name"))) {
        return QStringLiteral("The service chooses the directory; give the bare name: loggerctl "
                              "redirect ")
            + activity + QLatin1Char(' ') + word + QStringLiteral(" sip");
    }
    if (text.startsWith(QStringLiteral("Destination not valid"))) {
        return QStringLiteral("Its own file is: loggerctl redirect ") + activity
            + (activity == QLatin1String("defence")
                   ? QStringLiteral(" 'file(\"/log/Defence.log\")'")
                   : QString(QStringLiteral(" ram ") + activity));
    }
    if (text.startsWith(QStringLiteral(" [REDIRECT] destination parameters not valid: "))) {
        return QStringLiteral("A log server is udp or tcp, an IPv4 address or a host name, and a "
                              "port from 1 to 65535: loggerctl redirect ")
            + activity + QStringLiteral(" udp 10.1.2.3 514");
    }
    if (request.operation == Operation::Redirect && word != QLatin1String("init")) {
        const QString example = shortForm(activity, word);
        if (!example.isEmpty()) {
            return example;
        }
    }
    if (text.startsWith(QStringLiteral("[REDIRECT] Destination not valid: "))
        || text.startsWith(QStringLiteral("[REDIRECT] destination parameter not valid: "))
        || text.startsWith(QStringLiteral(" [redirect] destination parameters not valid: "))) {
        return QStringLiteral("Destinations and how to write them: loggerctl redirect --help");
    }
    return {};
}

} // namespace

bool isUnknownActivity(const Request &request, const QString &text)
{
    const QString activity = request.words.value(0);
    return text == QStringLiteral("Not a valid activity : ") + activity
        || text == QStringLiteral("not a valid activity : ") + activity
        || text == QStringLiteral("not a valid facility : ") + activity;
}

bool isSuccess(const Request &request, const QString &text)
{
    const QString first = request.words.value(0);
    switch (request.operation) {
    case Operation::ListLevels:
    case Operation::ShowLevel:
    case Operation::ListDestinations:
        return isActivityTable(text);
    case Operation::ChangeLevel:
        return isLevelChanged(text, first, request.words.value(1));
    case Operation::Redirect:
        return isRedirected(text, first, request.words.value(1));
    case Operation::RedirectToSupport:
    case Operation::RedirectToServer:
        return text.startsWith(redirected(first)) && endsWithGoodCheck(text, first);
    case Operation::DeleteRamLogs:
        return isDeleted(text, QStringLiteral("/var/log/ directory"));
    case Operation::DeleteLogs:
        return isDeleted(text, QStringLiteral("/var/log/ and /log/flash/ directories"));
    case Operation::Defence:
        return isDefenceAnswer(text, first);
    case Operation::Comment:
        return text == ok;
    default:
        return false;
    }
}

bool isSuccess(const Request &request, const QVariantMap &answer)
{
    if (request.operation == Operation::GetLevels) {
        return std::any_of(answer.begin(), answer.end(),
                           [](const QVariant &level) { return !level.toString().isEmpty(); });
    }
    if (request.operation == Operation::ShowRemote) {
        return true;
    }
    return answer.value(QStringLiteral("value")).toString() == QLatin1String("0");
}

QString hintFor(const Request &request, const QString &text)
{
    if (isUnknownActivity(request, text)) {
        return QStringLiteral("The activities of this phone: loggerctl level");
    }
    if (text.contains(QStringLiteral("file corrupted --"))
        || text.startsWith(QStringLiteral("One ore more config files were corrupted"))) {
        return QStringLiteral("What is in place now: loggerctl level");
    }
    if (text.contains(QStringLiteral("file configuration access error"))
        || text.startsWith(QStringLiteral("configuration file "))) {
        return QStringLiteral("The backup of the configuration is put in place by: loggerctl level "
                              "all restore");
    }
    switch (request.operation) {
    case Operation::ChangeLevel:
        return text.startsWith(QStringLiteral("[level] level not valid: ")) ? levelHint(request)
                                                                            : QString();
    case Operation::Redirect:
    case Operation::RedirectToSupport:
    case Operation::RedirectToServer:
        return redirectHint(request, text);
    case Operation::DeleteLogs:
        return QStringLiteral("The only argument is flash: loggerctl delete flash");
    case Operation::Defence:
        return text.startsWith(QStringLiteral("bad input parameter"))
            ? QStringLiteral("Type loggerctl defence %1 read, delete or size").arg(request.number)
            : QString();
    case Operation::Archive:
        return QStringLiteral("A log that grows while it is packed gives this too: try again. "
                              "Otherwise the disk may be full");
    case Operation::GetLevels:
        return QStringLiteral("No level could be read: loggerctl level says why");
    default:
        return {};
    }
}

QString hintForSetting(const Request &request)
{
    const QString value = request.words.value(0);
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    constexpr int highestPort = 65535;
    if (value == undefined) {
        return {};
    }
    if (request.operation == Operation::RemoteServer && value != QLatin1String("true")
        && value != QLatin1String("false")) {
        return QStringLiteral("The value is true or false; this one is taken as false");
    }
    if (request.operation == Operation::RemoteProtocol && !isProtocol(value)) {
        return QStringLiteral(
            "The protocol is udp or tcp; with this one no log goes to the server");
    }
    if (request.operation == Operation::RemotePort
        && (!isNumber || number < 1 || number > highestPort)) {
        return QStringLiteral("A port is a number from 1 to 65535; with this one no log goes to "
                              "the server");
    }
    return {};
}

QString hintForItems(const QString &items)
{
    QString list = items;
    list.remove(QLatin1Char('{')).remove(QLatin1Char('}'));
    QStringList bad;
    const QStringList parts = list.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &item : parts) {
        const int colon = item.indexOf(QLatin1Char(':'));
        if (colon <= 0 || !levelNames().contains(item.mid(colon + 1))) {
            bad.append(QLatin1Char('\'') + item + QLatin1Char('\''));
        }
    }
    return bad.isEmpty() ? QString()
                         : QStringLiteral("This will fail: ") + bad.join(QStringLiteral(", "))
            + QStringLiteral(". An item is ACTIVITY:LEVEL without blanks, such as "
                             "qvxsipua:debug; a level is one of ")
            + levelNames().join(QStringLiteral(", "));
}
