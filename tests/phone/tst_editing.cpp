// Edits of activities in logappli.conf: pairs of whole files, and what is left when one fails.
// SPDX-License-Identifier: MIT
#include "support/configlog.h"
#include "support/configtext.h"
#include "support/configurationtest.h"
#include "support/editingdata.h"
#include "support/faults.h"
#include "support/phone.h"
#include "syslogconf/lineedit.h"

#include <QTest>

Q_DECLARE_METATYPE(ConfigLineEdit)

namespace {

using namespace ConfigLog;

const QString refused = "[modify] -- file configuration access error"_s;

ConfigLineEdit levelEdit(const QString &activity, const QString &level)
{
    ConfigLineEdit edit;
    edit.key = "level("_s;
    edit.activity = activity;
    edit.level = level;
    return edit;
}

ConfigLineEdit destinationEdit(const QString &activity, const QString &destination)
{
    ConfigLineEdit edit;
    edit.key = "destination d_"_s + activity + (activity.isEmpty() ? QString() : " {"_s);
    edit.activity = activity;
    edit.destination = destination;
    return edit;
}

const ConfigLineEdit audioToDebug = levelEdit("qvxaudio"_s, "debug"_s);

} // namespace

class tst_Editing : public ConfigurationTest
{
    Q_OBJECT

private slots:
    void editChangesExactlyOneToken_data();
    void editChangesExactlyOneToken();
    void pairsHoldInEveryLocale_data();
    void pairsHoldInEveryLocale();
    void byteOrderMarkStays();
    void sameEditOfALevelWithoutRangeAppendsAgain();
    void failureIsReported_data();
    void failureIsReported();
    void unreadableLiveFileIsRestoredAndEdited();
};

void tst_Editing::editChangesExactlyOneToken_data()
{
    QTest::addColumn<ConfigLineEdit>("edit");

    const auto row
        = [](const char *name, const ConfigLineEdit &edit) { QTest::newRow(name) << edit; };
    const QString sip = "qvxsipua"_s;
    const QString audio = "qvxaudio"_s;
    const QString every;
    const QString file = R"(file("/var/log/all.log"))"_s;

    row("level-of-one", levelEdit(sip, "debug"_s));
    row("level-of-all", levelEdit(every, "warning"_s));
    row("destination-of-one", destinationEdit(sip, R"(udp("192.168.1.10" port(514)))"_s));
    row("destination-of-all", destinationEdit(every, R"(file("/log/flash/all.log"))"_s));
    row("unknown-activity", levelEdit("nobody"_s, "debug"_s));
    row("name-that-is-a-prefix", levelEdit("qvxaudi"_s, "debug"_s));
    row("nothing-to-change", levelEdit(audio, QString()));
    ConfigLineEdit both = levelEdit(audio, "info"_s);
    both.destination = file;
    row("level-wins-over-destination", both);

    row("odd-text-level-of-one", audioToDebug);
    row("odd-text-level-of-all", levelEdit(every, "info"_s));
    row("odd-text-destination-of-one", destinationEdit(audio, R"(tcp("10.0.0.5" port(601)))"_s));
    row("not-utf-8", audioToDebug);
    row("carriage-returns", audioToDebug);

    row("level-without-range", audioToDebug);
    row("range-before-the-level", levelEdit(every, "debug"_s));
    row("all-destinations-after-the-first-begin", destinationEdit(every, file));
    row("all-levels-after-the-first-begin", levelEdit(every, "notice"_s));
    row("all-levels-begin-line-included", levelEdit(every, "emerg"_s));
    row("key-past-the-end-line", audioToDebug);
    row("first-of-several-levels", audioToDebug);
    row("marker-is-the-whole-rest", levelEdit("qvxaudi"_s, "debug"_s));
    row("destination-of-one-without-its-key", destinationEdit(audio, file));
    row("destination-of-all-needs-a-brace", destinationEdit(every, file));
}

