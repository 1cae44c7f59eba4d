// A log's file, followed wherever the table of activities says it is.
// SPDX-License-Identifier: MIT
#include "logview.h"

#include "client/changes.h"
#include "client/configurationwatch.h"
#include "client/duration.h"
#include "client/logfiles.h"
#include "client/logfollower.h"
#include "client/tracing.h"
#include "client/words.h"
#include "outcomes.h"
#include "stopsignals.h"
#include "tablelayout.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <optional>

#include <unistd.h>

namespace {

constexpr int pollEvery = 100; // ms
constexpr qint64 retryAfter = 1000; // ms
const QString serialConsole = QStringLiteral("/dev/console");

/// The file that the messages of @p row go to; an empty text when they go elsewhere.
QString logPath(const ActivityRow &row)
{
    return row.support == QLatin1String("file") && row.destination != serialConsole
        ? row.destination
        : QString();
}

/// Where the messages of @p row go, in a sentence.
QString placeText(const ActivityRow &row)
{
    return row.destination == serialConsole ? QStringLiteral("the serial console, ") + serialConsole
                                            : destinationWords(row);
}

/// Prints lines, and what is to be said between them.
class LogPrinter
{
public:
    explicit LogPrinter(const Session &session) : m_session(session) { }

    /// Empties the copy: what it had before is kept until something new comes.
    void beginCopy()
    {
        if (m_copy.isOpen()) {
            m_copy.resize(0); // nothing that a device or a pipe would notice
        }
    }
    /// Opens the copy, where one is wanted. @return what is wrong with it
    QString openCopy()
    {
        if (m_session.line.file.isEmpty()) {
            return {};
        }
        m_copy.setFileName(m_session.line.file);
        return m_copy.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)
            ? QString()
            : m_copy.fileName() + QStringLiteral(": ") + m_copy.errorString();
    }
    /// Prints those of @p lines that are wanted. @return whether they could be written
    bool print(const QByteArrayList &lines)
    {
        QByteArray bytes;
        for (const QByteArray &line : lines) {
            if (!isWanted(line, m_session.line.grep)) {
                continue;
            }
            bytes += line + '\n';
        }
        if (m_copy.isOpen() && !writeAll(m_copy.handle(), bytes)) {
            note(m_session, m_copy.fileName() + QStringLiteral(": ") + qt_error_string());
            return false;
        }
        if (m_session.screens.json) {
            QByteArray text;
            for (const QByteArray &line : bytes.split('\n')) {
                if (!line.isEmpty()) {
                    text += QJsonDocument(QJsonObject {{QStringLiteral("line"), textOf(line)}})
                                .toJson(QJsonDocument::Compact)
                        + '\n';
                }
            }
            bytes = text;
        } else if (m_session.screens.output.terminal) {
            bytes = visible(textOf(bytes)).toUtf8();
        }
        if (!writeAll(STDOUT_FILENO, bytes)) {
            sayThatItCannotBeWritten();
            return false;
        }
        return true;
    }

private:
    const Session &m_session;
    QFile m_copy;
};

/// How it was before something was asked; the sizes are the older ones.
struct Moment
{
    QHash<QString, qint64> sizes = logFileSizes();
    ConfigurationWatch configuration;
};

/// Follows the log of one activity in the event loop.
class LogView : public QObject
{
public:
    /// Begins with what @p row says; the file is given out from its byte @p position on.
    /// @p moment is from before that row was asked for.
    LogView(const Session &session, LogPrinter &printer, const ActivityRow &row, qint64 position,
            const Moment &moment)
        : m_session(session), m_printer(printer), m_row(row), m_configuration(moment.configuration),
          m_sizesBefore(moment.sizes)
    {
        m_session.caller.slow = nullptr;
        m_follower.follow(logPath(row), position);
        // Each has a timer of its own: one goes on while the other waits for an answer.
        connect(&m_polls, &QTimer::timeout, this, &LogView::poll);
        connect(&m_looks, &QTimer::timeout, this, &LogView::look);
        m_polls.start(pollEvery);
        m_looks.start(pollEvery);
    }

