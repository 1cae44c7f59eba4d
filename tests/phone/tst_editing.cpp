// Edits of activities in logappli.conf: pairs of whole files, and what is left when one fails.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include "syslogconf/activityparser.h"
#include "syslogconf/lineedit.h"
#include "syslogconf/loggerconfiglist.h"

#include <QProcess>
#include <QTextCodec>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <memory>

using Step = std::function<void()>;
Q_DECLARE_METATYPE(Step)
Q_DECLARE_METATYPE(ConfigLineEdit)

namespace {

const QString liveDirectory = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/sip");
const QString modifyError = QStringLiteral("[modify] -- file configuration access error");
const QString noSuchActivity = QStringLiteral("No such an activity: ");

const QString checked = QStringLiteral("7 File logappli.conf.tmp  OK");
const QString rejected = QStringLiteral("7 File logappli.conf.tmp  NOT OK");
const QString reloaded = QStringLiteral("7 [restart]process success.");
const QString restored = QStringLiteral("3 ") + Phone::liveConfig
    + QStringLiteral(" restored with : ") + Phone::backup;
const QString notRemoved = QStringLiteral("7 [restoreConfigFile] remove() result ");
const QString isGone
    = QStringLiteral("3 [modify] -- file: ") + Phone::liveConfig + QStringLiteral("doesn't exist");
const QString corrupted = QStringLiteral("3 [Method : writeToFile()] -- file : ")
    + Phone::liveConfig + QStringLiteral(".tmp corrupted");
const QString notUpToDate = QStringLiteral("3 [Method : modify()] -- File corrupted: ")
    + Phone::liveConfig + QStringLiteral(" or not up to date with new values --Temorary file : ")
    + Phone::liveConfig + QStringLiteral(".tmp perhaps corrupted");

ConfigLineEdit levelEdit(const QString &activity, const QString &level)
{
    ConfigLineEdit edit;
    edit.key = QStringLiteral("level(");
    edit.activity = activity;
    edit.level = level;
    return edit;
}

ConfigLineEdit destinationEdit(const QString &activity, const QString &destination)
{
    ConfigLineEdit edit;
    edit.key = activity.isEmpty() ? QStringLiteral("destination d_")
                                  : QStringLiteral("destination d_%1 {").arg(activity);
    edit.activity = activity;
    edit.destination = destination;
    return edit;
}

QByteArray golden(const QString &name, const QString &suffix)
{
    const QByteArray bytes
        = Phone::read(QStringLiteral(TEST_DATA_DIR "/editing/") + name + QLatin1Char('.') + suffix);
    if (bytes.isEmpty()) {
        qFatal("no data %s", qPrintable(name));
    }
    return bytes;
}

QList<ActivityLevelEntry> activitiesOf(const QString &path)
{
    LoggerConfigList list;
    return list.readActivityInConfigFile(path);
}

} // namespace

class tst_Editing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void editChangesExactlyOneToken_data();
    void editChangesExactlyOneToken();
    void pairsHoldInEveryLocale_data();
    void pairsHoldInEveryLocale();
    void byteOrderMarkStays();
    void sameEditOfALevelWithoutRangeAppendsAgain();
    void refusedTextIsReplacedByTheBackup();
    void failureOfModifyIsReported_data();
    void failureOfModifyIsReported();
    void unreadableLiveFileIsRestoredAndEdited();

    void predefinedDestinations_data();
    void predefinedDestinations();
    void initConfigFileNeedsAnActivity();
    void initConfigFileRestoresAMissingFile();
    void initConfigFileFailsWhenTheFileCannotBeReopened();
    void initConfigFileTakesAFailedCommitForSuccess();
    void failureOfInitializeLevelDestinationIsReported_data();
    void failureOfInitializeLevelDestinationIsReported();
    void unwritableLiveFileIsRestoredAndRewritten();
    void refusedPredefinedDestinationsLeaveTheLiveFile();

