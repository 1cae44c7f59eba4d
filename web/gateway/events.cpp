// The bus's signals, the configuration's file and a log, merged into one stream.
// SPDX-License-Identifier: MIT
#include "events.h"

#include "client/configurationwatch.h"
#include "client/logfiles.h"
#include "client/logfollower.h"
#include "client/tracing.h"
#include "client/words.h"
#include "resources.h"
#include "streamplace.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>

#include <algorithm>

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int lookEvery = 200; // ms
constexpr qint64 sizesEvery = 2000; // ms
constexpr qint64 sayEvery = 4000; // ms; after three of them that stay out, a page is alone
constexpr int linesAtOnce = 1000;
constexpr int longestStall = 20000; // ms

/// Writes events as they happen.
class Stream : public QObject
{
    Q_OBJECT

public:
    Stream(const WebRequest &request, const Caller &caller)
        : m_caller(caller),
          m_activity(request.query.queryItemValue(QStringLiteral("log"), QUrl::FullyDecoded)),
          m_grep(request.query.queryItemValue(QStringLiteral("grep"), QUrl::FullyDecoded)),
          m_lines(linesOf(request, 0, &m_refused)), m_follower(readableDirectories()),
          m_owner(loggerModuleService, caller.bus,
                  QDBusServiceWatcher::WatchForRegistration
                      | QDBusServiceWatcher::WatchForUnregistration)
    {
        connect(&m_owner, &QDBusServiceWatcher::serviceRegistered, this,
                [this] { setPresent(true); });
        connect(&m_owner, &QDBusServiceWatcher::serviceUnregistered, this,
                [this] { setPresent(false); });
        connect(&m_timer, &QTimer::timeout, this, &Stream::look);
    }

