// The service is killed at any moment of a change: what is found afterwards is the old text, the
// new one or the backup, syslog-ng starts with it, and the next service goes on. The environment
// variable KILL_ROUNDS makes it longer, RANDOM_SEED repeats a run.
// SPDX-License-Identifier: MIT
#include "support/phone.h"
#include "support/syslogdaemon.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDir>
#include <QElapsedTimer>
#include <QMap>
#include <QRandomGenerator>
#include <QTest>

#include <array>
#include <csignal>

#include <unistd.h>

namespace {

constexpr int defaultRounds = 20;

struct Change
{
    const char *name;
    QString method;
    QVariantList arguments;
};

const std::array<Change, 5> changes {{
    {"one level", QStringLiteral("level"), {QStringLiteral("qvxsipua"), QStringLiteral("debug")}},
    {"all levels", QStringLiteral("level"), {QStringLiteral("all"), QStringLiteral("info")}},
    {"one destination",
     QStringLiteral("redirect"),
     {QStringLiteral("qvxsipua"), QStringLiteral("ram"), QStringLiteral("sip")}},
    {"all destinations",
     QStringLiteral("redirect"),
     {QStringLiteral("all"), QStringLiteral("udp(\"127.0.0.1\" port(5514))")}},
    {"in the background", QStringLiteral("setSyslogLevels"), {QStringLiteral("{qvxsipua:notice}")}},
}};

/// All that the service keeps, by path.
using State = QMap<QString, QByteArray>;

State currentState()
{
    State state {{Phone::liveConfig, Phone::read(Phone::liveConfig)}};
    const QStringList names = QDir(Phone::facilityDirectory).entryList(QDir::Files);
    for (const QString &name : names) {
        const QString path = Phone::facilityDirectory + name;
        state.insert(path, Phone::read(path));
    }
    return state;
}

void restore(const State &state)
{
    QFile::remove(Phone::temporary);
    for (auto file = state.cbegin(); file != state.cend(); ++file) {
        Phone::write(file.key(), file.value());
    }
}

/// Does a change to its end. The listing waits for one that runs in the background.
void complete(const Change &change)
{
    Phone::call(change.method, change.arguments);
    Phone::call(QStringLiteral("level"));
}

} // namespace

class tst_Kill : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void atAnyMomentOfAChange();
};

void tst_Kill::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::resetConfiguration();
}

void tst_Kill::atAnyMomentOfAChange()
{
    const int rounds = qEnvironmentVariableIsSet("KILL_ROUNDS")
        ? qEnvironmentVariableIntValue("KILL_ROUNDS")
        : defaultRounds;
    const quint32 seed = qEnvironmentVariableIsSet("RANDOM_SEED")
        ? qEnvironmentVariable("RANDOM_SEED").toUInt()
        : QRandomGenerator::system()->generate();
    qInfo("RANDOM_SEED=%u", seed);
    QRandomGenerator random(seed);

    // A text of the user's own, other than the backup.
    const QByteArray backup = Phone::read(Phone::backup);
    Phone::call(QStringLiteral("level"), {QStringLiteral("sipmmi"), QStringLiteral("warning")});
    const State before = currentState();
    const QByteArray oldText = before.value(Phone::liveConfig);
    QVERIFY(!oldText.isEmpty() && oldText != backup);

    std::array<State, changes.size()> after;
    std::array<double, changes.size()> duration {};
    for (std::size_t index = 0; index < changes.size(); ++index) {
        restore(before);
        QElapsedTimer timer;
        timer.start();
        complete(changes[index]);
        duration[index] = double(timer.nsecsElapsed()) / 1000;
        after[index] = currentState();
        QVERIFY2(after[index].value(Phone::liveConfig) != oldText, changes[index].name);
    }

    const QString facilityFile = Phone::facilityFile(QStringLiteral("qvxsipua"));
    SyslogDaemon syslog;
    int foundOld = 0;
    int foundNew = 0;
    int foundBackup = 0;
    int missing = 0;
    int facilityFileMissing = 0;
    for (int round = 0; round < rounds; ++round) {
        const auto index = std::size_t(random.bounded(int(changes.size())));
        const Change &change = changes[index];
        const auto where = [&](const QByteArray &what) {
            const QByteArray text
                = "round " + QByteArray::number(round) + ", " + change.name + '\n' + what;
            return text;
        };
        restore(before);
        {
            Phone::Service service;
            QDBusMessage message = QDBusMessage::createMethodCall(
                Phone::serviceName, Phone::servicePath, Phone::serviceInterface, change.method);
            message.setArguments(change.arguments);
            const QDBusPendingCall call = QDBusConnection::systemBus().asyncCall(message);
            usleep(useconds_t(random.bounded(duration[index] * 1.2)));
            ::kill(pid_t(service.pid()), SIGKILL);
            QCOMPARE(service.waitForEnd(), -1);
            QTRY_VERIFY(!Phone::isOnBus(Phone::serviceName));
        }
        missing += QFile::exists(Phone::liveConfig) ? 0 : 1;
        const QByteArray facilityContent = Phone::read(facilityFile);
        if (!QFile::exists(facilityFile)) {
            ++facilityFileMissing;
        } else {
            // The file is written in place, so a part of it may be there.
            QVERIFY2(facilityContent == before.value(facilityFile)
                         || after[index].value(facilityFile).startsWith(facilityContent),
                     where(facilityContent).constData());
        }
        // As at the boot: the set-up script first, then syslog-ng, and the service behind them.
        if (round % 2 == 0) {
            QVERIFY2(syslog.coldStart(), where(syslog.problem()).constData());
        }

        const Phone::Service next;
        const QString table = Phone::text(QStringLiteral("level"));
        QVERIFY2(table.count(QLatin1Char('\n')) == 11, where(table.toUtf8()).constData());
        QVERIFY2(Phone::syslogAccepts(Phone::liveConfig), where("refused").constData());
        const QByteArray found = Phone::read(Phone::liveConfig);
        if (found == oldText) {
            ++foundOld;
        } else if (found == after[index].value(Phone::liveConfig)) {
            ++foundNew;
        } else {
            QVERIFY2(found == backup, where(found).constData());
            ++foundBackup;
        }
        const QString answer = Phone::text(QStringLiteral("level"),
                                           {QStringLiteral("qvxsipua"), QStringLiteral("notice")});
        QVERIFY2(answer.contains(QLatin1String("OK")) || answer.contains(QLatin1String("restored")),
                 where(answer.toUtf8()).constData());
        QCOMPARE(Phone::text(QStringLiteral("level"),
                             {QStringLiteral("qvxsipua"), QStringLiteral("err")}),
                 QStringLiteral("Level err for facility : qvxsipua OK"));
    }
    qInfo("%d kills: old text %d, new text %d, backup %d (the live file was missing in %d); the "
          "facility file was missing in %d; %d cold starts",
          rounds, foundOld, foundNew, foundBackup, missing, facilityFileMissing, (rounds + 1) / 2);
    QCOMPARE(foundOld + foundNew + foundBackup, rounds);
}

QTEST_GUILESS_MAIN(tst_Kill)
#include "tst_kill.moc"