    /// Prints what has come until now. @return whether it could be written
    bool finish() { return m_printer.print(m_follower.poll()); }

private:
    void poll()
    {
        if (!finish()) {
            QCoreApplication::exit(Failed);
        }
    }
    /// The log may go elsewhere now. What it gets there from the change on is not to be missed: the
    /// sizes that count are from before the change, whenever that is seen.
    void look()
    {
        const QHash<QString, qint64> sizes
            = logFileSizes(); // before the configuration is looked at
        if (m_configuration.hasChanged() && !m_sizes) {
            m_sizes = m_sizesBefore;
        }
        m_sizesBefore = sizes;
        if (!m_sizes || (m_failure.isValid() && !m_failure.hasExpired(retryAfter))) {
            return;
        }
        const Listing listing = listActivities(m_session.caller);
        if (!listing.valid) {
            m_failure.start();
            return;
        }
        m_failure.invalidate();
        const QHash<QString, qint64> begins = *m_sizes;
        m_sizes.reset();
        const ActivityRow *const row = findActivity(listing.rows, m_row.activity);
        if (row == nullptr || sameDestination(*row, m_row)) {
            return;
        }
        m_row = *row;
        const QString path = logPath(*row);
        note(m_session,
             m_row.activity + QStringLiteral(" goes to ") + placeText(*row)
                 + (path.isEmpty() ? QStringLiteral(" now; waiting for it to come back to a file")
                                   : QStringLiteral(" now")));
        const bool known = path.startsWith(ramLogDirectory) || path.startsWith(flashLogDirectory);
        m_follower.follow(path, known ? begins.value(path, 0) : QFileInfo(path).size());
    }

    Session m_session;
    LogPrinter &m_printer;
    ActivityRow m_row;
    LogFollower m_follower;
    ConfigurationWatch m_configuration;
    QHash<QString, qint64> m_sizesBefore; ///< of the files, when the configuration was as it is
    QTimer m_polls;
    QTimer m_looks;
    /// The same before a change, until it is known where the log goes.
    std::optional<QHash<QString, qint64>> m_sizes;
    QElapsedTimer m_failure; ///< since the table could not be had
};

/// The row of the activity that was typed. @p status is set when there is none, and it has been
/// said.
ActivityRow rowOf(const Session &session, ExitStatus *status)
{
    const Listing listing = listActivities(session.caller);
    if (listing.reply.error.isValid()) {
        *status = unreachable(session, listing.reply);
        return {};
    }
    if (!listing.valid) {
        *status
            = write(present({Operation::ListLevels, {}, 0}, listing.reply.answer, session.screens));
        return {};
    }
    const QString name = session.line.request.words.value(0);
    const ActivityRow *const row = findActivity(listing.rows, meantActivity(listing.rows, name));
    if (row != nullptr) {
        return *row;
    }
    const QString nearest = nearestActivity(listing.rows, name);
    Presentation presentation
        = presentProblem(QStringLiteral("there is no activity '%1'").arg(name), session.screens);
    presentation.errors += hintLine(
        nearest.isEmpty() ? QStringLiteral("The activities of this phone: loggerctl level")
                          : QStringLiteral("Did you mean '%1'?").arg(nearest),
        session.screens.errors);
    *status = write(presentation);
    return {};
}

/// What the keeper of a trace says, line by line.
class KeeperReports
{
public:
    explicit KeeperReports(TraceKeeper &keeper) : m_keeper(keeper) { }

    /// The next report, its word and its text; a null word when there is none yet.
    QPair<QByteArray, QString> next()
    {
        if (!m_keeper.canReadLine()) {
            return {};
        }
        const QByteArray line = m_keeper.readLine().trimmed();
        const int blank = line.indexOf(' ');
        return {blank < 0 ? line : line.left(blank),
                blank < 0 ? QString() : QString::fromUtf8(line.mid(blank + 1))};
    }

private:
    TraceKeeper &m_keeper;
};

/// What another trace's note says, in a sentence.
QString busyText(const QString &activity, const QString &text)
{
    const std::optional<TraceNote> other = noteOf(text.toUtf8());
    if (!other) {
        return activity + QStringLiteral(" is being traced already");
    }
    return QStringLiteral("%1 is being traced already by %2, at %3 until %4; then its level is %5 "
                          "again")
        .arg(activity, other->user, other->level,
             QDateTime::fromMSecsSinceEpoch(other->until).toString(QStringLiteral("HH:mm:ss")),
             other->former);
}

} // namespace

