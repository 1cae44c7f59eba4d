// The way of the phone's messages into its logs: in the form that syslog(3) gives them, whole or
// cut at a character, and past a syslog daemon that hangs.
// SPDX-License-Identifier: MIT
#include "support/literal.h"
#include "support/phone.h"

#include <QVX/qvxlogger.h>

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QTest>

#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr int deadline = 10000; // ms

/// Takes the place of the syslog daemon's socket.
class LogDevice
{
public:
    LogDevice()
    {
        QFile::rename(m_path, m_aside);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        if (bind(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
            qFatal("cannot take the place of /dev/log");
        }
    }
    ~LogDevice()
    {
        close(m_socket);
        QFile::remove(m_path);
        QFile::rename(m_aside, m_path);
    }
    Q_DISABLE_COPY(LogDevice)

    /// The next record; waits for it.
    QByteArray take() const
    {
        QByteArray record(65536, '\0');
        record.truncate(static_cast<int>(qMax(
            recv(m_socket, record.data(), static_cast<size_t>(record.size()), 0), ssize_t(0))));
        return record;
    }

private:
    const QString m_path = QStringLiteral("/dev/log");
    const QString m_aside = QStringLiteral("/dev/log.aside");
    const int m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

/// The booted syslog daemon, stopped as long as it exists.
class HangingDaemon
{
public:
    HangingDaemon() { signal(SIGSTOP); }
    ~HangingDaemon() { signal(SIGCONT); }
    Q_DISABLE_COPY(HangingDaemon)

private:
    static void signal(int number)
    {
        const int pid = Phone::read(QStringLiteral("/run/phone/syslog-ng.pid")).trimmed().toInt();
        if (pid <= 0 || ::kill(pid, number) != 0) {
            qFatal("the syslog daemon does not run");
        }
    }
};

QString comment(const QString &activity, const QString &text)
{
    return Phone::text("logComments"_s, {activity, text});
}

QString logOf(const QString &activity)
{
    return QStringLiteral("/var/log/%1.log").arg(activity);
}

} // namespace

class tst_LogSocket : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void recordIsThatOfTheCLibrary_data();
    void recordIsThatOfTheCLibrary();
    void threadsDoNotDisturbEachOther();
    void longCommentArrivesCut();
    void hangingDaemonHoldsUpNobody();
};

void tst_LogSocket::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::stopBootedService();
    Phone::resetConfiguration();
}

void tst_LogSocket::recordIsThatOfTheCLibrary_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("usual") << "a text"_s;
    QTest::newRow("empty") << QString();
    QTest::newRow("conversions") << "%s %n %1"_s;
    QTest::newRow("lines") << "one\ntwo\r\n\n"_s;
    QTest::newRow("control characters") << "a\tb\x1b[0m\x7f"_s;
    QTest::newRow("beyond ASCII") << "ü€😀"_s;
    QTest::newRow("long") << QString(20000, QLatin1Char('x'));
}

void tst_LogSocket::recordIsThatOfTheCLibrary()
{
    QFETCH(QString, text);
    const LogDevice device;
    QByteArray expected;
    QByteArray record;
    // Until both are of one second.
    for (int attempt = 0; attempt < 100; ++attempt) {
        openlog("qvxaudio", LOG_PID, LOG_USER);
        syslog(LOG_LOCAL4 | LOG_WARNING, "%s", text.toUtf8().constData());
        closelog();
        logger("qvxaudio"_s).warning(text);
        expected = device.take();
        record = device.take();
        if (record == expected) {
            break;
        }
    }
    QCOMPARE(record, expected);
    QVERIFY(expected.endsWith(text.toUtf8()));
}

void tst_LogSocket::threadsDoNotDisturbEachOther()
{
    constexpr int threadCount = 8;
    constexpr int rounds = 200;
    const LogDevice device;
    std::atomic_bool endIsSeen {false};
    std::thread writers([&endIsSeen] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([thread] {
                for (int round = 0; round < rounds; ++round) {
                    logger(QStringLiteral("thread%1").arg(thread)).info(QString::number(round));
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        while (!endIsSeen) {
            logger("end"_s).info("end"_s);
        }
    });
    // On a busy machine, this reader may be too late for some.
    int lost = 0;
    int arrived = 0;
    bool isInOrder = true;
    QHash<QByteArray, int> next;
    while (!endIsSeen) {
        const QByteArray record = device.take();
        const QByteArray name = record.mid(record.indexOf('>') + 17).split('[').first();
        const QByteArray text = record.mid(record.indexOf("]: ") + 3);
        if (name == "end") {
            endIsSeen = true;
        } else if (name.startsWith("thread")) {
            const int number = text.toInt();
            isInOrder = isInOrder && number >= next[name];
            next[name] = number + 1;
            ++arrived;
        } else {
            lost += text.split(' ').last().toInt();
        }
    }
    writers.join();
    QVERIFY(isInOrder);
    QCOMPARE(arrived + lost, threadCount * rounds);
    QCOMPARE(next.size(), threadCount);
}

void tst_LogSocket::longCommentArrivesCut()
{
    const Phone::Service service;
    const QString text = "begin "_s + QString(71000, QChar(0x20AC)); // 213,000 bytes
    QCOMPARE(comment("Platform"_s, text), "OK"_s);
    // The daemon has a limit of its own.
    const QByteArray beginning = text.left(20000).toUtf8();
    QVERIFY(Phone::waitForContent(logOf("Platform"_s), "]: " + beginning));
}

void tst_LogSocket::hangingDaemonHoldsUpNobody()
{
    constexpr int comments = 200;
    const QByteArray lossText = "]: Messages lost, as the log did not take them: ";
    Phone::Service service;
    QElapsedTimer time;
    {
        const HangingDaemon daemon;
        time.start();
        for (int number = 0; number < comments; ++number) {
            QCOMPARE(comment("Platform"_s, "one of many"_s), "OK"_s);
        }
        QVERIFY2(time.elapsed() < deadline, qPrintable(QString::number(time.elapsed())));
        QCOMPARE(Phone::text("level"_s, {"qvxsipua"_s, "debug"_s}),
                 "Level debug for facility : qvxsipua OK"_s);
    }
    const auto arrived
        = [](const QByteArray &text) { return Phone::read(logOf("Platform"_s)).count(text); };
    int sent = comments;
    QVERIFY(QTest::qWaitFor([&] {
        comment("Platform"_s, "one behind the gap"_s);
        ++sent;
        return arrived("]: one behind the gap\n") > 0;
    }));
    QVERIFY(Phone::waitForContent(logOf("LoggerModule"_s), lossText));
    int lost = 0;
    for (const QByteArray &line : Phone::read(logOf("LoggerModule"_s)).split('\n')) {
        if (line.contains(lossText)) {
            lost += line.mid(line.indexOf(lossText) + lossText.size()).toInt();
        }
    }
    QVERIFY(lost > 0);
    QTRY_COMPARE(arrived("]: one ") + lost, sent);

    // The same again, and now it shall end.
    const HangingDaemon daemon;
    for (int number = 0; number < comments; ++number) {
        QCOMPARE(comment("Platform"_s, "one of many"_s), "OK"_s);
    }
    time.start();
    QCOMPARE(service.stop(), 0);
    QVERIFY2(time.elapsed() < deadline, qPrintable(QString::number(time.elapsed())));
}

QTEST_GUILESS_MAIN(tst_LogSocket)
#include "tst_logsocket.moc"
