// Calls every method that the running service's introspection lists, with arguments of the right
// types and hostile values, and with wrong types. FUZZ_CALLS and FUZZ_SEED in the environment make
// longer and other runs.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/files.h"
#include "support/phone.h"

#include <QVX/setting.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCall>
#include <QDBusReply>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QHash>
#include <QSet>
#include <QTest>
#include <QXmlStreamReader>

#include <algorithm>
#include <limits>
#include <random>

namespace {

constexpr int callsOfATestRun = 400;
constexpr int callTimeout = 120000; // ms
constexpr int callsPerArchive = 200; // it packs every log
constexpr int hugeSize = 300000;

struct Method
{
    QString name;
    QStringList types; ///< of the arguments
    QStringList arguments; ///< their names
    bool operator==(const Method &other) const
    {
        return name == other.name && types == other.types;
    }
};

class Random
{
public:
    explicit Random(unsigned seed) : m_engine(seed) { }

    int below(int bound) { return static_cast<int>(m_engine() % static_cast<unsigned>(bound)); }
    bool oneIn(int count) { return below(count) == 0; }
    template<typename List>
    auto from(const List &list)
    {
        return list.at(below(static_cast<int>(list.size())));
    }

private:
    std::mt19937 m_engine;
};

/// Words that the service knows, and such as may do harm in a path, a line, a block or a command.
/// Nothing that syslog-ng would run or write to outside the box's log directories.
const QStringList words {
    QStringLiteral("all"),
    QStringLiteral("qvxsipua"),
    QStringLiteral("Telephony"),
    QStringLiteral("defence"),
    QStringLiteral("WebApp"),
    QStringLiteral("LoggerModule"),
    QStringLiteral("no_facility"),
    QStringLiteral("BOOK"),
    QStringLiteral("err"),
    QStringLiteral("debug"),
    QStringLiteral("emerg"),
    QStringLiteral("init"),
    QStringLiteral("restore"),
    QStringLiteral("ram"),
    QStringLiteral("flash"),
    QStringLiteral("usertty"),
    QStringLiteral("V24"),
    QStringLiteral("udp"),
    QStringLiteral("tcp"),
    QStringLiteral("127.0.0.1"),
    QStringLiteral("localhost"),
    QStringLiteral("514"),
    QStringLiteral("true"),
    QStringLiteral("false"),
    QStringLiteral("UNDEFINED"),
    QStringLiteral("read"),
    QStringLiteral("size"),
    QStringLiteral("delete"),
    QStringLiteral("file(\"/var/log/fuzz.log\")"),
    QStringLiteral("file(\"/var/log/fuzz.log\"\")"),
    QStringLiteral("udp(\"127.0.0.1\" port(514))"),
    QStringLiteral("tcp(\"localhost port(601))"),
    QStringLiteral("flash(\"fuzz.log\")"),
    QStringLiteral("usertty(\"root\")"),
    QStringLiteral("{qvxsipua:debug,Telephony:warning}"),
    QStringLiteral("qvxsipua:err,,all:info,:"),
    QString(),
    QStringLiteral("."),
    QStringLiteral(".."),
    QStringLiteral("../../../../../etc/host"),
    QStringLiteral("/etc/host"),
    QStringLiteral("a/b"),
    QStringLiteral("a~b"),
    QStringLiteral("qvxsipua.conf"),
    QStringLiteral("qvxsipua\n# END qvxsipua"),
    QStringLiteral("x\r\ny"),
    QStringLiteral("\"); }; destination d_x { file(\"/etc/x"),
    QStringLiteral("'; touch /etc/x; '"),
    QStringLiteral("$(touch /etc/x)"),
    QStringLiteral("%s%n%1%2"),
    QStringLiteral("{{}}}"),
    QStringLiteral("\t \v"),
    QStringLiteral("\u00e9\u20ac\U0001f4de"),
    QStringLiteral("\u202e\u2028\ufeff\uffff"),
    QString(QChar(0xd800)) + QLatin1Char('x') + QChar(0xdc80),
    QStringLiteral("a") + QChar(QChar::Null) + QStringLiteral("b"),
    QStringLiteral("\x01\x7f\x1b[2J"),
    QStringLiteral("-1"),
    QStringLiteral("99999999999999999999"),
};

QString hostileText(Random &random)
{
    switch (random.below(12)) {
    case 0:
        return random.from(words) + random.from(words);
    case 1:
        return QString(1 + random.below(random.oneIn(8) ? hugeSize : 300),
                       QLatin1Char("a/\n\"{("[random.below(6)]));
    case 2: {
        QString text = random.from(words);
        text.insert(random.below(text.size() + 1), QChar(random.below(0x10000)));
        return text;
    }
    default:
        return random.from(words);
    }
}

int hostileNumber(Random &random)
{
    static const QList<int> numbers {0,
                                     1,
                                     3,
                                     -1,
                                     514,
                                     65535,
                                     65536,
                                     std::numeric_limits<int>::max(),
                                     std::numeric_limits<int>::min()};
    return random.from(numbers);
}

/// Texts that an argument of this name is made for; else most calls would be refused at once.
QStringList sensibleTexts(const QString &argument)
{
    static const QHash<QString, QStringList> texts {
        {QStringLiteral("activity"),
         {QStringLiteral("qvxsipua"), QStringLiteral("Telephony"), QStringLiteral("defence"),
          QStringLiteral("LoggerModule"), QStringLiteral("all")}},
        {QStringLiteral("streamName"),
         {QStringLiteral("qvxsipua"), QStringLiteral("qvxaudio"), QStringLiteral("WebApp"),
          QStringLiteral("all")}},
        {QStringLiteral("level"),
         {QStringLiteral("emerg"), QStringLiteral("err"), QStringLiteral("notice"),
          QStringLiteral("debug"), QStringLiteral("init"), QStringLiteral("restore")}},
        {QStringLiteral("destinationName"),
         {QStringLiteral("ram"), QStringLiteral("flash"), QStringLiteral("usertty"),
          QStringLiteral("udp"), QStringLiteral("tcp"), QStringLiteral("V24"),
          QStringLiteral("init"), QStringLiteral("file(\"/var/log/fuzz.log\")"),
          QStringLiteral("udp(\"127.0.0.1\" port(514))"), QStringLiteral("flash(\"fuzz.log\")")}},
        {QStringLiteral("ipAddress"),
         {QStringLiteral("127.0.0.1"), QStringLiteral("localhost"), QStringLiteral("256.0.0.1")}},
        {QStringLiteral("path"), {QStringLiteral("fuzz"), QStringLiteral("a b.log")}},
        {QStringLiteral("syslogLevels"),
         {QStringLiteral("{qvxsipua:debug,Telephony:warning}"),
          QStringLiteral("Platform:info,qvxsipua:err,all:notice")}},
        {QStringLiteral("todo"),
         {QStringLiteral("read"), QStringLiteral("size"), QStringLiteral("delete")}},
        {QStringLiteral("parameter"), {QStringLiteral("flash")}},
        {QStringLiteral("setting"),
         {QStringLiteral("true"), QStringLiteral("udp"), QStringLiteral("tcp"),
          QStringLiteral("127.0.0.1"), QStringLiteral("514"), QStringLiteral("UNDEFINED")}},
    };
    return texts.value(argument, {QStringLiteral("x")});
}

Setting hostileSetting(Random &random)
{
    Setting setting;
    for (QString Setting::*field :
         {&Setting::name, &Setting::value, &Setting::defaultValue, &Setting::type, &Setting::module,
          &Setting::method, &Setting::description, &Setting::unit}) {
        setting.*field = hostileText(random);
    }
    if (random.oneIn(2)) {
        setting.value = random.from(sensibleTexts(QStringLiteral("setting")));
    }
    setting.minimum = hostileNumber(random);
    setting.maximum = hostileNumber(random);
    setting.access = hostileNumber(random);
    for (int choices = random.below(4); choices > 0; --choices) {
        setting.choices.append({hostileText(random), hostileText(random)});
    }
    setting.readOnly = random.oneIn(2);
    setting.persistent = random.oneIn(2);
    return setting;
}

QVariant valueOfType(Random &random, const QString &type, const QString &argument)
{
    if (type == QLatin1String("s")) {
        return random.oneIn(3) ? hostileText(random) : random.from(sensibleTexts(argument));
    }
    if (type == QLatin1String("i")) {
        return hostileNumber(random);
    }
    return QVariant::fromValue(hostileSetting(random));
}

QVariant valueOfWrongType(Random &random)
{
    switch (random.below(9)) {
    case 0:
        return hostileText(random);
    case 1:
        return hostileNumber(random);
    case 2:
        return random.oneIn(2);
    case 3:
        return 1e300;
    case 4:
        return QByteArray("\xff\x00\x80", 3);
    case 5:
        return QStringList {hostileText(random), hostileText(random)};
    case 6:
        return QVariantMap {{hostileText(random), hostileNumber(random)}};
    case 7:
        return QVariant::fromValue(QDBusVariant(hostileText(random)));
    default:
        return QVariant::fromValue(hostileSetting(random));
    }
}

QVariantList hostileArguments(Random &random, const Method &method)
{
    QVariantList arguments;
    for (int i = 0; i < method.types.size(); ++i) {
        arguments.append(valueOfType(random, method.types.at(i), method.arguments.at(i)));
    }
    if (random.oneIn(6)) { // a wrong type, one argument less, or one more
        const int place = random.below(arguments.size() + 1);
        if (place < arguments.size() && random.oneIn(2)) {
            arguments.removeAt(place);
        }
        arguments.insert(place, valueOfWrongType(random));
    }
    return arguments;
}

QString shortened(const QVariantList &arguments)
{
    QString text;
    for (const QVariant &argument : arguments) {
        text += QStringLiteral(" %1:").arg(QLatin1String(argument.typeName()));
        text += QString::fromLatin1(argument.toString().toUtf8().left(60).toPercentEncoding());
    }
    return text;
}

QList<Method> introspectedMethods()
{
    const QDBusMessage reply = QDBusConnection::systemBus().call(QDBusMessage::createMethodCall(
        Phone::serviceName, Phone::servicePath,
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect")));
    QXmlStreamReader reader(reply.arguments().value(0).toString());
    QList<Method> methods;
    bool isOurs = false;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        const QXmlStreamAttributes attributes = reader.attributes();
        if (reader.name() == QLatin1String("interface")) {
            isOurs = attributes.value(QLatin1String("name")) == Phone::serviceInterface;
        } else if (isOurs && reader.name() == QLatin1String("method")) {
            methods.append({attributes.value(QLatin1String("name")).toString(), {}, {}});
        } else if (isOurs && reader.name() == QLatin1String("arg")
                   && attributes.value(QLatin1String("direction")) == QLatin1String("in")) {
            methods.last().types.append(attributes.value(QLatin1String("type")).toString());
            methods.last().arguments.append(attributes.value(QLatin1String("name")).toString());
        }
    }
    return methods;
}

/// The process that owns the service's name, and when it was started.
QByteArray identityOfService()
{
    const QDBusReply<uint> pid
        = QDBusConnection::systemBus().interface()->servicePid(Phone::serviceName);
    if (!pid.isValid()) {
        return "none";
    }
    const QByteArray number = QByteArray::number(pid.value());
    const QByteArray status = Phone::read(QStringLiteral("/proc/") + QString::fromLatin1(number)
                                          + QStringLiteral("/stat"));
    return number + ' ' + status.mid(status.lastIndexOf(')') + 2).split(' ').value(19);
}

/// Everything that may not come and go in the places where a hostile name could lead to.
QStringList surroundings()
{
    QStringList names;
    for (const char *directory :
         {"/", "/etc", "/etc/init.d", "/tmp", "/data", "/data/QVXApplication",
          "/data/QVXApplication/LoggerModule", "/data/QVXApplication/LoggerModule/syslog",
          "/data/QVXApplication/LoggerModule/syslog/sip",
          "/data/QVXApplication/LoggerModule/syslog/sip/facility", "/run/phone/cwd", "/root"}) {
        for (const QString &name : entriesOf(QLatin1String(directory))) {
            if (name != QLatin1String("logappli.conf.tmp")) {
                names.append(QLatin1String(directory) + QLatin1Char('/') + name);
            }
        }
    }
    return names;
}

} // namespace

class tst_BusFuzz : public QObject
{
    Q_OBJECT

public:
    /// Called before anything else of the test library.
    static void initMain()
    {
        if (qEnvironmentVariableIsSet("FUZZ_CALLS")) {
            qputenv("QTEST_FUNCTION_TIMEOUT", "86400000"); // else five minutes are the limit
        }
    }

private Q_SLOTS:
    void initTestCase();
    void hostileCalls();

private:
    bool isAccepted(const QByteArray &configuration);

