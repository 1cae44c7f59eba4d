// Where messages end up: each kind of destination with the phone's own syslog-ng, a look at the
// place where a user would look, and syslog-ng started anew in each of these states.
// SPDX-License-Identifier: MIT
#include "support/places.h"
#include "support/syslogdaemon.h"

#include <QDir>
#include <QTemporaryDir>

#include <algorithm>
#include <memory>

using namespace Phone;

namespace {

const Activity &telephony = activities[0];
const Activity &sip = activities[2];
const Activity &audio = activities[3];

QString redirect(const QVariantList &arguments)
{
    return text("redirect"_s, arguments);
}

/// A place to look at and what an operator asks for to get messages there.
struct Target
{
    std::unique_ptr<Place> place;
    QString text; ///< the whole destination text
    QVariantList arguments; ///< the form with several arguments, without the activity
};

const QStringList kinds {"ram form"_s,     "flash form"_s,  "file"_s,        "odd file"_s,
                         "pipe"_s,         "program"_s,     "unix-stream"_s, "unix-dgram"_s,
                         "usertty form"_s, "usertty"_s,     "udp form"_s,    "tcp form"_s,
                         "udp"_s,          "tcp by name"_s, "V24"_s};

Target makeTarget(const QString &kind, const QString &directory)
{
    const QString path = directory + "/target"_s;
    const QString atPath = kind + "(\""_s + path + "\")"_s;
    const QString address = "127.0.0.9"_s;
    const auto file = [](const QString &name, const QVariantList &form = {}) {
        return Target {std::make_unique<FilePlace>(name), "file(\""_s + name + "\")"_s, form};
    };
    if (kind == "ram form"_s) {
        return file("/var/log/ramtarget.log"_s, {"ram"_s, "ramtarget"_s});
    }
    if (kind == "flash form"_s) {
        return file("/log/flash/flashtarget.log"_s, {"flash"_s, "flashtarget.log"_s});
    }
    if (kind == "file"_s) {
        return file(directory + "/new/file"_s);
    }
    if (kind == "odd file"_s) {
        return file(directory + "/it's } ; { # \xc3\xbc, @version: 3"_s);
    }
    if (kind == "pipe"_s) {
        return {std::make_unique<PipePlace>(path), atPath, {}};
    }
    if (kind == "program"_s) {
        write(path, "#!/bin/sh\nexec cat >>" + path.toUtf8() + ".out\n");
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return {std::make_unique<FilePlace>(path + ".out"_s), atPath, {}};
    }
    if (kind == "unix-stream"_s || kind == "unix-dgram"_s) {
        const int type = kind == "unix-stream"_s ? SOCK_STREAM : SOCK_DGRAM;
        return {std::make_unique<SocketPlace>(path, type), atPath, {}};
    }
    QVariantList form;
    if (kind.startsWith("usertty"_s)) {
        form = {"usertty"_s, "operator"_s};
        return {std::make_unique<TerminalPlace>("operator"), "usertty(\"operator\")"_s,
                kind == "usertty form"_s ? form : QVariantList()};
    }
    if (kind.startsWith("udp"_s)) {
        form = {"udp"_s, address, 5514};
        return {std::make_unique<SocketPlace>("udp"_s, address, 5514),
                "udp(\"127.0.0.9\" port(5514))"_s, kind == "udp form"_s ? form : QVariantList()};
    }
    if (kind == "tcp form"_s) {
        return {std::make_unique<SocketPlace>("tcp"_s, address, 5601),
                "tcp(\"127.0.0.9\" port(5601))"_s,
                {"tcp"_s, address, 5601}};
    }
    if (kind == "tcp by name"_s) {
        return {std::make_unique<SocketPlace>("tcp"_s, "127.0.0.1"_s, 5602),
                "tcp  (\"localhost\" port (5602))"_s,
                {}};
    }
    return {std::make_unique<FilePlace>("/dev/console"_s), "V24"_s, {}};
}

/// Asks for @p target in the form with several arguments where it has one. @return the answer
QString redirectTo(const Target &target, const QString &activity)
{
    return redirect(QVariantList {activity}
                    + (target.arguments.isEmpty() ? QVariantList {target.text} : target.arguments));
}

/// Whether a process writes its output to @p path.
bool anyoneWrites(const QString &path)
{
    const QStringList processes = QDir("/proc"_s).entryList({"[1-9]*"_s});
    return std::any_of(processes.begin(), processes.end(), [&path](const QString &process) {
        return QFile::symLinkTarget("/proc/"_s + process + "/fd/1"_s) == path;
    });
}

} // namespace

