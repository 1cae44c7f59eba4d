// The set-up script of the phone: what it makes anew, what it leaves alone, and that a run that was
// cut off does no harm.
// SPDX-License-Identifier: MIT
#include "support/cutoff.h"
#include "support/faults.h"
#include "support/phone.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QTest>

#include <array>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int deadline = 20000; // ms
const QString directory = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/");
const QString someFacility = QStringLiteral("sipmmi");
const QByteArray missing = "<missing>";
const QByteArray broken = "this is no syslog-ng statement\n";

struct Activity
{
    const char *name;
    const char *facility;
    int number;
    const char *file;
};

const std::array<Activity, 10> activities {{
    {"Telephony", "local0", 16, "/var/log/Telephony.log"},
    {"Platform", "local1", 17, "/var/log/Platform.log"},
    {"qvxsipua", "local3", 19, "/var/log/qvxsipua.log"},
    {"qvxaudio", "local4", 20, "/var/log/qvxaudio.log"},
    {"sipmmi", "local5", 21, "/var/log/sipmmi.log"},
    {"qvxbtmgr", "local6", 22, "/var/log/qvxbtmgr.log"},
    {"WebApp", "local7", 23, "/var/log/WebApp.log"},
    {"SettingsManager", "local2", 18, "/var/log/SettingsManager.log"},
    {"LoggerModule", "daemon", 3, "/var/log/LoggerModule.log"},
    {"defence", "auth", 4, "/log/Defence.log"},
}};

QByteArray facilityContent(const Activity &activity)
{
    return "3\n" + QByteArray::number(activity.number) + "\nfile(\"" + activity.file
        + "\")\nfacility signature field\n";
}

QString facilityPath(const Activity &activity)
{
    return Phone::facilityFile(QString::fromLatin1(activity.name));
}

/// Every path that the script looks after.
QStringList allFiles()
{
    QStringList files {Phone::liveConfig, Phone::backup};
    for (const Activity &activity : activities) {
        files.append(facilityPath(activity));
    }
    return files;
}

struct Outcome
{
    int status = -1; ///< -1 when it did not end in time
    QByteArray output;
    QByteArray errors;
};

Outcome runProgram(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(deadline)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    Outcome outcome;
    outcome.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    outcome.output = process.readAllStandardOutput();
    outcome.errors = process.readAllStandardError();
    return outcome;
}

Outcome runScript()
{
    return runProgram(Phone::setUpScript, {QStringLiteral("start")});
}

/// Every name below the directory of the service.
QStringList tree()
{
    QStringList names;
    for (const QString &part :
         {QString(), QStringLiteral("sip/"), QStringLiteral("sip/facility/")}) {
        const QStringList entries
            = QDir(directory + part)
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        for (const QString &entry : entries) {
            names.append(part + entry);
        }
    }
    names.sort();
    return names;
}

QStringList goodTree()
{
    QStringList names {QStringLiteral("logappli.conf.sav"), QStringLiteral("sip"),
                       QStringLiteral("sip/facility"), QStringLiteral("sip/logappli.conf")};
    for (const Activity &activity : activities) {
        names.append(QStringLiteral("sip/facility/") + QLatin1String(activity.name)
                     + QStringLiteral(".conf"));
    }
    names.sort();
    return names;
}

/// Paths with what is there, as Faults::state() says it.
using States = QMap<QString, QByteArray>;

/// Everything that the script looks after, when @p configuration is what it generates.
States goodStates(const QByteArray &configuration)
{
    States states {{Phone::liveConfig, configuration}, {Phone::backup, configuration}};
    for (const Activity &activity : activities) {
        states.insert(facilityPath(activity), facilityContent(activity));
    }
    return states;
}

/// Brings every file into its state.
void damage(const States &states)
{
    for (auto state = states.cbegin(); state != states.cend(); ++state) {
        if (state.value() == missing) {
            QFile::remove(state.key());
        } else {
            Phone::write(state.key(), state.value());
        }
    }
}

