// The archive for the web interface: what is in it, how it is published, and what goes wrong.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/faults.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/processes.h"
#include "support/testablemodule.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

const QString archive = QStringLiteral("/var/volatile/tmp/all_logs.tar.gz");
const QString published = QStringLiteral("/www/pages/all_logs.tar.gz");
const QString record = QStringLiteral("/run/phone/archive.record");
const QString shellRecord = QStringLiteral("/run/phone/archive.shell");
const QString statusFile = QStringLiteral("/run/phone/archive.status");

const QVariantMap success {
    {QStringLiteral("value"), QStringLiteral("0")},
    {QStringLiteral("msg"), QStringLiteral("Generate logs successfully")},
};
const QVariantMap failure {
    {QStringLiteral("value"), QStringLiteral("1")},
    {QStringLiteral("msg"), QStringLiteral("Error on exit")},
};

QVariantMap generate()
{
    const QDBusMessage reply = Phone::call(QStringLiteral("generateLogsForWeb"));
    return qdbus_cast<QVariantMap>(reply.arguments().value(0));
}

/// A search path that finds the programs of the fakes folder @p name first.
QString pathWith(const QString &name)
{
    return Faults::fake(name) + QLatin1Char(':') + qEnvironmentVariable("PATH");
}

QProcessEnvironment environmentWith(const QString &name)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"), pathWith(name));
    return environment;
}

/// Runs a program to its end; what it wrote to standard output, or a null array when it failed.
QByteArray outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        return {};
    }
    const QByteArray output = process.readAllStandardOutput();
    return output.isNull() ? QByteArray("") : output;
}

/// What the phone's web server gives out.
QByteArray download()
{
    const QString password
        = QString::fromUtf8(Phone::read(QStringLiteral("/run/phone/web-password")).trimmed());
    return outputOf(QStringLiteral("curl"),
                    {QStringLiteral("-sf"), QStringLiteral("--digest"), QStringLiteral("-u"),
                     QStringLiteral("support:") + password,
                     QStringLiteral("http://127.0.0.1/all_logs.tar.gz")});
}

/// As long as it exists, /bin/sh cannot be executed: the null device is mounted on it, or where the
/// kernel lets nobody mount, it is no executable file.
class NoShell
{
public:
    NoShell()
    {
        m_mounted = mount("/dev/null", shell, nullptr, MS_BIND, nullptr) == 0;
        if (!m_mounted && chmod(shell, 0644) != 0) {
            qFatal("the shell cannot be taken away");
        }
    }
    ~NoShell()
    {
        if (m_mounted) {
            umount2(shell, MNT_DETACH);
        } else {
            chmod(shell, 0755);
        }
    }
    Q_DISABLE_COPY(NoShell)

private:
    static constexpr const char *shell = "/bin/sh";
    bool m_mounted = false;
};

} // namespace

class tst_LogArchive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void webServerOffersWhatWasLogged();
    void nextCallMakesItAnew();
    void commandLineIsLiteral();
    void nothingIsLogged();
    void missingDirectory_data();
    void missingDirectory();
    void linkThatCannotBeMade();
    void otherFileInTheLinksPlaceGivesWay();
    // From here on with services of the test's own, after the end of the booted one.
    void failingTar_data();
    void failingTar();
    void outputOfAnyLength();
    void shellThatDies();
    void noDescriptorIsLeft();
    void shellThatCannotBeExecuted();
    void longerThanTheTimeOut();
};

void tst_LogArchive::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_LogArchive::init()
{
    Faults::removeAll(archive);
    Faults::removeAll(published);
    Faults::removeAll(record);
    Faults::removeAll(shellRecord);
    Faults::removeAll(statusFile);
}

void tst_LogArchive::cleanup()
{
    init();
    QDir().mkpath(QStringLiteral("/data/core"));
    QDir().mkpath(QStringLiteral("/www/pages"));
    QDir().mkpath(QStringLiteral("/var/volatile/tmp"));
}