class tst_EndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void messagesOfOneActivity_data();
    void messagesOfOneActivity();
    void messagesOfAllActivities_data();
    void messagesOfAllActivities();
    void twoActivitiesShareOneFile();
    void cleanupTestCase();

private:
    /// Puts all activities back on their own files. @return whether the configuration is as before
    bool undo();

    QByteArray m_original;
    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<SyslogDaemon> m_daemon;
};

void tst_EndToEnd::initTestCase()
{
    QVERIFY2(isBox(), "runs in the phone in a box only");
    resetConfiguration();
    m_original = read(liveConfig);
    m_daemon = std::make_unique<SyslogDaemon>();
}

void tst_EndToEnd::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
}

void tst_EndToEnd::cleanup()
{
    QVERIFY2(goHome(), SyslogDaemon::output().constData());
}

bool tst_EndToEnd::undo()
{
    return redirect({"all"_s, "init"_s}) == "All facilities redirected to predefined values "_s
        && read(liveConfig) == m_original;
}

void tst_EndToEnd::messagesOfOneActivity_data()
{
    QTest::addColumn<QString>("kind");
    for (const QString &kind : kinds) {
        QTest::newRow(qPrintable(kind)) << kind;
    }
}

void tst_EndToEnd::messagesOfOneActivity()
{
    QFETCH(QString, kind);
    const Target target = makeTarget(kind, m_directory->path());
    FilePlace home(predefinedFile(sip));
    FilePlace other(predefinedFile(telephony));

    const bool isForm = !target.arguments.isEmpty();
    QCOMPARE(redirectTo(target, sip.name),
             "[REDIRECT] Activity : qvxsipua redirect to : "_s + target.text
                 + (isForm ? "OK"_s : QString()));
    if (isForm) {
        QVERIFY(read(facilityFile(sip.name)).contains('\n' + target.text.toUtf8() + '\n'));
    }
    QVERIFY2(movesTo(*target.place, home, sip), read(liveConfig).constData());
    QVERIFY(movesTo(other, *target.place, telephony));

    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    QVERIFY(movesTo(*target.place, home, sip));

    QVERIFY(undo());
    QVERIFY(movesTo(home, *target.place, sip));
    QTRY_VERIFY_WITH_TIMEOUT(!anyoneWrites(m_directory->filePath("target.out"_s)), 20000);
}

void tst_EndToEnd::messagesOfAllActivities_data()
{
    messagesOfOneActivity_data();
}

void tst_EndToEnd::messagesOfAllActivities()
{
    QFETCH(QString, kind);
    const Target target = makeTarget(kind, m_directory->path());
    QCOMPARE(redirectTo(target, "all"_s),
             "All facilities redirected to : "_s + target.text
                 + (target.arguments.isEmpty() ? " "_s : " OK"_s));
    QCOMPARE(missingAt(target.place.get()), QString());

    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    QCOMPARE(missingAt(target.place.get()), QString());

    QVERIFY(undo());
    QCOMPARE(missingAt(), QString());
}

void tst_EndToEnd::twoActivitiesShareOneFile()
{
    FilePlace shared("/var/log/shared.log"_s);
    FilePlace home(predefinedFile(sip));
    for (const Activity &activity : {sip, telephony}) {
        QCOMPARE(redirect({activity.name, "ram"_s, "shared"_s}),
                 QString("[REDIRECT] Activity : "_s + activity.name
                         + " redirect to : file(\"/var/log/shared.log\")OK"_s));
    }
    QVERIFY(movesTo(shared, home, sip));
    QVERIFY(arrivesAt(shared, telephony));
    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    QVERIFY(arrivesAt(shared, sip));
    QVERIFY(arrivesAt(shared, telephony));

    // One of them leaves; the other stays.
    redirect({sip.name, "file(\"/var/log/qvxsipua.log\")"_s});
    QVERIFY(movesTo(home, shared, sip));
    QVERIFY(arrivesAt(shared, telephony));
    // And moves in with a third that writes to its predefined file.
    redirect({sip.name, "file(\"/var/log/qvxaudio.log\")"_s});
    FilePlace withAudio(predefinedFile(audio));
    QVERIFY(movesTo(withAudio, home, sip));
    QVERIFY(arrivesAt(withAudio, audio));
}

void tst_EndToEnd::cleanupTestCase()
{
    m_daemon.reset();
}

QTEST_GUILESS_MAIN(tst_EndToEnd)
#include "tst_endtoend.moc"
