// Ten clients call everything there is for a long time: every call is answered, and the service
// uses no more of anything than before. The environment variable SOAK_CALLS makes it longer,
// RANDOM_SEED repeats a run.
// SPDX-License-Identifier: MIT
#include "support/phone.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QRandomGenerator>
#include <QTest>

#include <QVX/setting.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int clientCount = 10;
constexpr int defaultCalls = 600;
constexpr int parts = 5; ///< the memory is looked at after each
constexpr int callTimeout = 120000; // ms

// The sanitizers keep freed memory for a while.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryTells = false;
#else
constexpr bool memoryTells = true;
#endif
constexpr int memoryMargin = 512; // KiB

const QStringList activities {QStringLiteral("qvxaudio"), QStringLiteral("qvxsipua"),
                              QStringLiteral("Platform"), QStringLiteral("sipmmi"),
                              QStringLiteral("nobody"),   QStringLiteral("all")};
const QStringList levels {QStringLiteral("err"), QStringLiteral("debug"), QStringLiteral("info"),
                          QStringLiteral("init"), QStringLiteral("verbose")};

struct Call
{
    QString method;
    QVariantList arguments;
};

Call randomCall(QRandomGenerator &random)
{
    const QString activity = activities.at(random.bounded(activities.size()));
    const QString level = levels.at(random.bounded(levels.size()));
    const QString one = QStringLiteral("qvxsipua");
    switch (random.bounded(64)) {
    case 0:
        return {QStringLiteral("generateLogsForWeb"), {}};
    case 1:
        return {QStringLiteral("deleteTmpLogFiles"), {}};
    case 2:
        return {QStringLiteral("deleteTmpLogFiles"), {QStringLiteral("flash")}};
    case 3:
        return {QStringLiteral("redirect"), {QStringLiteral("all"), QStringLiteral("init")}};
    case 4:
        return {QStringLiteral("logRemoteServerPort"), {QVariant::fromValue(Setting())}};
    case 5:
        return {QStringLiteral("logRemoteServer"), {QVariant::fromValue(Setting())}};
    case 6:
        return {QStringLiteral("resetSyslogLevelsToErr"), {}};
    default:
        break;
    }
    switch (random.bounded(12)) {
    case 0:
        return {QStringLiteral("level"), {activity, level}};
    case 1:
        return {QStringLiteral("redirect"),
                {one, QStringLiteral("ram"), QStringLiteral("s%1").arg(random.bounded(4))}};
    case 2:
        return {
            QStringLiteral("redirect"),
            {one, QStringLiteral("udp"), QStringLiteral("127.0.0.1"), 5514 + random.bounded(4)}};
    case 3:
        return {QStringLiteral("redirect"), {activity, QStringLiteral("no destination")}};
    case 4:
        return {QStringLiteral("setSyslogLevels"),
                {QString(QStringLiteral("{qvxaudio:") + level + QStringLiteral(",sipmmi:") + level
                         + QLatin1Char('}'))}};
    case 5:
        return {QStringLiteral("getSyslogLevels"), {}};
    case 6:
        return {QStringLiteral("level"), {}};
    case 7:
        return {QStringLiteral("redirect"), {}};
    case 8:
        return {QStringLiteral("defence"), {random.bounded(10), QStringLiteral("read")}};
    case 9:
        return {QStringLiteral("defence"), {1, QStringLiteral("delete")}};
    case 10:
        return {QStringLiteral("deleteTmpLogFiles"), {QStringLiteral("FLASH")}};
    default:
        return {QStringLiteral("logComments"), {activity, QStringLiteral("a comment")}};
    }
}

/// Makes @p count calls over a connection of its own. @return what was not answered
QStringList makeCalls(int client, quint32 seed, int count)
{
    const QString name = QStringLiteral("soak%1").arg(client);
    QRandomGenerator random(seed + quint32(client));
    QStringList problems;
    {
        const QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SystemBus, name);
        for (int number = 0; number < count; ++number) {
            const Call call = randomCall(random);
            QDBusMessage message = QDBusMessage::createMethodCall(
                Phone::serviceName, Phone::servicePath, Phone::serviceInterface, call.method);
            message.setArguments(call.arguments);
            const QDBusMessage reply = bus.call(message, QDBus::Block, callTimeout);
            if (reply.type() != QDBusMessage::ReplyMessage) {
                problems.append(call.method + QStringLiteral(": ") + reply.errorMessage());
            }
        }
    }
    QDBusConnection::disconnectFromBus(name);
    return problems;
}

