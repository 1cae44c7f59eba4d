// The D-Bus interface as a peer sees it, the meta-objects behind it, and how calls are forwarded.
// SPDX-License-Identifier: MIT
#include "dbus/loggermoduleadaptor.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QVX/qvxexception.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QMetaClassInfo>
#include <QMetaMethod>
#include <QRegularExpression>
#include <QTest>

#include <functional>
#include <memory>

Q_DECLARE_METATYPE(std::function<void(LoggerModuleAdaptor &)>)

namespace {

struct Message
{
    QString file;
    QString function;
    int line = 0;
    QtMsgType type = QtFatalMsg;
    QString text;
};

QList<Message> messages;

void recordMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    messages.append({QString::fromLatin1(context.file), QString::fromLatin1(context.function),
                     context.line, type, text});
}

QString introspection()
{
    const QDBusMessage call = QDBusMessage::createMethodCall(
        Phone::serviceName, Phone::servicePath,
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
    return QDBusConnection::systemBus().call(call).arguments().value(0).toString();
}

/// The <interface> element of the tests' own copy of the contract.
QString contractInterface()
{
    const QString contract = QString::fromUtf8(Phone::read(
        Phone::testsFile(QStringLiteral("contract/com.corvane.Quorvix.QVXInterface.xml"))));
    return contract.mid(contract.indexOf(QLatin1String("  <interface ")))
        .remove(QStringLiteral("</node>\n"));
}

QStringList ownSlots(const QMetaObject &metaObject)
{
    QStringList signatures;
    for (int index = metaObject.methodOffset(); index < metaObject.methodCount(); ++index) {
        const QMetaMethod method = metaObject.method(index);
        signatures.append(QLatin1String(method.typeName()) + QLatin1Char(' ')
                          + QString::fromLatin1(method.methodSignature()));
    }
    return signatures;
}

QString classInfo(const QMetaObject &metaObject, const char *name)
{
    return QString::fromUtf8(metaObject.classInfo(metaObject.indexOfClassInfo(name)).value());
}

} // namespace

class tst_Interface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void introspectionShowsTheContractByteForByte();
    void introspectionListsEighteenMethodsInOrder();
    void installedDescriptionIsTheContract();
    void onlyAdaptorsAreExported_data();
    void onlyAdaptorsAreExported();
    void moduleSlotsAreInOrder();
    void levelWithTwoTextsIsACloneOfLevelWithThree();
    void adaptorSlotsAreInOrder();
    void classInfos();
    void onlyTheSettingMethodsRegisterAnArgumentType();
    void missingSlotThrowsAndSaysWhich_data();
    void missingSlotThrowsAndSaysWhich();
    void wrongArgumentsAreRefusedByTheBusLayer();
    void logCommentsAnswersOk_data();
    void logCommentsAnswersOk();
    void logCommentsWritesWhateverTheLevel();
    void logCommentsWithoutNameGoesToTheServicesLog();
    void missingSlotAnswersACallerAndTheServiceGoesOn();
};

void tst_Interface::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_Interface::introspectionShowsTheContractByteForByte()
{
    const QString contract = contractInterface();
    QVERIFY(contract.startsWith(QLatin1String("  <interface ")));
    QVERIFY(contract.endsWith(QLatin1String("</interface>\n")));
    QVERIFY2(introspection().contains(contract), qPrintable(introspection()));
}

