// The settings record and its D-Bus form, between two connections of this process that talk through
// a socket in its own directory.
// SPDX-License-Identifier: MIT
#include <QVX/setting.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QDBusServer>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

namespace {

const QString path = QStringLiteral("/settings");

Setting sample()
{
    Setting setting;
    setting.name = QStringLiteral("name");
    setting.value = QString::fromUtf8("välue😀");
    setting.defaultValue = QStringLiteral("defaultValue");
    setting.type = QStringLiteral("type");
    setting.module = QStringLiteral("module");
    setting.method = QStringLiteral("method");
    setting.description = QStringLiteral("description");
    setting.minimum = -1;
    setting.maximum = 2;
    setting.access = 3;
    setting.choices = {{QStringLiteral("0"), QStringLiteral("off")},
                       {QStringLiteral("1"), QStringLiteral("on")}};
    setting.readOnly = true;
    setting.persistent = false;
    setting.unit = QStringLiteral("unit");
    return setting;
}

/// The members in their order, each as a text.
QStringList members(const Setting &setting)
{
    QStringList texts {setting.name,
                       setting.value,
                       setting.defaultValue,
                       setting.type,
                       setting.module,
                       setting.method,
                       setting.description,
                       QString::number(setting.minimum),
                       QString::number(setting.maximum),
                       QString::number(setting.access)};
    for (const auto &choice : setting.choices) {
        texts << choice.first << choice.second;
    }
    const auto text
        = [](bool value) { return value ? QStringLiteral("true") : QStringLiteral("false"); };
    texts << text(setting.readOnly) << text(setting.persistent) << setting.unit;
    return texts;
}

/// What stands in @p argument, one by one, without the help of the code under test.
QStringList elements(const QDBusArgument &argument)
{
    QStringList texts;
    while (!argument.atEnd()) {
        switch (argument.currentType()) {
        case QDBusArgument::StructureType:
            argument.beginStructure();
            texts += elements(argument);
            argument.endStructure();
            break;
        case QDBusArgument::ArrayType:
            argument.beginArray();
            texts += elements(argument);
            argument.endArray();
            break;
        default:
            texts.append(argument.asVariant().toString());
        }
    }
    return texts;
}

} // namespace

/// Answers every call with the arguments that it got, and keeps what they were.
class Echo : public QDBusVirtualObject
{
    Q_OBJECT

public:
    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        signature = message.signature();
        const QDBusArgument argument = message.arguments().constFirst().value<QDBusArgument>();
        received = elements(argument);
        return connection.send(message.createReply(message.arguments()));
    }

    QString signature;
    QStringList received;
};

class TestSetting : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void signatures();
    void registeringAgainDoesNoHarm();
    void typesAreKnownByName();
    void undefinedValue();
    void valueIsTheText_data();
    void valueIsTheText();
    void newSettingIsEmpty();
    void settingTravels_data();
    void settingTravels();
    void listOfSettingsTravels_data();
    void listOfSettingsTravels();
    void readingReplacesTheChoices();

private:
    QDBusMessage call(const QVariant &argument);

    QScopedPointer<QTemporaryDir> m_directory;
    QScopedPointer<QDBusServer> m_server;
    QScopedPointer<Echo> m_echo;
};

void TestSetting::initTestCase()
{
    registerDBusSetting();

    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    m_echo.reset(new Echo);
    m_server.reset(new QDBusServer(QStringLiteral("unix:path=")
                                   + m_directory->filePath(QStringLiteral("socket"))));
    QVERIFY2(m_server->isConnected(), qPrintable(m_server->lastError().message()));
    bool accepted = false;
    connect(m_server.data(), &QDBusServer::newConnection, this,
            [&accepted, this](QDBusConnection connection) {
                accepted = connection.registerVirtualObject(path, m_echo.data());
            });
    const QDBusConnection client
        = QDBusConnection::connectToPeer(m_server->address(), QStringLiteral("client"));
    QVERIFY2(client.isConnected(), qPrintable(client.lastError().message()));
    QTRY_VERIFY(accepted);
    m_server->disconnect(this);
}

void TestSetting::cleanupTestCase()
{
    QDBusConnection::disconnectFromPeer(QStringLiteral("client"));
    m_server.reset();
    m_echo.reset();
    m_directory.reset();
}

QDBusMessage TestSetting::call(const QVariant &argument)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        QString(), path, QStringLiteral("com.example.Echo"), QStringLiteral("echo"));
    message.setArguments({argument});
    const QDBusPendingCall pending
        = QDBusConnection(QStringLiteral("client")).asyncCall(message, 5000);
    QElapsedTimer timer;
    timer.start();
    while (!pending.isFinished() && timer.elapsed() < 6000) {
        QTest::qWait(1);
    }
    return pending.reply();
}

