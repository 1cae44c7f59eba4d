// One function for each resource and method.
// SPDX-License-Identifier: MIT
#include "resources.h"

#include "client/answers.h"
#include "client/archivefile.h"
#include "client/health.h"
#include "client/logfiles.h"
#include "client/logfollower.h"
#include "client/tablejson.h"
#include "client/tracing.h"
#include "client/words.h"
#include "destination.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QScopeGuard>
#include <QStorageInfo>
#include <QThread>

#include <algorithm>
#include <csignal>

#include <unistd.h>

namespace {

enum Status {
    NotFound = 404,
    BadMethod = 405,
    Conflict = 409,
    BadValue = 422,
    ServiceFailed = 502,
    NoService = 503,
    NoAnswer = 504,
};

const QString all = QStringLiteral("all");
const QString ok = QStringLiteral("ok");
const QString problem = QStringLiteral("problem");
const QString textKey = QStringLiteral("text");
const QString activityKey = QStringLiteral("activity");

Answer badValue(const QString &sentence, const QString &field)
{
    return refusal(BadValue, sentence, field);
}

/// Why there is no answer of the service.
Answer unanswered(const Reply &reply)
{
    if (reply.timedOut) {
        return refusal(NoAnswer, reply.service + QStringLiteral(" did not answer in time"));
    }
    switch (reply.error.type()) {
    case QDBusError::AccessDenied:
        return refusal(ServiceFailed,
                       QStringLiteral("The web server's gateway may not call ") + reply.service);
    case QDBusError::ServiceUnknown:
        return refusal(NoService, reply.service + QStringLiteral(" is not running"));
    default:
        return refusal(NoService,
                       reply.service + QStringLiteral(" could not be asked: ")
                           + reply.error.name());
    }
}

/// Why there is no table, when @p listing has none.
Answer noTable(const Listing &listing)
{
    return listing.reply.error.isValid() ? unanswered(listing.reply)
                                         : refusal(ServiceFailed, listing.reply.answer.toString());
}

Answer noActivity(const QString &name)
{
    return refusal(NotFound, QStringLiteral("There is no activity ") + name, activityKey);
}

/// A change of all activities is looked at in the table; nothing would be seen there.
Answer emptyTable()
{
    return refusal(ServiceFailed, QStringLiteral("The phone's table of activities is empty"));
}

QJsonObject room(const QString &directory)
{
    const QStorageInfo storage(directory);
    return {{QStringLiteral("directory"), directory},
            {QStringLiteral("free"), static_cast<double>(storage.bytesAvailable())},
            {QStringLiteral("total"), static_cast<double>(storage.bytesTotal())}};
}

QJsonArray tracesAsJson()
{
    QJsonArray array;
    const QStringList noted = notedActivities();
    for (const QString &activity : noted) {
        const std::optional<TraceNote> note = traceNote(activity);
        if (note && isTraced(activity)) {
            array.append(QJsonObject {{activityKey, note->activity},
                                      {QStringLiteral("level"), note->level},
                                      {QStringLiteral("former"), note->former},
                                      {QStringLiteral("user"), note->user},
                                      {QStringLiteral("until"), static_cast<double>(note->until)},
                                      {QStringLiteral("own"), note->user == noteUser()}});
        }
    }
    return array;
}

/// A row with what a file has besides.
QJsonObject fullRow(const ActivityRow &row)
{
    QJsonObject object = rowAsJson(row);
    object.insert(QStringLiteral("initial"), isInitial(row));
    const QString file = fileOf(row);
    if (!file.isEmpty()) {
        object.insert(QStringLiteral("file"), file);
        if (QFileInfo(file).isFile()) {
            object.insert(QStringLiteral("size"), static_cast<double>(QFileInfo(file).size()));
        }
    }
    return object;
}

QJsonArray fullRows(const QList<ActivityRow> &rows)
{
    QJsonArray array;
    for (const ActivityRow &row : rows) {
        array.append(fullRow(row));
    }
    return array;
}

QJsonArray filesAsJson(const QList<LogFile> &files, const QString &directory)
{
    QJsonArray array;
    for (const LogFile &file : files) {
        if (file.path.startsWith(directory)) {
            array.append(QJsonObject {{QStringLiteral("path"), file.path},
                                      {QStringLiteral("size"), static_cast<double>(file.size)}});
        }
    }
    return array;
}

/// Asks for one change. @return whether the service said that it was done; @p failed gets the
/// answer where none came
bool changeDone(const Caller &caller, const Request &request, QString *said, Answer *failed)
{
    const Reply reply = caller.ask(request);
    if (reply.error.isValid()) {
        *failed = unanswered(reply);
        return false;
    }
    if (reply.answer.type() == QVariant::Map) {
        *said = reply.answer.toMap().value(QStringLiteral("msg")).toString();
        return isSuccess(request, reply.answer.toMap());
    }
    *said = reply.answer.toString();
    return isSuccess(request, *said);
}

Answer setLevels(const WebRequest &request, const Caller &caller)
{
    const QString allLevel = request.body.value(all).toString();
    const QJsonObject wanted = request.body.value(QStringLiteral("levels")).toObject();
    if (allLevel.isEmpty() == wanted.isEmpty()) {
        return badValue(QStringLiteral("Levels are missing"), QStringLiteral("levels"));
    }
    const Listing before = listActivities(caller);
    if (!before.valid) {
        return noTable(before);
    }
    if (before.rows.isEmpty()) {
        return emptyTable();
    }
    QHash<QString, QString> levels;
    for (const ActivityRow &row : before.rows) {
        if (!allLevel.isEmpty()) {
            levels.insert(row.activity, allLevel);
        }
    }
    for (auto it = wanted.begin(); it != wanted.end(); ++it) {
        if (findActivity(before.rows, it.key()) == nullptr) {
            return noActivity(it.key());
        }
        levels.insert(it.key(), it.value().toString());
    }
    for (const QString &level : qAsConst(levels)) {
        if (!levelNames().contains(level)) {
            return badValue(QStringLiteral("A level is one of ")
                                + levelNames().join(QStringLiteral(", ")),
                            QStringLiteral("levels"));
        }
    }

    QList<Request> requests;
    if (!allLevel.isEmpty()) {
        requests.append({Operation::ChangeLevel, {all, allLevel}, 0});
    } else {
        // One call for those that the service changes together, and one for each other.
        const QVariantMap together = caller.ask({Operation::GetLevels, {}, 0}).answer.toMap();
        QStringList items;
        for (auto it = levels.begin(); it != levels.end(); ++it) {
            if (together.contains(it.key())) {
                items.append(it.key() + QLatin1Char(':') + it.value());
            } else {
                requests.append({Operation::ChangeLevel, {it.key(), it.value()}, 0});
            }
        }
        if (!items.isEmpty()) {
            requests.prepend({Operation::SetLevels, {items.join(QLatin1Char(','))}, 0});
        }
    }
    QStringList problems;
    for (const Request &each : qAsConst(requests)) {
        QString said;
        Answer failed {0, {}};
        if (!changeDone(caller, each, &said, &failed)) {
            if (failed.status != 0) {
                return failed;
            }
            problems.append(said);
        }
    }
    const Listing after = listActivities(caller); // behind the work of the common call
    if (!after.valid) {
        return noTable(after);
    }
    QJsonArray unchanged;
    for (auto it = levels.begin(); it != levels.end(); ++it) {
        const ActivityRow *const row = findActivity(after.rows, it.key());
        if (row == nullptr || row->level != it.value()) {
            unchanged.append(it.key());
        }
    }
    Answer answer;
    answer.body = {{ok, unchanged.isEmpty() && problems.isEmpty()},
                   {QStringLiteral("activities"), fullRows(after.rows)},
                   {QStringLiteral("unchanged"), unchanged}};
    if (!problems.isEmpty()) {
        answer.body.insert(problem, problems.join(QLatin1Char(' ')));
    } else if (!unchanged.isEmpty()) {
        answer.body.insert(problem, QStringLiteral("Not every level was changed"));
    }
    return answer;
}

Answer setDestination(const WebRequest &request, const Caller &caller)
{
    const QString activity = request.body.value(activityKey).toString();
    Answer wrong {0, {}};
    const Request change = destinationRequest(request.body, &wrong);
    if (wrong.status != 0) {
        return wrong;
    }
    const Listing before = listActivities(caller);
    if (!before.valid) {
        return noTable(before);
    }
    if (before.rows.isEmpty()) {
        return emptyTable();
    }
    if (activity != all && findActivity(before.rows, activity) == nullptr) {
        return noActivity(activity);
    }
    const Redirection result = redirectAndLook(caller, change);
    if (result.reply.error.isValid()) {
        return unanswered(result.reply);
    }
    const Listing after = listActivities(caller);
    QJsonArray refused;
    for (const ActivityRow &row : result.refused) {
        refused.append(row.activity);
    }
    Answer answer;
    answer.body = {{ok, result.done() && after.valid},
                   {textKey, result.reply.answer.toString()},
                   {QStringLiteral("refused"), refused},
                   {QStringLiteral("lost"), differencesAsJson(result.lost)}};
    if (after.valid) {
        answer.body.insert(QStringLiteral("activities"), fullRows(after.rows));
    }
    if (!result.answered) {
        answer.body.insert(problem, result.reply.answer.toString());
    } else if (!result.looked || !after.valid) {
        answer.body.insert(problem,
                           QStringLiteral("The table cannot be read, so nobody knows "
                                          "whether the log goes there"));
    } else if (!result.refused.isEmpty()) {
        answer.body.insert(problem,
                           QStringLiteral("syslog-ng refused this destination, and the backup of "
                                          "the configuration is in place again"));
    }
    return answer;
}

Answer listLogs()
{
    const QList<LogFile> files = deletableLogFiles(true);
    return {200,
            {{QStringLiteral("ram"), filesAsJson(files, ramLogDirectory)},
             {QStringLiteral("flash"), filesAsJson(files, flashLogDirectory)}}};
}

Answer deleteLogs(const WebRequest &request, const Caller &caller)
{
    const QString what = request.body.value(QStringLiteral("delete")).toString();
    const bool withFlash = what == QLatin1String("ram and flash");
    if (!withFlash && what != QLatin1String("ram")) {
        return badValue(QStringLiteral("\"ram\" or \"ram and flash\" is deleted"),
                        QStringLiteral("delete"));
    }
    const QList<LogFile> before = deletableLogFiles(withFlash);
    QString said;
    Answer failed {0, {}};
    const bool done
        = changeDone(caller,
                     withFlash ? Request {Operation::DeleteLogs, {QStringLiteral("flash")}, 0}
                               : Request {Operation::DeleteRamLogs, {}, 0},
                     &said, &failed);
    if (failed.status != 0) {
        return failed;
    }
    Answer answer;
    answer.body
        = {{ok, done},
           {textKey, said},
           {QStringLiteral("removed"), filesAsJson(removedLogFiles(before), QStringLiteral("/"))}};
    if (!done) {
        answer.body.insert(problem, said);
    }
    return answer;
}

Answer readLog(const WebRequest &request, const Caller &caller)
{
    constexpr int usual = 200;
    const QString activity = request.path.at(1);
    Answer refused;
    const int count = linesOf(request, usual, &refused);
    if (refused.status != 0) {
        return refused;
    }
    const Listing listing = listActivities(caller);
    if (!listing.valid) {
        return noTable(listing);
    }
    const ActivityRow *const row = findActivity(listing.rows, activity);
    if (row == nullptr) {
        return noActivity(activity);
    }
    Answer answer;
    answer.body = {{activityKey, activity}, {QStringLiteral("lines"), QJsonArray()}};
    const QString path = fileOf(*row);
    if (path.isEmpty()) {
        answer.body.insert(QStringLiteral("place"), destinationWords(*row));
        return answer;
    }
    answer.body.insert(QStringLiteral("file"), path);
    const std::unique_ptr<QFile> file = openLog(path, readableDirectories());
    if (file) {
        insertNewestLines(&answer.body, *file, file->size(), count,
                          request.query.queryItemValue(QStringLiteral("grep"), QUrl::FullyDecoded));
    } else if (QFileInfo::exists(path)) {
        answer.body.insert(problem,
                           QString(QStringLiteral("This log cannot be read by the page: ") + path));
    }
    return answer;
}

/// How many lines the defence log has.
Answer defenceCount(const Caller &caller, int *count)
{
    const Request size {Operation::Defence, {QStringLiteral("size")}, 0};
    QString said;
    Answer failed {0, {}};
    if (!changeDone(caller, size, &said, &failed)) {
        return failed.status != 0 ? failed : refusal(ServiceFailed, said);
    }
    *count = said.section(QLatin1Char(':'), -1).toInt();
    return {0, {}};
}

Answer readDefence(const WebRequest &request, const Caller &caller)
{
    constexpr int usual = 20;
    Answer refused;
    const int wanted = linesOf(request, usual, &refused);
    if (refused.status != 0) {
        return refused;
    }
    int count = 0;
    const Answer failed = defenceCount(caller, &count);
    if (failed.status != 0) {
        return failed;
    }
    const Reply reply = caller.ask({Operation::Defence, {QStringLiteral("read")}, wanted});
    if (reply.error.isValid()) {
        return unanswered(reply);
    }
    QStringList lines = reply.answer.toString().split(QLatin1Char('\n'));
    lines.removeLast();
    return {200,
            {{QStringLiteral("count"), count},
             {QStringLiteral("lines"), QJsonArray::fromStringList(lines)}}};
}

Answer trimDefence(const WebRequest &request, const Caller &caller)
{
    constexpr int most = 1000000;
    const double wanted = request.body.value(QStringLiteral("remove")).toDouble();
    const int number = static_cast<int>(qBound(0.0, wanted, static_cast<double>(most)));
    if (number < 1 || number != wanted) {
        return badValue(QStringLiteral("A number of lines from 1 to 1000000 is removed"),
                        QStringLiteral("remove"));
    }
    int before = 0;
    int after = 0;
    Answer failed = defenceCount(caller, &before);
    if (failed.status != 0) {
        return failed;
    }
    QString said;
    const bool done = changeDone(caller, {Operation::Defence, {QStringLiteral("delete")}, number},
                                 &said, &failed);
    if (failed.status != 0) {
        return failed;
    }
    failed = defenceCount(caller, &after);
    if (failed.status != 0) {
        return failed;
    }
    Answer answer;
    answer.body = {{ok, done},
                   {textKey, said},
                   {QStringLiteral("before"), before},
                   {QStringLiteral("after"), after},
                   {QStringLiteral("notice"), done && number > before}};
    if (!done) {
        answer.body.insert(problem, said);
    }
    return answer;
}

Answer makeArchive(const Caller &caller)
{
    const Archive archive = archiveAndLook(caller, {});
    if (archive.reply.error.isValid()) {
        return unanswered(archive.reply);
    }
    if (caller.remaining() == 0 && !archive.done()) {
        return refusal(NoAnswer, QStringLiteral("The archive was not packed and read in time"));
    }
    const QString said = archive.reply.answer.toMap().value(QStringLiteral("msg")).toString();
    Answer answer;
    answer.body = {{ok, archive.done()}, {textKey, said}, {QStringLiteral("tries"), archive.tries}};
    if (archive.done()) {
        answer.body.insert(QStringLiteral("url"), QStringLiteral("/all_logs.tar.gz"));
        answer.body.insert(QStringLiteral("size"), static_cast<double>(archive.size));
        answer.body.insert(QStringLiteral("files"), archive.files);
    } else {
        answer.body.insert(problem,
                           archive.answered
                               ? QStringLiteral("Packing took longer than 30 s and was given up")
                               : said
                                   + QStringLiteral(": a log grew each time while it was packed, "
                                                    "or the disk is full"));
    }
    return answer;
}

Answer beginTrace(const QJsonObject &body, const Caller &caller)
{
    constexpr int longest = 86400; // s
    const QString activity = body.value(activityKey).toString();
    const QString level = body.value(QStringLiteral("level")).toString(QStringLiteral("debug"));
    const double seconds = body.value(QStringLiteral("seconds")).toDouble();
    if (!levelNames().contains(level)) {
        return badValue(QStringLiteral("A level is one of ")
                            + levelNames().join(QStringLiteral(", ")),
                        QStringLiteral("level"));
    }
    if (seconds < 1 || seconds > longest || seconds != static_cast<int>(seconds)) {
        return badValue(QStringLiteral("A trace takes from a second to a day"),
                        QStringLiteral("seconds"));
    }
    const Listing listing = listActivities(caller);
    if (!listing.valid) {
        return noTable(listing);
    }
    if (findActivity(listing.rows, activity) == nullptr) {
        return noActivity(activity);
    }
    settleTraces(caller); // one that was cut short would stand in the way
    TraceKeeper keeper;
    // Whatever becomes of this request, the keeper goes on to its end.
    const auto letGo = qScopeGuard([&keeper] { keeper.abandon(); });
    keeper.begin(activity, level, static_cast<int>(seconds), true);
    while (keeper.canReadLine() || keeper.waitForReadyRead(caller.remaining())) {
        const QByteArray line = keeper.readLine().trimmed();
        const QByteArray word = line.left(line.indexOf(' ') < 0 ? line.size() : line.indexOf(' '));
        const QString rest = QString::fromUtf8(line.mid(word.size() + 1));
        if (word == TraceReport::Begun) {
            const std::optional<TraceNote> note = traceNote(activity);
            Answer answer;
            answer.body = {{ok, true},
                           {QStringLiteral("former"), rest},
                           {QStringLiteral("until"),
                            static_cast<double>(note ? note->until
                                                     : QDateTime::currentMSecsSinceEpoch()
                                                        + static_cast<qint64>(seconds) * 1000)}};
            return answer;
        }
        if (word == TraceReport::Busy) {
            return refusal(Conflict, activity + QStringLiteral(" is being traced already"),
                           activityKey);
        }
        if (word == TraceReport::Refused || word == TraceReport::Failed) {
            return {200, {{ok, false}, {problem, rest}}};
        }
    }
    // The level is put back by the keeper, should it be raised after all.
    keeper.terminate();
    return keeper.state() == QProcess::Running
        ? refusal(NoAnswer, QStringLiteral("The trace was not begun in time"))
        : refusal(ServiceFailed, QStringLiteral("The trace could not be begun"));
}

Answer endTrace(const QString &activity, const Caller &caller)
{
    constexpr int endTimeout = 60000; // ms
    constexpr unsigned long step = 50; // ms
    const std::optional<TraceNote> note = traceNote(activity);
    if (!note || !isTraced(activity)) {
        return refusal(NotFound, activity + QStringLiteral(" is not being traced"), activityKey);
    }
    QFile name(QStringLiteral("/proc/%1/comm").arg(note->keeper));
    const bool keeps = name.open(QIODevice::ReadOnly) && name.readAll() == "tracekeeper\n";
    if (note->user != noteUser() || note->keeper <= 1 || !keeps
        || kill(static_cast<pid_t>(note->keeper), SIGTERM) != 0) {
        return refusal(
            Conflict,
            QStringLiteral("This trace was begun by %1 at the console, and is ended there")
                .arg(note->user),
            activityKey);
    }
    const QDeadlineTimer deadline(std::min(endTimeout, caller.remaining()));
    while (isTraced(activity) && !deadline.hasExpired()) {
        QThread::msleep(step);
    }
    const Listing listing = listActivities(caller);
    if (!listing.valid) {
        return noTable(listing);
    }
    const ActivityRow *const row = findActivity(listing.rows, activity);
    Answer answer;
    // The note goes when the level is back.
    const bool left = traceNote(activity).has_value();
    answer.body = {{ok, !left}, {QStringLiteral("level"), row != nullptr ? row->level : QString()}};
    if (left) {
        answer.body.insert(problem, QStringLiteral("The level has not been put back yet"));
    }
    return answer;
}

Answer changeTrace(const WebRequest &request, const Caller &caller)
{
    return request.body.value(QStringLiteral("stop")).toBool()
        ? endTrace(request.body.value(activityKey).toString(), caller)
        : beginTrace(request.body, caller);
}

} // namespace

