// Whole operations while the phone around them fails: a disk that is full at any write, directories
// that cannot be written, a syslog daemon that hangs or is gone.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/faults.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/processes.h"
#include "support/testablemodule.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QTest>

#include <csignal>
#include <memory>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

const QString syslogDirectory = QStringLiteral("/data/QVXApplication/LoggerModule/syslog");

using Files = QMap<QString, QByteArray>;

/// All files below the directory of the syslog configuration.
Files currentFiles()
{
    Files files;
    const QStringList directories {syslogDirectory, syslogDirectory + QStringLiteral("/sip"),
                                   syslogDirectory + QStringLiteral("/sip/facility")};
    for (const QString &directory : directories) {
        const QStringList names = QDir(directory).entryList(QDir::Files);
        for (const QString &name : names) {
            const QString path = directory + QLatin1Char('/') + name;
            files.insert(path, Phone::read(path));
        }
    }
    return files;
}

void put(const Files &files)
{
    QDir().mkpath(Phone::facilityDirectory);
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        Phone::write(file.key(), file.value());
    }
}

/// The facility files that are not whole, each with what is in it.
QStringList brokenFacilityFiles()
{
    QStringList broken;
    const QStringList names = QDir(Phone::facilityDirectory).entryList(QDir::Files);
    for (const QString &name : names) {
        const QByteArray content = Phone::read(Phone::facilityDirectory + name);
        if (!content.endsWith("\nfacility signature field\n")) {
            broken.append(name + QStringLiteral(": ") + QString::fromUtf8(content));
        }
    }
    return broken;
}

/// As long as it exists, nobody can write, replace or remove the file: by the immutable flag, or
/// where the file system does not know it, by a mount on it.
class Immutable
{
public:
    explicit Immutable(const QString &path) : m_path(QFile::encodeName(path))
    {
        m_flagged = setFlag(true);
        if (!m_flagged
            && (mount(m_path.constData(), m_path.constData(), nullptr, MS_BIND, nullptr) != 0
                || mount(nullptr, m_path.constData(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY,
                         nullptr)
                    != 0)) {
            qFatal("%s cannot be made immutable", m_path.constData());
        }
    }
    ~Immutable()
    {
        if (m_flagged) {
            setFlag(false);
        } else {
            umount2(m_path.constData(), MNT_DETACH);
        }
    }
    Q_DISABLE_COPY(Immutable)

private:
    bool setFlag(bool on)
    {
        const int descriptor = open(m_path.constData(), O_RDONLY | O_CLOEXEC);
        int flags = 0;
        const bool read = ioctl(descriptor, FS_IOC_GETFLAGS, &flags) == 0;
        flags = on ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
        const bool set = read && ioctl(descriptor, FS_IOC_SETFLAGS, &flags) == 0;
        close(descriptor);
        return set;
    }

    QByteArray m_path;
    bool m_flagged = false;
};

/// The operations that write, by name.
QString operate(TestableModule &module, const QString &operation)
{
    const QString activity = QStringLiteral("qvxsipua");
    if (operation == QLatin1String("level of one")) {
        return module.level(activity, QStringLiteral("debug"));
    }
    if (operation == QLatin1String("level of all")) {
        return module.level(QStringLiteral("all"), QStringLiteral("info"));
    }
    if (operation == QLatin1String("restore")) {
        return module.level(QStringLiteral("all"), QStringLiteral("restore"));
    }
    if (operation == QLatin1String("destination of one")) {
        return module.redirect(activity, QStringLiteral("ram"), QStringLiteral("sip"));
    }
    if (operation == QLatin1String("destination of all")) {
        return module.redirect(QStringLiteral("all"), QStringLiteral("console"));
    }
    if (operation == QLatin1String("predefined destinations")) {
        return module.redirect(QStringLiteral("all"), QStringLiteral("init"));
    }
    return module.setSyslogLevels(QStringLiteral("{qvxsipua:notice,sipmmi:warning}"), false)
        .value(QStringLiteral("msg"))
        .toString();
}

/// The files before an operation, and the live text that it makes when nothing goes wrong.
struct Texts
{
    Files before;
    QByteArray changed;