void tst_LogArchive::webServerOffersWhatWasLogged()
{
    const QString redirect = QStringLiteral("redirect");
    Phone::call(redirect,
                {QStringLiteral("sipmmi"), QStringLiteral("flash"), QStringLiteral("mmi")});
    const QTemporaryDir elsewhere;
    const QString target = elsewhere.filePath(QStringLiteral("target"));
    Phone::write(target, "behind a link\n");
    Phone::write(QStringLiteral("/data/core/core.1234"),
                 QByteArray("\x7f"
                            "ELF\0core",
                            9));
    QVERIFY(QFile::link(target, QStringLiteral("/var/log/link.log")));
    QVERIFY(QFile::link(elsewhere.path(), QStringLiteral("/log/directory")));
    QVERIFY(Phone::logUntilSeen(Phone::activity(QStringLiteral("qvxsipua")),
                                QStringLiteral("/var/log/qvxsipua.log"), QStringLiteral("in RAM")));
    QVERIFY(Phone::logUntilSeen(Phone::activity(QStringLiteral("sipmmi")),
                                QStringLiteral("/log/flash/mmi.log"), QStringLiteral("in flash")));
    QVERIFY(Phone::logUntilSeen(Phone::activity(QStringLiteral("defence")),
                                QStringLiteral("/log/Defence.log"), QStringLiteral("of defence")));

    QCOMPARE(generate(), success);
    QCOMPARE(Faults::state(published), QByteArray("<link to ") + archive.toUtf8() + '>');
    const QByteArray content = download();
    QVERIFY(!content.isEmpty());
    QCOMPARE(content, Phone::read(archive));

    const QTemporaryDir unpacked;
    const QString file = unpacked.filePath(QStringLiteral("all_logs.tar.gz"));
    Phone::write(file, content);
    QVERIFY(!outputOf(QStringLiteral("tar"),
                      {QStringLiteral("-xzf"), file, QStringLiteral("-C"), unpacked.path()})
                 .isNull());
    const auto has = [&](const QString &path, const QByteArray &part) {
        const QFileInfo info(unpacked.filePath(path));
        return info.isFile() && !info.isSymLink() && Phone::read(info.filePath()).contains(part);
    };
    QVERIFY(has(QStringLiteral("var/log/qvxsipua.log"), "in RAM"));
    QVERIFY(has(QStringLiteral("log/flash/mmi.log"), "in flash"));
    QVERIFY(has(QStringLiteral("log/Defence.log"), "of defence"));
    QVERIFY(has(QStringLiteral("data/core/core.1234"), QByteArray("ELF\0core", 8)));
    QVERIFY(has(QStringLiteral("var/log/link.log"), "behind a link\n"));
    QVERIFY(has(QStringLiteral("log/directory/target"), "behind a link\n"));

    Faults::removeAll(QStringLiteral("/var/log/link.log"));
    Faults::removeAll(QStringLiteral("/log/directory"));
    Faults::removeAll(QStringLiteral("/data/core/core.1234"));
    Phone::resetConfiguration();
}

void tst_LogArchive::nextCallMakesItAnew()
{
    QCOMPARE(generate(), success);
    Phone::write(QStringLiteral("/data/core/second"), "second\n");
    Phone::write(archive, "no archive");
    QCOMPARE(generate(), success);
    QVERIFY(outputOf(QStringLiteral("tar"), {QStringLiteral("-tzf"), archive})
                .contains("\ndata/core/second\n"));
    QCOMPARE(download(), Phone::read(archive));
    Faults::removeAll(QStringLiteral("/data/core/second"));
}

void tst_LogArchive::commandLineIsLiteral()
{
    const Faults::SearchPath path(pathWith(QStringLiteral("archive-noting")));
    TestableModule module;
    QCOMPARE(module.generateLogsForWeb(), success);
    QCOMPARE(Phone::read(record),
             QByteArray("tar <-chzf> </var/volatile/tmp/all_logs.tar.gz> </var/log> </log> "
                        "</data/core>\n"
                        "ln <-sf> </var/volatile/tmp/all_logs.tar.gz> "
                        "</www/pages/all_logs.tar.gz>\n"));
    QCOMPARE(Phone::read(shellRecord),
             QByteArray("/bin/sh|-c|tar -chzf /var/volatile/tmp/all_logs.tar.gz /var/log /log "
                        "/data/core && ln -sf /var/volatile/tmp/all_logs.tar.gz "
                        "/www/pages/all_logs.tar.gz|"));
}

void tst_LogArchive::nothingIsLogged()
{
    const LogCapture log;
    TestableModule module;
    QCOMPARE(module.generateLogsForWeb(), success);
    Faults::removeAll(QStringLiteral("/data/core"));
    QCOMPARE(module.generateLogsForWeb(), failure);
    QCOMPARE(Faults::logged(log), QStringList());
}

void tst_LogArchive::missingDirectory_data()
{
    QTest::addColumn<QString>("directory");
    QTest::newRow("core dumps") << QStringLiteral("/data/core");
    QTest::newRow("volatile storage") << QStringLiteral("/var/volatile/tmp");
}

