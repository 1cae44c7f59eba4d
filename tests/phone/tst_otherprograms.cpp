// Programs that know nothing of this project work with the service by what it says of itself: they
// call its methods, get its maps and see its events.
// SPDX-License-Identifier: MIT
#include "support/bulk.h"
#include "support/programs.h"

#include <QTest>

namespace {

/// What gdbus prints of a call. It asks the service for its signatures, and makes its arguments
/// after them.
QByteArray gdbus(const QString &method, const QStringList &arguments = {})
{
    const Outcome outcome
        = runProgram(QStringList {"gdbus"_s, "call"_s, "--system"_s, "--dest"_s, Phone::serviceName,
                                  "--object-path"_s, Phone::servicePath, "--method"_s,
                                  Phone::serviceInterface + QLatin1Char('.') + method}
                     + arguments);
    return outcome.output + outcome.errors;
}

} // namespace

class tst_OtherPrograms : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void levelsAreMapsOfTexts();
    void eventIsSeen_data();
    void eventIsSeen();
};

void tst_OtherPrograms::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_OtherPrograms::init()
{
    Phone::resetConfiguration();
}

void tst_OtherPrograms::levelsAreMapsOfTexts()
{
    QCOMPARE(gdbus(Bulk::setLevels, {"{qvxsipua:debug}"_s}),
             QByteArray("({'msg': <'Fast set log levels OK'>, 'value': <'0'>},)\n"));
    QCOMPARE(gdbus(Bulk::getLevels),
             QByteArray("({'Platform': <'err'>, 'SettingsManager': <'err'>, 'Telephony': <'err'>, "
                        "'qvxaudio': <'err'>, 'qvxsipua': <'debug'>, 'sipmmi': <'err'>},)\n"));
    QCOMPARE(gdbus(Bulk::resetLevels),
             QByteArray("({'msg': <'Fast set all log levels to error OK'>, 'value': <'0'>},)\n"));
    QCOMPARE(gdbus(Bulk::getLevels),
             QByteArray("({'Platform': <'err'>, 'SettingsManager': <'err'>, 'Telephony': <'err'>, "
                        "'qvxaudio': <'err'>, 'qvxsipua': <'err'>, 'sipmmi': <'err'>},)\n"));
    for (const QString &method : {Bulk::getLevels, Bulk::resetLevels}) {
        QCOMPARE(Phone::call(method).signature(), "a{sv}"_s);
    }
}

void tst_OtherPrograms::eventIsSeen_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QByteArray>("facility");
    QTest::addColumn<QByteArray>("level");
    const auto row = [](const char *name, const QString &method, const QVariantList &arguments,
                        const char *facility, const char *level) {
        QTest::newRow(name) << method << arguments << QByteArray(facility) << QByteArray(level);
    };
    row("level of one", "level"_s, {"qvxsipua"_s, "debug"_s}, "qvxsipua", "7");
    row("level of all", "level"_s, {"all"_s, "info"_s}, "all", "6");
    row("several", Bulk::setLevels, {"{Telephony:warning}"_s}, "Telephony", "4");
    row("reset", Bulk::resetLevels, {}, "all", "3");
}

void tst_OtherPrograms::eventIsSeen()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QByteArray, facility);
    QFETCH(QByteArray, level);
    RunningProgram all({"dbus-monitor"_s, "--system"_s,
                        "type='signal',interface='com.corvane.Quorvix.QVXEvent'"_s});
    // It loses its own name when it begins to watch.
    QVERIFY(all.waitForOutput("member=NameLost"));
    RunningProgram owner({"gdbus"_s, "monitor"_s, "--system"_s, "--dest"_s, Phone::serviceName});
    QVERIFY(owner.waitForOutput("is owned by"));
    Phone::call(method, arguments);

    QVERIFY2(all.waitForOutput("variant             int32 " + level + "\n      )\n"),
             all.output().constData());
    const QByteArray seen = all.output().simplified();
    const QList<QByteArray> parts {
        "path=/com/corvane/Quorvix/LoggerModule; "
        "interface=com.corvane.Quorvix.QVXEvent; member=log_level_changed",
        "dict entry( string \"syslog_facility\" variant string \"" + facility + "\" )",
        "dict entry( string \"syslog_level\" variant int32 " + level + " )"};
    for (const QByteArray &part : parts) {
        QVERIFY2(seen.contains(part), seen.constData());
    }
    QVERIFY2(owner.waitForOutput("/com/corvane/Quorvix/LoggerModule: com.corvane.Quorvix.QVXEvent."
                                 "log_level_changed ({'syslog_facility': <'"
                                 + facility + "'>, 'syslog_level': <" + level + ">},)\n"),
             owner.output().constData());
}

QTEST_GUILESS_MAIN(tst_OtherPrograms)
#include "tst_otherprograms.moc"
