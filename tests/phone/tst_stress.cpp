// Many clients change levels in bulk and one by one at once: nobody ever sees half a change, every
// call is answered, and what was asked for last is what stands in the end.
// The environment variable STRESS_ROUNDS makes it longer.
// SPDX-License-Identifier: MIT
#include "support/configtext.h"
#include "support/facilities.h"
#include "support/phone.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QMap>
#include <QRandomGenerator>
#include <QTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int clientCount = 20;
constexpr int defaultRounds = 3;
constexpr int callTimeout = 600000; // ms

const QStringList activities {QStringLiteral("qvxaudio"), QStringLiteral("qvxsipua"),
                              QStringLiteral("Platform"), QStringLiteral("SettingsManager"),
                              QStringLiteral("sipmmi"),   QStringLiteral("Telephony")};
const QStringList levelNames {QStringLiteral("emerg"),   QStringLiteral("err"),
                              QStringLiteral("warning"), QStringLiteral("notice"),
                              QStringLiteral("info"),    QStringLiteral("debug")};

/// The levels by their numbers; two have none.
const QList<QByteArray> severities {"emerg", "", "", "err", "warning", "notice", "info", "debug"};

QString pick(const QStringList &words, QRandomGenerator &random)
{
    return words.at(random.bounded(words.size()));
}

/// One client with its own connection to the bus.
class Client
{
public:
    Client(int number, int rounds)
        : m_name(QStringLiteral("client%1").arg(number)), m_random(quint32(number)),
          m_rounds(rounds)
    {
    }

    void run()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SystemBus, m_name);
        for (int round = 0; round < m_rounds; ++round) {
            setLevels(bus);
            changeOne(bus);
            changeAll(bus);
            askForNoLevel(bus);
            list(bus);
            readLevels(bus);
        }
        QDBusConnection::disconnectFromBus(m_name);
    }

    QStringList problems; ///< what a client must never see
    int answered = 0;

private:
    QDBusMessage call(const QDBusConnection &bus, const QString &method,
                      const QVariantList &arguments = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            Phone::serviceName, Phone::servicePath, Phone::serviceInterface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = bus.call(message, QDBus::Block, callTimeout);
        if (reply.type() == QDBusMessage::ReplyMessage) {
            ++answered;
        } else {
            problems.append(method + QStringLiteral(": ") + reply.errorMessage());
        }
        return reply;
    }

    /// Calls the level command.
    void expect(const QDBusConnection &bus, const QVariantList &arguments, const QString &expected)
    {
        const QString answer
            = call(bus, QStringLiteral("level"), arguments).arguments().value(0).toString();
        if (answer != expected) {
            problems.append(answer);
        }
    }

    void setLevels(const QDBusConnection &bus)
    {
        QStringList items;
        for (const QString &activity : activities) {
            items.append(activity + QLatin1Char(':') + pick(levelNames, m_random));
        }
        call(bus, QStringLiteral("setSyslogLevels"),
             {QString(QLatin1Char('{') + items.join(QLatin1Char(',')) + QLatin1Char('}'))});
    }

    void changeOne(const QDBusConnection &bus)
    {
        const QString activity = pick(activities, m_random);
        const QString level = pick(levelNames, m_random);
        expect(bus, {activity, level},
               QStringLiteral("Level ") + level + QStringLiteral(" for facility : ") + activity
                   + QStringLiteral(" OK"));
    }

    void changeAll(const QDBusConnection &bus)
    {
        const QString level = pick(levelNames + QStringList {QStringLiteral("init")}, m_random);
        expect(bus, {QStringLiteral("all"), level},
               QStringLiteral("All levels changed to ")
                   + (level == QLatin1String("init") ? QStringLiteral("err") : level)
                   + QStringLiteral(" value "));
    }

    void askForNoLevel(const QDBusConnection &bus)
    {
        expect(bus, {pick(activities, m_random), QStringLiteral("loud")},
               QStringLiteral("[level] level not valid: loud"));
    }

    void list(const QDBusConnection &bus)
    {
        for (const QString &method : {QStringLiteral("level"), QStringLiteral("redirect")}) {
            const QString table = call(bus, method).arguments().value(0).toString();
            if (table.count(QLatin1Char('\n')) != 11) {
                problems.append(table);
            }
        }
    }

    void readLevels(const QDBusConnection &bus)
    {
        const QVariantMap levels = qdbus_cast<QVariantMap>(
            call(bus, QStringLiteral("getSyslogLevels")).arguments().value(0));
        for (const QString &activity : activities) {
            if (!levelNames.contains(levels.value(activity).toString())) {
                problems.append(activity + QStringLiteral(" has level ")
                                + levels.value(activity).toString());
            }
        }
    }

    QString m_name;
    QRandomGenerator m_random;
    int m_rounds;
};

} // namespace

