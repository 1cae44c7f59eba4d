// Changes of the remote log server's settings, one at a time: what is remembered, where the logs go
// then, and what is logged about it.
// SPDX-License-Identifier: MIT
#include "destinations/remoteserver.h"
#include "support/configlog.h"
#include "support/configtext.h"
#include "support/configurationtest.h"
#include "support/faults.h"
#include "support/phone.h"
#include "support/remoteserverlog.h"

#include <QVX/setting.h>

#include <QTest>

using Slot = ListSetting (LoggerModule::*)(const Setting &);
Q_DECLARE_METATYPE(Slot)
Q_DECLARE_METATYPE(RemoteServerConfig)

namespace {

using namespace RemoteServerLog;
using ConfigText::facilityFiles;
using ConfigText::withAllDestinations;
using ConfigText::withAllRedirections;

const QString exits = "A remote server exits"_s;
const QString udpServer = R"(udp("10.1.2.3" port(514)))"_s;

constexpr Slot existSlot = &LoggerModule::logRemoteServer;
constexpr Slot addressSlot = &LoggerModule::logRemoteServerAddress;
constexpr Slot portSlot = &LoggerModule::logRemoteServerPort;
constexpr Slot protocolSlot = &LoggerModule::logRemoteServerProto;

Setting setting(const QString &value)
{
    Setting setting;
    setting.value = value;
    setting.defaultValue = "true"_s;
    return setting;
}

RemoteServerConfig record(const char *exists, const char *host = "10.1.2.3",
                          const char *number = "514", const char *kind = "udp")
{
    return {QString::fromLatin1(exists), QString::fromLatin1(host), QString::fromLatin1(number),
            QString::fromLatin1(kind)};
}

QStringList fields(const RemoteServerConfig &record)
{
    return {record.exist, record.address, record.port, record.protocol};
}

} // namespace

class tst_RemoteServerChanges : public ConfigurationTest
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void switchedOn_data();
    void switchedOn();
    void switchedOff_data();
    void switchedOff();
    void changedField_data();
    void changedField();
    void refusedValueStaysStored();

    void failedCallsLeaveTheRecord();
    void linesNeedTheirLevel();

private:
    /// That every activity has @p destination, or what was there when it is empty.
    void verifyDestination(const QString &destination) const;
};

void tst_RemoteServerChanges::init()
{
    ConfigurationTest::init();
    remoteServerConfig = record("true");
}

void tst_RemoteServerChanges::verifyDestination(const QString &destination) const
{
    QCOMPARE(m_log->errors(), QStringList());
    if (destination.isEmpty()) {
        QCOMPARE(touched(), QStringList());
    } else {
        QCOMPARE(Phone::read(Phone::liveConfig), withAllDestinations(m_predefined, destination));
        QCOMPARE(facilityFiles(), withAllRedirections(m_facilities, destination));
        QTRY_COMPARE(m_syslog->count(), 1);
    }
}

// Whether there is a server: done at once, and never remembered.

void tst_RemoteServerChanges::switchedOn_data()
{
    QTest::addColumn<RemoteServerConfig>("before");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("destination"); // empty: nothing changes

    for (const char *flag : {"true", "false", "", "UNDEFINED"}) {
        QTest::addRow("flag '%s'", flag) << record(flag) << applied(udpServer) << udpServer;
    }
    QTest::newRow("nothing read") << record("", "", "", "") << refused(R"(("" port()))"_s)
                                  << QString();
    QTest::newRow("address not set")
        << record("true", "UNDEFINED") << QStringList(Redirecting::notSet) << QString();
    // Only that very text says that a field is not set.
    const QString small = R"(udp("undefined" port(514)))"_s;
    QTest::newRow("small letters") << record("true", "undefined") << applied(small) << small;
    QTest::newRow("blank behind") << record("true", "UNDEFINED ")
                                  << refused(R"(udp("UNDEFINED " port(514)))"_s) << QString();
}

void tst_RemoteServerChanges::switchedOn()
{
    QFETCH(RemoteServerConfig, before);
    QFETCH(QStringList, lines);
    QFETCH(QString, destination);
    remoteServerConfig = before;
    QCOMPARE(m_module.logRemoteServer(setting("true"_s)).size(), 0);
    QCOMPARE(ConfigLog::withoutListing(m_log->debugs()), QStringList(exits) + lines);
    QCOMPARE(fields(remoteServerConfig), fields(before));
    verifyDestination(destination);
}

void tst_RemoteServerChanges::switchedOff_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<RemoteServerConfig>("before");

    for (const char *flag : {"true", "false", ""}) {
        QTest::addRow("flag '%s'", flag) << "false"_s << record(flag);
    }
    for (const char *value : {"", "TRUE", "true ", "1", "UNDEFINED"}) {
        QTest::addRow("value '%s'", value) << QString::fromLatin1(value) << record("true");
    }
}

void tst_RemoteServerChanges::switchedOff()
{
    QFETCH(QString, value);
    QFETCH(RemoteServerConfig, before);
    Phone::write(Phone::liveConfig, withAllDestinations(m_predefined, udpServer));
    ConfigText::putFacilityFiles(withAllRedirections(m_facilities, udpServer));
    remoteServerConfig = before;
    QCOMPARE(m_module.logRemoteServer(setting(value)).size(), 0);
    QCOMPARE(ConfigLog::withoutListing(m_log->debugs()), QStringList(none) + edited());
    QCOMPARE(m_log->errors(), QStringList());
    QCOMPARE(fields(remoteServerConfig), fields(before));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(facilityFiles(), m_facilities);
    QTRY_COMPARE(m_syslog->count(), 1);
}

