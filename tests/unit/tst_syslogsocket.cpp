// Messages on their way to a syslog daemon that listens, hangs, ends and comes back.
// SPDX-License-Identifier: MIT
#include "logger/syslogsocket.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QList>
#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <memory>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace {

const SyslogSource audio {"qvxaudio", LOG_LOCAL4};
const SyslogSource own {"Own", LOG_DAEMON};
const QByteArray lossText = "Messages lost, as the log did not take them: ";
constexpr int deadline = 10000; // ms
constexpr int moreThanFits = 600; // messages, whatever the limits of the socket are

/// A socket as a syslog daemon has it. Nothing is taken from it unless asked for.
class Daemon
{
public:
    Daemon(const QString &path, int type)
        : m_path(path), m_isStream(type == SOCK_STREAM),
          m_socket(socket(AF_UNIX, type | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray name = QFile::encodeName(path);
        std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
        if (bind(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0
            || (m_isStream && listen(m_socket, 5) != 0)) {
            qFatal("cannot listen");
        }
    }
    ~Daemon()
    {
        close(m_connection);
        close(m_socket);
        QFile::remove(m_path);
    }
    Q_DISABLE_COPY(Daemon)

    /// What has come and was not taken yet, without the NUL behind it in a stream; waits until it
    /// is at least @p count records.
    QList<QByteArray> take(int count)
    {
        QList<QByteArray> records;
        for (;;) {
            const int timeout = records.size() < count ? deadline : 0;
            if (m_isStream && m_connection < 0) {
                if (!isReadable(m_socket, timeout)) {
                    return records;
                }
                m_connection = accept(m_socket, nullptr, nullptr);
            }
            const int input = m_isStream ? m_connection : m_socket;
            if (!isReadable(input, timeout)) {
                return records;
            }
            QByteArray data(1 << 20, '\0');
            data.truncate(static_cast<int>(
                qMax(recv(input, data.data(), static_cast<size_t>(data.size()), 0), ssize_t(0))));
            if (!m_isStream) {
                records.append(data);
            } else if (data.isEmpty()) {
                // The end of the connection, perhaps in the middle of a record.
                close(m_connection);
                m_connection = -1;
                m_begun.clear();
            } else {
                QList<QByteArray> parts = QByteArray(m_begun + data).split('\0');
                m_begun = parts.takeLast();
                records += parts;
            }
        }
    }

private:
    static bool isReadable(int descriptor, int timeout)
    {
        pollfd input = {descriptor, POLLIN, 0};
        return poll(&input, 1, timeout) > 0;
    }

    const QString m_path;
    const bool m_isStream;
    const int m_socket;
    int m_connection = -1;
    QByteArray m_begun;
};

/// Writes as the logger does: a loss is reported before anything else.
void writeTo(SyslogSocket &log, const QByteArray &text)
{
    if (log.lost() > 0) {
        log.reportLoss(own);
    }
    log.write(audio, LOG_WARNING, text);
}

QByteArray textOf(const QByteArray &record)
{
    return record.mid(record.indexOf("]: ") + 3);
}

} // namespace

class tst_SyslogSocket : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void recordHasTheFormOfTheCLibrary_data() { kindsOfSocket(); }
    void recordHasTheFormOfTheCLibrary();
    void nobodyListens();
    void daemonStartedAnew_data() { kindsOfSocket(); }
    void daemonStartedAnew();
    void fullSocketIsWaitedForOnce_data() { kindsOfSocket(); }
    void fullSocketIsWaitedForOnce();
    void fullSocketOfADaemonThatIsReplaced();
    void longMessageIsCut_data();
    void longMessageIsCut();
    void longMessageInAStreamIsSentWhole();

private:
    static void kindsOfSocket()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("datagrams") << static_cast<int>(SOCK_DGRAM);
        QTest::newRow("stream") << static_cast<int>(SOCK_STREAM);
    }

    std::unique_ptr<QTemporaryDir> m_directory;
    QString m_path;
};

void tst_SyslogSocket::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    m_path = m_directory->filePath(QStringLiteral("log"));
}

void tst_SyslogSocket::recordHasTheFormOfTheCLibrary()
{
    QFETCH(int, type);
    Daemon daemon(m_path, type);
    SyslogSocket log(QFile::encodeName(m_path));
    const QDateTime before = QDateTime::currentDateTime();
    log.write(audio, LOG_ERR, "a text %s\n");
    const QDateTime after = QDateTime::currentDateTime();
    log.write({QByteArray("a\0b", 3), LOG_USER}, LOG_DEBUG, QByteArray("c\0d", 3));
    log.write({"module", LOG_KERN}, LOG_ERR, "no message of the kernel's");
    const QList<QByteArray> records = daemon.take(3);
    QCOMPARE(records.size(), 3);

    // qvxaudio's facility has the number 20. A day of one digit has a blank in front.
    const auto expected = [](const QDateTime &time) {
        const QString date = QLocale::c().toString(time, QStringLiteral("MMM "))
            + QStringLiteral("%1").arg(time.date().day(), 2)
            + time.toString(QStringLiteral(" HH:mm:ss"));
        return QByteArray("<163>" + date.toLatin1() + " qvxaudio[" + QByteArray::number(getpid())
                          + "]: a text %s\n");
    };
    QVERIFY2(records.at(0) == expected(before) || records.at(0) == expected(after),
             records.at(0).constData());
    QVERIFY2(records.at(1).startsWith("<15>"), records.at(1).constData());
    QVERIFY2(records.at(2).startsWith("<11>"), records.at(2).constData());
    QVERIFY2(records.at(1).endsWith(" a[" + QByteArray::number(getpid()) + "]: c"),
             records.at(1).constData());
}

