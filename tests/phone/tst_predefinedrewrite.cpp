// Every activity back on its predefined file in one rewrite of logappli.conf: pairs of whole files,
// and what is left when it fails.
// SPDX-License-Identifier: MIT
#include "support/configlog.h"
#include "support/configurationtest.h"
#include "support/editingdata.h"
#include "support/faults.h"
#include "support/phone.h"
#include "syslogconf/activityparser.h"
#include "syslogconf/loggerconfiglist.h"

#include <QTest>

namespace {

using namespace ConfigLog;

const QString pair = "predefined-destinations"_s;
// The wrong way round, and long established: it says that all went well.
const QString done = "No such an activity: "_s;
const QString problem = "3 Access problem to: "_s + Phone::liveConfig;

QList<ActivityLevelEntry> activities()
{
    LoggerConfigList list;
    return list.readActivityInConfigFile(Phone::liveConfig);
}

} // namespace

class tst_PredefinedRewrite : public ConfigurationTest
{
    Q_OBJECT

private slots:
    void predefinedDestinations_data();
    void predefinedDestinations();
    void pairsHoldInEveryLocale_data();
    void pairsHoldInEveryLocale();
    void failureIsReported_data();
    void failureIsReported();
    void unwritableLiveFileIsRestoredAndRewritten();
    void fileThatCannotBeReopened();
    void refusalBySyslogLeavesTheLiveFile();

    void emptyListIsReported();
    void missingFileIsRestored();

private:
    QString rewrite(const QList<ActivityLevelEntry> &listed)
    {
        return Faults::withoutOverride(
            [&] { return m_module.initializeLevelDestination(listed, Phone::liveConfig); });
    }
};

void tst_PredefinedRewrite::predefinedDestinations_data()
{
    QTest::addColumn<QString>("result");

    QTest::newRow("predefined-destinations") << done;
    QTest::newRow("predefined-destinations-by-name") << done;
    QTest::newRow("predefined-stops-at-a-missing-destination") << "OK"_s;
    QTest::newRow("predefined-last-without-destination") << "OK"_s;
    QTest::newRow("predefined-stops-at-a-missing-begin") << done;
}

void tst_PredefinedRewrite::predefinedDestinations()
{
    QFETCH(QString, result);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    const QByteArray before = EditingData::before(name);
    const QByteArray after = EditingData::after(name);
    Phone::write(Phone::liveConfig, before);
    const QList<ActivityLevelEntry> listed = activities();
    m_log->clear();
    QCOMPARE(rewrite(listed), result);
    QCOMPARE(Faults::logged(*m_log), QStringList {checked});
    QCOMPARE(Phone::read(Phone::liveConfig), after);

    // Once more, and through the operation that reads the list itself.
    QCOMPARE(rewrite(listed), result);
    QCOMPARE(Phone::read(Phone::liveConfig), after);
    Phone::write(Phone::liveConfig, before);
    for (int run = 0; run < 2; ++run) {
        QVERIFY(m_module.initConfigFile(Phone::liveConfig));
        QCOMPARE(Phone::read(Phone::liveConfig), after);
    }
    QCOMPARE(m_syslog->count(), 0);
}

void tst_PredefinedRewrite::pairsHoldInEveryLocale_data()
{
    addLocales();
}

void tst_PredefinedRewrite::pairsHoldInEveryLocale()
{
    runInLocale("predefinedDestinations"_s);
}

void tst_PredefinedRewrite::failureIsReported_data()
{
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QStringList>("lines");

    const QString oneBlank = "[initializeLevelDestination] -- file configuration access error"_s;
    const QString noBlank = "[initializeLevelDestination] --file configuration access error"_s;

    const auto row = [](const char *name, const QString &result, const QByteArray &live,
                        const QStringList &lines, const Step &prepare) {
        QTest::newRow(name) << prepare << result << live << lines;
    };
    row("live file is missing", oneBlank, "<missing>",
        {"3 "_s + Phone::liveConfig + ".conf does not exists"_s},
        [] { QFile::remove(Phone::liveConfig); });
    row("live path is a directory", noBlank, "<directory>",
        {problem, "7 [restoreConfigFile] remove() result "_s + qt_error_string(EISDIR)},
        [] { Faults::makeDirectory(Phone::liveConfig); });
    row("not writable, and there is no backup", noBlank, "<missing>",
        {problem, "3 [restoreConfigFile] --"_s + Phone::backup + " doesn't exist"_s}, [] {
            Faults::setMode(Phone::liveConfig, 0444);
            QFile::remove(Phone::backup);
        });
    // The reload that follows the restore finds a kill that breaks the file again.
    row("not writable, and broken after the restore", "file configuration access error"_s,
        "<directory>", {problem, restored, reloaded}, [] {
            Faults::setMode(Phone::liveConfig, 0444);
            qputenv("PATH", QFile::encodeName(Faults::fake("breaking-path"_s)));
        });
}