void tst_Interface::introspectionListsEighteenMethodsInOrder()
{
    QString xml = introspection();
    const int start
        = xml.indexOf(QLatin1String("<interface name=\"com.corvane.Quorvix.QVXInterface\">"));
    QVERIFY(start >= 0);
    xml = xml.mid(start, xml.indexOf(QLatin1String("</interface>"), start) - start);

    QStringList names;
    QRegularExpressionMatchIterator matches
        = QRegularExpression(QStringLiteral("<method name=\"([^\"]*)\">")).globalMatch(xml);
    while (matches.hasNext()) {
        names.append(matches.next().captured(1));
    }
    const QStringList expected
        = QStringLiteral(
              "deleteTmpLogFiles deleteTmpLogFiles level level redirect redirect redirect redirect "
              "getSyslogLevels setSyslogLevels resetSyslogLevelsToErr generateLogsForWeb defence "
              "logRemoteServer logRemoteServerProto logRemoteServerAddress logRemoteServerPort "
              "logComments")
              .split(QLatin1Char(' '));
    QCOMPARE(names, expected);
    QVERIFY(!xml.contains(QLatin1String("<signal")));
    QVERIFY(!xml.contains(QLatin1String("<property")));
    // The second method names its result before its argument, and the tenth annotates its text
    // argument as a map: programs were generated from it.
    QVERIFY(xml.contains(
        QLatin1String("      <arg direction=\"out\" type=\"s\"/>\n"
                      "      <arg direction=\"in\" type=\"s\" name=\"parameter\"/>\n")));
    QVERIFY(xml.contains(
        QLatin1String("      <arg direction=\"in\" type=\"s\" name=\"syslogLevels\"/>\n"
                      "      <arg direction=\"out\" type=\"a{sv}\"/>\n"
                      "      <annotation name=\"org.qtproject.QtDBus.QtTypeName.In0\" "
                      "value=\"QVariantMap\"/>\n")));
}

void tst_Interface::installedDescriptionIsTheContract()
{
    QCOMPARE(Phone::read(QStringLiteral(
                 "/usr/share/dbus-1/interfaces/com.corvane.Quorvix.QVXInterface.xml")),
             Phone::read(Phone::testsFile(
                 QStringLiteral("contract/com.corvane.Quorvix.QVXInterface.xml"))));
}

void tst_Interface::onlyAdaptorsAreExported_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::newRow("setLevel") << QStringLiteral("setLevel")
                              << QVariantList {QStringLiteral("qvxsipua"), 7};
    QTest::newRow("level with the reload flag")
        << QStringLiteral("level")
        << QVariantList {QStringLiteral("qvxsipua"), QStringLiteral("debug"), false};
    QTest::newRow("setSyslogLevels with the background flag")
        << QStringLiteral("setSyslogLevels") << QVariantList {QStringLiteral("{}"), false};
    QTest::newRow("resetSyslogLevelsToErr with the background flag")
        << QStringLiteral("resetSyslogLevelsToErr") << QVariantList {false};
    QTest::newRow("restart") << QStringLiteral("restart") << QVariantList {};
    QTest::newRow("deleteLater") << QStringLiteral("deleteLater") << QVariantList {};
}

void tst_Interface::onlyAdaptorsAreExported()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const QDBusMessage reply = Phone::call(method, arguments);
    QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
    QCOMPARE(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"));
    QCOMPARE(Phone::read(Phone::liveConfig), before);
}

void tst_Interface::moduleSlotsAreInOrder()
{
    const QStringList expected {
        QStringLiteral("QString setLevel(QString,int)"),
        QStringLiteral("QString logComments(QString,QString)"),
        QStringLiteral("QString deleteTmpLogFiles()"),
        QStringLiteral("QString deleteTmpLogFiles(QString)"),
        QStringLiteral("QString level()"),
        QStringLiteral("QString level(QString,QString,bool)"),
        QStringLiteral("QString level(QString,QString)"),
        QStringLiteral("QString redirect()"),
        QStringLiteral("QString redirect(QString,QString)"),
        QStringLiteral("QString redirect(QString,QString,QString,int)"),
        QStringLiteral("QString redirect(QString,QString,QString)"),
        QStringLiteral("QVariantMap getSyslogLevels()"),
        QStringLiteral("QVariantMap setSyslogLevels(QString,bool)"),
        QStringLiteral("QVariantMap setSyslogLevels(QString)"),
        QStringLiteral("QVariantMap resetSyslogLevelsToErr(bool)"),
        QStringLiteral("QVariantMap resetSyslogLevelsToErr()"),
        QStringLiteral("QVariantMap generateLogsForWeb()"),
        QStringLiteral("QString defence(int,QString)"),
        QStringLiteral("ListSetting logRemoteServerAddress(Setting)"),
        QStringLiteral("ListSetting logRemoteServerPort(Setting)"),
        QStringLiteral("ListSetting logRemoteServerProto(Setting)"),
        QStringLiteral("ListSetting logRemoteServer(Setting)"),
    };
    QCOMPARE(ownSlots(LoggerModule::staticMetaObject), expected);
}