// The three others are remembered, and followed if there was a server at the start.

void tst_RemoteServerChanges::changedField_data()
{
    QTest::addColumn<Slot>("slot");
    QTest::addColumn<QString>("value");
    QTest::addColumn<RemoteServerConfig>("after");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("destination"); // empty: nothing changes

    const auto row = [](Slot slot, const char *value, const RemoteServerConfig &after,
                        const QStringList &lines, const QString &destination = {}) {
        QTest::newRow(fields(after).join(" "_s).toUtf8())
            << slot << QString::fromLatin1(value) << after << lines << destination;
    };
    const auto good = [&](Slot slot, const char *value, const RemoteServerConfig &after,
                          const QString &destination) {
        row(slot, value, after, applied(destination), destination);
    };
    good(addressSlot, "loghost", record("true", "loghost"), R"(udp("loghost" port(514)))"_s);
    good(portSlot, "1514", record("true", "10.1.2.3", "1514"), R"(udp("10.1.2.3" port(1514)))"_s);
    good(protocolSlot, "tcp", record("true", "10.1.2.3", "514", "tcp"),
         R"(tcp("10.1.2.3" port(514)))"_s);
    for (const char *flag : {"false", "", "TRUE", "true ", "UNDEFINED"}) {
        row(addressSlot, "loghost", record(flag, "loghost"), {});
    }
    row(portSlot, "1514", record("false", "10.1.2.3", "1514"), {});
    row(protocolSlot, "tcp", record("false", "10.1.2.3", "514", "tcp"), {});

    row(addressSlot, "fe80::1", record("true", "fe80::1"),
        refused(R"(udp("fe80::1" port(514)))"_s));
    row(portSlot, "0", record("true", "10.1.2.3", "0"), refused(R"(udp("10.1.2.3" port(0)))"_s));
    row(protocolSlot, "UDP", record("true", "10.1.2.3", "514", "UDP"),
        refused(R"(UDP("10.1.2.3" port(514)))"_s));
    const QStringList notSet(Redirecting::notSet);
    row(addressSlot, "UNDEFINED", record("true", "UNDEFINED"), notSet);
    row(portSlot, "UNDEFINED", record("true", "10.1.2.3", "UNDEFINED"), notSet);
    row(protocolSlot, "UNDEFINED", record("true", "10.1.2.3", "514", "UNDEFINED"), notSet);
}

void tst_RemoteServerChanges::changedField()
{
    QFETCH(Slot, slot);
    QFETCH(QString, value);
    QFETCH(RemoteServerConfig, after);
    QFETCH(QStringList, lines);
    QFETCH(QString, destination);
    remoteServerConfig.exist = after.exist;
    QCOMPARE((m_module.*slot)(setting(value)).size(), 0);
    QCOMPARE(ConfigLog::withoutListing(m_log->debugs()), lines);
    QCOMPARE(fields(remoteServerConfig), fields(after));
    verifyDestination(destination);
}

void tst_RemoteServerChanges::refusedValueStaysStored()
{
    m_module.logRemoteServerProto(setting("UDP"_s));
    m_module.logRemoteServerPort(setting("1514"_s));
    QCOMPARE(m_log->debugs().last(), Redirecting::allNotValid(R"(UDP("10.1.2.3" port(1514)))"_s));
    QCOMPARE(touched(), QStringList());
    m_module.logRemoteServerProto(setting("tcp"_s));
    verifyDestination(R"(tcp("10.1.2.3" port(1514)))"_s);
}

// --------------------------------------------------------------------- A start that cannot ask

void tst_RemoteServerChanges::failedCallsLeaveTheRecord()
{
    m_module.initLogServerStruct();
    const QString reason = "The module is not connected to the bus"_s;
    QCOMPARE(
        m_log->errors(),
        QStringList({"syncRemoteCall error : "_s + reason, "syncRemotecall error : "_s + reason,
                     "syncRemoteCall error : "_s + reason, "syncRemoteCall error : "_s + reason}));
    // What was there before is applied.
    QCOMPARE(ConfigLog::withoutListing(m_log->debugs()),
             QStringList({"Method::initLogServerStruct()"_s, "A remote server exists"_s})
                 + applied(udpServer));
    QCOMPARE(fields(remoteServerConfig), fields(record("true")));
    QCOMPARE(Phone::read(Phone::liveConfig), withAllDestinations(m_predefined, udpServer));
}

void tst_RemoteServerChanges::linesNeedTheirLevel()
{
    LogCapture::setLevel(6);
    m_module.logRemoteServer(setting("true"_s));
    m_module.logRemoteServer(setting("false"_s));
    m_module.logRemoteServerPort(setting("0"_s));
    QCOMPARE(Faults::logged(*m_log), QStringList());
    for (const char *flag : {"true", "false"}) {
        m_log->clear();
        remoteServerConfig = record(flag);
        m_module.initLogServerStruct();
        QCOMPARE(m_log->lines().size(), 4);
        QCOMPARE(m_log->errors().size(), 4);
    }
    m_log->clear();
    LogCapture::setLevel(2);
    m_module.initLogServerStruct();
    QCOMPARE(Faults::logged(*m_log), QStringList());
}

QTEST_GUILESS_MAIN(tst_RemoteServerChanges)
#include "tst_remoteserverchanges.moc"