ExitStatus showLog(const Session &session)
{
    const Moment before;
    ExitStatus status = Done;
    const ActivityRow row = rowOf(session, &status);
    if (row.activity.isEmpty()) {
        return status;
    }
    // From the first line on, stopping is the way to end it.
    std::optional<StopSignals> stop;
    if (session.line.follow) {
        stop.emplace([] { QCoreApplication::exit(Done); });
    }
    const QString path = logPath(row);
    LogPrinter printer(session);
    qint64 position = 0;
    if (path.isEmpty()) {
        const QString place = row.activity
            + QStringLiteral(" does not log to a file: its messages go to ") + placeText(row);
        if (!session.line.follow) {
            return write(presentProblem(place, session.screens));
        }
        note(session, place);
    } else {
        QString problem;
        LogFollower probe;
        probe.follow(path, 0);
        if (probe.isReadable(&problem)) {
            QFile file(path);
            if (file.open(QIODevice::ReadOnly)) {
                position = file.size();
                if (!printer.print(
                        newestLines(file, position, session.line.lines, session.line.grep))) {
                    return Failed;
                }
            }
        } else if (!problem.isEmpty()) {
            return write(presentProblem(path + QStringLiteral(" cannot be read: ") + problem,
                                        session.screens));
        } else {
            note(session,
                 row.activity + QStringLiteral(" has logged nothing yet: there is no ") + path);
        }
    }
    if (!session.line.follow) {
        return Done;
    }
    LogView view(session, printer, row, position, before);
    const auto ended = static_cast<ExitStatus>(QCoreApplication::exec());
    return view.finish() ? ended : Failed;
}

ExitStatus trace(const Session &session)
{
    const Moment before;
    ExitStatus status = Done;
    const ActivityRow row = rowOf(session, &status);
    if (row.activity.isEmpty()) {
        return status;
    }
    LogPrinter printer(session);
    const QString problem = printer.openCopy();
    if (!problem.isEmpty()) {
        return write(presentProblem(problem, session.screens));
    }
    const QString &activity = row.activity;
    const QString path = logPath(row);
    const qint64 size = path.isEmpty() ? 0 : QFileInfo(path).size();

    TraceKeeper keeper;
    KeeperReports reports(keeper);
    LogView view(session, printer, row, size, before);
    bool reported = false; // whether the keeper has said how it ended
    int stops = 0;
    const StopSignals stop([&] {
        // The second time somebody does not want to wait; the keeper goes on alone.
        if (++stops > 1) {
            QCoreApplication::exit(Failed);
        }
        keeper.closeWriteChannel();
    });
    const auto end = [&](ExitStatus how) {
        reported = true;
        QCoreApplication::exit(how);
    };
    const auto take = [&] {
        for (auto report = reports.next(); !report.first.isEmpty(); report = reports.next()) {
            const QByteArray &word = report.first;
            const QString &text = report.second;
            if (word == TraceReport::Begun) {
                printer.beginCopy();
                note(
                    session,
                    QStringLiteral("%1 is at %2 for %3; then it is %4 again. Ctrl-C ends it before")
                        .arg(activity, session.line.request.words.value(1),
                             durationText(session.line.seconds), text));
                if (path.isEmpty()) {
                    note(session, QStringLiteral("its messages go to ") + placeText(row));
                }
            } else if (word == TraceReport::Unnoted) {
                note(session,
                     QStringLiteral("no note could be left for the case that the phone is switched "
                                    "off meanwhile: ")
                         + text);
            } else if (word == TraceReport::Over) {
                note(session, QStringLiteral("the time is over"));
            } else if (word == TraceReport::Back) {
                note(session,
                     activity + QStringLiteral(" is at ") + text + QStringLiteral(" again"));
                end(Done);
            } else if (word == TraceReport::Left) {
                note(session,
                     activity + QStringLiteral(" was set to ") + text
                         + QStringLiteral(" by somebody else meanwhile, and stays there"));
                end(Done);
            } else if (word == TraceReport::Busy) {
                write(presentProblem(busyText(activity, text), session.screens));
                end(Failed);
            } else if (word == TraceReport::Refused) {
                Presentation refusal = presentProblem(
                    QStringLiteral("the level was not raised: ") + text, session.screens);
                refusal.errors += hintLine(QStringLiteral("What is wrong: loggerctl status"),
                                           session.screens.errors);
                write(refusal);
                end(Failed);
            } else if (word == TraceReport::Failed) {
                write(presentProblem(
                    activity + QStringLiteral(" could not be put back to its level: ") + text,
                    session.screens));
                end(Failed);
            }
        }
    };
    QObject::connect(&keeper, &QProcess::readyReadStandardOutput, &view, take);
    QObject::connect(
        &keeper, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &view, [&] {
            take();
            if (!reported) {
                note(session, QStringLiteral("the process that keeps the trace was ended"));
                settle(session);
                end(Failed);
            }
        });
    QObject::connect(&keeper, &QProcess::errorOccurred, &view, [&](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            note(session, QStringLiteral("the level was not raised: ") + keeper.errorString());
            end(Failed);
        }
    });
    keeper.begin(activity, session.line.request.words.value(1), session.line.seconds);
    status = static_cast<ExitStatus>(QCoreApplication::exec());
    view.finish();
    keeper.abandon();
    return status;
}