void tst_LogArchive::missingDirectory()
{
    QFETCH(QString, directory);
    Faults::removeAll(directory);
    QCOMPARE(generate(), failure);
    QCOMPARE(Faults::state(published), QByteArray("<missing>"));
}

void tst_LogArchive::linkThatCannotBeMade()
{
    Faults::removeAll(QStringLiteral("/www/pages"));
    QCOMPARE(generate(), failure);
    QVERIFY(QFile::exists(archive));
}

void tst_LogArchive::otherFileInTheLinksPlaceGivesWay()
{
    Phone::write(published, "page\n");
    QCOMPARE(generate(), success);
    QCOMPARE(Faults::state(published), QByteArray("<link to ") + archive.toUtf8() + '>');
}

void tst_LogArchive::failingTar_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("a file grew while it was read") << 1;
    QTest::newRow("fatal") << 2;
    QTest::newRow("no such program") << 127;
    QTest::newRow("ended by a signal, to the shell") << 137;
    QTest::newRow("the highest there is") << 255;
}

void tst_LogArchive::failingTar()
{
    QFETCH(int, status);
    Phone::write(statusFile, QByteArray::number(status));
    const Phone::Service service(environmentWith(QStringLiteral("archive-exit")));
    QCOMPARE(generate(), failure);
    QCOMPARE(Faults::state(published), QByteArray("<missing>"));
    // The link of an earlier archive is not refreshed either.
    QVERIFY(QFile::link(QStringLiteral("/earlier"), published));
    QCOMPARE(generate(), failure);
    QCOMPARE(Faults::state(published), QByteArray("<link to /earlier>"));
    Phone::write(statusFile, "0");
    QCOMPARE(generate(), success);
    QCOMPARE(Faults::state(published), QByteArray("<link to ") + archive.toUtf8() + '>');
}

void tst_LogArchive::outputOfAnyLength()
{
    const Phone::Service service(environmentWith(QStringLiteral("archive-talking")));
    QCOMPARE(generate(), success);
    QCOMPARE(service.output(), QByteArray());
}

void tst_LogArchive::shellThatDies()
{
    const Phone::Service service(environmentWith(QStringLiteral("archive-killing")));
    QCOMPARE(generate(), failure);
    const QList<pid_t> pids = Processes::pids(Phone::read(record));
    QCOMPARE(pids.size(), 2);
    for (const pid_t pid : pids) {
        QVERIFY(pid > 1);
        QVERIFY2(QTest::qWaitFor([pid] { return !Processes::runs(pid); }, 1000),
                 Phone::read(record));
    }
}

void tst_LogArchive::noDescriptorIsLeft()
{
    TestableModule module;
    QVariantMap answer;
    {
        rlimit saved = {};
        getrlimit(RLIMIT_NOFILE, &saved);
        const rlimit none = {0, saved.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        answer = module.generateLogsForWeb();
        setrlimit(RLIMIT_NOFILE, &saved);
    }
    QCOMPARE(answer, failure);
    QVERIFY(!QFile::exists(archive));
    QCOMPARE(Faults::state(published), QByteArray("<missing>"));
    QCOMPARE(module.generateLogsForWeb(), success);
    QVERIFY(QFile::exists(archive));
}

void tst_LogArchive::shellThatCannotBeExecuted()
{
    TestableModule module;
    QVariantMap answer;
    {
        const NoShell noShell;
        answer = module.generateLogsForWeb();
    }
    QCOMPARE(answer, success);
    QCOMPARE(Faults::state(archive), QByteArray("<missing>"));
    QCOMPARE(module.generateLogsForWeb(), success);
    QVERIFY(QFile::exists(archive));
}

void tst_LogArchive::longerThanTheTimeOut()
{
    const Phone::Service service(environmentWith(QStringLiteral("archive-endless")));
    QCOMPARE(generate(), success);
    const QList<pid_t> pids = Processes::pids(Phone::read(record));
    QCOMPARE(pids.size(), 3);
    for (const pid_t pid : pids) {
        QVERIFY(pid > 1);
        QVERIFY2(QTest::qWaitFor([pid] { return !Processes::runs(pid); }, 1000),
                 Phone::read(record));
    }
    QCOMPARE(service.output(), QByteArray());
    QCOMPARE(Faults::state(archive), QByteArray("<missing>"));
    QCOMPARE(Faults::state(published), QByteArray("<missing>"));
    QCOMPARE(Phone::text(QStringLiteral("logComments"), {QString(), QString()}),
             QStringLiteral("OK"));
}

QTEST_GUILESS_MAIN(tst_LogArchive)
#include "tst_logarchive.moc"
