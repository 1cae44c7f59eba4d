// The redirect command for all activities at once: the configuration, and the facility files behind
// it, also when some of them are corrupted.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/configlog.h"
#include "support/configtext.h"
#include "support/configurationtest.h"
#include "support/faults.h"
#include "support/phone.h"
#include "support/redirecting.h"

#include <QMap>
#include <QTest>

namespace {

using namespace ConfigLog;
using namespace Redirecting;
using ConfigText::facilityFiles;
using ConfigText::withAllDestinations;
using ConfigText::withAllRedirections;

const QString all = "all"_s;
const QString initWord = "init"_s;
const QString noList
    = "3 Syslog-ng config file not readable and not overwritable"_s + Phone::facilityDirectory;

void breakFacilityFile(const QString &activity)
{
    Phone::write(Phone::facilityFile(activity), "3\n19\nfile(\"/x\")\nanother signature\n");
}

} // namespace

class tst_RedirectAll : public ConfigurationTest
{
    Q_OBJECT

private Q_SLOTS:
    void everyActivity_data();
    void everyActivity();
    void thoughSyslogRefuses();
    void withoutConfiguration();

    void backToThePredefinedFiles();
    void backToPredefinedFilesOfAnEmptyList();
    void backToPredefinedFilesWhenTheRewriteIsRefused();

    void redirectionsOfAll();
    void redirectionsOfAllWithCorruptedFiles_data();
    void redirectionsOfAllWithCorruptedFiles();
    void nameWithDefenceInItIsAnyOther();
    void redirectionsOfAnEmptyList();

private:
    QStringList ownLines() const { return withoutListing(Faults::logged(*m_log)); }
};

void tst_RedirectAll::everyActivity_data()
{
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("destination");

    const auto row = [](const QVariantList &arguments, const QString &destination) {
        QTest::newRow(rowName(arguments)) << arguments << destination;
    };
    row({"V24"_s}, "V24"_s);
    row({R"(tcp("localhost" port(601)))"_s}, R"(tcp("localhost" port(601)))"_s);
    row({R"(file("/var/log/one.log"))"_s}, R"(file("/var/log/one.log"))"_s);
    row({"usertty"_s, "root"_s}, R"(usertty("root"))"_s);
    row({"flash"_s, "x"_s}, R"(file("/log/flash/x.log"))"_s);
    row({"tcp"_s, "10.1.2.3"_s, 601}, R"(tcp("10.1.2.3" port(601)))"_s);
}

void tst_RedirectAll::everyActivity()
{
    QFETCH(QVariantList, arguments);
    QFETCH(QString, destination);
    const QString written = destination == "V24"_s ? R"(file("/dev/console"))"_s : destination;
    QString answer = allMoved(destination);
    QStringList lines = QStringList({checked, reloaded}) + eachActivity();
    if (arguments.size() > 1) {
        lines.append("7 "_s + answer);
        answer += "OK"_s;
    }
    QCOMPARE(redirect(m_module, QVariantList {all} + arguments), answer);
    QCOMPARE(Phone::read(Phone::liveConfig), withAllDestinations(m_predefined, written));
    QCOMPARE(Phone::read(Phone::backup), m_backup);
    // The record keeps the caller's word.
    QCOMPARE(facilityFiles(), withAllRedirections(m_facilities, destination));
    QCOMPARE(ownLines(), lines);
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_RedirectAll::thoughSyslogRefuses()
{
    const QString destination = R"(flash("x"))"_s;
    QCOMPARE(m_module.redirect(all, destination), allMoved(destination));
    QCOMPARE(Phone::read(Phone::liveConfig), m_backup);
    QCOMPARE(facilityFiles(), withAllRedirections(m_facilities, destination));
    QCOMPARE(ownLines(), refusedAndRestored + QStringList(reloaded) + eachActivity());
    QTRY_COMPARE(m_syslog->count(), 2);
}

void tst_RedirectAll::withoutConfiguration()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(m_module.redirect(all, "V24"_s), allMoved("V24"_s));
    // The edit fails; it is the reader of the activities that brings the backup.
    QCOMPARE(Phone::read(Phone::liveConfig), m_backup);
    QCOMPARE(facilityFiles(), withAllRedirections(m_facilities, "V24"_s));
    QTRY_COMPARE(m_syslog->count(), 1);

    beginAgain(7);
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(m_module.redirect(all, "V24"_s), allMoved("V24"_s));
    QVERIFY(!QFile::exists(Phone::liveConfig));
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(Faults::logged(*m_log).last(), noList);
}

