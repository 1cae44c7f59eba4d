// The remote log server's settings, changed in the phone's settings service: where the messages
// end up.
// SPDX-License-Identifier: MIT
#include "support/places.h"
#include "support/syslogdaemon.h"

#include <memory>

using namespace Phone;

namespace {

const Activity &sip = activities[2];

/// Tells the settings service everything about the log server but that it exists.
void setServer(const QString &protocol, const QString &address)
{
    setSetting("LogRemoteServerAddress"_s, address);
    setSetting("LogRemoteServerPort"_s, "5514"_s);
    setSetting("LogRemoteServerProtocol"_s, protocol);
}

} // namespace

class tst_ServerSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void settingsMoveTheMessages_data();
    void settingsMoveTheMessages();
    void sameValueAgainMovesNothing();
    void settingsReadAtStartAreFollowed();
    void cleanupTestCase();

private:
    QByteArray m_original;
    std::unique_ptr<SyslogDaemon> m_daemon;
    std::unique_ptr<Service> m_service; ///< in the booted one's place, once there is one
};

void tst_ServerSettings::initTestCase()
{
    QVERIFY2(isBox(), "runs in the phone in a box only");
    resetConfiguration();
    m_original = read(liveConfig);
    m_daemon = std::make_unique<SyslogDaemon>();
}

void tst_ServerSettings::cleanup()
{
    setSetting("LogRemoteServerExist"_s, "false"_s);
    waitForService();
    QVERIFY2(goHome(), SyslogDaemon::output().constData());
}

void tst_ServerSettings::settingsMoveTheMessages_data()
{
    QTest::addColumn<QString>("protocol");
    QTest::newRow("udp") << "udp"_s;
    QTest::newRow("tcp") << "tcp"_s;
}

void tst_ServerSettings::settingsMoveTheMessages()
{
    QFETCH(QString, protocol);
    SocketPlace collector(protocol, "127.0.0.5"_s, 5514);
    setServer(protocol, "127.0.0.5"_s);
    // The service follows them only from the moment when a server exists.
    waitForService();
    QCOMPARE(read(liveConfig), m_original);

    setSetting("LogRemoteServerExist"_s, "true"_s);
    QCOMPARE(missingAt(&collector), QString());
    QVERIFY(read(facilityFile(sip.name))
                .contains('\n' + protocol.toUtf8() + "(\"127.0.0.5\" port(5514))\n"));

    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    QCOMPARE(missingAt(&collector), QString());

    setSetting("LogRemoteServerExist"_s, "false"_s);
    QCOMPARE(missingAt(), QString());
    FilePlace home(predefinedFile(sip));
    QVERIFY(movesTo(home, collector, sip));
    QCOMPARE(read(liveConfig), m_original);
}

void tst_ServerSettings::sameValueAgainMovesNothing()
{
    SocketPlace collector("udp"_s, "127.0.0.5"_s, 5514);
    setServer("udp"_s, "127.0.0.5"_s);
    setSetting("LogRemoteServerExist"_s, "true"_s);
    QVERIFY(arrivesAt(collector, sip));
    QCOMPARE(text("redirect"_s, {"all"_s, "init"_s}),
             "All facilities redirected to predefined values "_s);
    setSetting("LogRemoteServerExist"_s, "true"_s);
    setSetting("SomethingElse"_s, "true"_s);
    waitForService();
    QCOMPARE(read(liveConfig), m_original);
}

void tst_ServerSettings::settingsReadAtStartAreFollowed()
{
    std::unique_ptr<Place> former = std::make_unique<SocketPlace>("udp"_s, "127.0.0.6"_s, 5514);
    setServer("udp"_s, "127.0.0.6"_s);
    setSetting("LogRemoteServerExist"_s, "true"_s);
    QVERIFY(arrivesAt(*former, sip));
    waitForService();
    resetConfiguration();

    // Takes the booted service's place until the end; it reads the settings at its start.
    m_service = std::make_unique<Service>();
    QCOMPARE(missingAt(former.get()), QString());

    struct Change
    {
        QString setting;
        QString value;
        QString protocol;
        QString address;
        int port;
    };
    for (const Change &change : {Change {"Address"_s, "127.0.0.7"_s, "udp"_s, "127.0.0.7"_s, 5514},
                                 {"Port"_s, "1514"_s, "udp"_s, "127.0.0.7"_s, 1514},
                                 {"Protocol"_s, "tcp"_s, "tcp"_s, "127.0.0.7"_s, 1514},
                                 {"Address"_s, "127.0.0.8"_s, "tcp"_s, "127.0.0.8"_s, 1514},
                                 {"Port"_s, "6514"_s, "tcp"_s, "127.0.0.8"_s, 6514},
                                 {"Protocol"_s, "udp"_s, "udp"_s, "127.0.0.8"_s, 6514}}) {
        std::unique_ptr<Place> next
            = std::make_unique<SocketPlace>(change.protocol, change.address, change.port);
        setSetting("LogRemoteServer"_s + change.setting, change.value);
        QVERIFY2(movesTo(*next, *former, sip), qPrintable(change.setting));
        QCOMPARE(missingAt(next.get()), QString());
        former = std::move(next);
    }
    setSetting("LogRemoteServerPort"_s, "0"_s);
    QVERIFY(arrivesAt(*former, sip));
    setSetting("LogRemoteServerExist"_s, "false"_s);
    FilePlace home(predefinedFile(sip));
    QVERIFY(movesTo(home, *former, sip));
    // The next one finds no server at its start.
    m_service.reset();
    m_service = std::make_unique<Service>();
    setSetting("LogRemoteServerPort"_s, "5514"_s);
    waitForService();
    QCOMPARE(read(liveConfig), m_original);
}

void tst_ServerSettings::cleanupTestCase()
{
    m_service.reset();
    m_daemon.reset();
}

QTEST_GUILESS_MAIN(tst_ServerSettings)
#include "tst_serversettings.moc"