/// Changes whenever the file is written, replaced, or gets another mode.
QByteArray identity(const QString &path)
{
    struct stat status = {};
    if (lstat(QFile::encodeName(path).constData(), &status) != 0) {
        return "missing";
    }
    return QByteArray::number(static_cast<qulonglong>(status.st_ino)) + ' '
        + QByteArray::number(status.st_mode) + ' '
        + QByteArray::number(static_cast<qlonglong>(status.st_ctim.tv_sec)) + '.'
        + QByteArray::number(static_cast<qlonglong>(status.st_ctim.tv_nsec)) + ' '
        + Faults::state(path);
}

bool isRegular(const QString &path)
{
    struct stat status = {};
    return lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISREG(status.st_mode);
}

bool makeSocket(const QString &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(static_cast<char *>(address.sun_path), QFile::encodeName(path).constData(),
             sizeof address.sun_path);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool bound
        = bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(descriptor);
    return bound;
}

} // namespace

class tst_AutoConfig : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void makesEverythingThatIsMissing();
    void writesNothingWhenAllIsWell();
    void configurationAndBackup_data();
    void configurationAndBackup();
    void invalidFacilityFile_data();
    void invalidFacilityFile();
    void validFacilityFileIsLeftAlone_data();
    void validFacilityFileIsLeftAlone();
    void notARegularFile_data();
    void notARegularFile();
    void everythingIsNoRegularFile();
    void directoriesAreKeptSideBySide();
    void killedAtAnyMoment_data();
    void killedAtAnyMoment();
    void staleFilesAreCleaned();
    void wrongUsage_data();
    void wrongUsage();
    void everyMessageReachesItsOwnFileOnly();

private:
    QByteArray m_generated;
};

void tst_AutoConfig::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_AutoConfig::init()
{
    Phone::resetConfiguration();
    m_generated = Phone::read(Phone::backup);
    QVERIFY(!m_generated.isEmpty());
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::cleanup()
{
    const QStringList good = goodTree();
    const QStringList names = tree();
    for (const QString &name : names) {
        const QString path = directory + name;
        if (!good.contains(name) || (allFiles().contains(path) && !isRegular(path))) {
            Faults::removeAll(path);
        }
    }
    Faults::removeAll(QStringLiteral("/tmp/target"));
    Faults::removeAll(QStringLiteral("/tmp/targets"));
}

void tst_AutoConfig::makesEverythingThatIsMissing()
{
    QVERIFY(QDir(QStringLiteral("/data/QVXApplication/LoggerModule/syslog")).removeRecursively());
    const Outcome outcome = runScript();
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.output + outcome.errors, QByteArray());
    QCOMPARE(tree(), goodTree());
    QCOMPARE(Phone::read(Phone::liveConfig), m_generated);
    QCOMPARE(Phone::read(Phone::backup), m_generated);
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QVERIFY(Phone::syslogAccepts(Phone::backup));
    for (const Activity &activity : activities) {
        QCOMPARE(Phone::read(facilityPath(activity)), facilityContent(activity));
    }
    for (const QString &file : allFiles()) {
        QCOMPARE(Faults::mode(file), 0644);
    }
}