void insertNewestLines(QJsonObject *object, QFile &file, qint64 size, int count,
                       const QString &text)
{
    constexpr qint64 mostSearched = 64 << 20; // bytes
    bool stopped = false;
    QJsonArray lines;
    const QByteArrayList found = newestLines(file, size, count, text, mostSearched, &stopped);
    for (const QByteArray &line : found) {
        lines.append(textOf(line));
    }
    object->insert(QStringLiteral("lines"), lines);
    if (stopped) {
        object->insert(QStringLiteral("searched"), static_cast<double>(mostSearched));
    }
}

QString fileOf(const ActivityRow &row)
{
    return row.support == QLatin1String("file") && row.destination != QLatin1String("/dev/console")
        ? row.destination
        : QString();
}

QStringList readableDirectories()
{
    // Where they lead, on a phone that has links in their places.
    QStringList directories;
    for (const QString &directory : {ramLogDirectory, QStringLiteral("/log/")}) {
        const QString place = QFileInfo(directory).canonicalFilePath();
        if (place.size() > 1) {
            directories.append(place + QLatin1Char('/'));
        }
    }
    return directories.isEmpty() ? QStringList {ramLogDirectory} : directories;
}

Listing listWithRemote(const Caller &caller, QJsonValue *remote)
{
    constexpr int shortTimeout = 2000; // ms; the table does not wait for another module
    const Request settings {Operation::ShowRemote, {}, 0};
    Caller brief = caller;
    brief.timeout = std::min(caller.timeout, shortTimeout);
    const QList<QDBusPendingCall> sent = brief.send(settings);
    const Listing listing = listActivities(caller);
    if (listing.valid) {
        const Reply reply = brief.waitFor(settings, sent);
        *remote = reply.error.isValid()
            ? QJsonValue()
            : QJsonValue(QJsonObject::fromVariantMap(reply.answer.toMap()));
    }
    return listing;
}