void tst_Editing::editChangesExactlyOneToken()
{
    QFETCH(ConfigLineEdit, edit);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    const QByteArray after = EditingData::after(name);
    Phone::write(Phone::liveConfig, EditingData::before(name));

    QCOMPARE(m_module.modify(edit, Phone::liveConfig), "OK"_s);
    QCOMPARE(Phone::read(Phone::liveConfig), after);
    QCOMPARE(Faults::logged(*m_log), QStringList {checked});

    // A level without a range behind it is put in front of the whole line, each time again.
    if (name != "level-without-range"_s && name != "range-before-the-level"_s) {
        QCOMPARE(m_module.modify(edit, Phone::liveConfig), "OK"_s);
        QCOMPARE(Phone::read(Phone::liveConfig), after);
    }
    QCOMPARE(Phone::read(Phone::backup), m_backup);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Editing::pairsHoldInEveryLocale_data()
{
    addLocales();
}

void tst_Editing::pairsHoldInEveryLocale()
{
    runInLocale("editChangesExactlyOneToken"_s);
}

void tst_Editing::byteOrderMarkStays()
{
    const Faults::FakeSyslog syslog(Faults::fake("accept"_s));
    const QByteArray mark = "\xef\xbb\xbf";
    Phone::write(Phone::liveConfig, mark + EditingData::before("level-of-one"_s));

    QCOMPARE(m_module.modify(levelEdit("qvxsipua"_s, "debug"_s), Phone::liveConfig), "OK"_s);
    QCOMPARE(Phone::read(Phone::liveConfig), mark + EditingData::after("level-of-one"_s));
}

void tst_Editing::sameEditOfALevelWithoutRangeAppendsAgain()
{
    const QByteArray once = EditingData::after("level-without-range"_s);
    QByteArray twice = once;
    twice.replace("# level(debug# level(err) as of old, kept",
                  "# level(debug# level(debug# level(err) as of old, kept");
    QVERIFY(twice != once);
    Phone::write(Phone::liveConfig, once);

    QCOMPARE(m_module.modify(audioToDebug, Phone::liveConfig), "OK"_s);
    QCOMPARE(Phone::read(Phone::liveConfig), twice);
}

void tst_Editing::failureIsReported_data()
{
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QStringList>("lines");

    const QString isGone = "3 [modify] -- file: "_s + Phone::liveConfig + "doesn't exist"_s;
    const QString refusedThere = refused + Phone::liveConfig;

    const auto row = [](const char *name, const QString &result, const QByteArray &live,
                        const QStringList &lines, const Step &prepare) {
        QTest::newRow(name) << prepare << result << live << lines;
    };
    row("live file is missing", refusedThere, "<missing>",
        {"7 [restoreConfigFile] -- "_s + Phone::liveConfig, isGone},
        [] { QFile::remove(Phone::liveConfig); });
    row("live path is a directory", refusedThere, "<directory>",
        {"7 [restoreConfigFile] remove() result "_s + qt_error_string(EISDIR), isGone},
        [] { Faults::makeDirectory(Phone::liveConfig); });
    row("unreadable, and there is no backup", refusedThere, "<missing>",
        {"3 [restoreConfigFile] --"_s + Phone::backup + " doesn't exist"_s, isGone}, [] {
            Faults::setMode(Phone::liveConfig, 0);
            QFile::remove(Phone::backup);
        });
    // The reload that follows the restore finds a kill that breaks the file again.
    row("still unreadable after the restore", refusedThere, "<directory>",
        {restored, reloaded,
         "3 [Method :modify()] -- access to : "_s + Phone::liveConfig + ".conf not possible"_s},
        [] {
            Faults::setMode(Phone::liveConfig, 0);
            qputenv("PATH", QFile::encodeName(Faults::fake("breaking-path"_s)));
        });
    row("syslog-ng refuses the text", refused, m_backup, refusedAndRestored,
        [] { QVXLogger::syslogExecutablePath = Faults::fake("refuse/"_s); });
    row("temporary file disappears before the copy", refused, m_backup,
        {checked, "3 [Method : writeToFile()] -- copy file : "_s + Phone::liveConfig + "failed"_s,
         notUpToDate, restored, reloaded},
        [] { QVXLogger::syslogExecutablePath = Faults::fake("consume/"_s); });
    row("temporary file cannot be written", refused, m_backup,
        {"3 [Method : writeToFile()] -- Cannot remove temporary syslog configuration file : "_s
             + Phone::temporary,
         notUpToDate, restored, reloaded},
        [] { Faults::makeDirectory(Phone::temporary); });
}

void tst_Editing::failureIsReported()
{
    QFETCH(Step, prepare);
    QFETCH(QStringList, lines);
    for (const int level : {7, 6, 2}) {
        beginAgain(level);
        prepare();
        const QString answer = Faults::withoutOverride(
            [&] { return m_module.modify(audioToDebug, Phone::liveConfig); });
        QTEST(answer, "result");
        QTEST(Faults::state(Phone::liveConfig), "live");
        QCOMPARE(Faults::logged(*m_log), Faults::writtenAt(level, lines));
    }
}

void tst_Editing::unreadableLiveFileIsRestoredAndEdited()
{
    Faults::setMode(Phone::liveConfig, 0);
    const QString answer
        = Faults::withoutOverride([&] { return m_module.modify(audioToDebug, Phone::liveConfig); });
    QCOMPARE(answer, "OK"_s);
    QCOMPARE(Faults::state(Phone::liveConfig),
             ConfigText::withLevel(m_backup, "qvxaudio"_s, "debug"));
    QCOMPARE(Faults::logged(*m_log), (QStringList {restored, reloaded, checked}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

QTEST_GUILESS_MAIN(tst_Editing)
#include "tst_editing.moc"