void tst_AutoConfig::writesNothingWhenAllIsWell()
{
    QMap<QString, QByteArray> before;
    for (const QString &file : allFiles()) {
        before.insert(file, identity(file));
    }
    QCOMPARE(runScript().status, 0);
    for (const QString &file : allFiles()) {
        QCOMPARE(identity(file), before.value(file));
    }
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::configurationAndBackup_data()
{
    // "L" and "B" are the good live file and the good backup, "" is a missing file, and "G" is what
    // the script makes of itself.
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QByteArray>("backup");
    QTest::addColumn<QByteArray>("liveAfter");
    QTest::addColumn<QByteArray>("backupAfter");
    const QByteArray cut = "@version: 3.38\noptions {\n";
    const QByteArray none;
    QTest::newRow("live broken") << broken << QByteArray("B") << QByteArray("B") << QByteArray("B");
    QTest::newRow("live cut off") << cut << QByteArray("B") << QByteArray("B") << QByteArray("B");
    QTest::newRow("live empty") << QByteArray("\n") << QByteArray("B") << QByteArray("B")
                                << QByteArray("B");
    QTest::newRow("live missing") << none << QByteArray("B") << QByteArray("B") << QByteArray("B");
    QTest::newRow("backup broken")
        << QByteArray("L") << broken << QByteArray("L") << QByteArray("G");
    QTest::newRow("backup missing")
        << QByteArray("L") << none << QByteArray("L") << QByteArray("G");
    QTest::newRow("both good") << QByteArray("L") << QByteArray("B") << QByteArray("L")
                               << QByteArray("B");
    QTest::newRow("both broken") << broken << broken << QByteArray("G") << QByteArray("G");
    QTest::newRow("both missing") << none << none << QByteArray("G") << QByteArray("G");
    QTest::newRow("live missing, backup broken")
        << none << broken << QByteArray("G") << QByteArray("G");
    QTest::newRow("live broken, backup missing")
        << broken << none << QByteArray("G") << QByteArray("G");
}

void tst_AutoConfig::configurationAndBackup()
{
    QFETCH(QByteArray, live);
    QFETCH(QByteArray, backup);
    QFETCH(QByteArray, liveAfter);
    QFETCH(QByteArray, backupAfter);
    const auto content = [this](const QByteArray &word) -> QByteArray {
        if (word == "L") {
            return QByteArray(m_generated).replace("level(err..", "level(debug..");
        }
        return word == "B" ? m_generated + "# another good one\n"
                           : (word == "G" ? m_generated : word);
    };
    const auto put = [&content](const QString &path, const QByteArray &word) {
        QFile::remove(path);
        if (!word.isEmpty()) {
            Phone::write(path, word == "\n" ? QByteArray("") : content(word));
        }
    };
    put(Phone::liveConfig, live);
    put(Phone::backup, backup);
    const QByteArray liveBefore = identity(Phone::liveConfig);
    const QByteArray backupBefore = identity(Phone::backup);

    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig), content(liveAfter));
    QCOMPARE(Phone::read(Phone::backup), content(backupAfter));
    if (live == "L") {
        QCOMPARE(identity(Phone::liveConfig), liveBefore);
    }
    if (backup == "B") {
        QCOMPARE(identity(Phone::backup), backupBefore);
    }
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QVERIFY(Phone::syslogAccepts(Phone::backup));
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::invalidFacilityFile_data()
{
    QTest::addColumn<QByteArray>("content");
    const QByteArray rest = "\n21\nfile(\"/var/log/sipmmi.log\")\nfacility signature field\n";
    for (const char *level : {"1", "2", "8", "33", "-1", "", " 3", "err", "3 "}) {
        QTest::addRow("level '%s'", level) << level + rest;
    }
    for (const char *number : {"local5", "", "21x", "-", "2 1", "99999999999"}) {
        QTest::addRow("facility '%s'", number)
            << QByteArray("3\n") + number + "\nfile(\"/x\")\nfacility signature field\n";
    }
    const auto row
        = [](const char *name, const QByteArray &content) { QTest::newRow(name) << content; };
    row("wrong signature", "3\n21\nfile(\"/x\")\nfacility signature\n");
    row("signature with more", "3\n21\nfile(\"/x\")\nfacility signature field \n");
    row("no redirection", "3\n21\n\nfacility signature field\n");
    row("three lines", "3\n21\nfacility signature field\n");
    row("three lines, no signature", "3\n21\nfile(\"/x\")\n");
    row("five lines", "3\n21\nfile(\"/x\")\nfacility signature field\nmore\n");
    row("a fifth line without its end", "3\n21\nfile(\"/x\")\nfacility signature field\nmore");
    row("an empty fifth line", "3\n21\nfile(\"/x\")\nfacility signature field\n\n");
    row("empty", "");
    row("line feeds", "\n\n\n\n");
    row("no line feed", "3");
    row("carriage returns", "3\r\n21\r\nfile(\"/x\")\r\nfacility signature field\r\n");
}