void tst_Interface::levelWithTwoTextsIsACloneOfLevelWithThree()
{
    const QMetaObject &metaObject = LoggerModule::staticMetaObject;
    const int full = metaObject.indexOfSlot("level(QString,QString,bool)");
    const int clone = metaObject.indexOfSlot("level(QString,QString)");
    QVERIFY(full >= 0);
    QCOMPARE(clone, full + 1);
    QVERIFY((metaObject.method(clone).attributes() & QMetaMethod::Cloned) != 0);
    QVERIFY((metaObject.method(full).attributes() & QMetaMethod::Cloned) == 0);
}

void tst_Interface::adaptorSlotsAreInOrder()
{
    const QStringList expected {
        QStringLiteral("QString defence(int,QString)"),
        QStringLiteral("QString deleteTmpLogFiles(QString)"),
        QStringLiteral("QString deleteTmpLogFiles()"),
        QStringLiteral("QVariantMap generateLogsForWeb()"),
        QStringLiteral("QVariantMap getSyslogLevels()"),
        QStringLiteral("QString level(QString,QString)"),
        QStringLiteral("QString level()"),
        QStringLiteral("QString logComments(QString,QString)"),
        QStringLiteral("ListSetting logRemoteServer(Setting)"),
        QStringLiteral("ListSetting logRemoteServerAddress(Setting)"),
        QStringLiteral("ListSetting logRemoteServerPort(Setting)"),
        QStringLiteral("ListSetting logRemoteServerProto(Setting)"),
        QStringLiteral("QString redirect(QString,QString,QString)"),
        QStringLiteral("QString redirect(QString,QString,QString,int)"),
        QStringLiteral("QString redirect(QString,QString)"),
        QStringLiteral("QString redirect()"),
        QStringLiteral("QVariantMap resetSyslogLevelsToErr()"),
        QStringLiteral("QVariantMap setSyslogLevels(QString)"),
    };
    QCOMPARE(ownSlots(LoggerModuleAdaptor::staticMetaObject), expected);
}

void tst_Interface::classInfos()
{
    const QString name = QStringLiteral("com.corvane.Quorvix.QVXInterface");
    QCOMPARE(classInfo(LoggerModule::staticMetaObject, "D-Bus Interface"), name);
    QCOMPARE(classInfo(LoggerModuleAdaptor::staticMetaObject, "D-Bus Interface"), name);
    QCOMPARE(classInfo(LoggerModuleAdaptor::staticMetaObject, "D-Bus Introspection"),
             contractInterface());
    QCOMPARE(LoggerModule::staticMetaObject.propertyCount(),
             QObject::staticMetaObject.propertyCount());
}

void tst_Interface::onlyTheSettingMethodsRegisterAnArgumentType()
{
    TestableModule module;
    LoggerModuleAdaptor adaptor(&module);
    const QMetaObject &metaObject = LoggerModuleAdaptor::staticMetaObject;
    int registered = 0;
    for (int index = metaObject.methodOffset(); index < metaObject.methodCount(); ++index) {
        int type = 0;
        int argument = 0;
        void *arguments[] = {&type, &argument};
        QMetaObject::metacall(&adaptor, QMetaObject::RegisterMethodArgumentMetaType, index,
                              arguments);
        const bool takesSetting = metaObject.method(index).parameterTypes().contains("Setting");
        QCOMPARE(type, takesSetting ? qMetaTypeId<Setting>() : -1);
        registered += takesSetting ? 1 : 0;
    }
    QCOMPARE(registered, 4);
    QCOMPARE(QString::fromLatin1(QMetaType::typeName(qMetaTypeId<Setting>())),
             QStringLiteral("Setting"));
}