    /// Whether @p text is one of the three that the live file may have afterwards.
    bool mayBeLive(const QByteArray &text) const
    {
        return text == before.value(Phone::liveConfig) || text == changed
            || text == before.value(Phone::backup);
    }
};

/// Does the operation once.
Texts tryOut(TestableModule &module, const QString &operation)
{
    // A text of the user's own, other than the backup.
    module.level(QStringLiteral("WebApp"), QStringLiteral("warning"));
    Texts texts;
    texts.before = currentFiles();
    operate(module, operation);
    texts.changed = Phone::read(Phone::liveConfig);
    return texts;
}

const QStringList operations {QStringLiteral("level of one"),
                              QStringLiteral("level of all"),
                              QStringLiteral("restore"),
                              QStringLiteral("destination of one"),
                              QStringLiteral("destination of all"),
                              QStringLiteral("predefined destinations"),
                              QStringLiteral("levels in bulk")};

} // namespace

class tst_Faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void fullDisk_data();
    void fullDisk();
    void directoryThatCannotBeWritten_data();
    void directoryThatCannotBeWritten();
    void fileThatCannotBeReplaced_data();
    void fileThatCannotBeReplaced();
    void syslogThatHangs();
    void syslogThatIsGone();
    void missingSyntaxCheckKeepsTheConfiguration();
};

void tst_Faults::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_Faults::init()
{
    Phone::resetConfiguration();
}

void tst_Faults::fullDisk_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("pages");
    for (const QString &operation : operations) {
        for (int pages = 0; pages <= 3; ++pages) {
            QTest::addRow("%s, %d pages left", qPrintable(operation), pages) << operation << pages;
        }
    }
}

void tst_Faults::fullDisk()
{
    QFETCH(QString, operation);
    QFETCH(int, pages);
    const LogCapture log;
    TestableModule module;
    const Texts texts = tryOut(module, operation);
    Phone::resetConfiguration();

    const Faults::SmallDisk disk(syslogDirectory, rlim_t(pages) * 4096, [&] { put(texts.before); });
    operate(module, operation);

    // There may be no live file now, but never half a one, and never half a facility file.
    if (QFile::exists(Phone::liveConfig)) {
        QVERIFY2(texts.mayBeLive(Phone::read(Phone::liveConfig)), Phone::read(Phone::liveConfig));
    }
    QCOMPARE(Phone::read(Phone::backup), texts.before.value(Phone::backup));
    QCOMPARE(brokenFacilityFiles(), QStringList());

    // With room again, the next listing finds a configuration, and the next change is done.
    QFile::remove(syslogDirectory + QStringLiteral("/filler"));
    QVERIFY(module.level().count(QLatin1Char('\n')) > 10);
    QVERIFY(texts.mayBeLive(Phone::read(Phone::liveConfig)));
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QVERIFY(module.level(QStringLiteral("qvxsipua"), QStringLiteral("notice"))
                .contains(QLatin1String("qvxsipua")));
    QCOMPARE(module.level(QStringLiteral("qvxsipua"), QStringLiteral("err")),
             QStringLiteral("Level err for facility : qvxsipua OK"));
}

void tst_Faults::directoryThatCannotBeWritten_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("operation");
    for (const char *part : {"", "/sip", "/sip/facility"}) {
        for (const QString &operation : operations) {
            QTest::addRow("syslog%s, %s", part, qPrintable(operation))
                << QString(syslogDirectory + QLatin1String(part)) << operation;
        }
    }
}

void tst_Faults::directoryThatCannotBeWritten()
{
    QFETCH(QString, directory);
    QFETCH(QString, operation);
    const LogCapture log;
    TestableModule module;
    const Texts texts = tryOut(module, operation);
    put(texts.before);
    QFile::remove(Phone::temporary);
    const int mode = Faults::mode(directory);
    Faults::setMode(directory, 0555);
    {
        const Faults::WithoutOverride ordinary;
        operate(module, operation);
    }
    Faults::setMode(directory, mode_t(mode));
    QCOMPARE(Phone::read(Phone::backup), texts.before.value(Phone::backup));
    QVERIFY(module.level().count(QLatin1Char('\n')) > 10);
    const QByteArray live = Phone::read(Phone::liveConfig);
    QVERIFY2(texts.mayBeLive(live), live);
    // A restore that cannot remove the live file leaves it with a mode in which syslog-ng, which
    // lays root's rights down, cannot read it; the next change puts that right.
    Phone::write(Phone::temporary, live);
    QVERIFY(Phone::syslogAccepts(Phone::temporary));
    QCOMPARE(module.level(QStringLiteral("sipmmi"), QStringLiteral("notice")),
             QStringLiteral("Level notice for facility : sipmmi OK"));
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QCOMPARE(brokenFacilityFiles(), QStringList());
}