void tst_AutoConfig::invalidFacilityFile()
{
    QFETCH(QByteArray, content);
    const Activity &activity = activities.at(4);
    QCOMPARE(QString::fromLatin1(activity.name), someFacility);
    Phone::write(facilityPath(activity), content);
    QMap<QString, QByteArray> before;
    for (const QString &file : allFiles()) {
        before.insert(file, identity(file));
    }
    QCOMPARE(runScript().status, 0);
    for (const QString &file : allFiles()) {
        if (file == facilityPath(activity)) {
            QCOMPARE(Phone::read(file), facilityContent(activity));
        } else {
            QCOMPARE(identity(file), before.value(file));
        }
    }
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::validFacilityFileIsLeftAlone_data()
{
    QTest::addColumn<QByteArray>("content");
    for (const char *level : {"0", "3", "4", "5", "6", "7"}) {
        QTest::addRow("level %s", level)
            << QByteArray(level) + "\n21\nfile(\"/x y\")\nfacility signature field\n";
    }
    QTest::newRow("other facility and destination")
        << QByteArray("7\n4\nudp(\"10.1.2.3\" port(514))\nfacility signature field\n");
    QTest::newRow("backslashes") << QByteArray(
        "6\n4\nprogram(\"/bin/x \\\"\\n\\\\\" $HOME `id`)\nfacility signature field\n");
    QTest::newRow("last line without its end")
        << QByteArray("6\n4\nfile(\"/x\")\nfacility signature field");
}

void tst_AutoConfig::validFacilityFileIsLeftAlone()
{
    QFETCH(QByteArray, content);
    const QString path = Phone::facilityFile(someFacility);
    Phone::write(path, content);
    // Something else to do, so that the script really writes.
    QVERIFY(QFile::remove(Phone::facilityFile(QStringLiteral("WebApp"))));
    const QByteArray before = identity(path);
    QCOMPARE(runScript().status, 0);
    QCOMPARE(identity(path), before);
    QCOMPARE(Phone::read(path), content);
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::notARegularFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("kind");
    const QMap<QString, QString> places {
        {QStringLiteral("live"), Phone::liveConfig},
        {QStringLiteral("backup"), Phone::backup},
        {QStringLiteral("facility"), Phone::facilityFile(someFacility)}};
    for (auto place = places.cbegin(); place != places.cend(); ++place) {
        for (const char *kind :
             {"fifo", "socket", "empty directory", "directory", "link", "relative link",
              "dangling link", "link to a directory", "link to a fifo", "link to itself"}) {
            QTest::addRow("%s is %s", qPrintable(place.key()), kind)
                << place.value() << QString::fromLatin1(kind);
        }
    }
}

void tst_AutoConfig::notARegularFile()
{
    QFETCH(QString, path);
    QFETCH(QString, kind);
    const QString target = QStringLiteral("/tmp/target");
    const QString targets = QStringLiteral("/tmp/targets");
    const QByteArray good = Phone::read(path);
    // The link leads to something that would do, so only the link itself can be what is refused.
    Phone::write(target, good);
    QVERIFY(QDir().mkpath(targets));
    Phone::write(targets + QStringLiteral("/inside"), "inside\n");
    QCOMPARE(mkfifo("/tmp/targets/fifo", 0600), 0);
    const QByteArray targetBefore = identity(target);
    QVERIFY(QFile::remove(path));

    const QByteArray name = QFile::encodeName(path);
    if (kind == QLatin1String("fifo")) {
        QCOMPARE(mkfifo(name.constData(), 0644), 0);
    } else if (kind == QLatin1String("socket")) {
        QVERIFY(makeSocket(path));
    } else if (kind == QLatin1String("empty directory")) {
        QVERIFY(QDir().mkdir(path));
    } else if (kind == QLatin1String("directory")) {
        Faults::makeDirectory(path);
    } else if (kind == QLatin1String("link")) {
        QVERIFY(QFile::link(target, path));
    } else if (kind == QLatin1String("relative link")) {
        QCOMPARE(symlink("../../../../../../../../tmp/target", name.constData()), 0);
    } else if (kind == QLatin1String("dangling link")) {
        QVERIFY(QFile::link(QStringLiteral("/tmp/targets/nothing"), path));
    } else if (kind == QLatin1String("link to a directory")) {
        QVERIFY(QFile::link(targets, path));
    } else if (kind == QLatin1String("link to a fifo")) {
        QVERIFY(QFile::link(QStringLiteral("/tmp/targets/fifo"), path));
    } else {
        QCOMPARE(symlink(name.constData(), name.constData()), 0);
    }
    QVERIFY(!isRegular(path));

    const Outcome outcome = runScript();
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.errors, QByteArray());
    QVERIFY(isRegular(path));
    QCOMPARE(Phone::read(path), good);
    QCOMPARE(identity(target), targetBefore);
    QCOMPARE(QDir(targets).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot),
             (QStringList {QStringLiteral("fifo"), QStringLiteral("inside")}));
    QCOMPARE(Phone::read(targets + QStringLiteral("/inside")), QByteArray("inside\n"));
    QStringList expected = goodTree();
    if (kind == QLatin1String("directory")) {
        QCOMPARE(Phone::read(path + QStringLiteral(".bad/inside")), QByteArray("inside\n"));
        expected.append(path.mid(directory.size()) + QStringLiteral(".bad"));
        expected.sort();
    }
    QCOMPARE(tree(), expected);
}