void TestSetting::signatures()
{
    QCOMPARE(QByteArray(QDBusMetaType::typeToSignature(qMetaTypeId<Setting>())),
             QByteArray("(sssssssiiia(ss)bbs)"));
    QCOMPARE(QByteArray(QDBusMetaType::typeToSignature(qMetaTypeId<ListSetting>())),
             QByteArray("a(sssssssiiia(ss)bbs)"));
}

void TestSetting::registeringAgainDoesNoHarm()
{
    const int setting = qMetaTypeId<Setting>();
    const int list = qMetaTypeId<ListSetting>();
    registerDBusSetting();
    registerDBusSetting();
    QCOMPARE(qMetaTypeId<Setting>(), setting);
    QCOMPARE(qMetaTypeId<ListSetting>(), list);
    signatures();
}

void TestSetting::typesAreKnownByName()
{
    QCOMPARE(QMetaType::type("Setting"), qMetaTypeId<Setting>());
    QCOMPARE(QMetaType::type("ListSetting"), qMetaTypeId<ListSetting>());
}

void TestSetting::undefinedValue()
{
    QCOMPARE(Setting::UNDEFINEDVALUE, QStringLiteral("UNDEFINED"));
}

void TestSetting::valueIsTheText_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("empty") << QString();
    QTest::newRow("text") << QStringLiteral("10.0.0.5");
    QTest::newRow("not set") << QStringLiteral("UNDEFINED");
}

void TestSetting::valueIsTheText()
{
    QFETCH(QString, value);
    Setting setting = sample();
    setting.value = value;
    QCOMPARE(setting.getValue(), value);
}

void TestSetting::newSettingIsEmpty()
{
    QStringList expected;
    for (int text = 0; text < 7; ++text) {
        expected.append(QString());
    }
    expected << QStringLiteral("0") << QStringLiteral("0") << QStringLiteral("0")
             << QStringLiteral("false") << QStringLiteral("false") << QString();
    QCOMPARE(members(Setting()), expected);
}

void TestSetting::settingTravels_data()
{
    QTest::addColumn<Setting>("setting");

    QTest::newRow("all members") << sample();
    QTest::newRow("empty") << Setting();
    Setting other = sample();
    other.choices.clear();
    other.readOnly = false;
    other.persistent = true;
    QTest::newRow("no choices, persistent") << other;
    other.choices = {{QString(), QString()}};
    other.minimum = std::numeric_limits<int>::min();
    other.maximum = std::numeric_limits<int>::max();
    QTest::newRow("empty choice, widest range") << other;
}

void TestSetting::settingTravels()
{
    QFETCH(Setting, setting);
    const QDBusMessage reply = call(QVariant::fromValue(setting));
    QCOMPARE(static_cast<int>(reply.type()), static_cast<int>(QDBusMessage::ReplyMessage));
    QCOMPARE(m_echo->signature, QStringLiteral("(sssssssiiia(ss)bbs)"));
    QCOMPARE(m_echo->received, members(setting));
    QCOMPARE(members(qdbus_cast<Setting>(reply.arguments().constFirst())), members(setting));
}

void TestSetting::listOfSettingsTravels_data()
{
    QTest::addColumn<ListSetting>("settings");

    Setting other = sample();
    other.name = QStringLiteral("other");
    other.choices = {{QStringLiteral("2"), QStringLiteral("two")}};
    QTest::newRow("no setting") << ListSetting();
    QTest::newRow("one setting") << ListSetting {other};
    QTest::newRow("three settings") << ListSetting {sample(), Setting(), other};
}

void TestSetting::listOfSettingsTravels()
{
    QFETCH(ListSetting, settings);
    QStringList expected;
    for (const Setting &setting : settings) {
        expected += members(setting);
    }
    const QDBusMessage reply = call(QVariant::fromValue(settings));
    QCOMPARE(static_cast<int>(reply.type()), static_cast<int>(QDBusMessage::ReplyMessage));
    QCOMPARE(m_echo->signature, QStringLiteral("a(sssssssiiia(ss)bbs)"));
    QCOMPARE(m_echo->received, expected);

    QStringList returned;
    for (const Setting &setting : qdbus_cast<ListSetting>(reply.arguments().constFirst())) {
        returned += members(setting);
    }
    QCOMPARE(returned, expected);
}

void TestSetting::readingReplacesTheChoices()
{
    const QDBusMessage reply = call(QVariant::fromValue(sample()));
    Setting setting;
    setting.choices = {{QStringLiteral("left"), QStringLiteral("over")}};
    const QDBusArgument argument = reply.arguments().constFirst().value<QDBusArgument>();
    argument >> setting;
    QCOMPARE(members(setting), members(sample()));
}

QTEST_GUILESS_MAIN(TestSetting)
#include "tst_setting.moc"