void tst_Faults::fileThatCannotBeReplaced_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("operation");
    const QStringList paths {Phone::liveConfig, Phone::backup, Phone::temporary,
                             Phone::facilityFile(QStringLiteral("qvxsipua"))};
    for (const QString &path : paths) {
        for (const QString &operation : operations) {
            QTest::addRow("%s, %s", qPrintable(QFileInfo(path).fileName()), qPrintable(operation))
                << path << operation;
        }
    }
}

void tst_Faults::fileThatCannotBeReplaced()
{
    QFETCH(QString, path);
    QFETCH(QString, operation);
    const LogCapture log;
    TestableModule module;
    const Texts texts = tryOut(module, operation);
    put(texts.before);
    const QByteArray content = Phone::read(path);
    {
        const Immutable immutable(path);
        operate(module, operation);
        QCOMPARE(Phone::read(path), content);
    }
    const QByteArray live = Phone::read(Phone::liveConfig);
    QVERIFY2(texts.mayBeLive(live), live);
    QCOMPARE(Phone::read(Phone::backup), texts.before.value(Phone::backup));
    QCOMPARE(brokenFacilityFiles(), QStringList());
    QCOMPARE(module.level(QStringLiteral("sipmmi"), QStringLiteral("notice")),
             QStringLiteral("Level notice for facility : sipmmi OK"));
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
}

void tst_Faults::syslogThatHangs()
{
    const int pid = Phone::read(Phone::pidFile).trimmed().toInt();
    QVERIFY(pid > 1);
    ::kill(pid, SIGSTOP);
    const QString level = Phone::text(QStringLiteral("level"),
                                      {QStringLiteral("qvxsipua"), QStringLiteral("debug")});
    const QString redirect
        = Phone::text(QStringLiteral("redirect"),
                      {QStringLiteral("qvxsipua"), QStringLiteral("ram"), QStringLiteral("sip")});
    const QString table = Phone::text(QStringLiteral("level"));
    ::kill(pid, SIGCONT);
    // The check is a process of its own, and the signal waits for the daemon.
    QCOMPARE(level, QStringLiteral("Level debug for facility : qvxsipua OK"));
    QCOMPARE(redirect,
             QStringLiteral("[REDIRECT] Activity : qvxsipua redirect to : "
                            "file(\"/var/log/sip.log\")OK"));
    QVERIFY(table.contains(QLatin1String("/var/log/sip.log")));
    QVERIFY(Phone::logUntilSeen(Phone::activity(QStringLiteral("qvxsipua")),
                                QStringLiteral("/var/log/sip.log"),
                                QStringLiteral("when it goes on"), QStringLiteral("debug")));
}

void tst_Faults::syslogThatIsGone()
{
    // A pid that nobody has any more, as after a crash of the daemon.
    const QByteArray running = Phone::read(Phone::pidFile);
    Phone::write(Phone::pidFile, Processes::deadPid() + '\n');
    const QString answer = Phone::text(QStringLiteral("level"),
                                       {QStringLiteral("qvxsipua"), QStringLiteral("debug")});
    Phone::write(Phone::pidFile, running);
    QCOMPARE(answer, QStringLiteral("Level debug for facility : qvxsipua OK"));
    QVERIFY(Phone::read(Phone::liveConfig).contains("level(debug..emerg) and facility(local3)"));
}

void tst_Faults::missingSyntaxCheckKeepsTheConfiguration()
{
    // Without the check nothing is believed: the edit is refused and the backup is put in place.
    const LogCapture log;
    TestableModule module;
    const Faults::FakeSyslog none(QStringLiteral("/nowhere"));
    QCOMPARE(module.level(QStringLiteral("qvxsipua"), QStringLiteral("debug")),
             QStringLiteral("file configuration access error"));
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
}

QTEST_GUILESS_MAIN(tst_Faults)
#include "tst_faults.moc"