private:
    std::unique_ptr<HangUps> m_noReload; ///< the daemon is not to load what these tests write
    TestableModule m_module;
    QByteArray m_predefined;
};

void tst_Editing::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    const QByteArray codec = qgetenv("TEST_CODEC");
    if (!codec.isEmpty()) {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(codec));
    }
    Phone::stopBootedService();
    m_noReload = std::make_unique<HangUps>();
    Phone::resetConfiguration();
    m_predefined = Phone::read(Phone::liveConfig);
    QVERIFY(m_predefined.startsWith("@version"));
}

void tst_Editing::init()
{
    Phone::write(Phone::liveConfig, m_predefined);
    Phone::write(Phone::backup, m_predefined + "# the backup\n");
}

void tst_Editing::cleanup()
{
    QVXLogger::syslogExecutablePath = QStringLiteral("/usr/sbin/");
    Faults::setMode(liveDirectory, 0755);
    for (const QString &path : {Phone::temporary, Phone::liveConfig, Phone::backup}) {
        Faults::removeAll(path);
    }
}

void tst_Editing::cleanupTestCase()
{
    m_noReload.reset();
}

void tst_Editing::editChangesExactlyOneToken_data()
{
    QTest::addColumn<ConfigLineEdit>("edit");
    QTest::addColumn<bool>("repeatable");

    const QString qvxaudio = QStringLiteral("qvxaudio");
    const QString debug = QStringLiteral("debug");
    const QString everyActivity;
    const QString flash = QStringLiteral("file(\"/log/flash/all.log\")");
    const QString file = QStringLiteral("file(\"/var/log/all.log\")");

    QTest::newRow("level-of-one") << levelEdit(QStringLiteral("qvxsipua"), debug) << true;
    QTest::newRow("level-of-all") << levelEdit(everyActivity, QStringLiteral("warning")) << true;
    QTest::newRow("destination-of-one") << destinationEdit(
        QStringLiteral("qvxsipua"), QStringLiteral("udp(\"192.168.1.10\" port(514))"))
                                        << true;
    QTest::newRow("destination-of-all") << destinationEdit(everyActivity, flash) << true;
    QTest::newRow("unknown-activity") << levelEdit(QStringLiteral("nobody"), debug) << true;
    QTest::newRow("name-that-is-a-prefix") << levelEdit(QStringLiteral("qvxaudi"), debug) << true;
    QTest::newRow("nothing-to-change") << levelEdit(qvxaudio, QString()) << true;
    ConfigLineEdit both = levelEdit(qvxaudio, QStringLiteral("info"));
    both.destination = file;
    QTest::newRow("level-wins-over-destination") << both << true;

    QTest::newRow("odd-text-level-of-one") << levelEdit(qvxaudio, debug) << true;
    QTest::newRow("odd-text-level-of-all")
        << levelEdit(everyActivity, QStringLiteral("info")) << true;
    QTest::newRow("odd-text-destination-of-one")
        << destinationEdit(qvxaudio, QStringLiteral("tcp(\"10.0.0.5\" port(601))")) << true;
    QTest::newRow("not-utf-8") << levelEdit(qvxaudio, debug) << true;
    QTest::newRow("carriage-returns") << levelEdit(qvxaudio, debug) << true;

    QTest::newRow("level-without-range") << levelEdit(qvxaudio, debug) << false;
    QTest::newRow("range-before-the-level") << levelEdit(everyActivity, debug) << false;
    QTest::newRow("all-destinations-after-the-first-begin")
        << destinationEdit(everyActivity, file) << true;
    QTest::newRow("all-levels-after-the-first-begin")
        << levelEdit(everyActivity, QStringLiteral("notice")) << true;
    QTest::newRow("all-levels-begin-line-included")
        << levelEdit(everyActivity, QStringLiteral("emerg")) << true;
    QTest::newRow("key-past-the-end-line") << levelEdit(qvxaudio, debug) << true;
    QTest::newRow("first-of-several-levels") << levelEdit(qvxaudio, debug) << true;
    QTest::newRow("marker-is-the-whole-rest")
        << levelEdit(QStringLiteral("qvxaudi"), debug) << true;
    QTest::newRow("destination-of-one-without-its-key") << destinationEdit(qvxaudio, file) << true;
    QTest::newRow("destination-of-all-needs-a-brace")
        << destinationEdit(everyActivity, file) << true;
}