void tst_SyslogSocket::nobodyListens()
{
    SyslogSocket log(QFile::encodeName(m_path));
    writeTo(log, "one");
    writeTo(log, "two");
    QCOMPARE(log.lost(), 0);
    Daemon daemon(m_path, SOCK_DGRAM);
    writeTo(log, "three");
    const QList<QByteArray> records = daemon.take(1);
    QCOMPARE(records.size(), 1);
    QCOMPARE(textOf(records.first()), QByteArray("three"));
}

void tst_SyslogSocket::daemonStartedAnew()
{
    QFETCH(int, type);
    SyslogSocket log(QFile::encodeName(m_path));
    const int other = type == SOCK_DGRAM ? SOCK_STREAM : SOCK_DGRAM;
    for (const int kind : {type, type, other}) {
        Daemon daemon(m_path, kind);
        writeTo(log, "a text");
        writeTo(log, "another");
        const QList<QByteArray> records = daemon.take(2);
        QCOMPARE(records.size(), 2);
        QCOMPARE(textOf(records.first()), QByteArray("a text"));
        QCOMPARE(textOf(records.last()), QByteArray("another"));
    }
}

void tst_SyslogSocket::fullSocketIsWaitedForOnce()
{
    QFETCH(int, type);
    Daemon daemon(m_path, type);
    SyslogSocket log(QFile::encodeName(m_path));
    // A stream takes many short ones, and several connections.
    const QByteArray padding(type == SOCK_STREAM ? 10000 : 0, 'x');
    QElapsedTimer time;
    time.start();
    for (int number = 0; number < moreThanFits; ++number) {
        writeTo(log, QByteArray::number(number) + padding);
    }
    // To wait for each would take six times as long at least.
    QVERIFY2(time.elapsed() >= 100 && time.elapsed() < deadline,
             qPrintable(QString::number(time.elapsed())));
    QVERIFY(log.lost() > 0);

    // What has come is in order, and each gap is told where it is.
    int next = 0;
    QList<QByteArray> records = daemon.take(1);
    writeTo(log, QByteArray::number(moreThanFits) + padding);
    QCOMPARE(log.lost(), 0);
    records += daemon.take(2);
    for (const QByteArray &record : qAsConst(records)) {
        if (record.contains(lossText)) {
            QVERIFY2(record.startsWith("<27>"), record.constData());
            QVERIFY2(record.contains(" Own["), record.constData());
            const int lost = textOf(record).mid(lossText.size()).toInt();
            QVERIFY(lost > 0);
            next += lost;
        } else {
            QCOMPARE(textOf(record), QByteArray(QByteArray::number(next) + padding));
            ++next;
        }
    }
    QCOMPARE(next, moreThanFits + 1);
    QCOMPARE(textOf(records.last()).left(3), QByteArray::number(moreThanFits));

    // From now on it is as if nothing had been.
    writeTo(log, "afterwards");
    records = daemon.take(1);
    QCOMPARE(records.size(), 1);
    QCOMPARE(textOf(records.first()), QByteArray("afterwards"));
}

void tst_SyslogSocket::fullSocketOfADaemonThatIsReplaced()
{
    auto daemon = std::make_unique<Daemon>(m_path, SOCK_DGRAM);
    SyslogSocket log(QFile::encodeName(m_path));
    while (log.lost() < 5) {
        writeTo(log, "a text");
    }
    daemon.reset();
    daemon = std::make_unique<Daemon>(m_path, SOCK_DGRAM);
    writeTo(log, "to the new one");
    const QList<QByteArray> records = daemon->take(2);
    QCOMPARE(records.size(), 2);
    QCOMPARE(textOf(records.first()), QByteArray(lossText + "5"));
    QCOMPARE(textOf(records.last()), QByteArray("to the new one"));
}

void tst_SyslogSocket::longMessageIsCut_data()
{
    QTest::addColumn<int>("ahead"); // ASCII characters, so that the cut falls on each byte
    for (int ahead = 0; ahead < 3; ++ahead) {
        QTest::addRow("%d ahead", ahead) << ahead;
    }
}

void tst_SyslogSocket::longMessageIsCut()
{
    QFETCH(int, ahead);
    Daemon daemon(m_path, SOCK_DGRAM);
    SyslogSocket log(QFile::encodeName(m_path));
    const QString text = QString(ahead, QLatin1Char('x')) + QString(300000, QChar(0x20AC));
    log.write(audio, LOG_ERR, text.toUtf8());
    QCOMPARE(log.lost(), 0);
    const QList<QByteArray> records = daemon.take(1);
    QCOMPARE(records.size(), 1);
    const QByteArray arrived = textOf(records.first());
    QVERIFY(arrived.size() > 60000); // whatever the machine's limits are
    QVERIFY(arrived.size() < 900000);
    QCOMPARE((arrived.size() - ahead) % 3, 0);
    QVERIFY(text.toUtf8().startsWith(arrived));

    // The next one is not affected.
    log.write(audio, LOG_ERR, "short");
    QCOMPARE(textOf(daemon.take(1).value(0)), QByteArray("short"));
}

void tst_SyslogSocket::longMessageInAStreamIsSentWhole()
{
    Daemon daemon(m_path, SOCK_STREAM);
    SyslogSocket log(QFile::encodeName(m_path));
    const QByteArray text(100000, 'x');
    log.write(audio, LOG_ERR, text);
    QCOMPARE(textOf(daemon.take(1).value(0)), text);
}

QTEST_GUILESS_MAIN(tst_SyslogSocket)
#include "tst_syslogsocket.moc"