// ----------------------------------------------------------------------- The predefined files

void tst_RedirectAll::backToThePredefinedFiles()
{
    Phone::write(Phone::liveConfig, withAllDestinations(m_predefined, R"(usertty("x"))"_s));
    ConfigText::putFacilityFiles(withAllRedirections(m_facilities, "V24"_s));
    QCOMPARE(m_module.redirect(all, initWord), allToPredefined);
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(facilityFiles(), m_facilities);
    for (const QString &activity : Phone::activityNames) {
        QCOMPARE(Phone::read(Phone::facilityFile(activity)).split('\n').value(2),
                 "file(\"" + Phone::predefinedFile(activity).toUtf8() + "\")");
    }
    QCOMPARE(ownLines(), QStringList({checked, reloaded}) + eachActivity());
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_RedirectAll::backToPredefinedFilesOfAnEmptyList()
{
    const QByteArray text = "@version: 3.38\n# BEGIN x\nno end line\n";
    for (const int level : {7, 2}) {
        beginAgain(level);
        Phone::write(Phone::liveConfig, text);
        QCOMPARE(m_module.redirect(all, initWord), allToPredefined);
        QCOMPARE(Faults::logged(*m_log), Faults::writtenAt(level, {emptyList, noList}));
        QCOMPARE(Phone::read(Phone::liveConfig), text);
        QCOMPARE(facilityFiles(), m_facilities);
        // Nothing was written, so nothing is to be loaded.
        QCOMPARE(m_syslog->count(), 0);
    }
}

void tst_RedirectAll::backToPredefinedFilesWhenTheRewriteIsRefused()
{
    const QByteArray broken = m_predefined + "this is no statement\n";
    Phone::write(Phone::liveConfig, broken);
    // Taken for done: what comes back is not the one text that is looked for.
    QCOMPARE(m_module.redirect(all, initWord), allToPredefined);
    QCOMPARE(Phone::read(Phone::liveConfig), broken);
    QVERIFY(Faults::logged(*m_log).contains(rejected));
    QTRY_COMPARE(m_syslog->count(), 1);
}

// ------------------------------------------------------------------- The facility files alone

void tst_RedirectAll::redirectionsOfAll()
{
    const auto check = [&](const QString &destination, const QString &mode, const QString &answer,
                           const ConfigText::FacilityFiles &files) {
        m_log->clear();
        ConfigText::putFacilityFiles(withAllRedirections(m_facilities, "before"_s));
        QCOMPARE(m_module.setAllFacilityRedirections(destination, mode), answer);
        QCOMPARE(facilityFiles(), files);
        QCOMPARE(ownLines(), eachActivity());
    };
    check(all, initWord, allToPredefined, m_facilities);
    check("V24"_s, initWord, allToPredefined, m_facilities);
    // Nothing is checked, and no other mode has a meaning.
    for (const char *mode : {"std", "", "INIT", "init "}) {
        check("any text"_s, QString::fromLatin1(mode), allMoved("any text"_s),
              withAllRedirections(m_facilities, "any text"_s));
    }
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_RedirectAll::redirectionsOfAllWithCorruptedFiles_data()
{
    using Broken = QMap<QString, QString>;
    QTest::addColumn<Broken>("broken"); // each with the line that is its own, if any
    QTest::addColumn<QString>("mode");

    const QString sip = "qvxsipua"_s;
    const QString first = Phone::activityNames.first();
    const QString ofSip
        = "3 Facility config fileqvxsipuacorrupted -- initialize to default value "_s;
    const QString ofFirst
        = "3 Facility config fileTelephonycorrupted -- initialize to default value "_s;
    const QString ofDefence
        = "3 Facility config file Defence.conf corrupted -- initialize to default value "_s;
    QTest::newRow("one, given destination") << Broken {{sip, QString()}} << "std"_s;
    QTest::newRow("defence, given destination") << Broken {{"defence"_s, QString()}} << "std"_s;
    QTest::newRow("one, predefined") << Broken {{sip, ofSip}} << initWord;
    QTest::newRow("the first and the last, predefined")
        << Broken {{first, ofFirst}, {"defence"_s, ofDefence}} << initWord;
}

void tst_RedirectAll::redirectionsOfAllWithCorruptedFiles()
{
    using Broken = QMap<QString, QString>;
    QFETCH(Broken, broken);
    QFETCH(QString, mode);
    const Faults::FakeSetUpScript script(Faults::fake("setup-noting"_s));
    ConfigText::FacilityFiles expected
        = mode == initWord ? m_facilities : withAllRedirections(m_facilities, "V24"_s);
    QStringList lines;
    for (const QString &activity : Phone::activityNames) {
        lines.append("7 Configuration file to change : "_s + activity);
        if (broken.contains(activity)) {
            breakFacilityFile(activity);
            expected.remove(activity + ".conf"_s);
            lines += QStringList {corruptedFacilityFile(activity), noFacilityFile}
                + broken.value(activity).split("\n"_s, Qt::SkipEmptyParts);
        }
    }
    lines
        += {"7 One ore more facility config files corrupted --Initialize all to default value !!"_s,
            setUp};
    QCOMPARE(m_module.setAllFacilityRedirections("V24"_s, mode), allCorrupted);
    // The others are written, those behind the broken one too.
    QCOMPARE(facilityFiles(), expected);
    QCOMPARE(ownLines(), lines);
    QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\n"));
    QCOMPARE(m_syslog->count(), 0);
}

void tst_RedirectAll::nameWithDefenceInItIsAnyOther()
{
    const Faults::FakeSetUpScript script(Faults::fake("setup-noting"_s));
    const QString name = "mydefence"_s;
    Phone::write(Phone::liveConfig,
                 "# BEGIN mydefence\n"
                 "destination d_mydefence { file(\"/x\"); };\n"
                 "filter f_mydefence { level(err..emerg); };\n"
                 "# END mydefence\n");
    Phone::write(Phone::facilityFile(name), "3\n19\nfile(\"/x\")\nfacility signature field\n");
    QCOMPARE(m_module.setAllFacilityRedirections(all, initWord), allToPredefined);
    QCOMPARE(Phone::read(Phone::facilityFile(name)),
             QByteArray("3\n19\nfile(\"/var/log/mydefence.log\")\nfacility signature field\n"));

    breakFacilityFile(name);
    QCOMPARE(m_module.setAllFacilityRedirections(all, initWord), allCorrupted);
    QCOMPARE(m_log->errors().last(),
             "Facility config filemydefencecorrupted -- initialize to default value "_s);
}

void tst_RedirectAll::redirectionsOfAnEmptyList()
{
    const Faults::FakeSetUpScript script(Faults::fake("setup-noting"_s));
    Phone::write(Phone::liveConfig, "");
    QCOMPARE(m_module.setAllFacilityRedirections("V24"_s, initWord), allToPredefined);
    QCOMPARE(m_module.setAllFacilityRedirections("V24"_s, "std"_s), allMoved("V24"_s));
    QCOMPARE(Faults::logged(*m_log), QStringList({noList, noList}));
    QCOMPARE(facilityFiles(), m_facilities);
    QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));
}

QTEST_GUILESS_MAIN(tst_RedirectAll)
#include "tst_redirectall.moc"