/// What a process has of the things that must not grow.
struct Usage
{
    int memory = 0; ///< KiB that no other process shares
    int descriptors = 0;
    int threads = 0;
    int children = 0; ///< those that are waited for included
};

Usage usageOf(qint64 pid)
{
    Usage usage;
    const QString process = QStringLiteral("/proc/%1/").arg(pid);
    const QList<QByteArray> memory
        = Phone::read(process + QStringLiteral("smaps_rollup")).split('\n');
    for (const QByteArray &line : memory) {
        if (line.startsWith("Private_Dirty:")) {
            usage.memory = line.simplified().split(' ').value(1).toInt();
        }
    }
    usage.descriptors = QDir(process + QStringLiteral("fd"))
                            .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                            .size();
    const QStringList threads
        = QDir(process + QStringLiteral("task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    usage.threads = threads.size();
    for (const QString &thread : threads) {
        const QByteArray children
            = Phone::read(process + QStringLiteral("task/") + thread + QStringLiteral("/children"))
                  .trimmed();
        usage.children += children.isEmpty() ? 0 : children.split(' ').size();
    }
    return usage;
}

} // namespace

class tst_Soak : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void nothingGrows();

private:
    QStringList callFromAllClients(quint32 seed, int calls);
};

void tst_Soak::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    registerDBusSetting();
    Phone::resetConfiguration();
}

QStringList tst_Soak::callFromAllClients(quint32 seed, int calls)
{
    std::vector<QStringList> problems(clientCount);
    std::vector<std::thread> threads;
    for (int client = 0; client < clientCount; ++client) {
        threads.emplace_back([&problems, client, seed, calls] {
            problems[std::size_t(client)] = makeCalls(client, seed, calls / clientCount);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    QStringList all;
    for (const QStringList &some : problems) {
        all += some;
    }
    // The listing waits for whatever goes on in the background still.
    Phone::call(QStringLiteral("level"));
    return all;
}

void tst_Soak::nothingGrows()
{
    const int calls = qEnvironmentVariableIsSet("SOAK_CALLS")
        ? qEnvironmentVariableIntValue("SOAK_CALLS")
        : defaultCalls;
    const quint32 seed = qEnvironmentVariableIsSet("RANDOM_SEED")
        ? qEnvironmentVariable("RANDOM_SEED").toUInt()
        : QRandomGenerator::system()->generate();
    qInfo("RANDOM_SEED=%u", seed);

    const Phone::Service service;
    // Everything is loaded, and each pool has its size, after some calls of each kind.
    QCOMPARE(callFromAllClients(seed + clientCount, qMin(calls, 2000)), QStringList());
    const Usage before = usageOf(service.pid());
    QByteArray memory;
    for (int part = 0; part < parts; ++part) {
        QCOMPARE(callFromAllClients(seed + quint32(part * clientCount), calls / parts),
                 QStringList());
        memory += ' ';
        memory += QByteArray::number(usageOf(service.pid()).memory);
    }
    // Idle threads of the pool end by themselves.
    QTRY_VERIFY_WITH_TIMEOUT(usageOf(service.pid()).threads <= before.threads, 60000);
    const Usage after = usageOf(service.pid());

    qInfo("%d calls; private memory before %d KiB, in the course of them%s KiB; before and after: "
          "descriptors %d, %d; threads %d, %d; children %d, %d",
          calls, before.memory, memory.constData(), before.descriptors, after.descriptors,
          before.threads, after.threads, before.children, after.children);
    QCOMPARE(after.children, 0);
    QVERIFY(after.descriptors <= before.descriptors);
    QVERIFY(!memoryTells || after.memory <= before.memory + memoryMargin);
}

QTEST_GUILESS_MAIN(tst_Soak)
#include "tst_soak.moc"