    /// Tells how things are, and goes on. In the event loop.
    void begin()
    {
        m_said.start();
        m_sized.start();
        setPresent(m_caller.bus.interface()->isServiceRegistered(loggerModuleService));
        send("beat", {});
        m_timer.start(lookEvery);
        look();
    }

public Q_SLOTS:
    void levelChanged(const QVariantMap &event)
    {
        m_due = true;
        send("level",
             {{QStringLiteral("activity"),
               event.value(QStringLiteral("syslog_facility")).toString()},
              {QStringLiteral("level"),
               levelWord(event.value(QStringLiteral("syslog_level")).toInt())}});
    }
    void busGone() { QCoreApplication::exit(1); }

private:
    void setPresent(bool present)
    {
        m_present = present;
        m_due = present;
        send("service",
             {{QStringLiteral("present"), present},
              {QStringLiteral("now"), static_cast<double>(QDateTime::currentMSecsSinceEpoch())}});
    }
    void send(const char *name, const QJsonObject &data)
    {
        write("event: " + QByteArray(name)
              + "\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) + "\n\n");
    }
    void write(const QByteArray &bytes)
    {
        m_said.restart();
        const char *next = bytes.constData();
        auto left = static_cast<size_t>(bytes.size());
        while (left > 0 && !m_gone) {
            const ssize_t written = ::write(STDOUT_FILENO, next, left);
            if (written <= 0) {
                if (errno != EINTR && (errno != EAGAIN || !waitForReader())) {
                    m_gone = true; // the page was closed, or its phone line was
                    QCoreApplication::exit(0);
                }
                continue;
            }
            next += written;
            left -= static_cast<size_t>(written);
        }
    }
    /// Waits until the reader takes something. What it does not take stays in the pipe: were it
    /// kept, here or by the web server, a reader that stands still would fill the memory.
    bool waitForReader() const
    {
        pollfd reader {STDOUT_FILENO, POLLOUT, 0};
        const int ready = poll(&reader, 1, std::min(longestStall, m_caller.timeout));
        return ready > 0 || (ready < 0 && errno == EINTR);
    }
    void look()
    {
        pollfd reader {STDOUT_FILENO, 0, 0};
        if (poll(&reader, 1, 0) > 0 && (reader.revents & (POLLERR | POLLHUP)) != 0) {
            QCoreApplication::exit(0);
            return;
        }
        sendLines();
        if (m_said.hasExpired(sayEvery)) {
            send("beat", {}); // a comment would not be seen by the page
        }
        if (m_asking || !m_present) {
            return; // not while the service is away: the bus would start it for the question
        }
        if (m_configuration.hasChanged() || m_due) {
            ask();
        } else if (m_sized.hasExpired(sizesEvery)) {
            sendSizes();
        }
    }
    void ask()
    {
        // What a log gets in its new place after this moment is not to be missed.
        const QHash<QString, qint64> sizes = logFileSizes();
        m_asking = true; // the timer goes on while the answer is waited for
        m_due = false;
        const Listing listing = listWithRemote(m_caller, &m_remote);
        if (listing.valid) {
            settleTraces(m_caller); // those that were cut short, while somebody looks
            m_rows = listing.rows;
        }
        m_asking = false;
        if (!listing.valid) {
            m_due = true;
            return;
        }
        m_last = QJsonObject();
        sendSizes();
        moveLog(sizes);
    }
    /// The table with the sizes of the logs, if anything of it is new.
    void sendSizes()
    {
        m_sized.restart();
        const QJsonObject now = activitiesAsJson(m_rows, m_remote);
        if (now != m_last) {
            m_last = now;
            send("activities", now);
        }
    }
    void moveLog(const QHash<QString, qint64> &sizes)
    {
        const ActivityRow *const row = findActivity(m_rows, m_activity);
        if (row == nullptr) {
            return;
        }
        const QString file = fileOf(*row);
        const QString place = file.isEmpty() ? destinationWords(*row) : file;
        if (place == m_place) {
            return;
        }
        const bool first = m_place.isNull();
        m_place = place;
        QJsonObject log {{file.isEmpty() ? QStringLiteral("place") : QStringLiteral("file"), place},
                         {QStringLiteral("lines"), QJsonArray()}};
        qint64 position = sizes.contains(file) ? sizes.value(file) : QFileInfo(file).size();
        const std::unique_ptr<QFile> opened
            = file.isEmpty() ? nullptr : openLog(file, readableDirectories());
        if (opened) {
            // What comes after these lines is followed.
            position = first ? opened->size() : std::min(position, opened->size());
            insertNewestLines(&log, *opened, position, m_lines, m_grep);
        } else if (!file.isEmpty() && QFileInfo::exists(file)) {
            log.insert(QStringLiteral("problem"),
                       QString(QStringLiteral("This log cannot be read by the page: ") + file));
        } else {
            position = 0;
        }
        m_follower.follow(file, position);
        send("log", log);
    }
    void sendLines()
    {
        QJsonArray lines;
        const QByteArrayList all = m_follower.poll();
        for (const QByteArray &line : all) {
            if (isWanted(line, m_grep)) {
                lines.append(textOf(line));
            }
            if (lines.size() == linesAtOnce) {
                send("lines", {{QStringLiteral("lines"), lines}});
                lines = QJsonArray();
            }
        }
        if (!lines.isEmpty()) {
            send("lines", {{QStringLiteral("lines"), lines}});
        }
    }

    Caller m_caller;
    QString m_activity;
    QString m_grep;
    Answer m_refused; ///< nothing: such a request has no stream
    int m_lines; ///< how many of the newest lines the place of the log comes with
    LogFollower m_follower;
    QDBusServiceWatcher m_owner;
    ConfigurationWatch m_configuration;
    QTimer m_timer;
    QElapsedTimer m_said; ///< since something was written
    QElapsedTimer m_sized; ///< since the sizes were looked at
    QList<ActivityRow> m_rows;
    QJsonValue m_remote;
    QJsonObject m_last;
    QString m_place; ///< where the log goes; null before that is known
    bool m_present = false;
    bool m_due = true; ///< whether the table may be another one
    bool m_asking = false;
    bool m_gone = false; ///< whether the reader is
};

} // namespace

Answer streamRefusal(const WebRequest &request, int places)
{
    constexpr int unavailable = 503;
    Answer refused;
    static_cast<void>(linesOf(request, 0, &refused));
    return refused.status != 0 || takeStreamPlace(places)
        ? refused
        : refusal(unavailable,
                  QStringLiteral("Too many pages are open on this phone: no more than %1 get its "
                                 "news")
                      .arg(places));
}

int streamEvents(const WebRequest &request, const Caller &caller)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of fcntl(2)
    static_cast<void>(fcntl(STDOUT_FILENO, F_SETFL, O_WRONLY | O_NONBLOCK));
    Stream stream(request, caller);
    QDBusConnection bus = caller.bus;
    bus.connect(loggerModuleService, loggerModulePath,
                QStringLiteral("com.corvane.Quorvix.QVXEvent"), QStringLiteral("log_level_changed"),
                &stream, SLOT(levelChanged(QVariantMap)));
    bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"),
                &stream, SLOT(busGone()));
    QTimer::singleShot(0, &stream, [&stream] { stream.begin(); });
    return QCoreApplication::exec();
}

#include "events.moc"