void tst_Editing::editChangesExactlyOneToken()
{
    QFETCH(ConfigLineEdit, edit);
    QFETCH(bool, repeatable);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    const QByteArray after = golden(name, QStringLiteral("after"));
    const QByteArray backup = Phone::read(Phone::backup);
    Phone::write(Phone::liveConfig, golden(name, QStringLiteral("before")));
    const HangUps hangUps;
    const LogCapture log;

    QCOMPARE(m_module.modify(edit, Phone::liveConfig), QStringLiteral("OK"));
    QCOMPARE(Phone::read(Phone::liveConfig), after);
    QCOMPARE(Faults::logged(log), QStringList {checked});

    if (repeatable) {
        QCOMPARE(m_module.modify(edit, Phone::liveConfig), QStringLiteral("OK"));
        QCOMPARE(Phone::read(Phone::liveConfig), after);
    }
    QCOMPARE(Phone::read(Phone::backup), backup);
    QCOMPARE(hangUps.count(), 0);
}

void tst_Editing::pairsHoldInEveryLocale_data()
{
    // A locale that the system does not have is the locale "C".
    QTest::addColumn<QByteArray>("locale");
    QTest::addColumn<QByteArray>("codec");

    QTest::newRow("C") << QByteArray("C") << QByteArray();
    QTest::newRow("UTF-8") << QByteArray("C.UTF-8") << QByteArray();
    QTest::newRow("German") << QByteArray("de_DE.UTF-8") << QByteArray();
    QTest::newRow("German with its old encoding")
        << QByteArray("de_DE") << QByteArray("ISO-8859-15");
    QTest::newRow("Japanese with its old encoding")
        << QByteArray("ja_JP") << QByteArray("Shift-JIS");
}

// A process decides about its encoding once, so each locale gets one of its own: this program
// again, with one test of it.
void tst_Editing::pairsHoldInEveryLocale()
{
    QFETCH(QByteArray, locale);
    QFETCH(QByteArray, codec);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QString::fromLatin1(locale));
    environment.insert(QStringLiteral("TEST_CODEC"), QString::fromLatin1(codec));
    for (const char *test : {"editChangesExactlyOneToken", "predefinedDestinations"}) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QCoreApplication::applicationFilePath(), {QLatin1String(test)});
        QVERIFY(process.waitForFinished());
        const QByteArray output = process.readAll();
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
                 output.constData());
        QVERIFY2(output.contains("0 failed"), output.constData());
    }
}

void tst_Editing::byteOrderMarkStays()
{
    const Faults::FakeSyslog syslog(Faults::fake(QStringLiteral("accept")));
    const QByteArray mark = "\xef\xbb\xbf";
    const QByteArray text = golden(QStringLiteral("level-of-one"), QStringLiteral("before"));
    Phone::write(Phone::liveConfig, mark + text);

    QCOMPARE(m_module.modify(levelEdit(QStringLiteral("qvxsipua"), QStringLiteral("debug")),
                             Phone::liveConfig),
             QStringLiteral("OK"));
    QCOMPARE(Phone::read(Phone::liveConfig),
             mark + golden(QStringLiteral("level-of-one"), QStringLiteral("after")));
}