void tst_AutoConfig::everythingIsNoRegularFile()
{
    for (const QString &file : allFiles()) {
        QVERIFY(QFile::remove(file));
        QCOMPARE(mkfifo(QFile::encodeName(file).constData(), 0644), 0);
    }
    QCOMPARE(runScript().status, 0);
    QCOMPARE(tree(), goodTree());
    QCOMPARE(Phone::read(Phone::liveConfig), m_generated);
    QCOMPARE(Phone::read(Phone::backup), m_generated);
    for (const Activity &activity : activities) {
        QCOMPARE(Phone::read(facilityPath(activity)), facilityContent(activity));
    }
}

void tst_AutoConfig::directoriesAreKeptSideBySide()
{
    for (const QString &file : allFiles()) {
        for (const char *content : {"first", "second", "third"}) {
            Faults::makeDirectory(file);
            Phone::write(file + QStringLiteral("/inside"), content);
            QCOMPARE(runScript().status, 0);
            QVERIFY(isRegular(file));
        }
        QCOMPARE(Phone::read(file + QStringLiteral(".bad/inside")), QByteArray("first"));
        QCOMPARE(Phone::read(file + QStringLiteral(".bad.1/inside")), QByteArray("second"));
        QCOMPARE(Phone::read(file + QStringLiteral(".bad.2/inside")), QByteArray("third"));
    }
}

void tst_AutoConfig::killedAtAnyMoment_data()
{
    QTest::addColumn<bool>("everything");
    QTest::newRow("everything is half written") << true;
    QTest::newRow("live file is missing, a facility file is broken") << false;
}

void tst_AutoConfig::killedAtAnyMoment()
{
    QFETCH(bool, everything);
    const States good = goodStates(m_generated);
    States damaged = good;
    if (everything) {
        for (QByteArray &content : damaged) {
            content.truncate(content.size() / 2);
        }
    } else {
        damaged[Phone::liveConfig] = missing;
        damaged[Phone::facilityFile(someFacility)] = broken;
    }
    const auto expectGood = [&good] {
        QCOMPARE(tree(), goodTree());
        for (auto state = good.cbegin(); state != good.cend(); ++state) {
            QCOMPARE(Phone::read(state.key()), state.value());
        }
    };
    CutOff::Run run;
    for (int step = 0; step == 0 || run.cut; ++step) {
        damage(damaged);
        run = CutOff::run({Phone::setUpScript, QStringLiteral("start")}, step);
        if (run.steps == 0 && !run.cut && run.status != 0) {
            QSKIP("no process may trace another one here");
        }
        for (auto state = damaged.cbegin(); state != damaged.cend(); ++state) {
            const QByteArray now = Faults::state(state.key());
            QVERIFY2(now == state.value() || now == good.value(state.key()),
                     qPrintable(state.key() + QLatin1Char('\n') + QString::fromUtf8(now)));
        }
        if (run.cut) {
            QCOMPARE(runScript().status, 0);
        }
        expectGood();
        if (QTest::currentTestFailed()) {
            return;
        }
    }
    QCOMPARE(run.status, 0);
    // Each of the two files comes from a file of its own, which is written, synced and moved.
    QVERIFY2(run.steps >= 10, qPrintable(QString::number(run.steps)));
}