QJsonObject activitiesAsJson(const QList<ActivityRow> &rows, const QJsonValue &remote)
{
    return {{QStringLiteral("activities"), fullRows(rows)},
            {QStringLiteral("room"),
             QJsonObject {{QStringLiteral("ram"), room(ramLogDirectory)},
                          {QStringLiteral("flash"), room(flashLogDirectory)}}},
            {QStringLiteral("remote"), remote},
            {QStringLiteral("traces"), tracesAsJson()}};
}

Answer activities(const Caller &caller)
{
    QJsonValue remote;
    const Listing listing = listWithRemote(caller, &remote);
    return listing.valid ? Answer {200, activitiesAsJson(listing.rows, remote)} : noTable(listing);
}

Answer answerTo(const WebRequest &request, const Caller &caller)
{
    const QString name = request.path.value(0);
    const bool one = request.path.size() == 1;
    const bool change = request.change;
    if (one && name == QLatin1String("activities") && !change) {
        return activities(caller);
    }
    if (one && name == QLatin1String("levels") && change) {
        return setLevels(request, caller);
    }
    if (one && name == QLatin1String("destinations") && change) {
        return setDestination(request, caller);
    }
    if (one && name == QLatin1String("logs")) {
        return change ? deleteLogs(request, caller) : listLogs();
    }
    if (request.path.size() == 2 && name == QLatin1String("logs") && !change) {
        return readLog(request, caller);
    }
    if (one && name == QLatin1String("defence")) {
        return change ? trimDefence(request, caller) : readDefence(request, caller);
    }
    if (one && name == QLatin1String("archive")) {
        return change ? makeArchive(caller)
                      : Answer {200,
                                {{QStringLiteral("size"),
                                  static_cast<double>(QFileInfo(archivePath).size())}}};
    }
    if (one && name == QLatin1String("traces") && change) {
        return changeTrace(request, caller);
    }
    static const QStringList known {QStringLiteral("activities"),   QStringLiteral("levels"),
                                    QStringLiteral("destinations"), QStringLiteral("logs"),
                                    QStringLiteral("traces"),       QStringLiteral("events")};
    return known.contains(name)
            && (one || (name == QLatin1String("logs") && request.path.size() == 2))
        ? refusal(BadMethod,
                  change ? QStringLiteral("This can only be read")
                         : QStringLiteral("This can only be changed"))
        : refusal(NotFound, QStringLiteral("There is no such resource"));
}