void tst_Interface::missingSlotThrowsAndSaysWhich_data()
{
    using Call = std::function<void(LoggerModuleAdaptor &)>;
    QTest::addColumn<Call>("call");
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("signature");
    const auto row = [](const char *signature, const Call &call) {
        const QString full = QString::fromLatin1(signature);
        QString method = full.left(full.indexOf(QLatin1Char('(')));
        method = method.mid(method.lastIndexOf(QLatin1Char(':')) + 1);
        QTest::newRow(signature) << call << method << full;
    };
    const QString text;
    const Setting setting;
    row("QString LoggerModuleAdaptor::defence(int, const QString&)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.defence(1, text); });
    row("QString LoggerModuleAdaptor::deleteTmpLogFiles(const QString&)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.deleteTmpLogFiles(text); });
    row("QString LoggerModuleAdaptor::deleteTmpLogFiles()",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.deleteTmpLogFiles(); });
    row("QVariantMap LoggerModuleAdaptor::generateLogsForWeb()",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.generateLogsForWeb(); });
    row("QVariantMap LoggerModuleAdaptor::getSyslogLevels()",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.getSyslogLevels(); });
    row("QString LoggerModuleAdaptor::level(const QString&, const QString&)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.level(text, text); });
    row("QString LoggerModuleAdaptor::level()",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.level(); });
    row("QString LoggerModuleAdaptor::logComments(const QString&, const QString&)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.logComments(text, text); });
    row("ListSetting LoggerModuleAdaptor::logRemoteServer(Setting)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.logRemoteServer(setting); });
    row("ListSetting LoggerModuleAdaptor::logRemoteServerAddress(Setting)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.logRemoteServerAddress(setting); });
    row("ListSetting LoggerModuleAdaptor::logRemoteServerPort(Setting)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.logRemoteServerPort(setting); });
    row("ListSetting LoggerModuleAdaptor::logRemoteServerProto(Setting)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.logRemoteServerProto(setting); });
    row("QString LoggerModuleAdaptor::redirect(const QString&, const QString&, const QString&)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.redirect(text, text, text); });
    row("QString LoggerModuleAdaptor::redirect(const QString&, const QString&, const QString&, "
        "int)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.redirect(text, text, text, 1); });
    row("QString LoggerModuleAdaptor::redirect(const QString&, const QString&)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.redirect(text, text); });
    row("QString LoggerModuleAdaptor::redirect()",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.redirect(); });
    row("QVariantMap LoggerModuleAdaptor::resetSyslogLevelsToErr()",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.resetSyslogLevelsToErr(); });
    row("QVariantMap LoggerModuleAdaptor::setSyslogLevels(const QString&)",
        [=](LoggerModuleAdaptor &adaptor) { adaptor.setSyslogLevels(text); });
}

void tst_Interface::missingSlotThrowsAndSaysWhich()
{
    QFETCH(std::function<void(LoggerModuleAdaptor &)>, call);
    QFETCH(QString, method);
    QFETCH(QString, signature);
    TestableModule module;
    // An object without any of the slots in the module's place, so that no call can be dispatched.
    QObject bare;
    bare.setObjectName(QStringLiteral("bare"));
    LoggerModuleAdaptor adaptor(&module);
    adaptor.setParent(&bare);

    messages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(recordMessage);
    std::unique_ptr<QVXException> exception;
    try {
        call(adaptor);
    } catch (QVXException *thrown) {
        exception.reset(thrown);
    }
    qInstallMessageHandler(previous);
    adaptor.setParent(&module);

    QVERIFY(exception != nullptr);
    QCOMPARE(exception->text(), QStringLiteral("Adaptor::invokeMethod failed: ") + method);
    QCOMPARE(static_cast<int>(exception->type()), 4);
    QCOMPARE(exception->moduleName(), QStringLiteral("bare"));

    QVERIFY(!messages.isEmpty());
    const Message message = messages.last();
    QCOMPARE(message.type, QtDebugMsg);
    QCOMPARE(message.text, QStringLiteral("Adaptor::invokeMethod failed: ") + method);
    QCOMPARE(message.file, QStringLiteral("LoggerModuleAdaptor"));
    QCOMPARE(message.function, signature);
    QVERIFY(message.line > 0);
}

void tst_Interface::missingSlotAnswersACallerAndTheServiceGoesOn()
{
    // As when an older module stands behind a newer adaptor.
    Phone::Service service(Phone::environmentForExceptions(), true,
                           QStringLiteral(BARE_LOGGER_PROGRAM));
    // The platform ends such a call for its caller instead of leaving it to run into its time-out.
    const QDBusMessage reply = Phone::call(QStringLiteral("generateLogsForWeb"));
    QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
    QVERIFY(Phone::waitForContent(QStringLiteral("/var/log/LoggerModule.log"),
                                  ", type 4: Adaptor::invokeMethod failed: generateLogsForWeb\n"));
    QCOMPARE(Phone::call(QStringLiteral("logComments"), {QString(), QString()}).type(),
             QDBusMessage::ErrorMessage);
    QVERIFY(Phone::waitForContent(QStringLiteral("/var/log/LoggerModule.log"),
                                  ", type 4: Adaptor::invokeMethod failed: logComments\n"));
    QCOMPARE(service.stop(), 0);
}

void tst_Interface::wrongArgumentsAreRefusedByTheBusLayer()
{
    const QDBusMessage reply
        = Phone::call(QStringLiteral("level"), {QStringLiteral("qvxsipua"), 7});
    QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
}

void tst_Interface::logCommentsAnswersOk_data()
{
    QTest::addColumn<QString>("facility");
    QTest::addColumn<QString>("comment");
    QTest::newRow("ordinary") << QStringLiteral("qvxsipua") << QStringLiteral("a comment");
    QTest::newRow("empty facility") << QString() << QStringLiteral("a comment");
    QTest::newRow("empty comment") << QStringLiteral("qvxsipua") << QString();
    QTest::newRow("both empty") << QString() << QString();
    QTest::newRow("unknown facility") << QStringLiteral("nobody") << QStringLiteral("x");
    QTest::newRow("path as facility")
        << QStringLiteral("../../../../etc/host") << QStringLiteral("x");
    QTest::newRow("line breaks") << QStringLiteral("a\nb") << QStringLiteral("1\n2\r\n3");
    QTest::newRow("conversion specifiers")
        << QStringLiteral("%s%n") << QStringLiteral("%s %n %d %1");
    QTest::newRow("long") << QString(100000, QLatin1Char('f')) << QString(100000, QLatin1Char('c'));
    QTest::newRow("Unicode") << QStringLiteral("t\u00e9l\u00e9phone")
                             << QStringLiteral("\u260e \U0001f4de");
}

void tst_Interface::logCommentsAnswersOk()
{
    QFETCH(QString, facility);
    QFETCH(QString, comment);
    QCOMPARE(Phone::text(QStringLiteral("logComments"), {facility, comment}), QStringLiteral("OK"));
}

void tst_Interface::logCommentsWritesWhateverTheLevel()
{
    // Level 0 suppresses error lines of everybody else; syslog-ng lets err through still.
    const QString file = Phone::facilityFile(QStringLiteral("sipmmi"));
    const QByteArray before = Phone::read(file);
    Phone::write(file, "0\n" + before.mid(2));
    QCOMPARE(Phone::text(QStringLiteral("logComments"),
                         {QStringLiteral("sipmmi"), QStringLiteral("comment at level 0 %1")}),
             QStringLiteral("OK"));
    QVERIFY(
        Phone::waitForContent(QStringLiteral("/var/log/sipmmi.log"), "comment at level 0 %1\n"));
    Phone::write(file, before);
}

void tst_Interface::logCommentsWithoutNameGoesToTheServicesLog()
{
    Phone::call(QStringLiteral("logComments"), {QString(), QStringLiteral("to the service's log")});
    // The program name in the line is the application's, which is "LoggerModule" exactly.
    QVERIFY(Phone::waitForContent(QStringLiteral("/var/log/LoggerModule.log"),
                                  "]: to the service's log\n"));
    QVERIFY(Phone::read(QStringLiteral("/var/log/LoggerModule.log")).contains(" LoggerModule["));
}

QTEST_GUILESS_MAIN(tst_Interface)
#include "tst_interface.moc"