void tst_AutoConfig::staleFilesAreCleaned()
{
    // The number of this very process: it lives, and is no run of the script.
    const QString own
        = directory + QStringLiteral(".autoConfigSyslog.") + QString::number(getpid());
    const QString stale = directory + QStringLiteral(".autoConfigSyslog.");
    const QStringList paths {own, stale + QStringLiteral("99999999"), stale,
                             stale + QStringLiteral("text")};
    for (const QString &path : paths) {
        QVERIFY(QDir().mkpath(path + QStringLiteral("/facility")));
        Phone::write(path + QStringLiteral("/facility/sipmmi.conf"), "half");
    }
    QCOMPARE(mkfifo(QFile::encodeName(stale + QStringLiteral("1x")).constData(), 0600), 0);
    Phone::write(QStringLiteral("/tmp/target"), "untouched\n");
    QVERIFY(QFile::link(QStringLiteral("/tmp/target"), stale + QStringLiteral("2x")));
    QVERIFY(QFile::link(QStringLiteral("/nowhere"), stale + QStringLiteral("3x")));

    QCOMPARE(runScript().status, 0);
    QCOMPARE(tree(), goodTree());
    QCOMPARE(Phone::read(QStringLiteral("/tmp/target")), QByteArray("untouched\n"));
}

void tst_AutoConfig::wrongUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("stop") << QStringList(QStringLiteral("stop"));
    QTest::newRow("empty") << QStringList(QString());
    QTest::newRow("restart") << QStringList(QStringLiteral("restart"));
}

void tst_AutoConfig::wrongUsage()
{
    QFETCH(QStringList, arguments);
    QVERIFY(QFile::remove(Phone::liveConfig));
    const Outcome outcome = runProgram(Phone::setUpScript, arguments);
    QCOMPARE(outcome.status, 2);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.errors, QByteArray("usage: /etc/init.d/autoConfigSyslog start|print\n"));
    QVERIFY(!QFile::exists(Phone::liveConfig));
}

void tst_AutoConfig::everyMessageReachesItsOwnFileOnly()
{
    for (const Activity &activity : activities) {
        const QString name = QString::fromLatin1(activity.name);
        for (const Activity &other : activities) {
            // With the facility of another activity it is nobody's.
            Phone::logMessage(name, QString::fromLatin1(other.facility), QStringLiteral("err"),
                              QStringLiteral("message of ") + name + QStringLiteral(" as ")
                                  + QLatin1String(other.facility) + QLatin1Char('.'));
        }
    }
    const auto text = [](const Activity &activity) -> QByteArray {
        return QByteArray("message of ") + activity.name + " as " + activity.facility + '.';
    };
    // The last message of all is a fence: the daemon takes them in their order.
    for (const Activity &activity : activities) {
        QVERIFY2(Phone::waitForContent(QString::fromLatin1(activity.file), text(activity)),
                 activity.name);
    }
    for (const Activity &activity : activities) {
        const QByteArray log = Phone::read(QString::fromLatin1(activity.file));
        QCOMPARE(log.count("message of "), 1);
        QCOMPARE(log.count(text(activity)), 1);
    }
}

QTEST_GUILESS_MAIN(tst_AutoConfig)
#include "tst_autoconfig.moc"