void tst_PredefinedRewrite::failureIsReported()
{
    QFETCH(Step, prepare);
    QFETCH(QStringList, lines);
    for (const int level : {7, 6, 2}) {
        beginAgain(level);
        const QList<ActivityLevelEntry> listed = activities();
        m_log->clear();
        prepare();
        QTEST(rewrite(listed), "result");
        QTEST(Faults::state(Phone::liveConfig), "live");
        QCOMPARE(Faults::logged(*m_log), Faults::writtenAt(level, lines));
    }
}

void tst_PredefinedRewrite::unwritableLiveFileIsRestoredAndRewritten()
{
    const QList<ActivityLevelEntry> listed = activities();
    m_log->clear();
    Phone::write(Phone::backup, EditingData::before(pair));
    Faults::setMode(Phone::liveConfig, 0444);
    QCOMPARE(rewrite(listed), done);
    QCOMPARE(Phone::read(Phone::liveConfig), EditingData::after(pair));
    QCOMPARE(Faults::logged(*m_log), (QStringList {problem, restored, reloaded, checked}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_PredefinedRewrite::fileThatCannotBeReopened()
{
    const QStringList lines {problem, restored, reloaded,
                             "3 Access to"_s + Phone::liveConfig + "impossible"_s};
    for (const int level : {7, 6, 2}) {
        beginAgain(level);
        Faults::setMode(Phone::liveConfig, 0444);
        const Faults::SearchPath path(Faults::fake("breaking-path"_s));
        QVERIFY(
            !Faults::withoutOverride([&] { return m_module.initConfigFile(Phone::liveConfig); }));
        QCOMPARE(withoutListing(Faults::logged(*m_log)), Faults::writtenAt(level, lines));
        QCOMPARE(Faults::state(Phone::liveConfig), QByteArray("<directory>"));
    }
}

void tst_PredefinedRewrite::refusalBySyslogLeavesTheLiveFile()
{
    const QByteArray before = EditingData::before(pair);
    const QStringList lines {
        rejected, corrupted(),
        "3 Possible file corrupted: "_s + Phone::liveConfig
            + " or not up to date with new values --Possible temporary file : "_s
            + Phone::liveConfig + ".tmp perhaps corrupted"_s};
    for (const int level : {7, 6, 2}) {
        beginAgain(level);
        const Faults::FakeSyslog syslog(Faults::fake("refuse"_s));
        Phone::write(Phone::liveConfig, before);
        const QList<ActivityLevelEntry> listed = activities();
        m_log->clear();
        QCOMPARE(rewrite(listed),
                 "[modify] --file configuration access error"_s + Phone::liveConfig);
        QCOMPARE(Phone::read(Phone::liveConfig), before);
        QCOMPARE(Faults::logged(*m_log), Faults::writtenAt(level, lines));
        QCOMPARE(m_syslog->count(), 0);
        // Not the one text that is looked for.
        QVERIFY(m_module.initConfigFile(Phone::liveConfig));
        QCOMPARE(Phone::read(Phone::liveConfig), before);
    }
}

void tst_PredefinedRewrite::emptyListIsReported()
{
    QCOMPARE(rewrite({}), "[initializeLevelDestination] -- file configuration access error"_s);
    QCOMPARE(Faults::logged(*m_log), QStringList());
    QCOMPARE(touched(), QStringList());

    const QByteArray text = "@version: 3.38\n# BEGIN qvxaudio\ndestination d_qvxaudio { "
                            "file(\"/x\"); };\n";
    for (const int level : {7, 2}) {
        beginAgain(level);
        Phone::write(Phone::liveConfig, text);
        QVERIFY(!m_module.initConfigFile(Phone::liveConfig));
        QCOMPARE(Faults::logged(*m_log), Faults::writtenAt(level, {emptyList}));
        QCOMPARE(Phone::read(Phone::liveConfig), text);
    }
}

void tst_PredefinedRewrite::missingFileIsRestored()
{
    Phone::write(Phone::backup, EditingData::before(pair));
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(m_module.initConfigFile(Phone::liveConfig));
    QCOMPARE(Phone::read(Phone::liveConfig), EditingData::after(pair));
    QCOMPARE(Phone::read(Phone::backup), EditingData::before(pair));
}

QTEST_GUILESS_MAIN(tst_PredefinedRewrite)
#include "tst_predefinedrewrite.moc"