void tst_Editing::sameEditOfALevelWithoutRangeAppendsAgain()
{
    const QString name = QStringLiteral("level-without-range");
    const QByteArray once = golden(name, QStringLiteral("after"));
    QByteArray twice = once;
    twice.replace("# level(debug# level(err) as of old, kept",
                  "# level(debug# level(debug# level(err) as of old, kept");
    QVERIFY(twice != once);
    Phone::write(Phone::liveConfig, once);

    QCOMPARE(m_module.modify(levelEdit(QStringLiteral("qvxaudio"), QStringLiteral("debug")),
                             Phone::liveConfig),
             QStringLiteral("OK"));
    QCOMPARE(Phone::read(Phone::liveConfig), twice);
}

void tst_Editing::refusedTextIsReplacedByTheBackup()
{
    const QByteArray backup = Phone::read(Phone::backup);
    const QStringList lines {rejected, corrupted, notUpToDate, restored, reloaded};
    for (const int level : {7, 6, 3, 2}) {
        init();
        const HangUps hangUps;
        const LogCapture log;
        LogCapture::setLevel(level);

        QCOMPARE(m_module.modify(levelEdit(QStringLiteral("qvxaudio"), QStringLiteral("loud")),
                                 Phone::liveConfig),
                 modifyError);

        QCOMPARE(Faults::state(Phone::liveConfig), backup);
        QCOMPARE(Faults::state(Phone::backup), backup);
        QVERIFY(Phone::read(Phone::temporary).contains("level(loud..emerg)"));
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        QTRY_COMPARE(hangUps.count(), 1);
    }
}

void tst_Editing::failureOfModifyIsReported_data()
{
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QStringList>("lines");

    const QString directory = QStringLiteral("<directory>");
    QTest::newRow("live file is missing")
        << Step([] { QFile::remove(Phone::liveConfig); }) << modifyError + Phone::liveConfig
        << QByteArray("<missing>")
        << QStringList {QStringLiteral("7 [restoreConfigFile] -- ") + Phone::liveConfig, isGone};
    QTest::newRow("live path is a directory")
        << Step([] { Faults::makeDirectory(Phone::liveConfig); }) << modifyError + Phone::liveConfig
        << QByteArray("<directory>") << QStringList {notRemoved + qt_error_string(EISDIR), isGone};
    QTest::newRow("unreadable, and there is no backup")
        << Step([] {
               Faults::setMode(Phone::liveConfig, 0);
               QFile::remove(Phone::backup);
           })
        << modifyError + Phone::liveConfig << QByteArray("<missing>")
        << QStringList {QStringLiteral("3 [restoreConfigFile] --") + Phone::backup
                            + QStringLiteral(" doesn't exist"),
                        isGone};
    // The reload that follows the restore finds a kill that breaks the file again.
    QTest::newRow("still unreadable after the restore")
        << Step([] {
               Faults::setMode(Phone::liveConfig, 0);
               qputenv("PATH", QFile::encodeName(Faults::fake(QStringLiteral("breaking-path"))));
           })
        << modifyError + Phone::liveConfig << QByteArray("<directory>")
        << QStringList {restored, reloaded,
                        QStringLiteral("3 [Method :modify()] -- access to : %1.conf not possible")
                            .arg(Phone::liveConfig)};
    QTest::newRow("temporary file disappears before the copy")
        << Step([] { QVXLogger::syslogExecutablePath = Faults::fake(QStringLiteral("consume/")); })
        << modifyError << QByteArray("<backup>")
        << QStringList {checked,
                        QStringLiteral("3 [Method : writeToFile()] -- copy file : %1failed")
                            .arg(Phone::liveConfig),
                        notUpToDate, restored, reloaded};
    QTest::newRow("temporary file cannot be written")
        << Step([] { Faults::makeDirectory(Phone::temporary); }) << modifyError
        << QByteArray("<backup>")
        << QStringList {QStringLiteral("3 [Method : writeToFile()] -- Cannot remove temporary "
                                       "syslog configuration file : ")
                            + Phone::temporary,
                        notUpToDate, restored, reloaded};
}

