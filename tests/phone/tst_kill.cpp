// The service is killed at any moment of a change: each of its files is there all the time, whole,
// as before or as after; syslog-ng starts with them, and the next service goes on. It should run on
// a file system of a disk (PHONE_DISK=1); it says on which it did. The environment variable
// KILL_ROUNDS makes it longer, RANDOM_SEED repeats a run.
// SPDX-License-Identifier: MIT
#include "support/lostnames.h"
#include "support/phone.h"
#include "support/syslogdaemon.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMap>
#include <QRandomGenerator>
#include <QStorageInfo>
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

/// Files that somebody has left beside those of the service are in it as well.
State currentState()
{
    State state;
    QDirIterator files(QFileInfo(Phone::temporary).path(), QDir::Files | QDir::Hidden,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        if (path != Phone::temporary) {
            state.insert(path, Phone::read(path));
        }
    }
    return state;
}

/// The names that only one of the two has.
QString strangers(const State &one, const State &other)
{
    QStringList names = one.keys() + other.keys();
    for (const QString &path : one.keys()) {
        if (other.contains(path)) {
            names.removeAll(path);
        }
    }
    return names.join(QLatin1Char(' '));
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
    Phone::call(QStringLiteral("level"), {QStringLiteral("sipmmi"), QStringLiteral("warning")});
    const State before = currentState();
    const QByteArray oldText = before.value(Phone::liveConfig);
    QVERIFY(!oldText.isEmpty() && oldText != before.value(Phone::backup));

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

    SyslogDaemon syslog;
    LostNames names(before.keys());
    int withOldText = 0;
    QByteArrayList missing;
    QByteArrayList torn;
    QByteArrayList missingForAMoment;
    for (int round = 0; round < rounds; ++round) {
        const auto index = std::size_t(random.bounded(int(changes.size())));
        const Change &change = changes[index];
        const auto where = [&](const QString &what) {
            return QStringLiteral("round %1, %2: %3")
                .arg(QString::number(round), QLatin1String(change.name), what)
                .toUtf8();
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
        withOldText += Phone::read(Phone::liveConfig) == oldText ? 1 : 0;
        for (auto file = before.cbegin(); file != before.cend(); ++file) {
            const QByteArray found = Phone::read(file.key());
            if (found.isNull()) {
                missing.append(where(file.key()));
            } else if (found != file.value() && found != after[index].value(file.key())) {
                torn.append(where(file.key()));
            }
        }
        for (const QString &path : names.take()) {
            missingForAMoment.append(where(path));
        }
        // As at the boot: the set-up script first, then syslog-ng, and the service behind them.
        if (round % 2 == 0) {
            QVERIFY2(syslog.coldStart(), where(QString::fromUtf8(syslog.problem())).constData());
        }

        const Phone::Service next;
        const QString table = Phone::text(QStringLiteral("level"));
        QVERIFY2(table.count(QLatin1Char('\n')) == 11, where(table).constData());
        QVERIFY2(Phone::syslogAccepts(Phone::liveConfig),
                 where(QStringLiteral("refused")).constData());

        // The same change, made to its end, leaves nothing of the one that was cut off.
        restore(before);
        complete(change);
        const State found = currentState();
        QVERIFY2(found.keys() == before.keys(), where(strangers(found, before)).constData());
        QVERIFY2(found == after[index],
                 where(QStringLiteral("not as without the kill")).constData());
        names.take();
    }
    qInfo(
        "%d kills on %s: old text %d, files missing %d, torn %d, missing for a moment %d; %d cold "
        "starts",
        rounds, QStorageInfo(Phone::liveConfig).fileSystemType().constData(), withOldText,
        missing.size(), torn.size(), missingForAMoment.size(), (rounds + 1) / 2);
    QVERIFY2(missing.isEmpty(), missing.join('\n').constData());
    QVERIFY2(torn.isEmpty(), torn.join('\n').constData());
    QVERIFY2(missingForAMoment.isEmpty(), missingForAMoment.join('\n').constData());
}

QTEST_GUILESS_MAIN(tst_Kill)
#include "tst_kill.moc"