    QSet<QByteArray> m_accepted;
};

void tst_BusFuzz::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    registerDBusSetting();
    Phone::resetConfiguration();
    QVERIFY(QTest::qWaitFor([] { return Phone::isOnBus(Phone::serviceName); }, 20000));
}

/// Whether syslog-ng accepts it; each text is shown to it once.
bool tst_BusFuzz::isAccepted(const QByteArray &configuration)
{
    if (m_accepted.contains(configuration)) {
        return true;
    }
    const QString copy = QStringLiteral("/run/phone/test-busfuzz.conf");
    Phone::write(copy, configuration);
    const bool accepted = Phone::syslogAccepts(copy);
    if (accepted) {
        m_accepted.insert(configuration);
    }
    return accepted;
}

void tst_BusFuzz::hostileCalls()
{
    const int calls = qEnvironmentVariableIsSet("FUZZ_CALLS")
        ? qEnvironmentVariableIntValue("FUZZ_CALLS")
        : callsOfATestRun;
    const int seed
        = qEnvironmentVariableIsSet("FUZZ_SEED") ? qEnvironmentVariableIntValue("FUZZ_SEED") : 1;
    qInfo("%d calls with the seed %d", calls, seed);
    Random random(static_cast<unsigned>(seed));

    const QList<Method> methods = introspectedMethods();
    QCOMPARE(methods.size(), 18);
    const Method archive {QStringLiteral("generateLogsForWeb"), {}, {}};
    QVERIFY(methods.contains(archive));

    const QByteArray service = identityOfService();
    const QByteArray backup = Phone::read(Phone::backup);
    const QStringList files = surroundings();
    QVERIFY(isAccepted(backup));
    QHash<QString, int> replies;
    int errors = 0;

    for (int i = 0; i < calls; ++i) {
        const bool isArchive = i % callsPerArchive == callsPerArchive / 2;
        Method method = random.from(methods);
        while (!isArchive && method == archive) {
            method = random.from(methods);
        }
        method = isArchive ? archive : method;
        const QVariantList arguments
            = isArchive ? QVariantList() : hostileArguments(random, method);
        const QString what = QStringLiteral("call %1 of seed %2: ").arg(i).arg(seed) + method.name
            + shortened(arguments);

        QDBusMessage message = QDBusMessage::createMethodCall(
            Phone::serviceName, Phone::servicePath, Phone::serviceInterface, method.name);
        message.setArguments(arguments);
        const QDBusMessage reply
            = QDBusConnection::systemBus().call(message, QDBus::Block, callTimeout);
        if (reply.type() == QDBusMessage::ErrorMessage) {
            ++errors;
            QVERIFY2(reply.errorName() == QLatin1String("org.freedesktop.DBus.Error.UnknownMethod")
                         || reply.errorName()
                             == QLatin1String("org.freedesktop.DBus.Error.InvalidArgs"),
                     qPrintable(what + QStringLiteral(" got ") + reply.errorName()));
        } else {
            QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(what));
            ++replies[method.name + QString::number(method.types.size())];
        }

        // Comes behind every job that the call has started.
        const QString table = Phone::text(QStringLiteral("level"));
        QVERIFY2(table.startsWith(QStringLiteral("   ACTIVITY   ")), qPrintable(what));
        QVERIFY2(identityOfService() == service, qPrintable(what));
        const QByteArray live = Phone::read(Phone::liveConfig);
        QVERIFY2(live == backup || isAccepted(live), qPrintable(what));
        QVERIFY2(live.count('\n') == backup.count('\n'), qPrintable(what));
        QVERIFY2(Phone::read(Phone::backup) == backup, qPrintable(what));
        if (surroundings() != files) {
            QCOMPARE(surroundings(), files);
        }
    }
    // Whatever has been done, there is a way back to the last byte.
    const QString all = QStringLiteral("all");
    const QString init = QStringLiteral("init");
    QCOMPARE(Phone::text(QStringLiteral("redirect"), {all, init}),
             QStringLiteral("All facilities redirected to predefined values "));
    QCOMPARE(Phone::text(QStringLiteral("level"), {all, init}),
             QStringLiteral("All levels changed to err value "));
    QCOMPARE(Phone::read(Phone::liveConfig), backup);

    int answered = 0;
    for (const int count : qAsConst(replies)) {
        answered += count;
    }
    qInfo("%d replies, %d errors, %d accepted configurations", answered, errors, m_accepted.size());
    QVERIFY(answered + errors == calls);
    if (calls >= callsOfATestRun) {
        QVERIFY2(replies.size() == methods.size(),
                 qPrintable(QStringList(replies.keys()).join(QLatin1Char(' '))));
    }
}

QTEST_GUILESS_MAIN(tst_BusFuzz)
#include "tst_busfuzz.moc"