void tst_Editing::failureOfModifyIsReported()
{
    QFETCH(Step, prepare);
    QFETCH(QString, result);
    QFETCH(QByteArray, live);
    QFETCH(QStringList, lines);
    const QByteArray path = qgetenv("PATH");
    for (const int level : {7, 6, 2}) {
        cleanup();
        init();
        if (live == "<backup>") {
            live = Phone::read(Phone::backup);
        }
        const HangUps hangUps;
        const LogCapture log;
        LogCapture::setLevel(level);
        prepare();

        QString answer;
        {
            const Faults::WithoutOverride noOverride;
            answer = m_module.modify(levelEdit(QStringLiteral("qvxaudio"), QStringLiteral("debug")),
                                     Phone::liveConfig);
        }
        qputenv("PATH", path);

        QCOMPARE(answer, result);
        QCOMPARE(Faults::state(Phone::liveConfig), live);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
}

void tst_Editing::unreadableLiveFileIsRestoredAndEdited()
{
    QByteArray edited = Phone::read(Phone::backup);
    edited.replace("level(err..emerg) and facility(local4)",
                   "level(debug..emerg) and facility(local4)");
    QVERIFY(edited != Phone::read(Phone::backup));
    Faults::setMode(Phone::liveConfig, 0);
    const HangUps hangUps;
    const LogCapture log;
    QString answer;
    {
        const Faults::WithoutOverride noOverride;
        answer = m_module.modify(levelEdit(QStringLiteral("qvxaudio"), QStringLiteral("debug")),
                                 Phone::liveConfig);
    }
    QCOMPARE(answer, QStringLiteral("OK"));
    QCOMPARE(Faults::state(Phone::liveConfig), edited);
    QCOMPARE(Faults::logged(log), (QStringList {restored, reloaded, checked}));
    QTRY_COMPARE(hangUps.count(), 1);
}

void tst_Editing::predefinedDestinations_data()
{
    QTest::addColumn<QString>("result");

    QTest::newRow("predefined-destinations") << noSuchActivity;
    QTest::newRow("predefined-destinations-by-name") << noSuchActivity;
    QTest::newRow("predefined-stops-at-a-missing-destination") << QStringLiteral("OK");
    QTest::newRow("predefined-last-without-destination") << QStringLiteral("OK");
    QTest::newRow("predefined-stops-at-a-missing-begin") << noSuchActivity;
}

void tst_Editing::predefinedDestinations()
{
    QFETCH(QString, result);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    const QByteArray before = golden(name, QStringLiteral("before"));
    const QByteArray after = golden(name, QStringLiteral("after"));
    Phone::write(Phone::liveConfig, before);
    const QList<ActivityLevelEntry> activities = activitiesOf(Phone::liveConfig);
    const HangUps hangUps;
    {
        const LogCapture log;
        QCOMPARE(m_module.initializeLevelDestination(activities, Phone::liveConfig), result);
        QCOMPARE(Faults::logged(log), QStringList {checked});
    }
    QCOMPARE(Phone::read(Phone::liveConfig), after);

    // Once more, and through the operation that reads the list itself.
    QCOMPARE(m_module.initializeLevelDestination(activities, Phone::liveConfig), result);
    QCOMPARE(Phone::read(Phone::liveConfig), after);
    Phone::write(Phone::liveConfig, before);
    for (int run = 0; run < 2; ++run) {
        QVERIFY(m_module.initConfigFile(Phone::liveConfig));
        QCOMPARE(Phone::read(Phone::liveConfig), after);
    }
    QCOMPARE(hangUps.count(), 0);
}

void tst_Editing::initConfigFileNeedsAnActivity()
{
    const QByteArray text = "@version: 3.38\n# BEGIN qvxaudio\ndestination d_qvxaudio { "
                            "file(\"/x\"); };\n";
    const QStringList lines {QStringLiteral("3 [initConfigFile]  -- empty activity list")};
    Phone::write(Phone::liveConfig, text);
    for (const int level : {7, 3, 2}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QVERIFY(!m_module.initConfigFile(Phone::liveConfig));
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        QCOMPARE(Phone::read(Phone::liveConfig), text);
    }
}

void tst_Editing::initConfigFileRestoresAMissingFile()
{
    const QByteArray backup
        = golden(QStringLiteral("predefined-destinations"), QStringLiteral("before"));
    Phone::write(Phone::backup, backup);
    QVERIFY(QFile::remove(Phone::liveConfig));

    QVERIFY(m_module.initConfigFile(Phone::liveConfig));

    QCOMPARE(Phone::read(Phone::liveConfig),
             golden(QStringLiteral("predefined-destinations"), QStringLiteral("after")));
    QCOMPARE(Phone::read(Phone::backup), backup);
}

void tst_Editing::initConfigFileFailsWhenTheFileCannotBeReopened()
{
    const QStringList lines {QStringLiteral("3 Access problem to: ") + Phone::liveConfig, restored,
                             reloaded,
                             QStringLiteral("3 Access to%1impossible").arg(Phone::liveConfig)};
    // The file can be read but not written, and the reload after its restore breaks it again.
    const auto prepare = [this] {
        cleanup();
        init();
        Faults::setMode(Phone::liveConfig, 0444);
    };
    const Faults::SearchPath path(Faults::fake(QStringLiteral("breaking-path")));
    const QList<ActivityLevelEntry> activities = activitiesOf(Phone::liveConfig);
    for (const int level : {7, 6, 2}) {
        prepare();
        const LogCapture log;
        LogCapture::setLevel(level);
        bool done = true;
        {
            const Faults::WithoutOverride noOverride;
            done = m_module.initConfigFile(Phone::liveConfig);
        }
        QStringList written = Faults::logged(log);
        // The reading of the list writes a line for each activity.
        const auto ofTheList
            = [](const QString &line) { return line.startsWith(QStringLiteral("7 facility : ")); };
        written.erase(std::remove_if(written.begin(), written.end(), ofTheList), written.end());

        QVERIFY(!done);
        QCOMPARE(written, Faults::writtenAt(level, lines));
        QCOMPARE(Faults::state(Phone::liveConfig), QByteArray("<directory>"));
    }
    prepare();
    QString result;
    {
        const Faults::WithoutOverride noOverride;
        result = m_module.initializeLevelDestination(activities, Phone::liveConfig);
    }
    QCOMPARE(result, QStringLiteral("file configuration access error"));
}

void tst_Editing::initConfigFileTakesAFailedCommitForSuccess()
{
    const Faults::FakeSyslog syslog(Faults::fake(QStringLiteral("refuse")));
    const QByteArray before
        = golden(QStringLiteral("predefined-destinations"), QStringLiteral("before"));
    Phone::write(Phone::liveConfig, before);

    QVERIFY(m_module.initConfigFile(Phone::liveConfig));

    QCOMPARE(Phone::read(Phone::liveConfig), before);
}

void tst_Editing::failureOfInitializeLevelDestinationIsReported_data()
{
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<bool>("anyActivity");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QStringList>("lines");

    const QString oneBlank
        = QStringLiteral("[initializeLevelDestination] -- file configuration access error");
    const QString noBlank
        = QStringLiteral("[initializeLevelDestination] --file configuration access error");
    const QString problem = QStringLiteral("3 Access problem to: ") + Phone::liveConfig;

    QTest::newRow("empty list") << Step([] {}) << false << oneBlank << QByteArray("<unchanged>")
                                << QStringList();
    QTest::newRow("live file is missing")
        << Step([] { QFile::remove(Phone::liveConfig); }) << true << oneBlank
        << QByteArray("<missing>")
        << QStringList {QStringLiteral("3 %1.conf does not exists").arg(Phone::liveConfig)};
    QTest::newRow("live path is a directory")
        << Step([] { Faults::makeDirectory(Phone::liveConfig); }) << true << noBlank
        << QByteArray("<directory>") << QStringList {problem, notRemoved + qt_error_string(EISDIR)};
    QTest::newRow("not writable, and there is no backup")
        << Step([] {
               Faults::setMode(Phone::liveConfig, 0444);
               QFile::remove(Phone::backup);
           })
        << true << noBlank << QByteArray("<missing>")
        << QStringList {problem,
                        QStringLiteral("3 [restoreConfigFile] --") + Phone::backup
                            + QStringLiteral(" doesn't exist")};
}

void tst_Editing::failureOfInitializeLevelDestinationIsReported()
{
    QFETCH(Step, prepare);
    QFETCH(bool, anyActivity);
    QFETCH(QString, result);
    QFETCH(QByteArray, live);
    QFETCH(QStringList, lines);
    for (const int level : {7, 6, 2}) {
        cleanup();
        init();
        const QByteArray before = Phone::read(Phone::liveConfig);
        const QList<ActivityLevelEntry> activities
            = anyActivity ? activitiesOf(Phone::liveConfig) : QList<ActivityLevelEntry>();
        QCOMPARE(activities.isEmpty(), !anyActivity);
        prepare();
        const LogCapture log;
        LogCapture::setLevel(level);

        QString answer;
        {
            const Faults::WithoutOverride noOverride;
            answer = m_module.initializeLevelDestination(activities, Phone::liveConfig);
        }

        QCOMPARE(answer, result);
        QCOMPARE(Faults::state(Phone::liveConfig), live == "<unchanged>" ? before : live);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
}

void tst_Editing::unwritableLiveFileIsRestoredAndRewritten()
{
    const QList<ActivityLevelEntry> activities = activitiesOf(Phone::liveConfig);
    Phone::write(Phone::backup,
                 golden(QStringLiteral("predefined-destinations"), QStringLiteral("before")));
    Faults::setMode(Phone::liveConfig, 0444);
    const HangUps hangUps;
    const LogCapture log;
    QString result;
    {
        const Faults::WithoutOverride noOverride;
        result = m_module.initializeLevelDestination(activities, Phone::liveConfig);
    }
    QCOMPARE(result, noSuchActivity);
    QCOMPARE(Phone::read(Phone::liveConfig),
             golden(QStringLiteral("predefined-destinations"), QStringLiteral("after")));
    QCOMPARE(Faults::logged(log),
             (QStringList {QStringLiteral("3 Access problem to: ") + Phone::liveConfig, restored,
                           reloaded, checked}));
    QTRY_COMPARE(hangUps.count(), 1);
}

void tst_Editing::refusedPredefinedDestinationsLeaveTheLiveFile()
{
    const QByteArray before
        = golden(QStringLiteral("predefined-destinations"), QStringLiteral("before"));
    const QStringList lines {
        rejected, corrupted,
        QStringLiteral("3 Possible file corrupted: %1 or not up to date with new values "
                       "--Possible temporary file : %1.tmp perhaps corrupted")
            .arg(Phone::liveConfig)};
    Phone::write(Phone::liveConfig, before);
    const QList<ActivityLevelEntry> activities = activitiesOf(Phone::liveConfig);
    const Faults::FakeSyslog syslog(Faults::fake(QStringLiteral("refuse")));
    for (const int level : {7, 6, 2}) {
        const HangUps hangUps;
        const LogCapture log;
        LogCapture::setLevel(level);

        QCOMPARE(m_module.initializeLevelDestination(activities, Phone::liveConfig),
                 QStringLiteral("[modify] --file configuration access error") + Phone::liveConfig);

        QCOMPARE(Phone::read(Phone::liveConfig), before);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        QCOMPARE(hangUps.count(), 0);
    }
}

QTEST_GUILESS_MAIN(tst_Editing)
#include "tst_editing.moc"