class tst_Stress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void manyClientsNeverSeeHalfAChange();

private:
    /// Everything is as the set-up script makes it, but for the levels.
    void compareFiles(const QMap<QString, QByteArray> &levels) const;

    ConfigText::FacilityFiles m_facilities;
};

void tst_Stress::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::resetConfiguration();
    m_facilities = ConfigText::facilityFiles();
}

void tst_Stress::compareFiles(const QMap<QString, QByteArray> &levels) const
{
    QByteArray configuration = Phone::read(Phone::backup);
    ConfigText::FacilityFiles files = m_facilities;
    for (auto level = levels.cbegin(); level != levels.cend(); ++level) {
        configuration = ConfigText::withLevel(configuration, level.key(), level.value());
        QByteArray &file = files[level.key() + QStringLiteral(".conf")];
        file = Facilities::withLevel(file, severities.indexOf(level.value()));
    }
    QCOMPARE(Phone::read(Phone::liveConfig), configuration);
    QCOMPARE(ConfigText::facilityFiles(), files);
}

void tst_Stress::manyClientsNeverSeeHalfAChange()
{
    const int rounds = qEnvironmentVariableIsSet("STRESS_ROUNDS")
        ? qEnvironmentVariableIntValue("STRESS_ROUNDS")
        : defaultRounds;
    QElapsedTimer timer;
    timer.start();
    std::vector<std::unique_ptr<Client>> clients;
    std::vector<std::thread> threads;
    for (int number = 0; number < clientCount; ++number) {
        clients.push_back(std::make_unique<Client>(number + 1, rounds));
        Client *client = clients.back().get();
        threads.emplace_back([client] { client->run(); });
    }
    int answered = 0;
    for (int number = 0; number < clientCount; ++number) {
        threads[number].join();
    }
    for (int number = 0; number < clientCount; ++number) {
        QVERIFY2(clients[number]->problems.isEmpty(),
                 qPrintable(clients[number]->problems.join(QLatin1Char('\n'))));
        answered += clients[number]->answered;
    }
    QCOMPARE(answered, clientCount * rounds * 7);

    // The listing waits for the job before it.
    Phone::call(QStringLiteral("level"));
    QMap<QString, QByteArray> levels;
    for (const QString &activity : Phone::activityNames) {
        const int number = Phone::read(Phone::facilityFile(activity)).split('\n').first().toInt();
        levels.insert(activity, severities.at(number));
    }
    compareFiles(levels);

    // What is asked for last stands in the end.
    Phone::call(QStringLiteral("setSyslogLevels"),
                {QStringLiteral("{qvxaudio:debug,qvxsipua:info,Platform:notice,"
                                "SettingsManager:warning,sipmmi:err,Telephony:emerg}")});
    Phone::call(QStringLiteral("level"));
    levels.insert(QStringLiteral("qvxaudio"), "debug");
    levels.insert(QStringLiteral("qvxsipua"), "info");
    levels.insert(QStringLiteral("Platform"), "notice");
    levels.insert(QStringLiteral("SettingsManager"), "warning");
    levels.insert(QStringLiteral("sipmmi"), "err");
    levels.insert(QStringLiteral("Telephony"), "emerg");
    compareFiles(levels);
    qInfo("%d calls of %d clients answered in %lld ms", answered, clientCount, timer.elapsed());
}

QTEST_GUILESS_MAIN(tst_Stress)
#include "tst_stress.moc"
